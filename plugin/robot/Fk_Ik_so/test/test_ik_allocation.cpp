// The inverse kinematics' computing calls allocate nothing. This program counts allocations
// (allocation_counter.h) and runs getMode_6dof and flangePosToJntPos between two readings
// of the count, over success and every failure path.
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>
#include <vector>

#include "allocation_counter.h"
#include "fk_solver_pos_tarvin2_6dof.h"
#include "ik_solver_pos_tarvin2_6dof.h"
#include "test_support.h"

namespace {

TEST(Allocation, TheCountSeesAllocations) {
  const long before = allocationCount;
  std::vector<double> v(100);
  void* p = ::operator new(16);
  ::operator delete(p);
  EXPECT_EQ(allocationCount - before, 2);
  EXPECT_EQ(v.size(), 100u);
}

TEST(Allocation, ModeAndInverseSolverAllocateNothing) {
  struct Case {
    KDL::Frame pose;
    MathVector ref;
  };
  const int arms = 10, positions = 20;
  std::mt19937_64 rng(31);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI);
  std::vector<std::vector<MDH>> records;
  std::vector<Case> cases;
  for (int a = 0; a < arms; ++a) {
    records.push_back(test_support::randomSixAxisArm(rng));
    Chain_MDH4 chain(6, &records.back());
    FkSolverPos_Tarvin2_6Dof fk(&chain);
    for (int k = 0; k < positions; ++k) {
      Case c{KDL::Frame(), test_support::joints(angle(rng), angle(rng), angle(rng), angle(rng),
                                                angle(rng), angle(rng))};
      fk.jntPosToFlangePos(c.ref, c.pose);
      if (k % 5 == 1) c.pose.p = c.pose.p * 100.0;                         // out of reach
      if (k % 5 == 2) c.pose.p.x(std::nan(""));                            // not a number
      if (k % 5 == 3) c.ref(0) = std::numeric_limits<double>::infinity();  // saturated turns
      cases.push_back(c);
    }
  }

  int codes[8] = {};
  long during = 0;
  for (int a = 0; a < arms; ++a) {
    Chain_MDH4 chain(6, &records[a]);
    IkSolverPos_Tarvin2_6Dof ik(&chain);
    const long before = allocationCount;
    for (int k = 0; k < positions; ++k) {
      const Case& c = cases[a * positions + k];
      Int32 mode = 0;
      chain.getMode_6dof(c.ref, mode, true);
      chain.getMode_6dof(c.ref, mode, false);
      for (Int32 m = -2; m <= 8; ++m) {
        MathVector answer(3);
        ++codes[ik.flangePosToJntPos(c.pose, c.ref, answer, m, 0.0)];
      }
    }
    during += allocationCount - before;
  }

  EXPECT_EQ(during, 0);
  // Success and the failure paths were all taken.
  EXPECT_GT(codes[0], 0);
  EXPECT_GT(codes[5], 0);
  EXPECT_GT(codes[7], 0);
}

}  // namespace
