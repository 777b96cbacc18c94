// The spherical wrist's closed-form inverse: round trips over arms of both covered shoulder
// forms and over named families of joints, checked with KDL's own forward kinematics; the
// continua at the wrist and at the shoulder; targets out of reach and arms not covered; no
// allocation; and KDL's numeric solver from many starts, which must find nothing the closed
// form lacks.
#include <Eigen/Eigenvalues>
#include <algorithm>

#include "allocation_counter.h"
#include "arm_test_support.h"
#include "ik_spherical_wrist.h"
#include "subproblems.h"
#include "test_support.h"

namespace {

using namespace arm_test;
using fk_ik::ArmIkSolutions;

// Standard rows a, alpha, d, theta; each arm's wrist rows are those of kSphericalWristRows.
// Axes 1 and 2 meet, 2 and 3 cross at 0.3 rad.
const double kMeetingRows[6][4] = {{0, -M_PI / 2, 0.4, 0},   {0.5, 0.3, 0.1, 0},
                                   {0.1, -M_PI / 2, 0, 0.2}, {0, M_PI / 2, 0.64, 0},
                                   {0, -M_PI / 2, 0, 0},     {0, 0, 0.1, 0}};
// Axes 1 and 2 meet, 2 and 3 are parallel.
const double kInlineRows[6][4] = {{0, -M_PI / 2, 0.45, 0}, {0.6, 0, 0, -M_PI / 2},
                                  {0.12, -M_PI / 2, 0, 0}, {0, M_PI / 2, 0.64, 0},
                                  {0, -M_PI / 2, 0, 0},    {0, 0, 0.1, 0}};
// Axes 2 and 3 parallel, axis 1 slanted to them and apart from axis 2.
const double kSlantedRows[6][4] = {{0.15, -1.2, 0.45, 0},   {0.6, 0, 0.1, -M_PI / 2},
                                   {0.12, -M_PI / 2, 0, 0}, {0, M_PI / 2, 0.64, 0},
                                   {0, -M_PI / 2, 0, 0},    {0, 0, 0.1, 0}};
// Axes 1-3 in general position: the quartic.
const double kGeneralRows[6][4] = {{0.15, -M_PI / 2, 0.45, 0}, {0.6, 0.4, 0.1, 0},
                                   {0.12, -M_PI / 2, 0, 0},    {0, M_PI / 2, 0.64, 0},
                                   {0, -M_PI / 2, 0, 0},       {0, 0, 0.1, 0}};

// Each shoulder form as given, and with reversed senses, a turned base and a flange.
std::vector<NamedArm> wristArms() {
  const double flipped[6] = {-1, 1, -1, -1, 1, -1};
  const KDL::Frame base = frame(0.3, -0.2, 2.5, 0.4, -0.1, 0.2);
  const KDL::Frame flange = frame(-0.4, 0.1, 0.7, 0.03, -0.02, 0.15);
  const struct {
    const char* name;
    const double (*rows)[6][4];
  } forms[] = {{"offset shoulder", &kSphericalWristRows},
               {"meeting shoulder", &kMeetingRows},
               {"inline shoulder", &kInlineRows},
               {"slanted shoulder", &kSlantedRows},
               {"general shoulder", &kGeneralRows}};
  std::vector<NamedArm> arms;
  for (const auto& form : forms) {
    const double(&rows)[6][4] = *form.rows;
    arms.push_back({form.name, build(describe(rows, RowConvention::Standard)),
                    ArmFamily::SphericalWrist, ArmFamily::SphericalWrist});
    arms.push_back({std::string(form.name) + ", flipped, turned, flange",
                    build(describe(rows, RowConvention::Standard, flipped, base, flange)),
                    ArmFamily::SphericalWrist, ArmFamily::SphericalWrist});
  }
  return arms;
}

double angleApart(double a, double b) {
  return std::fabs(std::remainder(a - b, 2 * M_PI));
}

// The largest difference of the joints but 4 and 6 (free on the wrist's continuum), modulo
// 2 pi.
double jointsApartButWrist(const double* a, const double* b) {
  double worst = 0;
  for (int i = 0; i < 6; ++i) {
    if (i != 3 && i != 5) worst = std::fmax(worst, angleApart(a[i], b[i]));
  }
  return worst;
}

KDL::Frame kdlFlange(const Arm& arm, const double q[6]) {
  const KDL::Chain chain = kdlChain(arm.description());
  KDL::ChainFkSolverPos_recursive fk(chain);
  KDL::JntArray joints(6);
  for (int i = 0; i < 6; ++i) joints(i) = q[i];
  KDL::Frame flange;
  EXPECT_GE(fk.JntToCart(joints, flange), 0);
  return flange;
}

// Every solution finite, in (-pi, pi], distinct from the others and reaching the target by
// KDL's forward kinematics.
void expectSolutionsReach(const Arm& arm, const KDL::Frame& target, const ArmIkSolutions& out,
                          const std::string& what) {
  ASSERT_LE(out.count, 8) << what;
  for (int s = 0; s < out.count; ++s) {
    for (int i = 0; i < 6; ++i) {
      EXPECT_TRUE(out.q[s][i] > -M_PI && out.q[s][i] <= M_PI) << what << " joint " << i;
    }
    EXPECT_LT(frameDistance(kdlFlange(arm, out.q[s]), target, arm.size()), 1e-9) << what;
    for (int t = 0; t < s; ++t) EXPECT_GT(jointsApart(out.q[s], out.q[t]), 1e-9) << what;
  }
}

// Axis 6 after joint 5, against axis 4: the sine of their angle, and joint 4 plus or minus
// joint 6 as they point the same way or opposite ways.
struct Wrist {
  double misalignment;
  double turn;
};

Wrist wristOf(const Arm& arm, const double q[6]) {
  KDL::Vector point[6], direction[6];
  arm.description().axesAtZero(point, direction);
  const KDL::Vector axis6 = KDL::Rotation::Rot2(direction[4], q[4]) * direction[5];
  return Wrist{fk_ik::length(direction[3] * axis6),
               q[3] + (KDL::dot(direction[3], axis6) < 0 ? -q[5] : q[5])};
}

// A solution is the producing joints: joints 1, 2, 3, 5 and the wrist's turn to 1e-9, and
// joints 4 and 6 each where axes 4 and 6 are apart. Near one line the pose fixes each of
// them only to its own rounding over the sine of the axes' angle (1e-15 / 1e-6 = 1e-9).
bool isProducing(const Arm& arm, const double* solution, const double* q) {
  const Wrist produced = wristOf(arm, q);
  return jointsApartButWrist(solution, q) < 1e-9 &&
         angleApart(wristOf(arm, solution).turn, produced.turn) < 1e-9 &&
         (produced.misalignment < 1e-3 || jointsApart(solution, q) < 1e-9);
}

// The named joint families: anywhere, every joint near +-pi, joint 5 within 1e-10 ... 1e-4
// of 0.
enum class Joints { Anywhere, NearPi, WristNearlyStraight };

void drawJoints(std::mt19937_64& rng, Joints family, double q[6]) {
  std::uniform_real_distribution<double> unit(0, 1);
  randomJoints(rng, M_PI, q);
  if (family == Joints::NearPi) {
    for (int i = 0; i < 6; ++i) q[i] = (q[i] < 0 ? -1 : 1) * (M_PI - 1e-3 * unit(rng));
  } else if (family == Joints::WristNearlyStraight) {
    q[4] = (q[4] < 0 ? -1 : 1) * std::pow(10.0, -10 + 6 * unit(rng));
  }
}

TEST(SphericalWrist, RoundTripOverArmsAndJointFamilies) {
  std::mt19937_64 rng(31);
  for (const NamedArm& named : wristArms()) {
    ASSERT_EQ(named.arm.layout().family, ArmFamily::SphericalWrist) << named.name;
    for (Joints family : {Joints::Anywhere, Joints::NearPi, Joints::WristNearlyStraight}) {
      for (int k = 0; k < test_support::caseCount(1000); ++k) {
        const std::string what =
            named.name + ", family " + std::to_string(int(family)) + ", case " + std::to_string(k);
        double q[6];
        drawJoints(rng, family, q);
        KDL::Frame target;
        named.arm.flangeFrame(q, target);
        ArmIkSolutions out;
        ASSERT_EQ(fk_ik::solveSphericalWrist(named.arm, target, out), fk_ik::Arm_Ok) << what;
        bool producing = false;
        for (int s = 0; s < out.count; ++s) producing |= isProducing(named.arm, out.q[s], q);
        EXPECT_TRUE(producing) << what;
        expectSolutionsReach(named.arm, target, out, what);
        if (HasFailure()) return;
      }
    }
  }
}

// The point on the flange's frame that the wrist centre is: where axes 4 and 5 meet at zero.
KDL::Vector centreInFlange(const Arm& arm) {
  KDL::Vector point[6], direction[6], centre;
  arm.description().axesAtZero(point, direction);
  EXPECT_TRUE(fk_ik::meetingPoint(fk_ik::Line{point[3], direction[3]},
                                  fk_ik::Line{point[4], direction[4]}, centre));
  const double zeros[6] = {};
  KDL::Frame flange;
  arm.flangeFrame(zeros, flange);
  return flange.Inverse() * centre;
}

// The smallest singular value of joints 1-3's Jacobian at the wrist centre: how firmly they
// fix the centre (0 where it lies on axis 1 or the elbow is straight).
double placingStrength(const Arm& arm, const double q[6], const KDL::Vector& centre) {
  fk_ik::ArmJacobian jacobian;
  arm.jacobian(q, KDL::Frame(centre), jacobian);
  const Eigen::Matrix3d placing = jacobian.block<3, 3>(0, 0);
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> squares(placing.transpose() * placing);
  return std::sqrt(std::fmax(0.0, squares.eigenvalues()(0)));
}

// Joint 5 at 0 or pi puts axes 4 and 6 on one line: the solution of the producing arm
// joints has joint 4 at 0 and joint 6 turning for both, flagged; the others are ordinary.
// Where joints 1-3 are near a continuum of their own (their strength below 1e-2 of the
// size: about one pose in 100), they are fixed by the pose only to its rounding over that
// strength, the line is met only to as much, and the solutions need only reach the pose.
TEST(SphericalWrist, WristContinuumGivesJointFourZero) {
  std::mt19937_64 rng(37);
  for (const NamedArm& named : wristArms()) {
    const KDL::Vector centre = centreInFlange(named.arm);
    for (int k = 0; k < test_support::caseCount(200); ++k) {
      const std::string what = named.name + ", case " + std::to_string(k);
      double q[6];
      randomJoints(rng, M_PI, q);
      q[4] = k % 2 ? 0.0 : M_PI;
      KDL::Frame target;
      named.arm.flangeFrame(q, target);
      ArmIkSolutions out;
      ASSERT_EQ(fk_ik::solveSphericalWrist(named.arm, target, out), fk_ik::Arm_Ok) << what;
      expectSolutionsReach(named.arm, target, out, what);
      if (placingStrength(named.arm, q, centre) < 1e-2 * named.arm.size()) continue;
      int members = 0;
      for (int s = 0; s < out.count; ++s) {
        if (!isProducing(named.arm, out.q[s], q)) continue;
        ++members;
        EXPECT_EQ(out.q[s][3], 0) << what;
        EXPECT_TRUE(out.singular[s]) << what;
      }
      EXPECT_EQ(members, 1) << what;
    }
  }
}

// The centre on axis 1: joint 1 is free. On the forms whose centre moves in a plane
// holding axis 1 (axis 2 across it, 2 and 3 parallel) every point of axis 1 within the
// elbow's reach is reached: members of the continuum, all flagged.
TEST(SphericalWrist, ShoulderContinuumGivesFlaggedMembers) {
  std::mt19937_64 rng(41);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI), height(0.3, 1.0);
  for (const NamedArm& named : wristArms()) {
    if (named.name.find("offset") == std::string::npos &&
        named.name.find("inline") == std::string::npos) {
      continue;
    }
    KDL::Vector point[6], direction[6], between;
    named.arm.description().axesAtZero(point, direction);
    const fk_ik::Line axis1{point[0], direction[0]}, axis2{point[1], direction[1]};
    ASSERT_TRUE(fk_ik::meetingPoint(axis1, axis2, between));
    // The point of axis 1 nearest axis 2: the elbow reaches 0.3 ... 1 from it.
    const KDL::Vector shoulder =
        point[0] + direction[0] * KDL::dot(direction[0], between - point[0]);
    const KDL::Vector centre = centreInFlange(named.arm);
    for (int k = 0; k < 50; ++k) {
      const std::string what = named.name + ", case " + std::to_string(k);
      const KDL::Rotation r = KDL::Rotation::RPY(angle(rng), angle(rng), angle(rng));
      const KDL::Vector onAxis1 = shoulder + direction[0] * (k % 2 ? 1 : -1) * height(rng);
      const KDL::Frame target(r, onAxis1 - r * centre);
      ArmIkSolutions out;
      ASSERT_EQ(fk_ik::solveSphericalWrist(named.arm, target, out), fk_ik::Arm_Ok) << what;
      for (int s = 0; s < out.count; ++s) EXPECT_TRUE(out.singular[s]) << what;
      expectSolutionsReach(named.arm, target, out, what);
    }
  }
}

TEST(SphericalWrist, TargetsOutOfReachOrNotFinite) {
  std::mt19937_64 rng(43);
  for (const NamedArm& named : wristArms()) {
    double q[6];
    randomJoints(rng, M_PI, q);
    KDL::Frame reachable;
    named.arm.flangeFrame(q, reachable);
    ArmIkSolutions out;
    out.count = 3;
    const KDL::Frame far(reachable.M, reachable.p + KDL::Vector(0, 0, 3 * named.arm.size()));
    EXPECT_EQ(fk_ik::solveSphericalWrist(named.arm, far, out), fk_ik::Arm_Out_Of_Reach);
    EXPECT_EQ(out.count, 0);
    KDL::Frame stretched = reachable;
    for (int i = 0; i < 3; ++i) stretched.M(i, 0) *= 1.01;
    EXPECT_EQ(fk_ik::solveSphericalWrist(named.arm, stretched, out), fk_ik::Arm_Out_Of_Reach);
    const KDL::Frame huge(reachable.M, KDL::Vector(1e300, -1e300, 1e300));
    EXPECT_EQ(fk_ik::solveSphericalWrist(named.arm, huge, out), fk_ik::Arm_Out_Of_Reach);
    for (double bad : {std::nan(""), HUGE_VAL}) {
      KDL::Frame broken = reachable;
      broken.p.y(bad);
      out.count = 3;
      EXPECT_EQ(fk_ik::solveSphericalWrist(named.arm, broken, out), fk_ik::Arm_Invalid);
      EXPECT_EQ(out.count, 0);
      broken = reachable;
      broken.M(2, 1) = bad;
      EXPECT_EQ(fk_ik::solveSphericalWrist(named.arm, broken, out), fk_ik::Arm_Invalid);
    }
  }
}

TEST(SphericalWrist, OtherLayoutsAreNotCovered) {
  std::vector<NamedArm> arms;
  for (NamedArm& named : namedArms()) {
    if (named.family != ArmFamily::SphericalWrist) arms.push_back(named);
  }
  std::mt19937_64 rng(47);
  for (int k = 0; k < 10; ++k) {
    arms.push_back({"random", randomArm(rng, RowConvention::Modified), ArmFamily::General,
                    ArmFamily::General});
  }
  for (const NamedArm& named : arms) {
    EXPECT_EQ(named.arm.layout().family, named.family) << named.name;
    double q[6];
    randomJoints(rng, M_PI, q);
    KDL::Frame target;
    named.arm.flangeFrame(q, target);
    ArmIkSolutions out;
    out.count = 3;
    EXPECT_EQ(fk_ik::solveSphericalWrist(named.arm, target, out), fk_ik::Arm_Not_Covered)
        << named.name;
    EXPECT_EQ(out.count, 0);
  }
}

// Reached, out of reach, on the wrist's line and not finite: no call allocates.
TEST(SphericalWrist, SolvingAllocatesNothing) {
  const std::vector<NamedArm> arms = wristArms();
  std::vector<KDL::Frame> targets;
  std::mt19937_64 rng(59);
  for (const NamedArm& named : arms) {
    double q[6];
    randomJoints(rng, M_PI, q);
    KDL::Frame target;
    named.arm.flangeFrame(q, target);
    targets.push_back(target);
    targets.push_back(KDL::Frame(target.M, target.p * 10.0));
    q[4] = 0;
    named.arm.flangeFrame(q, target);
    targets.push_back(target);
  }
  targets.push_back(KDL::Frame(KDL::Vector(std::nan(""), 0, 0)));
  ArmIkSolutions out;
  const long before = allocationCount;
  for (const NamedArm& named : arms) {
    for (const KDL::Frame& target : targets) fk_ik::solveSphericalWrist(named.arm, target, out);
  }
  EXPECT_EQ(allocationCount - before, 0);
}

// KDL's Levenberg-Marquardt solver from many random starts: every start that converges
// lands on a solution the closed form has (and some start converges for every pose).
TEST(SphericalWrist, NumericSolverFindsNothingMore) {
  std::mt19937_64 rng(53);
  for (const NamedArm& named : wristArms()) {
    for (int pose = 0; pose < 3; ++pose) {
      double q[6];
      randomJoints(rng, M_PI, q);
      KDL::Frame target;
      named.arm.flangeFrame(q, target);
      ArmIkSolutions out;
      ASSERT_EQ(fk_ik::solveSphericalWrist(named.arm, target, out), fk_ik::Arm_Ok);
      const NumericSearch search =
          numericSearch(named.arm, target, out, test_support::caseCount(100), rng);
      EXPECT_EQ(search.missed, 0) << named.name << ", pose " << pose;
      EXPECT_GT(search.landed, 0) << named.name << ", pose " << pose;
    }
  }
}

}  // namespace
