// Every route of any arm's inverse (its own closed form, the reversed chain's, the nearest
// solvable arm's refined on the true one, elimination): the producing joints are among the
// solutions, each reaches the pose, and the nearest answer within limits gives them back;
// the C functions answer as the C++ ones.
#include <cstring>

#include "arm_handle.h"
#include "arm_ik.h"
#include "arm_test_support.h"
#include "test_support.h"

namespace {

using namespace arm_test;
using fk_ik::InverseRoute;

TEST(ArmInverse, EveryRouteGivesBackTheProducingJoints) {
  const InverseRoute routes[] = {
      InverseRoute::Direct,   InverseRoute::Ideal,  InverseRoute::Ideal,      InverseRoute::Direct,
      InverseRoute::Reversed, InverseRoute::Direct, InverseRoute::Elimination};  // of namedArms()
  const std::vector<NamedArm> arms = namedArms();
  const KDL::Frame tool = frame(0.1, -0.2, 0.3, 0.02, 0.01, 0.12);
  std::mt19937_64 rng(59);
  for (size_t a = 0; a < arms.size(); ++a) {
    const NamedArm& named = arms[a];
    ASSERT_EQ(named.arm.inversePlan().route, routes[a]) << named.name;
    const int cases = test_support::caseCount(200);
    for (int k = 0; k < cases; ++k) {
      const std::string what = named.name + " case " + std::to_string(k);
      double q[6], ref[6], answer[6], lower[6], upper[6];
      randomJoints(rng, M_PI, q);
      KDL::Frame tcp, reached;
      named.arm.tcpFrame(q, tool, tcp);
      fk_ik::ArmIkSolutions all;
      ASSERT_EQ(fk_ik::armIkAll(named.arm, tcp, tool, all), 0) << what;
      bool among = false;
      int near = 0;  // solutions within 0.1 of the producing joints
      for (int s = 0; s < all.count; ++s) {
        among = among || jointsApart(all.q[s], q) < 1e-9;
        near += jointsApart(all.q[s], q) < 0.1;
        named.arm.tcpFrame(all.q[s], tool, reached);
        ASSERT_LT(frameDistance(reached, tcp, named.arm.size()), 2e-10) << what;
      }
      // A refined idealised arm may lose a solution near a singular pose, where the
      // idealised candidates lead the refinement astray: elimination then finds it.
      EXPECT_TRUE(among) << what;
      // From a reference 0.05 from the producing joints, the nearest answer is a solution no
      // farther; the producing joints, same turn, where no other solution is near them.
      for (int i = 0; i < 6; ++i) ref[i] = q[i] + 0.05 * (i % 2 ? 1 : -1);
      ASSERT_EQ(fk_ik::armIkNearest(named.arm, tcp, tool, ref, nullptr, nullptr, answer), 0);
      named.arm.tcpFrame(answer, tool, reached);
      EXPECT_LT(frameDistance(reached, tcp, named.arm.size()), 2e-10) << what;
      for (int i = 0; i < 6; ++i) {
        EXPECT_LE(std::fabs(answer[i] - ref[i]), 0.05 + 1e-9) << what;
        if (near == 1) {
          EXPECT_NEAR(answer[i], q[i], 1e-9) << what;
        }
      }
      // Limits around the producing joints with joint 1's a turn up: the answer moves it.
      for (int i = 0; i < 6; ++i) {
        ref[i] = q[i] + (i == 0) * 2 * M_PI;
        lower[i] = ref[i] - 0.2;
        upper[i] = ref[i] + 0.2;
      }
      ASSERT_EQ(fk_ik::armIkNearest(named.arm, tcp, tool, ref, lower, upper, answer), 0) << what;
      EXPECT_NEAR(answer[0], q[0] + 2 * M_PI, 1e-9) << what;
      EXPECT_LT(jointsApart(answer, q), 1e-9) << what;
    }
  }
}

// Every axis coincident, and two coincident axes in a general arm: a code or solutions that
// reach the pose, never a crash. The nearest answer's codes: limits crossed or not numbers,
// none within them, out of reach, an arm no route covers.
TEST(ArmInverse, DegenerateArmsAndNoNearestAnswerGiveACode) {
  double rows[6][4];
  std::copy(&kNoLayoutRows[0][0], &kNoLayoutRows[0][0] + 24, &rows[0][0]);
  rows[1][0] = rows[1][1] = 0;  // axes 2 and 3 one line
  const Arm arms[2] = {degenerateArm(), build(describe(rows, RowConvention::Standard))};
  std::mt19937_64 rng(61);
  for (const Arm& arm : arms) {
    for (int k = 0; k < 20; ++k) {
      double q[6];
      randomJoints(rng, M_PI, q);
      KDL::Frame tcp, reached;
      arm.flangeFrame(q, tcp);
      fk_ik::ArmIkSolutions all;
      const Int32 code = fk_ik::armIkAll(arm, tcp, KDL::Frame::Identity(), all);
      EXPECT_TRUE(code == 0 || code == fk_ik::Arm_Out_Of_Reach || code == fk_ik::Arm_Not_Covered);
      for (int s = 0; s < all.count; ++s) {
        arm.flangeFrame(all.q[s], reached);
        EXPECT_LT(frameDistance(reached, tcp, arm.size()), 2e-10);
      }
    }
  }
  fk_ik::ArmIkSolutions all;
  EXPECT_EQ(fk_ik::armIkAll(degenerateArm(), KDL::Frame::Identity(), KDL::Frame::Identity(), all),
            fk_ik::Arm_Not_Covered);
  const Arm arm = namedArms()[0].arm;
  const KDL::Frame tool = frame(0.1, 0.2, 0.3, 0.01, 0.02, 0.1);
  double q[6] = {}, answer[6];
  KDL::Frame tcp;
  arm.tcpFrame(q, tool, tcp);
  const double crossed[6] = {1, 0, 0, 0, 0, 0}, zero[6] = {}, nan[6] = {0, 0, 0, NAN, 0, 0};
  const double narrow[6] = {0.1, 0.1, 0.1, 0.1, 0.1, 0.1};
  EXPECT_EQ(fk_ik::armIkNearest(arm, tcp, tool, q, crossed, zero, answer), 8);
  EXPECT_EQ(fk_ik::armIkNearest(arm, tcp, tool, q, nan, narrow, answer), 8);
  EXPECT_EQ(fk_ik::armIkNearest(arm, tcp, tool, q, narrow, narrow, answer), 7);
  tcp.p = KDL::Vector(10, 0, 0);
  EXPECT_EQ(fk_ik::armIkNearest(arm, tcp, tool, q, nullptr, nullptr, answer), 6);
  EXPECT_EQ(fk_ik::armIkNearest(degenerateArm(), tcp, tool, q, nullptr, nullptr, answer), 11);
}

// The C functions answer as the C++ ones, bit for bit, and write six zeros on failure.
TEST(ArmInverse, HandleFunctionsAnswerAsTheArm) {
  const Arm arm = namedArms()[0].arm;
  FkIkArm* handle = fk_ik::newArmHandle(arm);
  const double tool[6] = {0.01, 0.02, 0.1, 0.1, 0.2, 0.3}, q[6] = {0.3, -1.2, 1.5, -0.4, 1.1, 0.2};
  const KDL::Frame toolFrame = frame(0.1, 0.2, 0.3, 0.01, 0.02, 0.1);
  double pose[6], all[16][6], nearest[6], expected[6];
  Int32 singular[16], count;
  ASSERT_EQ(armJntPosToTcpPos(handle, q, tool, pose), 0);
  const KDL::Frame tcp = frame(pose[3], pose[4], pose[5], pose[0], pose[1], pose[2]);
  fk_ik::ArmIkSolutions solutions;
  ASSERT_EQ(fk_ik::armIkAll(arm, tcp, toolFrame, solutions), 0);
  ASSERT_EQ(armTcpPosToAllJntPos(handle, pose, tool, all, singular, &count), 0);
  ASSERT_EQ(count, solutions.count);
  EXPECT_EQ(0, std::memcmp(all, solutions.q, sizeof(double) * 6 * count));
  for (int k = 0; k < count; ++k) EXPECT_EQ(singular[k], solutions.singular[k]);
  ASSERT_EQ(fk_ik::armIkNearest(arm, tcp, toolFrame, q, nullptr, nullptr, expected), 0);
  ASSERT_EQ(armTcpPosToNearestJntPos(handle, pose, tool, q, nullptr, nullptr, nearest), 0);
  EXPECT_EQ(0, std::memcmp(nearest, expected, sizeof nearest));
  pose[0] = 10;
  EXPECT_EQ(armTcpPosToAllJntPos(handle, pose, tool, all, singular, &count), 6);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(armTcpPosToNearestJntPos(handle, pose, tool, q, nullptr, nullptr, nearest), 6);
  for (double value : nearest) EXPECT_EQ(value, 0);
  pose[0] = NAN;
  EXPECT_EQ(armTcpPosToAllJntPos(handle, pose, tool, all, singular, &count), 9);
  EXPECT_EQ(armTcpPosToAllJntPos(nullptr, pose, tool, all, singular, &count), 9);
  EXPECT_EQ(armTcpPosToNearestJntPos(nullptr, pose, tool, q, nullptr, nullptr, nearest), 9);
  armDestroy(handle);
}

}  // namespace
