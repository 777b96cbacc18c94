// Allocation: every computing call runs between two readings of the count of allocations
// and makes none, over success and the failure paths; and an allocation that fails inside
// init leaves no model behind (code 1) until an init succeeds.
#include <algorithm>
#include <limits>

#include "allocation_counter.h"
#include "fk_ik_so.h"
#include "jacobian.h"
#include "robot.h"
#include "test_support.h"

namespace {

template <typename F>
long allocationsOf(F f) {
  const long before = allocationCount.load();
  f();
  return allocationCount.load() - before;
}

TEST(Allocation, ComputingCallsAllocateNothing) {
  ASSERT_EQ(allocationsOf([] { delete new double(1.0); }), 1);  // the count sees them
  std::mt19937_64 rng(31);
  const Tool tool = {0.01, -0.02, 0.15, 0.1, -0.2, 0.3};
  const double toolArray[6] = {tool.x, tool.y, tool.z, tool.rx, tool.ry, tool.rz};
  int codes[8] = {};
  for (int a = 0; a < 10; ++a) {
    const std::vector<MDH> records = test_support::randomSixAxisArm(rng);
    double rows[6][4];
    for (int i = 0; i < 6; ++i) {
      rows[i][0] = records[i].a, rows[i][1] = records[i].alpha;
      rows[i][2] = records[i].d, rows[i][3] = records[i].theta;
    }
    Robot robot(records);
    init(rows);
    Chain_MDH4 chain(6, &records);
    FkSolverPos_Tarvin2_6Dof fk(&chain);
    IkSolverPos_Tarvin2_6Dof ik(&chain);
    for (int k = 0; k < 20; ++k) {
      MathVector q = test_support::randomVector(rng, M_PI), pose(6), answer(3);
      KDL::Frame flange, segments[Max_Chain_Dof];
      MathJacobian jacobian(6, 6), jacobianDot(6, 6);
      double poseArray[6], answerArray[6];
      EXPECT_EQ(allocationsOf([&] {
                  fk.jntPosToFlangePos(q, flange);
                  fk.jntPosToFlangePos(q, 4, flange);
                  fk.jntPosToFlangePos(q, segments);
                  fk.jntPosToJacobians(q, tool, jacobian);
                  fk.jntPosToJacobiansDot(q, q, tool, jacobian, jacobianDot);
                  robot.jntPosToTcpPos(q, tool, pose);
                  jntPosToTcpPos(&q(0), toolArray, poseArray);
                }),
                0);
      if (k % 5 == 1) flange.p = flange.p * 100.0, pose(0) = poseArray[0] = 100.0;  // out of reach
      if (k % 5 == 2) flange.p.x(std::nan("")), pose(1) = poseArray[1] = std::nan("");
      if (k % 5 == 3) q(0) = std::numeric_limits<double>::infinity();  // saturated turn count
      EXPECT_EQ(allocationsOf([&] {
                  Int32 mode;
                  chain.getMode_6dof(q, mode, true);
                  for (Int32 m = -2; m <= 8; ++m)
                    ++codes[ik.flangePosToJntPos(flange, q, answer, m, 0.0)];
                  ++codes[robot.tcpPosToJntPos(pose, tool, q, answer)];
                  ++codes[tcpPosToJntPos(poseArray, toolArray, &q(0), answerArray)];
                }),
                0);
    }
  }
  EXPECT_GT(codes[0], 0);  // success and the failure paths were all taken
  EXPECT_GT(codes[5], 0);
  EXPECT_GT(codes[7], 0);
}

// init allocates the Robot and its three parts last; when any of those allocations fails the
// old model is already gone and the computing functions answer 1, without touching their
// outputs, until an init succeeds. (The parts built before the failure are not released, by
// design: this program runs without leak detection.)
TEST(Allocation, FailedInitLeavesNoModel) {
  const double q[6] = {0.3, -0.8, 1.1, 0.4, 0.9, -0.5}, tool[6] = {};
  double pose[6], answer[6];
  const long perInit = allocationsOf([] { init(test_support::kSampleArm); });
  ASSERT_GE(perInit, 4);
  for (long k = perInit - 3; k <= perInit; ++k) {
    init(test_support::kSampleArm);
    ASSERT_EQ(jntPosToTcpPos(q, tool, pose), 0);
    failingAllocation = allocationCount + k;
    EXPECT_THROW(init(test_support::kSampleArm), std::bad_alloc) << k;
    failingAllocation = 0;
    std::fill(pose, pose + 6, 42.0);
    std::fill(answer, answer + 6, 42.0);
    EXPECT_EQ(jntPosToTcpPos(q, tool, pose), 1) << k;
    EXPECT_EQ(tcpPosToJntPos(pose, tool, q, answer), 1) << k;
    for (int i = 0; i < 6; ++i) EXPECT_EQ(pose[i] + answer[i], 84.0);
  }
  init(test_support::kSampleArm);
  EXPECT_EQ(jntPosToTcpPos(q, tool, pose), 0);
  EXPECT_EQ(tcpPosToJntPos(pose, tool, q, answer), 0);
}

}  // namespace
