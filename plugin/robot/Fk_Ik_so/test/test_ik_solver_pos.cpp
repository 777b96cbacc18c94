// The closed-form inverse solver: round trips through the forward kinematics over named
// families of arms and joint positions, each result code explained by the rule that gives
// it, the turn alignment, and inputs that are not finite.
#include <cstring>
#include <limits>
#include <map>

#include "fk_solver_pos_tarvin2_6dof.h"
#include "ik_solver_pos_tarvin2_6dof.h"
#include "test_support.h"

using test_support::frameDistance;
using test_support::joints;

namespace {

const double kTwoPi = 2 * M_PI, kDegree = M_PI / 180;
const double kLimit = 0.017453292519943295;  // 1 degree, the elbow and wrist limit
const double kNan = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();
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

// Constructed cases on the sample arm, each with the code its rule gives.
TEST(InverseSolver, CodesOfConstructedCases) {
  Arm arm(test_support::makeRecords(test_support::kSampleArm));
  const MathVector q = joints(0.3, -0.7, 1.1, 0.4, -1.2, 0.8);
  const KDL::Frame target = arm.flange(q);
  // Invalid modes come first, before anything about the pose.
  for (Int32 m : {-2, 8, std::numeric_limits<Int32>::min(), std::numeric_limits<Int32>::max()}) {
    EXPECT_EQ(arm.solve(KDL::Frame(KDL::Vector(0, 0, 0)), q, m), 5) << m;
  }
  // A singular reference ends the call with its code under mode -1; with an explicit mode it
  // only sets the turns.
  MathVector elbow = q, wrist = q, answer;
  elbow(2) = 0, wrist(4) = 0;
  EXPECT_EQ(arm.solve(target, elbow, -1), 3);
  EXPECT_EQ(arm.solve(target, wrist, -1), 4);
  EXPECT_EQ(arm.solve(target, MathVector(6), -1), 2);
  for (const MathVector& ref : {elbow, wrist, MathVector(6)}) {
    ASSERT_EQ(arm.solve(target, ref, arm.mode(q), &answer), 0);
    arm.expectSolution(target, ref, arm.mode(q), answer);
  }
  // Beyond the sum of all |a| and |d| no candidate has a solution: 7 for every mode.
  double reach = 0;
  for (const MDH& r : arm.records) reach += std::abs(r.a) + std::abs(r.d);
  KDL::Frame far = target;
  far.p = target.p * (1.5 * reach / target.p.Norm());
  for (Int32 m = -1; m < 8; ++m) EXPECT_EQ(arm.solve(far, q, m), 7) << m;
  // The selected solution is tested in the reference's turns against 0 and +-pi with the
  // 1 degree limits, wrist first; 1.5 degrees passes (the 2 degree warning changes nothing).
  const struct {
    double q2, q4;
    Int32 code;
  } near[] = {{1.1, 0.5 * kDegree, 4},         {1.1, M_PI - 0.5 * kDegree, 4},
              {1.1, -M_PI + 0.5 * kDegree, 4}, {1.1, 1.5 * kDegree, 0},
              {0.5 * kDegree, -1.2, 3},        {-M_PI + 0.5 * kDegree, -1.2, 3},
              {1.5 * kDegree, -1.2, 0},        {0.5 * kDegree, 0.5 * kDegree, 4}};
  for (const auto& c : near) {
    MathVector p = q;
    p(1) = 0.7, p(2) = c.q2, p(4) = c.q4;
    const KDL::Frame pose = arm.flange(p);
    ASSERT_EQ(arm.solve(pose, p, -1, &answer), c.code) << c.q2 << " " << c.q4;
    for (UInt32 j = 0; c.code == 0 && j < 6; ++j) EXPECT_NEAR(answer(j), p(j), 1e-9);
    p(2) += 2 * kTwoPi, p(4) += 2 * kTwoPi;  // two turns on the same values pass
    ASSERT_EQ(arm.solve(pose, p, -1, &answer), 0);
    for (UInt32 j = 0; j < 6; ++j) EXPECT_NEAR(answer(j), p(j), 1e-9);
  }
  // Turn alignment: [-pi, pi) is turn 0 and pi turn 1; into the reference's turn, then at
  // most one turn towards the reference.
  const struct {
    double raw, ref, expected;
  } turns[] = {{-3.0, 3.0, -3.0 + kTwoPi},
               {0.5, 7.0, 0.5 + kTwoPi},
               {-3.0, M_PI, -3.0 + kTwoPi},
               {-3.0, -M_PI, -3.0},
               {3.0, M_PI, 3.0},
               {0.5, -20.0, 0.5 - 3 * kTwoPi},
               {-3.0, -3.0 + 5 * kTwoPi, -3.0 + 5 * kTwoPi},
               {3.5, -3.5, 3.5 - kTwoPi},
               {0.3, kNan, 0.3},
               {0.3, kInf, 0.3 + kTwoPi},
               {0.3, -2e10, 0.3 - kTwoPi}};
  for (const auto& c : turns) {
    MathVector p = q, ref = q;
    p(0) = c.raw, ref(0) = c.ref;  // joint 0 plays no part in the mode
    ASSERT_EQ(arm.solve(arm.flange(p), ref, -1, &answer), 0);
    EXPECT_NEAR(answer(0), c.expected, 1e-9) << c.raw << " " << c.ref;
  }
  // The last argument is never read.
  for (double last : {-1.0, 1e300, kNan}) {
    MathVector other;
    ASSERT_EQ(arm.solve(target, q, -1, &other, last), 0);
    arm.solve(target, q, -1, &answer);
    EXPECT_EQ(std::memcmp(&answer(0), &other(0), 6 * sizeof(double)), 0);
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

// Not-a-number and infinities in any pose element or reference joint, over random arms and
// every mode: a result code, never finite garbage. Solved, a pose that is not finite brings
// not-a-number into the answer, and a reference that is not finite still reaches the pose.
TEST(InverseSolver, NonFiniteInputNeverGivesFiniteGarbage) {
  std::mt19937_64 rng(99);
  std::map<Int32, int> codes;
  for (int a = 0; a < test_support::caseCount(20); ++a) {
    Arm arm(test_support::randomSixAxisArm(rng));
    const MathVector q = test_support::randomVector(rng, M_PI);
    const KDL::Frame target = arm.flange(q);
    for (double bad : {kNan, kInf, -kInf}) {
      for (int element = 0; element < 18; ++element) {
        KDL::Frame pose = target;
        MathVector ref = q, answer;
        if (element < 9)
          pose.M.data[element] = bad;
        else if (element < 12)
          pose.p.data[element - 9] = bad;
        else
          ref(element - 12) = bad;
        for (Int32 mode = -1; mode < 8; ++mode) {
          const Int32 code = arm.solve(pose, ref, mode, &answer);
          ++codes[code];
          EXPECT_TRUE(code == 0 || (code >= 2 && code <= 7)) << code;
          if (code != 0) continue;
          bool nan = false;
          for (UInt32 j = 0; j < 6; ++j) nan = nan || std::isnan(answer(j));
          if (element < 12)
            EXPECT_TRUE(nan) << element << " " << bad;
          else
            EXPECT_LT(frameDistance(arm.flange(answer), pose), 1e-9) << element << " " << bad;
        }
      }
    }
  }
  EXPECT_GT(codes[0], 0);
  EXPECT_GT(codes[7], 0);
  // Position x not a number: every quantity is not a number, which sets all three mode bits,
  // so mode 7 answers with six NaN and every other mode has no candidate.
  Arm arm(test_support::makeRecords(test_support::kSampleArm));
  const MathVector q = joints(0.3, -0.7, 1.1, 0.4, -1.2, 0.8);
  KDL::Frame nanX = arm.flange(q);
  nanX.p.x(kNan);
  EXPECT_EQ(arm.solve(nanX, q, 7), 0);
  EXPECT_EQ(arm.solve(nanX, q, 3), 7);
}

}  // namespace
