// Three parallel axes with axes 5 and 6 meeting: arms of the designed chain form turned
// every way the description allows, against the designed solver's candidates of the same
// pose; and the continuum at the wrist.
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

// Joint 5 at 0 (axis 6 along the parallel axes): the answers there are flagged members of
// the continuum with joint 6 at 0, elbow up and down. The elbow stretched (joint 3 at 0): no
// continuum, but the Jacobian's rank drops: flagged.
TEST(ThreeParallel, TheWristContinuumAndTheStretchedElbow) {
  const Arm sample = build(describe(kParallelMiddleRows, RowConvention::Modified));
  const struct {
    double q[6];
    int joint;
    bool continuum;
  } poses[] = {{{0.4, -1.1, 1.3, 0.5, 0.0, 0.7}, 4, true},
               {{0.4, -1.1, 0.0, 0.5, 0.8, 0.7}, 2, false}};
  for (const auto& pose : poses) {
    KDL::Frame flange;
    sample.flangeFrame(pose.q, flange);
    fk_ik::ArmIkSolutions all;
    ASSERT_EQ(fk_ik::armIkAll(sample, flange, KDL::Frame::Identity(), all), fk_ik::Arm_Ok);
    int members = 0;
    for (int k = 0; k < all.count; ++k) {
      if (std::fabs(all.q[k][pose.joint]) > 1e-6) continue;
      EXPECT_TRUE(all.singular[k]) << k;
      EXPECT_TRUE(!pose.continuum || all.q[k][5] == 0) << k << ": " << all.q[k][5];
      members += !pose.continuum || std::fabs(all.q[k][0] - pose.q[0]) < 1e-9;
    }
    EXPECT_TRUE(pose.continuum ? members == 2 : members >= 1) << members;
  }
}

}  // namespace
