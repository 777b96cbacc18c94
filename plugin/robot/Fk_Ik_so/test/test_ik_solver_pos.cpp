// The closed-form inverse solver: round trips through the forward kinematics over named
// families of arms and joint positions, each result code explained by the rule that gives
// it, and arms whose geometry pins the boundaries. (Non-finite values and the exported
// functions' view are the facade's test.)
#include <map>

#include "fk_solver_pos_tarvin2_6dof.h"
#include "ik_solver_pos_tarvin2_6dof.h"
#include "test_support.h"

using test_support::frameDistance;
using test_support::joints;

namespace {

const double kTwoPi = 2 * M_PI;
const double kLimit = 0.017453292519943295;  // 1 degree, the elbow and wrist limit
const double kSentinel = -77.0;

struct Arm {
  explicit Arm(const std::vector<MDH>& r)
      : records(r), chain(6, &records), fk(&chain), ik(&chain) {}
  Arm(const Arm&) = delete;

  KDL::Frame flange(const MathVector& q) {
    KDL::Frame f;
    fk.jntPosToFlangePos(q, f);
    return f;
  }
  Int32 mode(const MathVector& q) {
    Int32 m = -1;
    EXPECT_EQ(chain.getMode_6dof(q, m, false), 0);
    return m;
  }
  // L of the offset cylinder from the forward kinematics: the squared distance of the wrist
  // centre (joint 4's origin) from joint 0's axis, less the squared lateral offset.
  double cylinderL(const MathVector& q) {
    KDL::Frame frames[Max_Chain_Dof];
    fk.jntPosToFlangePos(q, frames);
    const double e = records[1].d + records[2].d - records[3].d;
    return frames[4].p.x() * frames[4].p.x() + frames[4].p.y() * frames[4].p.y() - e * e;
  }
  // Solves through the base class into a vector of three sentinels: it must come back with
  // six elements, and as six sentinels after a failure.
  Int32 solve(const KDL::Frame& target, const MathVector& ref, Int32 mode,
              MathVector* answer = nullptr, double last = 0.0) {
    MathVector out(6);
    out.fill(static_cast<int>(kSentinel));
    out.resize(3);
    const Int32 code =
        static_cast<IkSolverPos&>(ik).flangePosToJntPos(target, ref, out, mode, last);
    EXPECT_EQ(out.size(), 6u);
    for (UInt32 j = 0; code != 0 && j < 6; ++j) EXPECT_EQ(out(j), kSentinel);
    if (answer != nullptr) *answer = out;
    return code;
  }
  // The answer reaches the target in the given mode, each joint within pi of the reference.
  void expectSolution(const KDL::Frame& target, const MathVector& ref, Int32 m,
                      const MathVector& answer, double tolerance = 1e-9) {
    EXPECT_LT(frameDistance(flange(answer), target), tolerance);
    EXPECT_EQ(mode(answer), m);
    for (UInt32 j = 0; j < 6; ++j) EXPECT_LE(std::abs(answer(j) - ref(j)), M_PI + 1e-9) << j;
  }

  std::vector<MDH> records;
  Chain_MDH4 chain;
  FkSolverPos_Tarvin2_6Dof fk;
  IkSolverPos_Tarvin2_6Dof ik;
};

// The turn of x, x / 2 pi to the nearest integer with pi in turn 1, and the value congruent
// to x modulo 2 pi in turn k, [(2k - 1) pi, (2k + 1) pi).
int turnOf(double x) {
  return static_cast<int>(std::floor(x / kTwoPi + 0.5));
}
double intoTurn(double x, int k) {
  while (x < (2 * k - 1) * M_PI) x += kTwoPi;
  while (x >= (2 * k + 1) * M_PI) x -= kTwoPi;
  return x;
}
bool nearZeroOrPi(double v) {
  return std::abs(v) < kLimit || std::abs(v - M_PI) < kLimit || std::abs(v + M_PI) < kLimit;
}

// Named families of joint positions on random arms of the solver's form: general, near the
// shoulder, elbow and wrist singularities, and references moved by whole turns (-3 ... 3, so
// joints beyond +-pi). Solved with the reference's mode, the pose is reached in that mode and
// turns; every singular code is traced to its rule: a singular reference (step 3), the wrist
// centre by its cylinder (step 8), a singular candidate (step 13, the same code four turns
// on) or the selected solution near 0 or +-pi in the reference's turns (step 17). Asked for
// every mode explicitly, the answer is in that mode, or no candidate has it (7).
TEST(InverseSolver, RoundTripsOverTheFamilies) {
  std::mt19937_64 rng(20261122);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI), near(-2 * kLimit, 2 * kLimit);
  std::uniform_int_distribution<int> turn(-3, 3);
  std::map<std::string, int> tally;
  for (int a = 0; a < test_support::caseCount(200); ++a) {
    Arm arm(test_support::randomSixAxisArm(rng));
    for (int k = 0; k < 40; ++k) {
      MathVector q = joints(angle(rng), angle(rng), angle(rng), angle(rng), angle(rng), angle(rng));
      const char* family = "general";
      if (k % 8 == 1) family = "elbow", q(2) = (k % 16 == 1 ? 0 : M_PI) + near(rng);
      if (k % 8 == 2) family = "wrist", q(4) = (k % 16 == 2 ? 0 : -M_PI) + near(rng);
      if (k % 8 == 3) {  // the shoulder quantity within 5e-6 of 0, by the choice of q3
        family = "shoulder";
        const MDH* r = arm.chain._mdhParam;
        const double s =
            (near(rng) * 1.5e-4 - r[2].a * std::sin(q(1)) - r[3].a * std::sin(q(1) + q(2))) /
            r[4].d;
        if (std::abs(s) <= 1) q(3) = q(1) + q(2) + std::asin(s);
      }
      int turns[6] = {0, 0, 0, 0, 0, 0};
      if (k % 2 == 0) {
        for (int& t : turns) t = turn(rng);
      }
      const KDL::Frame target = arm.flange(q);
      MathVector ref(6), answer;
      for (UInt32 j = 0; j < 6; ++j) ref(j) = q(j) + kTwoPi * turns[j];
      const Int32 code = arm.solve(target, ref, -1, &answer);
      std::string cause = "solved";
      Int32 refMode = -1;
      const Int32 refCode = arm.chain.getMode_6dof(ref, refMode, true);
      if (code == 0) {
        arm.expectSolution(target, ref, arm.mode(ref), answer);
        EXPECT_FALSE(nearZeroOrPi(intoTurn(answer(4), turnOf(ref(4)))) ||
                     nearZeroOrPi(intoTurn(answer(2), turnOf(ref(2)))));
      } else if (refCode != 0) {
        EXPECT_EQ(code, refCode);
        cause = "singular reference";
      } else if (code == 2 && arm.cylinderL(q) < 1e-4 + 1e-12) {
        cause = "cylinder";
      } else {
        ASSERT_TRUE(code == 2 || code == 3 || code == 4) << code;
        EXPECT_GT(arm.cylinderL(q), 1e-4 - 1e-12);
        MathVector far(6), farAnswer;
        for (UInt32 j = 0; j < 6; ++j) far(j) = q(j) + 4 * kTwoPi;
        const Int32 farCode = arm.solve(target, far, refMode, &farAnswer);
        cause = farCode == code ? "singular candidate" : "selected solution";
        if (farCode != code) {
          EXPECT_EQ(farCode, 0);
          const bool wrist = nearZeroOrPi(intoTurn(farAnswer(4), turnOf(ref(4))));
          EXPECT_EQ(code, wrist                                                  ? 4
                          : nearZeroOrPi(intoTurn(farAnswer(2), turnOf(ref(2)))) ? 3
                                                                                 : -1);
        }
      }
      ++tally[std::string(family) + ": " + cause];
      if (k % 4 != 0) continue;
      for (Int32 m = 0; m < 8; ++m) {
        const Int32 explicitCode = arm.solve(target, q, m, &answer);
        if (explicitCode == 0) arm.expectSolution(target, q, m, answer);
        EXPECT_TRUE(explicitCode == 0 || explicitCode == 7 ||
                    (explicitCode >= 2 && explicitCode <= 4));
        ++tally[explicitCode == 0   ? "explicit mode: solved"
                : explicitCode == 7 ? "explicit mode: 7"
                                    : "explicit mode: singular"];
      }
    }
  }
  for (const auto& [what, count] : tally) std::printf("  %-34s %6d\n", what.c_str(), count);
  EXPECT_GT(tally["general: solved"], tally["general: selected solution"] * 10);
  for (const char* needed :
       {"general: cylinder", "shoulder: singular reference", "elbow: selected solution",
        "wrist: selected solution", "explicit mode: 7"}) {
    EXPECT_GT(tally[needed], 0) << needed;
  }
}

// Arms whose geometry pins the boundaries: d[5] = 0 puts the wrist centre at the flange, a
// lateral offset e = d[1] makes the cylinder of radius |e|.
TEST(InverseSolver, CylinderShoulderLimitAndSingularCandidates) {
  std::vector<MDH> records = test_support::makeRecords(test_support::kSampleArm);
  records[3].d = records[5].d = 0;
  records[1].d = 1.25;
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
  EXPECT_LT(frameDistance(axis.flange(answer), atLimit), 1e-9);
  EXPECT_EQ(axis.solve(KDL::Frame(reachable.M,
                                  KDL::Vector(std::nextafter(-0.01, 0.0), 0, reachable.p.z())),
                       q, 0),
            2);
  // With theta[2] = pi/2 and no offsets every candidate shares the elbow bit: the other four
  // modes have no candidate.
  records[2].theta = M_PI / 2, records[4].d = 0;
  Arm shared(records);
  const KDL::Frame pose = shared.flange(q);
  for (Int32 m = 0; m < 8; ++m) {
    if ((m & 2) != (shared.mode(q) & 2)) {
      EXPECT_EQ(shared.solve(pose, q, m), 7) << m;
    }
  }
  // One singular candidate ends the call whatever mode is asked for; theta offsets move the
  // quantities away from the geometry, so the pose itself is clear of the shoulder limit.
  const double q3 = 0.2 + std::asin(-0.3922 * std::sin(0.2) / 0.0997);  // shoulder quantity 0
  const struct {
    int record;
    MathVector q;
    Int32 code;
  } singular[] = {{1, joints(0.3, 0.0, 0.2, q3, 1.0, 0.8), 2},
                  {2, joints(0.3, -0.7, 0.0, 0.4, -1.2, 0.8), 3},
                  {4, joints(0.3, -0.7, 1.1, 0.4, 0.0, 0.8), 4}};
  for (const auto& c : singular) {
    std::vector<MDH> r = test_support::makeRecords(test_support::kSampleArm);
    r[c.record].theta = 0.6;
    Arm arm(r);
    ASSERT_GT(arm.cylinderL(c.q), 1e-2);
    for (Int32 m = -1; m < 8; ++m) EXPECT_EQ(arm.solve(arm.flange(c.q), q, m), c.code) << m;
  }
  // theta[4] = pi/2 makes the wrist straight at q4 = -pi/2: the cosine is clamped to 1 and the
  // pose is solved (to 1e-7: an angle near 0 from its cosine loses half the digits).
  std::vector<MDH> straight = test_support::makeRecords(test_support::kSampleArm);
  straight[4].theta = M_PI / 2;
  Arm wrist(straight);
  std::mt19937_64 rng(17);
  int solved = 0;
  for (int k = 0; k < 200; ++k) {
    MathVector p = test_support::randomVector(rng, M_PI);
    p(4) = -M_PI / 2;
    const KDL::Frame target = wrist.flange(p);
    if (wrist.solve(target, p, -1, &answer) != 0) continue;
    wrist.expectSolution(target, p, wrist.mode(p), answer, 1e-7);
    ++solved;
  }
  EXPECT_GT(solved, 180);
}

}  // namespace
