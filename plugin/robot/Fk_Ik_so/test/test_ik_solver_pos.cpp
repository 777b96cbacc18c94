// The inverse solver's round trips and boundaries (also ASan's way into its stack arrays).
#include <map>

#include "fk_solver_pos_tarvin2_6dof.h"
#include "ik_solver_pos_tarvin2_6dof.h"
#include "test_support.h"

using test_support::joints;

namespace {

const double kTwoPi = 2 * M_PI, kLimit = 0.017453292519943295;  // 1 degree: elbow, wrist limit

struct Arm {
  explicit Arm(const std::vector<MDH>& r)
      : records(r), chain(6, &records), fk(&chain), ik(&chain) {}

  KDL::Frame flange(const MathVector& q) { return fk.jntPosToFlangePos(q, frame), frame; }
  // L of the offset cylinder: wrist centre's squared distance from axis 0 less the offset's.
  double cylinderL(const MathVector& q) {
    KDL::Frame frames[Max_Chain_Dof];
    fk.jntPosToFlangePos(q, frames);
    const double e = records[1].d + records[2].d - records[3].d;
    return frames[4].p.x() * frames[4].p.x() + frames[4].p.y() * frames[4].p.y() - e * e;
  }
  // Through the base class into three sentinels: six elements back, sentinels on failure.
  Int32 solve(const KDL::Frame& pose, const MathVector& ref, Int32 m, MathVector* into = nullptr) {
    MathVector out(6);
    out.fill(-77);
    out.resize(3);
    const Int32 code = static_cast<IkSolverPos&>(ik).flangePosToJntPos(pose, ref, out, m, 0);
    EXPECT_EQ(out.size(), 6u);
    for (UInt32 j = 0; code != 0 && j < 6; ++j) EXPECT_EQ(out(j), -77.0);
    if (into != nullptr) *into = out;
    return code;
  }
  std::vector<MDH> records;
  Chain_MDH4 chain;
  FkSolverPos_Tarvin2_6Dof fk;
  IkSolverPos_Tarvin2_6Dof ik;
  KDL::Frame frame;
};

// x moved into the turn of ref, [(2k - 1) pi, (2k + 1) pi), within 1 degree of 0 or +-pi.
bool nearZeroOrPi(double x, double ref) {
  const double k = std::floor(ref / kTwoPi + 0.5);
  while (x < (2 * k - 1) * M_PI) x += kTwoPi;
  while (x >= (2 * k + 1) * M_PI) x -= kTwoPi;
  return std::abs(x) < kLimit || std::abs(x - M_PI) < kLimit || std::abs(x + M_PI) < kLimit;
}

// Families general, elbow, wrist, shoulder, straight; every failure traced: a singular reference,
// the cylinder, a singular candidate (same code 4 turns on) or the selected solution near 0, pi.
TEST(InverseSolver, RoundTripsOverTheFamilies) {
  std::mt19937_64 rng(20261122);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI), near(-2 * kLimit, 2 * kLimit);
  std::uniform_int_distribution<int> turn(-3, 3);
  std::map<std::string, int> tally;
  for (int a = 0; a < test_support::caseCount(200); ++a) {
    std::vector<MDH> records = test_support::randomSixAxisArm(rng);
    if (a % 2 == 0) records[4].theta = M_PI / 2;  // straight wrists at q4 = -pi/2
    Arm arm(records);
    for (int k = 0; k < 40; ++k) {
      MathVector q = joints(angle(rng), angle(rng), angle(rng), angle(rng), angle(rng), angle(rng));
      const char* family = "general";
      if (k % 8 == 1) family = "elbow", q(2) = (k % 16 == 1 ? 0 : M_PI) + near(rng);
      if (k % 8 == 2) family = "wrist", q(4) = (k % 16 == 2 ? 0 : -M_PI) + near(rng);
      if (k % 8 == 3) {  // the shoulder quantity within 5e-6 of 0, by the choice of q3
        family = "shoulder";
        const double s = (near(rng) * 1.5e-4 - records[2].a * std::sin(q(1)) -
                          records[3].a * std::sin(q(1) + q(2))) /
                         records[4].d;
        if (std::abs(s) <= 1) q(3) = q(1) + q(2) + std::asin(s);
      }
      if (k % 8 == 4 && a % 2 == 0) family = "straight", q(4) = -M_PI / 2;
      const KDL::Frame target = arm.flange(q);
      MathVector ref(6), answer;
      for (UInt32 j = 0; j < 6; ++j) ref(j) = q(j) + (k % 2 == 0 ? kTwoPi * turn(rng) : 0.0);
      const Int32 code = arm.solve(target, ref, -1, &answer);
      std::string cause = code == 0 ? "solved" : "failed";  // failed: straight wrists only
      Int32 refMode = -1;
      const Int32 refCode = arm.chain.getMode_6dof(ref, refMode, true);
      if (code != 0 && family[1] == 't') {
      } else if (code == 0) {
        // In the reference's mode and turns; straight wrists to 1e-7 (an angle from its cosine).
        EXPECT_LT(host_support::distance(arm.flange(answer), target),
                  family[1] == 't' ? 1e-7 : 1e-9);
        Int32 m = -1;
        EXPECT_TRUE(arm.chain.getMode_6dof(answer, m, false) == 0 && m == refMode) << m;
        for (UInt32 j = 0; j < 6; ++j) EXPECT_LE(std::abs(answer(j) - ref(j)), M_PI + 1e-9) << j;
        EXPECT_FALSE(nearZeroOrPi(answer(4), ref(4)) || nearZeroOrPi(answer(2), ref(2)));
      } else if (refCode != 0) {
        EXPECT_EQ(code, refCode);
        cause = "singular reference";
      } else if (code == 2 && arm.cylinderL(q) < 1e-4 + 1e-12) {
        cause = "cylinder";
      } else {
        ASSERT_TRUE(code >= 2 && code <= 4 && arm.cylinderL(q) > 1e-4 - 1e-12) << code;
        MathVector far(6), farAnswer;
        for (UInt32 j = 0; j < 6; ++j) far(j) = q(j) + 4 * kTwoPi;
        const Int32 farCode = arm.solve(target, far, refMode, &farAnswer);
        cause = farCode == code ? "singular candidate" : "selected solution";
        const bool wrist = nearZeroOrPi(farAnswer(4), ref(4));
        EXPECT_TRUE(farCode == code || (farCode == 0 && code == (wrist ? 4 : 3) &&
                                        (wrist || nearZeroOrPi(farAnswer(2), ref(2)))));
      }
      ++tally[std::string(family) + ": " + cause];
    }
  }
  EXPECT_GT(tally["general: solved"], tally["general: selected solution"] * 10);
  EXPECT_GT(tally["straight: solved"], tally["straight: failed"] * 3);
  EXPECT_TRUE(tally["general: cylinder"] && tally["shoulder: singular reference"] &&
              tally["elbow: selected solution"] && tally["wrist: selected solution"]);
}

// d[5] = 0 puts the wrist centre at the flange, an offset e = d[1] makes the cylinder |e|.
TEST(InverseSolver, CylinderShoulderLimitAndSingularCandidates) {
  std::vector<MDH> records = test_support::makeRecords(host_support::SampleArm);
  records[3].d = records[5].d = 0, records[1].d = 1.25;
  Arm offset(records);
  const MathVector q = joints(0.3, -0.7, 1.1, 0.4, -1.2, 0.8);
  const KDL::Rotation rotation = offset.flange(q).M;
  // L = 0.75^2 + 1^2 - 1.25^2 is exactly 0: on the cylinder; just outside it 0 < L < 1e-4.
  EXPECT_EQ(offset.solve(KDL::Frame(rotation, KDL::Vector(-0.75, 1.0, 0.3)), q, -1), 6);
  EXPECT_EQ(offset.solve(KDL::Frame(rotation, KDL::Vector(0, 0, 0.3)), q, 3), 6);
  EXPECT_EQ(offset.solve(KDL::Frame(rotation, KDL::Vector(-0.75, 1.00001, 0.3)), q, -1), 2);
  records[1].d = 0;  // no offset: L is the squared distance from the axis, 1e-4 passes
  Arm axis(records);
  const KDL::Frame reachable = axis.flange(joints(0.0, -0.3, 1.2, 0.5, 0.8, 0.2));
  MathVector answer;
  const KDL::Frame atLimit(reachable.M, KDL::Vector(-0.01, 0, reachable.p.z()));
  ASSERT_EQ(axis.solve(atLimit, q, 0, &answer), 0);
  EXPECT_LT(host_support::distance(axis.flange(answer), atLimit), 1e-9);
  const KDL::Vector inside(std::nextafter(-0.01, 0.0), 0, reachable.p.z());
  EXPECT_EQ(axis.solve(KDL::Frame(reachable.M, inside), q, 0), 2);
  // One singular candidate ends the call in any mode; theta offsets keep the pose itself clear.
  const double q3 = 0.2 + std::asin(-0.3922 * std::sin(0.2) / 0.0997);  // shoulder quantity 0
  const MathVector singular[] = {joints(0.3, 0.0, 0.2, q3, 1.0, 0.8),   // codes 2, 3, 4
                                 joints(0.3, -0.7, 0.0, 0.4, -1.2, 0.8),
                                 joints(0.3, -0.7, 1.1, 0.4, 0.0, 0.8)};
  for (int c = 0; c < 3; ++c) {
    std::vector<MDH> r = test_support::makeRecords(host_support::SampleArm);
    r[c == 2 ? 4 : c + 1].theta = 0.6;
    Arm arm(r);
    ASSERT_GT(arm.cylinderL(singular[c]), 1e-2);
    for (Int32 m = -1; m < 8; ++m) EXPECT_EQ(arm.solve(arm.flange(singular[c]), q, m), c + 2);
  }
}

// Turn counts change at odd multiples of pi: the turn of the reference's q4 decides whether
// the 1 degree wrist test sees the aligned q4 at -pi or pi, or a turn further on.
TEST(InverseSolver, TurnCountsChangeAtOddMultiplesOfPi) {
  Arm arm(test_support::makeRecords(host_support::SampleArm));
  for (const double side : {1.0, -1.0}) {  // q4 half a degree inside pi, or inside -pi
    const MathVector q = joints(0.3, -0.7, 1.1, 0.4, side * (M_PI - kLimit / 2), 0.8);
    Int32 mode = -1;
    ASSERT_EQ(arm.chain.getMode_6dof(q, mode, true), 0);
    MathVector ref = q;
    for (const double apart : {-1e-7, 1e-7}) {  // turn -1 or 1, then -2 or 2
      ref(4) = -side * (3 * M_PI + apart);
      EXPECT_EQ(arm.solve(arm.flange(q), ref, mode), apart < 0 ? 4 : 0) << side << " " << apart;
    }
  }
}

}  // namespace
