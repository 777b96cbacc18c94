// The forward kinematics' computing calls allocate nothing: each runs between two readings
// of the count of allocations (allocation_counter.h).
#include <random>

#include "allocation_counter.h"
#include "fk_solver_pos_tarvin2_6dof.h"
#include "jacobian.h"
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

}  // namespace
