// Three parallel axes with axes 5 and 6 meeting: every solution of arms of the designed
// chain form turned every way the description allows, against the designed solver's
// candidates of the same pose; and the nearest answer within limits.
#include <cstring>

#include "arm_handle.h"
#include "arm_ik.h"
#include "arm_test_support.h"
#include "ik_solver_pos_tarvin2_6dof.h"
#include "ik_three_parallel.h"
#include "test_support.h"

namespace {

using namespace arm_test;

bool among(const fk_ik::ArmIkSolutions& all, const double* q, double tolerance) {
  for (int k = 0; k < all.count; ++k) {
    if (jointsApart(all.q[k], q) <= tolerance) return true;
  }
  return false;
}

// A designed-form arm with random senses, base and flange, and its equivalent rows.
Arm designedArm(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> angle(-M_PI, M_PI), length(-0.5, 0.5);
  const std::vector<MDH> records = test_support::randomSixAxisArm(rng);
  double rows[6][4], signs[6];
  for (int i = 0; i < 6; ++i) {
    const double row[4] = {records[i].a, records[i].alpha, records[i].d, records[i].theta};
    std::copy(row, row + 4, rows[i]);
    signs[i] = angle(rng) < 0 ? -1 : 1;
  }
  return build(describe(rows, RowConvention::Modified, signs,
                        frame(angle(rng), angle(rng), angle(rng), length(rng), 0, 1),
                        frame(angle(rng), angle(rng), angle(rng), 0, length(rng), 0.1)));
}

// The producing joints are among the solutions, every solution reaches the pose (checked
// inside), and every candidate the designed solver solves on the equivalent rows is one.
TEST(ThreeParallel, DesignedFormArmsGiveTheDesignedCandidatesAndMore) {
  std::mt19937_64 rng(43);
  int designedRows = 0, solutions = 0;
  for (int a = 0; a < test_support::caseCount(40); ++a) {
    const Arm arm = designedArm(rng);
    const fk_ik::ArmMdh& mdh = arm.mdh();
    ASSERT_TRUE(mdh.designedForm);
    std::vector<MDH> records = test_support::makeRecords(mdh.rows);
    Chain_MDH4 chain(6, &records);
    IkSolverPos_Tarvin2_6Dof designed(&chain);
    for (int k = 0; k < 25; ++k) {
      double q[6];
      randomJoints(rng, M_PI, q);
      KDL::Frame flange;
      arm.flangeFrame(q, flange);
      fk_ik::ArmIkSolutions all;
      ASSERT_EQ(fk_ik::solveThreeParallel(arm, flange, all), fk_ik::Arm_Ok);
      ASSERT_TRUE(among(all, q, 1e-9)) << "arm " << a << " case " << k;
      solutions += all.count;
      IkSolutions candidates;
      const KDL::Frame rowsPose = mdh.base.Inverse() * flange * mdh.flange.Inverse();
      if (designed.flangePosToAllJntPos(rowsPose, test_support::joints(0, 0, 0, 0, 0, 0),
                                        candidates) != 0) {
        continue;
      }
      for (int c = 0; c < 8; ++c) {
        if (candidates.status[c] != 0) continue;
        double mapped[6];
        for (int i = 0; i < 6; ++i) mapped[i] = mdh.signs[i] * candidates.jntPos[c][i];
        EXPECT_TRUE(among(all, mapped, 1e-8)) << "arm " << a << " candidate " << c;
        ++designedRows;
      }
    }
  }
  EXPECT_GT(designedRows, 1000);
  EXPECT_GE(solutions, designedRows);
}

// Axis 1 slanted, a shoulder offset, axes 4 and 5 apart: still in closed form. At the
// wrist's singular pose (axis 6 along the parallel axes) the answers are flagged members
// of the continuum, with joint 6 at 0.
TEST(ThreeParallel, OtherArmsOfTheLayoutAndTheWristContinuum) {
  std::mt19937_64 rng(47);
  const Arm arm = build(describe(kThreeParallelRows, RowConvention::Modified, nullptr,
                                 frame(0.3, -0.2, 1.0, 0.1, 0.2, 0.3)));
  for (int k = 0; k < test_support::caseCount(300); ++k) {
    double q[6];
    randomJoints(rng, M_PI, q);
    KDL::Frame flange;
    arm.flangeFrame(q, flange);
    fk_ik::ArmIkSolutions all;
    ASSERT_EQ(fk_ik::solveThreeParallel(arm, flange, all), fk_ik::Arm_Ok) << k;
    ASSERT_TRUE(among(all, q, 1e-9)) << k;
  }
  const Arm sample = build(describe(kParallelMiddleRows, RowConvention::Modified));
  const double q[6] = {0.4, -1.1, 1.3, 0.5, 0.0, 0.7};  // joint 5 at 0: axis 6 along 2-4
  KDL::Frame flange;
  sample.flangeFrame(q, flange);
  fk_ik::ArmIkSolutions all;
  ASSERT_EQ(fk_ik::armIkAll(sample, flange, KDL::Frame::Identity(), all), fk_ik::Arm_Ok);
  int onContinuum = 0;
  for (int k = 0; k < all.count; ++k) {
    if (std::fabs(all.q[k][4]) > 1e-6) continue;
    EXPECT_TRUE(all.singular[k]) << k;
    EXPECT_EQ(all.q[k][5], 0) << k;
    onContinuum += std::fabs(all.q[k][0] - q[0]) < 1e-9;
  }
  EXPECT_EQ(onContinuum, 2);  // elbow up and down
  // The elbow stretched (joint 3 at 0): no continuum, but the Jacobian's rank drops.
  const double stretched[6] = {0.4, -1.1, 0.0, 0.5, 0.8, 0.7};
  sample.flangeFrame(stretched, flange);
  ASSERT_EQ(fk_ik::armIkAll(sample, flange, KDL::Frame::Identity(), all), fk_ik::Arm_Ok);
  int stretchedElbows = 0;
  for (int k = 0; k < all.count; ++k) {
    if (std::fabs(all.q[k][2]) > 1e-6) continue;
    EXPECT_TRUE(all.singular[k]) << k;
    ++stretchedElbows;
  }
  EXPECT_GE(stretchedElbows, 1);
}

// The nearest answer gives back the producing joints from a reference near them, keeps to
// the limits and says why it has none.
TEST(ThreeParallel, NearestWithinLimits) {
  const Arm arm = namedArms()[0].arm;
  const KDL::Frame tool = frame(0.1, 0.2, 0.3, 0.01, 0.02, 0.1);
  std::mt19937_64 rng(53);
  for (int k = 0; k < test_support::caseCount(200); ++k) {
    double q[6], ref[6], answer[6];
    randomJoints(rng, 3, q);
    for (int i = 0; i < 6; ++i) ref[i] = q[i] + 0.05 * (i % 2 ? 1 : -1);
    KDL::Frame tcp;
    arm.tcpFrame(q, tool, tcp);
    ASSERT_EQ(fk_ik::armIkNearest(arm, tcp, tool, ref, nullptr, nullptr, answer), 0) << k;
    EXPECT_LT(jointsApart(answer, q), 1e-9) << k;
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(answer[i], q[i], 1e-9) << k;  // same turn too
    // Limits around the producing joints, joint 1's a turn up, and the reference there: the
    // answer moves joint 1 a turn.
    double lower[6], upper[6];
    for (int i = 0; i < 6; ++i) {
      ref[i] = q[i] + (i == 0) * 2 * M_PI;
      lower[i] = ref[i] - 0.2;
      upper[i] = ref[i] + 0.2;
    }
    ASSERT_EQ(fk_ik::armIkNearest(arm, tcp, tool, ref, lower, upper, answer), 0);
    EXPECT_NEAR(answer[0], q[0] + 2 * M_PI, 1e-9);
    EXPECT_LT(jointsApart(answer, q), 1e-9);
  }
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
TEST(ThreeParallel, HandleFunctionsAnswerAsTheArm) {
  const Arm arm = namedArms()[0].arm;
  FkIkArm* handle = fk_ik::newArmHandle(arm);
  const double tool[6] = {0.01, 0.02, 0.1, 0.1, 0.2, 0.3}, q[6] = {0.3, -1.2, 1.5, -0.4, 1.1, 0.2};
  const KDL::Frame toolFrame(KDL::Rotation::RPY(0.1, 0.2, 0.3), KDL::Vector(0.01, 0.02, 0.1));
  double pose[6], all[16][6], nearest[6], expected[6];
  Int32 singular[16], count;
  ASSERT_EQ(armJntPosToTcpPos(handle, q, tool, pose), 0);
  const KDL::Frame tcp(KDL::Rotation::RPY(pose[3], pose[4], pose[5]),
                       KDL::Vector(pose[0], pose[1], pose[2]));
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
