// No computing call allocates; an allocation failing in init leaves no model until one succeeds.
#include "allocation_counter.h"
#include "arm_handle.h"
#include "arm_test_support.h"
#include "fk_ik_so.h"
#include "fk_solver_pos_tarvin2_6dof.h"
#include "test_support.h"

namespace {

// The exported functions reach every member of the facade and of the inverse solver.
TEST(Allocation, ComputingCallsAllocateNothing) {
  const long first = allocationCount;
  delete new double(1.0);
  ASSERT_EQ(allocationCount - first, 1);  // the count sees them
  std::mt19937_64 rng(31);
  const Tool tool = {0.01, -0.02, 0.15, 0.1, -0.2, 0.3};
  const double toolArray[6] = {tool.x, tool.y, tool.z, tool.rx, tool.ry, tool.rz};
  const double lower[6] = {-9, -9, -9, -9, -9, -9}, upper[6] = {9, 9, 9, 9, 9, 9};
  Int32 codes[9] = {}, modes[8], statuses[8], mode;
  for (int a = 0; a < 10; ++a) {
    const std::vector<MDH> records = test_support::randomSixAxisArm(rng);
    const auto rows = reinterpret_cast<const double(*)[4]>(records.data());  // a, alpha, d, theta
    init(rows);
    Chain_MDH4 chain(6, &records);
    FkSolverPos_Tarvin2_6Dof fk(&chain);
    for (int k = 0; k < 20; ++k) {
      MathVector q = test_support::randomVector(rng, M_PI);
      KDL::Frame flange, segments[Max_Chain_Dof];
      MathJacobian jacobian(6, 6), jacobianDot(6, 6);
      double pose[6], answer[6], all[8][6];
      const long before = allocationCount;
      fk.jntPosToFlangePos(q, flange);
      fk.jntPosToFlangePos(q, 4, flange);
      fk.jntPosToFlangePos(q, segments);
      fk.jntPosToJacobians(q, tool, jacobian);
      fk.jntPosToJacobiansDot(q, q, tool, jacobian, jacobianDot);
      jntPosToTcpPos(&q(0), toolArray, pose);
      checkArmForm(rows);
      if (k % 5 == 1) pose[0] = 100.0;  // out of reach
      if (k % 5 == 2) pose[1] = std::nan("");
      if (k % 5 == 3) q(0) = HUGE_VAL;  // turn count
      chain.getMode_6dof(q, mode, true);
      for (Int32 m = -2; m <= 8; ++m)
        ++codes[tcpPosToJntPosInMode(pose, toolArray, &q(0), m, answer)];
      ++codes[tcpPosToJntPos(pose, toolArray, &q(0), answer)];
      ++codes[tcpPosToAllJntPos(pose, toolArray, &q(0), all, modes, statuses)];
      ++codes[tcpPosToNearestJntPos(pose, toolArray, &q(0), lower, upper, answer)];
      ++codes[tcpPosToNearestJntPos(pose, toolArray, &q(0), 0, 0, answer)];
      EXPECT_EQ(allocationCount - before, 0);
    }
  }
  EXPECT_TRUE(codes[0] > 0 && codes[5] > 0 && codes[7] > 0);  // success and failures taken
}

// Any arm's computing calls, C++ and C, on every layout.
TEST(Allocation, ArmCallsAllocateNothing) {
  std::mt19937_64 rng(37);
  const double tool[6] = {0.01, -0.02, 0.15, 0.1, -0.2, 0.3};
  for (const arm_test::NamedArm& named : arm_test::namedArms()) {
    FkIkArm* handle = fk_ik::newArmHandle(named.arm);
    for (int k = 0; k < 20; ++k) {
      double q[6], qd[6], pose[6], j[6][6], jDot[6][6], low[6], high[6];
      arm_test::randomJoints(rng, 4, q);
      arm_test::randomJoints(rng, 1, qd);
      KDL::Frame frames[7], tcp;
      fk_ik::ArmJacobian jacobian, jacobianDot;
      const long before = allocationCount;
      named.arm.flangeFrame(q, tcp);
      named.arm.tcpFrame(q, frames[0], tcp);
      named.arm.jointFrames(q, frames);
      named.arm.jacobian(q, tcp, jacobian);
      named.arm.jacobianDot(q, qd, tcp, jacobian, jacobianDot);
      armJntPosToTcpPos(handle, q, tool, pose);
      armJacobian(handle, q, tool, j);
      armJacobianDot(handle, q, qd, tool, j, jDot);
      armLimits(handle, low, high);
      armMdh(handle, nullptr, nullptr, nullptr, nullptr, nullptr);
      double all[16][6];
      Int32 singular[16], count;
      armTcpPosToAllJntPos(handle, pose, tool, all, singular, &count);
      armTcpPosToNearestJntPos(handle, pose, tool, q, nullptr, nullptr, q);
      EXPECT_EQ(allocationCount - before, 0) << named.name;
    }
    armDestroy(handle);
  }
}

// init allocates the Robot and its three parts last; a failure there leaves no model.
TEST(Allocation, FailedInitLeavesNoModel) {
  double q[6] = {0.3, -0.8, 1.1, 0.4, 0.9, -0.5}, tool[6] = {}, pose[6], answer[6];
  const long before = allocationCount;
  init(host_support::SampleArm);
  const long perInit = allocationCount - before;
  ASSERT_GE(perInit, 4);
  for (long k = perInit - 3; k <= perInit + 1; ++k) {
    init(host_support::SampleArm);  // after a failure too
    ASSERT_EQ(jntPosToTcpPos(q, tool, pose) + tcpPosToJntPos(pose, tool, q, answer), 0);
    if (k > perInit) break;
    failingAllocation = allocationCount + k;
    EXPECT_THROW(init(host_support::SampleArm), std::bad_alloc) << k;
    failingAllocation = 0;
    for (int i = 0; i < 6; ++i) pose[i] = answer[i] = 42.0;
    EXPECT_EQ(jntPosToTcpPos(q, tool, pose) + 2 * tcpPosToJntPos(pose, tool, q, answer), 3) << k;
    for (int i = 0; i < 6; ++i) EXPECT_EQ(pose[i] + answer[i], 84.0);
  }
}

}  // namespace
