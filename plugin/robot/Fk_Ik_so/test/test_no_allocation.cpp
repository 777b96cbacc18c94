// The forward kinematics, the Jacobians, the Robot facade and the exported functions
// allocate nothing: each call runs between two readings of the count of allocations
// (allocation_counter.h).
#include <random>

#include "allocation_counter.h"
#include "fk_ik_so.h"
#include "fk_solver_pos_tarvin2_6dof.h"
#include "jacobian.h"
#include "robot.h"
#include "test_support.h"

namespace {

// Allocations made while f runs.
template <typename F>
long allocationsOf(F f) {
  const long before = allocationCount.load();
  f();
  return allocationCount.load() - before;
}

class NoAllocation : public ::testing::Test {
 protected:
  NoAllocation() : records(test_support::randomArm(rng)), chain(6, &records), fk(&chain) {
    std::uniform_real_distribution<double> angle(-M_PI, M_PI);
    jnt.resize(6);
    for (UInt32 i = 0; i < 6; ++i) jnt(i) = angle(rng);
  }

  std::mt19937_64 rng{42};
  std::vector<MDH> records;
  Chain_MDH4 chain;
  FkSolverPos_Tarvin2_6Dof fk;
  MathVector jnt;
};

// The counter sees the allocations of the program itself, so a zero below means
// something.
TEST_F(NoAllocation, CounterSeesAnAllocation) {
  EXPECT_EQ(allocationsOf([] { delete new double(1.0); }), 1);
}

TEST_F(NoAllocation, ForwardKinematics) {
  KDL::Frame flange, segments[Max_Chain_Dof];
  EXPECT_EQ(allocationsOf([&] { fk.jntPosToFlangePos(jnt, flange); }), 0);
  EXPECT_EQ(allocationsOf([&] { fk.jntPosToFlangePos(jnt, 4, flange); }), 0);
  EXPECT_EQ(allocationsOf([&] { fk.jntPosToFlangePos(jnt, segments); }), 0);
}

TEST_F(NoAllocation, Jacobians) {
  const Tool tool = {0.01, -0.02, 0.15, 0.1, -0.2, 0.3};
  MathJacobian jacobian(6, 6), jacobianDot(6, 6);
  EXPECT_EQ(allocationsOf([&] { fk.jntPosToJacobians(jnt, tool, jacobian); }), 0);
  EXPECT_EQ(allocationsOf([&] { fk.jntPosToJacobiansDot(jnt, jnt, tool, jacobian, jacobianDot); }),
            0);
}

// Forward and inverse, through the facade and the exported functions; the inverse on a
// pose it reaches and on one out of reach.
TEST_F(NoAllocation, RobotAndExportedFunctions) {
  const Tool tool = {0.01, -0.02, 0.15, 0.1, -0.2, 0.3};
  const double toolArray[6] = {tool.x, tool.y, tool.z, tool.rx, tool.ry, tool.rz};
  Robot robot(test_support::makeRecords(test_support::kSampleArm));
  init(test_support::kSampleArm);
  const double q[6] = {0.3, -0.8, 1.1, 0.4, 0.9, -0.5};
  jnt = q;
  MathVector pose(6), answer(6), far(6);
  double poseArray[6], answerArray[6], farArray[6];
  EXPECT_EQ(allocationsOf([&] { robot.jntPosToTcpPos(jnt, tool, pose); }), 0);
  EXPECT_EQ(allocationsOf([&] { jntPosToTcpPos(q, toolArray, poseArray); }), 0);
  far = pose;
  far(0) = 100.0;
  for (UInt32 i = 0; i < 6; ++i) farArray[i] = far(i);
  Int32 codes[4];
  EXPECT_EQ(allocationsOf([&] {
              codes[0] = robot.tcpPosToJntPos(pose, tool, jnt, answer);
              codes[1] = robot.tcpPosToJntPos(far, tool, jnt, answer);
              codes[2] = tcpPosToJntPos(poseArray, toolArray, q, answerArray);
              codes[3] = tcpPosToJntPos(farArray, toolArray, q, answerArray);
            }),
            0);
  EXPECT_EQ(codes[0], 0);
  EXPECT_NE(codes[1], 0);
  EXPECT_EQ(codes[2], 0);
  EXPECT_NE(codes[3], 0);
}

}  // namespace
