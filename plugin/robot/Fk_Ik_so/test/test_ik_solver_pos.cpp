// The closed-form inverse solver: round trips through the forward kinematics over random
// arms, the result codes of constructed cases, turn alignment and inputs that are not numbers.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <map>

#include "fk_solver_pos_tarvin2_6dof.h"
#include "ik_solver_pos_tarvin2_6dof.h"
#include "test_support.h"

using test_support::frameDistance;
using test_support::joints;

namespace {

const double kTwoPi = 2 * M_PI;
const double kDegree = M_PI / 180;
const double kSingularLimit = 0.017453292519943295;  // 1 degree, the solver's elbow and wrist limit
const double kNan = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();
const double kSentinel = -77.0;

// An arm with its chain and both solvers.
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
  // centre (joint 4's frame origin) from joint 0's axis, less the squared lateral offset.
  double cylinderL(const MathVector& q) {
    KDL::Frame frames[Max_Chain_Dof];
    fk.jntPosToFlangePos(q, frames);
    const double e = records[1].d + records[2].d - records[3].d;
    const KDL::Vector& w = frames[4].p;
    return w.x() * w.x() + w.y() * w.y() - e * e;
  }
  // Solves into a vector of three sentinels. The solver resizes it to six first and writes
  // it only on success, so after a failure it must come back as six sentinels.
  Int32 solve(const KDL::Frame& target, const MathVector& ref, Int32 mode,
              MathVector* answer = nullptr) {
    MathVector out(6);
    out.fill(static_cast<int>(kSentinel));
    out.resize(3);
    const Int32 code = ik.flangePosToJntPos(target, ref, out, mode, 0.0);
    EXPECT_EQ(out.size(), 6u);
    for (UInt32 j = 0; code != 0 && j < out.size(); ++j) EXPECT_EQ(out(j), kSentinel);
    if (answer != nullptr) *answer = out;
    return code;
  }

  std::vector<MDH> records;
  Chain_MDH4 chain;
  FkSolverPos_Tarvin2_6Dof fk;
  IkSolverPos_Tarvin2_6Dof ik;
};

// A 6-axis arm of the solver's form with metre-sized links.
std::vector<MDH> sampleArm() {
  const double rows[6][4] = {{0, 0, 0.1625, 0},        {0, -M_PI / 2, 0, 0},
                             {0.425, 0, 0, 0},         {0.3922, M_PI, 0.1333, 0},
                             {0, M_PI / 2, 0.0997, 0}, {0, M_PI / 2, 0.0996, 0}};
  return test_support::makeRecords(rows);
}

const MathVector kSampleJoints = joints(0.3, -0.7, 1.1, 0.4, -1.2, 0.8);

// The value congruent to x modulo 2 pi in turn k, [(2k - 1) pi, (2k + 1) pi).
double intoTurn(double x, int k) {
  while (x < (2 * k - 1) * M_PI) x += kTwoPi;
  while (x >= (2 * k + 1) * M_PI) x -= kTwoPi;
  return x;
}

bool nearZeroOrPi(double v) {
  return std::abs(v) < kSingularLimit || std::abs(v - M_PI) < kSingularLimit ||
         std::abs(v + M_PI) < kSingularLimit;
}

bool hasNan(const MathVector& v) {
  for (UInt32 j = 0; j < v.size(); ++j) {
    if (std::isnan(v(j))) return true;
  }
  return false;
}

// The answer reaches the target, has the given mode and lies within pi of the reference,
// joint by joint (an exact tie at pi may fall either way by rounding).
void expectSolution(Arm& arm, const KDL::Frame& target, const MathVector& ref, Int32 mode,
                    const MathVector& answer, double tolerance = 1e-9) {
  ASSERT_EQ(answer.size(), 6u);
  EXPECT_LT(frameDistance(arm.flange(answer), target), tolerance);
  EXPECT_EQ(arm.mode(answer), mode);
  for (UInt32 j = 0; j < 6; ++j) EXPECT_LE(std::abs(answer(j) - ref(j)), M_PI + 1e-9) << j;
}

// Round trips: joint position -> flange -> solver, over random arms of the solver's form.
// The reference is the joint position itself and, separately, the joint position moved by
// whole turns (-3 ... 3 per joint). Codes 2, 3 and 4 come back when the arm is near a
// singular configuration; each time, the step whose rule produced the code is identified.
class RoundTrip : public ::testing::Test {
 protected:
  struct Tally {
    std::map<Int32, int> codes;
    std::map<std::string, int> causes;
    int original = 0;  // answers equal to the joint position that produced the pose
  };

  // Which step's rule produced the singular code for the pose of q with this reference,
  // whose joint j lies in turn turns[j].
  std::string cause(Arm& arm, const MathVector& q, const KDL::Frame& target, const MathVector& ref,
                    const int turns[6], Int32 code) {
    Int32 refMode = -1;
    const Int32 refCode = arm.chain.getMode_6dof(ref, refMode, true);
    if (refCode != 0) {
      EXPECT_EQ(code, refCode);
      return "step 3 (singular reference)";
    }
    const double L = arm.cylinderL(q);
    if (code == 2 && L < 1e-4 + 1e-12) return "step 8 (wrist centre by its cylinder)";
    EXPECT_GT(L, 1e-4 - 1e-12);

    // Again with every joint of the reference four turns on. Steps 8 and 13 do not depend on
    // the reference's turns; step 17 cannot fire there, as it looks only at 0, pi and -pi.
    MathVector far(6), answer;
    for (UInt32 j = 0; j < 6; ++j) far(j) = q(j) + 4 * kTwoPi;
    const Int32 farCode = arm.solve(target, far, refMode, &answer);
    if (farCode == code) return "step 13 (singular candidate)";
    EXPECT_EQ(farCode, 0);
    // Step 17 saw the selected solution in the reference's turns: wrist first, then elbow.
    const bool wrist = nearZeroOrPi(intoTurn(answer(4), turns[4]));
    const bool elbow = nearZeroOrPi(intoTurn(answer(2), turns[2]));
    EXPECT_EQ(code, wrist ? 4 : elbow ? 3 : -1);
    return "step 17 (selected solution)";
  }

  void run(Arm& arm, const MathVector& q, const int turns[6], Tally& tally) {
    const KDL::Frame target = arm.flange(q);
    MathVector ref(6), answer;
    for (UInt32 j = 0; j < 6; ++j) ref(j) = q(j) + kTwoPi * turns[j];
    const Int32 code = arm.solve(target, ref, -1, &answer);
    ++tally.codes[code];
    if (code == 0) {
      expectSolution(arm, target, ref, arm.mode(ref), answer);
      // Step 17 let it through: in the reference's turns neither wrist nor elbow is near 0, +-pi.
      EXPECT_FALSE(nearZeroOrPi(intoTurn(answer(4), turns[4])));
      EXPECT_FALSE(nearZeroOrPi(intoTurn(answer(2), turns[2])));
      bool original = true;
      for (UInt32 j = 0; j < 6; ++j) original = original && std::abs(answer(j) - ref(j)) < 1e-9;
      tally.original += original;
    } else {
      ASSERT_TRUE(code == 2 || code == 3 || code == 4) << code;
      ++tally.causes[std::to_string(code) + " from " + cause(arm, q, target, ref, turns, code)];
    }
  }

  static void print(const char* title, const Tally& tally) {
    std::printf("%s\n", title);
    for (const auto& [code, count] : tally.codes) std::printf("  code %d: %6d\n", code, count);
    for (const auto& [what, count] : tally.causes)
      std::printf("    %-44s %6d\n", what.c_str(), count);
    std::printf("  answers equal to the original joint position: %d\n", tally.original);
  }
};

TEST_F(RoundTrip, ReachesThePoseInTheReferenceModeAndTurns) {
  std::mt19937_64 rng(20261122);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI);
  std::uniform_int_distribution<int> turn(-3, 3);
  const int arms = test_support::caseCount(250), positionsPerArm = 40;
  Tally same, moved;
  int explicitSolved = 0, explicitMissing = 0;
  for (int a = 0; a < arms; ++a) {
    Arm arm(test_support::randomSixAxisArm(rng));
    for (int k = 0; k < positionsPerArm; ++k) {
      MathVector q(6);
      for (UInt32 j = 0; j < 6; ++j) q(j) = angle(rng);
      const int zero[6] = {0, 0, 0, 0, 0, 0};
      int turns[6];
      for (int& t : turns) t = turn(rng);
      run(arm, q, zero, same);
      run(arm, q, turns, moved);

      // Every mode asked for explicitly: either solved in that mode, or no candidate has it,
      // or a singular code that does not depend on the mode asked for.
      const KDL::Frame target = arm.flange(q);
      for (Int32 m = 0; m < 8; ++m) {
        MathVector answer;
        const Int32 code = arm.solve(target, q, m, &answer);
        if (code == 0) expectSolution(arm, target, q, m, answer);
        explicitSolved += code == 0;
        explicitMissing += code == 7;
        EXPECT_TRUE(code == 0 || code == 7 || code == 2 || code == 3 || code == 4) << code;
      }
    }
  }
  print("Round trips, reference = joint position:", same);
  print("Round trips, reference moved by whole turns:", moved);
  std::printf("Explicit modes 0 ... 7: %d solved, %d without a candidate (code 7)\n",
              explicitSolved, explicitMissing);
  // Turn alignment keeps each joint in the reference's turn, where the singular test of the
  // selected solution fires only in turns -1, 0 and 1: fewer codes 3 and 4 with moved turns.
  EXPECT_GT(same.codes[0], arms * positionsPerArm * 9 / 10);
  EXPECT_GT(same.codes[3] + same.codes[4], moved.codes[3] + moved.codes[4]);
}

// A fixed arm and joint position for the cases below: the solution in the reference's mode
// is the joint position itself.
class Constructed : public ::testing::Test {
 protected:
  Constructed() : arm(sampleArm()), target(arm.flange(kSampleJoints)) {}
  Arm arm;
  KDL::Frame target;
};

TEST_F(Constructed, ModesOutsideZeroToSevenAreInvalid) {
  for (Int32 mode :
       {-2, 8, 100, std::numeric_limits<Int32>::min(), std::numeric_limits<Int32>::max()}) {
    EXPECT_EQ(arm.solve(target, kSampleJoints, mode), 5) << mode;
  }
  // An invalid mode is found before anything about the pose: even one out of reach.
  EXPECT_EQ(arm.solve(KDL::Frame(KDL::Vector(0, 0, 0)), kSampleJoints, 8), 5);
}

// With mode -1 a singular reference ends the call with its own code; with an explicit mode
// the same reference is accepted and only sets the turns.
TEST_F(Constructed, SingularReferenceNeedsAnExplicitMode) {
  const Int32 mode = arm.mode(kSampleJoints);
  MathVector elbow = kSampleJoints, wrist = kSampleJoints;
  elbow(2) = 0;
  wrist(4) = 0;
  const MathVector zero(6);
  EXPECT_EQ(arm.solve(target, elbow, -1), 3);
  EXPECT_EQ(arm.solve(target, wrist, -1), 4);
  EXPECT_EQ(arm.solve(target, zero, -1), 2);
  for (const MathVector& ref : {elbow, wrist, zero}) {
    MathVector answer;
    ASSERT_EQ(arm.solve(target, ref, mode, &answer), 0);
    expectSolution(arm, target, ref, mode, answer);
  }
}

// Arm with d[5] = 0, so that the wrist centre is the flange position, and a lateral offset
// e = d[1] of 1.25 (the arm's plane 1.25 away from joint 0's axis).
std::vector<MDH> offsetArm(double e) {
  std::vector<MDH> records = sampleArm();
  records[1].d = e;
  records[3].d = 0;
  records[5].d = 0;
  return records;
}

TEST(IkSolverPosCodes, WristCentreOnOrInsideTheOffsetCylinderIsOutOfReach) {
  Arm arm(offsetArm(1.25));
  const KDL::Rotation rotation = arm.flange(kSampleJoints).M;
  // L = 0.75^2 + 1^2 - 1.25^2 is exactly 0 (all three squares are exact).
  EXPECT_EQ(arm.solve(KDL::Frame(rotation, KDL::Vector(-0.75, 1.0, 0.3)), kSampleJoints, -1), 6);
  EXPECT_EQ(arm.solve(KDL::Frame(rotation, KDL::Vector(0.2, 0.1, 0.3)), kSampleJoints, -1), 6);
  EXPECT_EQ(arm.solve(KDL::Frame(rotation, KDL::Vector(0, 0, 0.3)), kSampleJoints, 3), 6);
  // Just outside the cylinder: 0 < L < 0.01^2.
  EXPECT_EQ(arm.solve(KDL::Frame(rotation, KDL::Vector(-0.75, 1.00001, 0.3)), kSampleJoints, -1),
            2);
}

// With no lateral offset L is the squared distance of the wrist centre from joint 0's axis;
// the shoulder limit 0.01 is compared squared, and L = 0.01^2 exactly is not singular.
TEST(IkSolverPosCodes, ShoulderLimitIsTheSquaredDistanceFromTheAxis) {
  Arm arm(offsetArm(0.0));
  ASSERT_EQ(0.01 * 0.01, 1e-4);
  const KDL::Frame reachable = arm.flange(joints(0.0, -0.3, 1.2, 0.5, 0.8, 0.2));
  const KDL::Rotation rotation = reachable.M;
  const double z = reachable.p.z();
  MathVector answer;
  const KDL::Frame atLimit(rotation, KDL::Vector(-0.01, 0, z));
  ASSERT_EQ(arm.solve(atLimit, kSampleJoints, 0, &answer), 0);
  EXPECT_LT(frameDistance(arm.flange(answer), atLimit), 1e-9);
  EXPECT_EQ(arm.solve(KDL::Frame(rotation, KDL::Vector(-0.0099, 0, z)), kSampleJoints, 0), 2);
  EXPECT_EQ(arm.solve(KDL::Frame(rotation, KDL::Vector(0, 0.001, z)), kSampleJoints, 0), 2);
  EXPECT_EQ(arm.solve(KDL::Frame(rotation, KDL::Vector(std::nextafter(-0.01, 0.0), 0, z)),
                      kSampleJoints, 0),
            2);
}

// Every frame origin of the chain lies within the sum of all |a| and |d| of the base origin;
// a target beyond that leaves every candidate without a solution (D < 0).
TEST_F(Constructed, TargetBeyondTheChainsLengthHasNoCandidate) {
  double reach = 0;
  for (const MDH& r : arm.records) reach += std::abs(r.a) + std::abs(r.d);
  KDL::Frame far = target;
  far.p = target.p * (1.5 * reach / target.p.Norm());
  for (Int32 mode = -1; mode < 8; ++mode) EXPECT_EQ(arm.solve(far, kSampleJoints, mode), 7) << mode;
}

// With theta[2] = pi/2 the elbow quantity sin(q2) is -cos(theta2). With d[4] = 0 and no
// lateral offset every solution puts the forearm's end at the wrist centre, whose distance
// from the shoulder fixes cos(theta2) by the law of cosines: all candidates share the elbow
// bit, and the four modes with the other elbow bit have no candidate.
TEST(IkSolverPosCodes, ModeThatNoCandidateHas) {
  std::vector<MDH> records = offsetArm(0.0);
  records[2].theta = M_PI / 2;
  records[4].d = 0;
  Arm arm(records);
  const MathVector& q = kSampleJoints;
  const KDL::Frame target = arm.flange(q);
  const Int32 elbowBit = arm.mode(q) & 2;
  int solved = 0;
  for (Int32 mode = 0; mode < 8; ++mode) {
    MathVector answer;
    const Int32 code = arm.solve(target, q, mode, &answer);
    if ((mode & 2) != elbowBit) {
      EXPECT_EQ(code, 7) << mode;
    } else if (code == 0) {
      expectSolution(arm, target, q, mode, answer);
      ++solved;
    }
  }
  EXPECT_GE(solved, 1);
  EXPECT_EQ(arm.solve(target, q, -1), 0);
}

// Candidates 0-3 take shoulder branch A, 4-7 branch B. For this pose the joint position that
// produced it (branch A) and a branch-B solution are both in mode 7: the later candidate
// overwrites the row, so the answer is the branch-B solution.
TEST_F(Constructed, LaterCandidateOfTheSameModeWins) {
  const MathVector q = joints(0.3, -0.7, -M_PI + 0.5 * kDegree, 0.4, -1.2, 0.8);
  const KDL::Frame pose = arm.flange(q);
  ASSERT_EQ(arm.mode(q), 7);
  MathVector answer;
  ASSERT_EQ(arm.solve(pose, q, -1, &answer), 0);
  expectSolution(arm, pose, q, 7, answer);

  // The two shoulder angles that put the arm's plane, at the lateral offset e, through the
  // wrist centre.
  KDL::Frame frames[Max_Chain_Dof];
  arm.fk.jntPosToFlangePos(q, frames);
  const KDL::Vector& w = frames[4].p;
  const double e = arm.records[1].d + arm.records[2].d - arm.records[3].d;
  const double phi = std::atan2(w.y(), -w.x()),
               rho = std::sqrt(w.x() * w.x() + w.y() * w.y() - e * e);
  const double branchA = std::atan2(e, rho) - phi, branchB = std::atan2(e, -rho) - phi;
  EXPECT_NEAR(intoTurn(q(0) - branchA, 0), 0, 1e-9);
  EXPECT_NEAR(intoTurn(answer(0) - branchB, 0), 0, 1e-9);
}

// A candidate that is singular ends the call with its code whatever mode is asked for, even
// when a non-singular solution exists in that mode. The singular candidate is the joint
// position that produced the pose; theta offsets move its quantities away from the
// geometry, so the pose itself is clear of the shoulder limit.
TEST(IkSolverPosCodes, OneSingularCandidateEndsTheCall) {
  struct Case {
    int offsetRecord;
    MathVector q;
    Int32 code;
  };
  // Shoulder quantity 0.3922 sin(0.2) + 0.0997 sin(q3 - 0.2) = 0 at q1 = 0.
  const double q3 = 0.2 + std::asin(-0.3922 * std::sin(0.2) / 0.0997);
  const Case cases[] = {{1, joints(0.3, 0.0, 0.2, q3, 1.0, 0.8), 2},
                        {2, joints(0.3, -0.7, 0.0, 0.4, -1.2, 0.8), 3},
                        {4, joints(0.3, -0.7, 1.1, 0.4, 0.0, 0.8), 4}};
  for (const Case& c : cases) {
    std::vector<MDH> records = sampleArm();
    records[c.offsetRecord].theta = 0.6;
    Arm arm(records);
    Int32 mode = 0;
    ASSERT_EQ(arm.chain.getMode_6dof(c.q, mode, true), c.code);
    ASSERT_GT(arm.cylinderL(c.q), 1e-2);
    const KDL::Frame target = arm.flange(c.q);
    for (Int32 m = -1; m < 8; ++m) {
      EXPECT_EQ(arm.solve(target, kSampleJoints, m), c.code) << m;
    }
  }
}

// The selected solution is tested after turn alignment against 0, pi and -pi only, with
// the 1 degree limits: wrist first, then elbow. The 2 degree warning bands change nothing,
// and getMode_6dof lets all these through (|sin| >= 1e-6).
TEST_F(Constructed, SelectedSolutionNearSingularity) {
  struct Case {
    double q2, q4;
    Int32 code;
  };
  const double half = 0.5 * kDegree, oneAndHalf = 1.5 * kDegree;
  const Case cases[] = {{1.1, half, 4},        {1.1, -half, 4},
                        {1.1, M_PI - half, 4}, {1.1, -M_PI + half, 4},
                        {1.1, oneAndHalf, 0},  {1.1, M_PI - oneAndHalf, 0},
                        {half, -1.2, 3},       {-M_PI + half, -1.2, 3},
                        {oneAndHalf, -1.2, 0}, {half, half, 4}};
  for (const Case& c : cases) {
    // With q1 = 0.7 the joint position itself is the candidate selected in its mode, as the
    // re-solve two turns on shows below.
    MathVector q = kSampleJoints;
    q(1) = 0.7;
    q(2) = c.q2;
    q(4) = c.q4;
    Int32 mode = 0;
    ASSERT_EQ(arm.chain.getMode_6dof(q, mode, true), 0);
    const KDL::Frame pose = arm.flange(q);
    MathVector answer;
    ASSERT_EQ(arm.solve(pose, q, -1, &answer), c.code) << c.q2 << " " << c.q4;
    for (UInt32 j = 0; c.code == 0 && j < 6; ++j) EXPECT_NEAR(answer(j), q(j), 1e-9);

    // Two turns on, the same joint values are not near 0, pi or -pi and pass.
    MathVector turned = q;
    turned(2) += 2 * kTwoPi;
    turned(4) += 2 * kTwoPi;
    ASSERT_EQ(arm.solve(pose, turned, -1, &answer), 0);
    for (UInt32 j = 0; j < 6; ++j) EXPECT_NEAR(answer(j), turned(j), 1e-9);
  }
}

// With theta[4] = pi/2 the wrist is straight (theta4 = 0) at q4 = -pi/2, where the wrist
// quantity is -1, far from singular. The cosine of theta4 is then 1 up to rounding, and
// values just above 1 are clamped: the pose is solved like any other. Recovering an angle
// near 0 from its cosine costs precision: a rounding error of 1e-16 in the cosine is one
// of about 1e-8 in the angle, so the pose is reached to 1e-7 here, not 1e-9.
TEST(IkSolverPosCodes, StraightWristBehindAnOffsetIsSolved) {
  std::vector<MDH> records = sampleArm();
  records[4].theta = M_PI / 2;
  Arm arm(records);
  std::mt19937_64 rng(17);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI);
  int solved = 0;
  for (int k = 0; k < 200; ++k) {
    const MathVector q =
        joints(angle(rng), angle(rng), angle(rng), angle(rng), -M_PI / 2, angle(rng));
    const KDL::Frame pose = arm.flange(q);
    MathVector answer;
    const Int32 code = arm.solve(pose, q, -1, &answer);
    if (code == 0) {
      expectSolution(arm, pose, q, arm.mode(q), answer, 1e-7);
      ++solved;
    }
  }
  EXPECT_GT(solved, 180);
}

// Turn counts: [-pi, pi) is turn 0 and pi itself turn 1; the selected solution moves into
// the reference's turn, then at most one more turn towards the reference.
TEST_F(Constructed, TurnAlignment) {
  struct Case {
    double raw, ref, expected;
  };
  const Case cases[] = {
      {-3.0, 3.0, -3.0 + kTwoPi},   // both turn 0; the nearest turn is one up
      {0.5, 7.0, 0.5 + kTwoPi},     // into turn 1, and |6.783 - 7.0| < pi: kept
      {-3.0, M_PI, -3.0 + kTwoPi},  // pi counts as turn 1
      {-3.0, -M_PI, -3.0},          // -pi counts as turn 0
      {3.0, M_PI, 3.0},             // into turn 1 (9.28), then one turn back towards pi
      {-3.0, -3.0 + 5 * kTwoPi, -3.0 + 5 * kTwoPi},
      {0.5, -20.0, 0.5 - 3 * kTwoPi},
  };
  for (const Case& c : cases) {
    MathVector q = kSampleJoints, ref = kSampleJoints, answer;
    q(0) = c.raw;  // joint 0 plays no part in the mode
    ref(0) = c.ref;
    ASSERT_EQ(arm.solve(arm.flange(q), ref, -1, &answer), 0);
    EXPECT_NEAR(answer(0), c.expected, 1e-9) << c.raw << " " << c.ref;
  }

  // The reference's turn decides whether the wrist test sees q4 = 0.5 degrees: with a
  // reference of exactly pi (turn 1) it is tested as 2 pi + 0.5 degrees and passes, then
  // moves one turn back towards pi; with -pi, or just below pi (turn 0), it is caught.
  MathVector q = kSampleJoints, ref = kSampleJoints, answer;
  q(4) = 0.5 * kDegree;
  const KDL::Frame pose = arm.flange(q);
  const Int32 mode = arm.mode(q);
  ref(4) = M_PI;
  ASSERT_EQ(arm.solve(pose, ref, mode, &answer), 0);
  EXPECT_NEAR(answer(4), 0.5 * kDegree, 1e-12);
  ref(4) = -M_PI;
  EXPECT_EQ(arm.solve(pose, ref, mode), 4);
  ref(4) = std::nextafter(M_PI, 0.0);
  EXPECT_EQ(arm.solve(pose, ref, mode), 4);
}

// The last argument is never read: any value, not-a-number included, gives the same code and
// the same bits in the answer.
TEST_F(Constructed, LastArgumentHasNoEffect) {
  std::mt19937_64 rng(4);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI);
  for (int k = 0; k < 200; ++k) {
    const MathVector q =
        joints(angle(rng), angle(rng), angle(rng), angle(rng), angle(rng), angle(rng));
    const KDL::Frame pose = arm.flange(q);
    const Int32 mode = k % 9 - 1;
    MathVector expected(6), answer(6);
    const Int32 code = arm.ik.flangePosToJntPos(pose, q, expected, mode, 0.0);
    for (double last : {-1.0, 1e300, kNan, -kInf}) {
      answer = expected;
      answer(0) += 1;  // differs from the expected answer until the solver writes it
      EXPECT_EQ(arm.ik.flangePosToJntPos(pose, q, answer, mode, last), code);
      if (code == 0) {
        EXPECT_EQ(std::memcmp(&answer(0), &expected(0), 6 * sizeof(double)), 0);
      }
    }
  }
}

// Poses and references that are not finite. Comparisons with not-a-number fall through, so
// not-a-number travels into the answer; a call never returns 0 with finite joint values that
// miss the target.
TEST_F(Constructed, NonFiniteInput) {
  // Position x not a number: L is not a number and passes steps 7 and 8; every angle and
  // every quantity is not a number, which sets all three mode bits. So every candidate has
  // mode 7: asked for mode 7 the answer is six NaN, for any other mode the code is 7.
  KDL::Frame nanX = target;
  nanX.p.x(kNan);
  MathVector answer;
  EXPECT_EQ(arm.solve(nanX, kSampleJoints, 7, &answer), 0);
  for (UInt32 j = 0; j < 6; ++j) EXPECT_TRUE(std::isnan(answer(j))) << j;
  for (Int32 mode = -1; mode < 7; ++mode) EXPECT_EQ(arm.solve(nanX, kSampleJoints, mode), 7);

  // Position x infinite: L is infinite and passes; joint 0 and the wrist come out finite, but
  // X is infinite and D = inf - inf not a number, so joints 1, 2 and 3 are not numbers and
  // their shoulder and elbow bits are set: modes 6 and 7 answer, with NaN in joints 1 to 3.
  KDL::Frame infX = target;
  infX.p.x(kInf);
  for (Int32 mode = 0; mode < 8; ++mode) {
    const Int32 code = arm.solve(infX, kSampleJoints, mode, &answer);
    EXPECT_EQ(code, mode >= 6 ? 0 : 7) << mode;
    if (code != 0) continue;
    for (UInt32 j = 0; j < 6; ++j) EXPECT_EQ(std::isnan(answer(j)), j >= 1 && j <= 3) << j;
  }

  // A reference joint that is not a number has turn count 0 and is never nearer than pi:
  // the joint comes back in [-pi, pi). An infinite one saturates the turn count to the most
  // negative Int32, the doubled difference wraps to twice the joint's own count, so the
  // joint is put in turn 0 and then moved one turn towards the reference. So does a finite
  // reference whose count does not fit in 32 bits.
  const struct {
    double ref, expected;
  } references[] = {{kNan, 0.3},
                    {kInf, 0.3 + kTwoPi},
                    {-kInf, 0.3 - kTwoPi},
                    {2e10, 0.3 + kTwoPi},
                    {-2e10, 0.3 - kTwoPi}};
  for (const auto& r : references) {
    MathVector ref = kSampleJoints;
    ref(0) = r.ref;
    ASSERT_EQ(arm.solve(target, ref, -1, &answer), 0) << r.ref;
    EXPECT_NEAR(answer(0), r.expected, 1e-9) << r.ref;
    EXPECT_LT(frameDistance(arm.flange(answer), target), 1e-9);
  }
  // With mode -1 a reference joint that is not a number sets the mode bits it enters: NaN
  // in q2 sets the shoulder and elbow bits.
  MathVector ref = kSampleJoints;
  ref(2) = kNan;
  MathVector expected;
  EXPECT_EQ(arm.solve(target, ref, -1, &answer),
            arm.solve(target, ref, arm.mode(kSampleJoints) | 6, &expected));
  EXPECT_EQ(std::memcmp(&answer(0), &expected(0), 6 * sizeof(double)), 0);
}

// Not-a-number and infinities in any pose element or reference joint, over random arms and
// every mode. Answered with code 0, a pose that is not finite always brings not-a-number into
// the answer, and a reference that is not finite still gives an answer that reaches the pose.
TEST(IkSolverPosBadInput, NeverAnswersWithFiniteGarbage) {
  std::mt19937_64 rng(99);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI);
  std::map<Int32, int> codes;
  for (int a = 0; a < test_support::caseCount(20); ++a) {
    Arm arm(test_support::randomSixAxisArm(rng));
    const MathVector q =
        joints(angle(rng), angle(rng), angle(rng), angle(rng), angle(rng), angle(rng));
    const KDL::Frame target = arm.flange(q);
    for (double bad : {kNan, kInf, -kInf}) {
      for (int element = 0; element < 18; ++element) {
        KDL::Frame pose = target;
        MathVector ref = q;
        if (element < 9)
          pose.M.data[element] = bad;
        else if (element < 12)
          pose.p.data[element - 9] = bad;
        else
          ref(element - 12) = bad;
        for (Int32 mode = -1; mode < 8; ++mode) {
          MathVector answer;
          const Int32 code = arm.solve(pose, ref, mode, &answer);
          ++codes[code];
          EXPECT_TRUE(code == 0 || (code >= 2 && code <= 7)) << code;
          if (code != 0) continue;
          if (element < 12) {
            EXPECT_TRUE(hasNan(answer)) << element << " " << bad;
          } else {
            EXPECT_LT(frameDistance(arm.flange(answer), pose), 1e-9) << element << " " << bad;
          }
        }
      }
    }
  }
  std::printf("Non-finite inputs:");
  for (const auto& [code, count] : codes) std::printf("  code %d: %d", code, count);
  std::printf("\n");
}

TEST(IkSolverPosHelpers, SignAndValidModes) {
  EXPECT_EQ(sign(2.5), 1);
  EXPECT_EQ(sign(-1e-300), -1);
  EXPECT_EQ(sign(0.0), 0);
  EXPECT_EQ(sign(-0.0), 0);
  EXPECT_EQ(sign(kNan), 0);
  EXPECT_EQ(sign(-kInf), -1);

  Arm arm(sampleArm());
  for (Int32 mode = 0; mode <= 7; ++mode) EXPECT_TRUE(arm.ik._isValidMode(mode));
  for (Int32 mode : {-1, 8, std::numeric_limits<Int32>::min()}) {
    EXPECT_FALSE(arm.ik._isValidMode(mode));
  }
}

TEST(IkSolverPosHelpers, ThresholdsAndPolymorphicUse) {
  Arm arm(sampleArm());
  EXPECT_EQ(arm.ik._shoulderSingularWarn, 0.02);
  EXPECT_EQ(arm.ik._shoulderSingularLimit, 0.01);
  EXPECT_EQ(arm.ik._elbowSingularWarn, 2 * kSingularLimit);
  EXPECT_EQ(arm.ik._elbowSingularLimit, kSingularLimit);
  EXPECT_EQ(arm.ik._wristSingularWarn, 2 * kSingularLimit);
  EXPECT_EQ(arm.ik._wristSingularLimit, kSingularLimit);
  EXPECT_EQ(arm.ik._chainMDH4, &arm.chain);

  IkSolverPos& base = arm.ik;
  MathVector answer(6);
  ASSERT_EQ(base.flangePosToJntPos(arm.flange(kSampleJoints), kSampleJoints, answer, -1, 0.0), 0);
  EXPECT_NEAR(answer(3), kSampleJoints(3), 1e-12);
}

TEST(IkSolverPosAssertions, ConstructorNeedsSixJoints) {
  std::vector<MDH> records(6);
  Chain_MDH4 chain(6, &records);
  chain._dof = 5;
  EXPECT_DEATH(IkSolverPos_Tarvin2_6Dof{&chain},
               test_support::assertionReportAt(
                   "ik_solver_pos_tarvin2_6dof.cpp", 5,
                   "IkSolverPos_Tarvin2_6Dof::IkSolverPos_Tarvin2_6Dof(Chain_MDH4*)",
                   "chainMDH4->_dof == 6"));
}

TEST(IkSolverPosAssertions, ReferenceNeedsSixJoints) {
  Arm arm(sampleArm());
  const std::string report = test_support::assertionReportAt(
      "ik_solver_pos_tarvin2_6dof.cpp", 12,
      "virtual Int32 IkSolverPos_Tarvin2_6Dof::flangePosToJntPos(const KDL::Frame&, const "
      "MathVector&, MathVector&, const Int32&, const Float64&)",
      "jntPosRef.size() == 6");
  MathVector five(5), seven(7), answer(6);
  const KDL::Frame pose = arm.flange(kSampleJoints);
  EXPECT_DEATH(arm.ik.flangePosToJntPos(pose, five, answer, -1, 0.0), report);
  EXPECT_DEATH(arm.ik.flangePosToJntPos(pose, seven, answer, 3, 0.0), report);
}

}  // namespace
