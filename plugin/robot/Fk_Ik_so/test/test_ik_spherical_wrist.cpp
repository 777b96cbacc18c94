// The spherical wrist's closed-form inverse: round trips over every shoulder form and named
// joint families (checked by KDL's forward kinematics, without allocating), the continua at
// wrist and shoulder, targets out of reach, arms not covered, and KDL's numeric solver.
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

// Each shoulder form (standard rows a, alpha, d, theta of joints 1-3; the wrist's those of
// kSphericalWristRows) as given, and with reversed senses, a turned base and a flange.
std::vector<NamedArm> wristArms() {
  const struct {
    const char* name;
    double rows[3][4];
  } forms[] = {
      {"offset shoulder",
       {{0.15, -M_PI / 2, 0.45, 0}, {0.6, 0, 0, -M_PI / 2}, {0.12, -M_PI / 2, 0, 0}}},
      // Axes 1 and 2 meet, 2 and 3 cross at 0.3 rad.
      {"meeting shoulder", {{0, -M_PI / 2, 0.4, 0}, {0.5, 0.3, 0.1, 0}, {0.1, -M_PI / 2, 0, 0.2}}},
      // Axes 1 and 2 meet, 2 and 3 are parallel.
      {"inline shoulder",
       {{0, -M_PI / 2, 0.45, 0}, {0.6, 0, 0, -M_PI / 2}, {0.12, -M_PI / 2, 0, 0}}},
      // Axes 2 and 3 parallel, axis 1 slanted to them and apart from axis 2.
      {"slanted shoulder",
       {{0.15, -1.2, 0.45, 0}, {0.6, 0, 0.1, -M_PI / 2}, {0.12, -M_PI / 2, 0, 0}}},
      // Axes 1-3 in general position: the quartic.
      {"general shoulder",
       {{0.15, -M_PI / 2, 0.45, 0}, {0.6, 0.4, 0.1, 0}, {0.12, -M_PI / 2, 0, 0}}}};
  const double flipped[6] = {-1, 1, -1, -1, 1, -1};
  const KDL::Frame base = frame(0.3, -0.2, 2.5, 0.4, -0.1, 0.2);
  const KDL::Frame flange = frame(-0.4, 0.1, 0.7, 0.03, -0.02, 0.15);
  std::vector<NamedArm> arms;
  for (const auto& form : forms) {
    double rows[6][4];
    std::copy(&kSphericalWristRows[0][0], &kSphericalWristRows[0][0] + 24, &rows[0][0]);
    std::copy(&form.rows[0][0], &form.rows[0][0] + 12, &rows[0][0]);
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

// Every solution finite, in (-pi, pi], distinct from the others and reaching the target by
// KDL's forward kinematics.
void expectSolutionsReach(const Arm& arm, const KDL::Frame& target, const ArmIkSolutions& out,
                          const std::string& what) {
  ASSERT_LE(out.count, 8) << what;
  const KDL::Chain chain = kdlChain(arm.description());
  KDL::ChainFkSolverPos_recursive fk(chain);
  for (int s = 0; s < out.count; ++s) {
    KDL::JntArray joints(6);
    KDL::Frame flange;
    for (int i = 0; i < 6; ++i) {
      EXPECT_TRUE(out.q[s][i] > -M_PI && out.q[s][i] <= M_PI) << what << " joint " << i;
      joints(i) = out.q[s][i];
    }
    EXPECT_GE(fk.JntToCart(joints, flange), 0);
    EXPECT_LT(frameDistance(flange, target, arm.size()), 1e-9) << what;
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
// joints 4 and 6 each where axes 4 and 6 are apart (near one line the pose fixes them only
// to rounding over the sine of the axes' angle).
bool isProducing(const Arm& arm, const double* solution, const double* q) {
  const Wrist produced = wristOf(arm, q);
  bool apart = false;
  for (int i : {0, 1, 2, 4}) apart |= angleApart(solution[i], q[i]) >= 1e-9;
  return !apart && angleApart(wristOf(arm, solution).turn, produced.turn) < 1e-9 &&
         (produced.misalignment < 1e-3 || jointsApart(solution, q) < 1e-9);
}

// The named joint families: anywhere, every joint near +-pi, joint 5 within 1e-10 ... 1e-4
// of 0, joint 5 at 0 or pi (axes 4 and 6 on one line).
enum class Joints { Anywhere, NearPi, WristNearlyStraight, WristStraight };

void drawJoints(std::mt19937_64& rng, Joints family, double q[6]) {
  std::uniform_real_distribution<double> unit(0, 1);
  randomJoints(rng, M_PI, q);
  if (family == Joints::NearPi) {
    for (int i = 0; i < 6; ++i) q[i] = (q[i] < 0 ? -1 : 1) * (M_PI - 1e-3 * unit(rng));
  } else if (family == Joints::WristNearlyStraight) {
    q[4] = (q[4] < 0 ? -1 : 1) * std::pow(10.0, -10 + 6 * unit(rng));
  } else if (family == Joints::WristStraight) {
    q[4] = q[4] < 0 ? 0.0 : M_PI;
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

// The producing joints are among the solutions, which all reach the pose, and no call
// allocates (KDL's forward kinematics the oracle). Axes 4 and 6 on one line:
// exactly one producing solution, joint 4 at 0 and flagged; except where joints 1-3 are near a
// continuum of their own (strength below 1e-2 of the size, about one pose in 100): fixed only to
// rounding over that strength, the solutions need only reach the pose.
TEST(SphericalWrist, RoundTripOverArmsAndJointFamilies) {
  std::mt19937_64 rng(31);
  for (const NamedArm& named : wristArms()) {
    ASSERT_EQ(named.arm.layout().family, ArmFamily::SphericalWrist) << named.name;
    const KDL::Vector centre = centreInFlange(named.arm);
    for (Joints family :
         {Joints::Anywhere, Joints::NearPi, Joints::WristNearlyStraight, Joints::WristStraight}) {
      const bool straight = family == Joints::WristStraight;
      for (int k = 0; k < test_support::caseCount(straight ? 200 : 1000); ++k) {
        const std::string what =
            named.name + ", family " + std::to_string(int(family)) + ", case " + std::to_string(k);
        double q[6];
        drawJoints(rng, family, q);
        KDL::Frame target;
        named.arm.flangeFrame(q, target);
        ArmIkSolutions out;
        const long before = allocationCount;
        const Int32 code = fk_ik::solveSphericalWrist(named.arm, target, out);
        ASSERT_EQ(allocationCount - before, 0) << what;
        ASSERT_EQ(code, fk_ik::Arm_Ok) << what;
        expectSolutionsReach(named.arm, target, out, what);
        if (straight && placingStrength(named.arm, q, centre) < 1e-2 * named.arm.size()) continue;
        int members = 0;
        for (int s = 0; s < out.count; ++s) {
          if (!isProducing(named.arm, out.q[s], q)) continue;
          ++members;
          if (!straight) continue;
          EXPECT_EQ(out.q[s][3], 0) << what;
          EXPECT_TRUE(out.singular[s]) << what;
        }
        EXPECT_TRUE(straight ? members == 1 : members >= 1) << what << ": " << members;
        if (HasFailure()) return;
      }
    }
  }
}

// The centre on axis 1: joint 1 is free. On the forms whose centre moves in a plane
// holding axis 1 (axis 2 across it, 2 and 3 parallel) every point of axis 1 within the
// elbow's reach is reached: members of the continuum, all flagged.
TEST(SphericalWrist, ShoulderContinuumGivesFlaggedMembers) {
  std::mt19937_64 rng(41);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI), height(0.3, 1.0);
  const std::vector<NamedArm> arms = wristArms();
  for (int a : {0, 1, 4, 5}) {  // the offset and inline shoulders
    const NamedArm& named = arms[a];
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

// Out of reach (far, a stretched rotation, huge), not finite, or an arm of another layout:
// codes, no solutions, and no allocation.
TEST(SphericalWrist, TargetsOutOfReachNotFiniteOrNotCovered) {
  std::mt19937_64 rng(43);
  std::vector<NamedArm> arms = wristArms();
  for (const NamedArm& named : namedArms()) {
    if (named.family != ArmFamily::SphericalWrist) arms.push_back(named);
  }
  for (const NamedArm& named : arms) {
    double q[6];
    randomJoints(rng, M_PI, q);
    KDL::Frame reachable, stretched, huge(KDL::Vector(1e300, -1e300, 1e300));
    named.arm.flangeFrame(q, reachable);
    stretched = reachable;
    for (int i = 0; i < 3; ++i) stretched.M(i, 0) *= 1.01;
    huge.M = reachable.M;
    std::vector<std::pair<KDL::Frame, Int32>> cases = {{reachable, fk_ik::Arm_Not_Covered}};
    if (named.family == ArmFamily::SphericalWrist) {
      cases = {{KDL::Frame(reachable.M, reachable.p + KDL::Vector(0, 0, 3 * named.arm.size())),
                fk_ik::Arm_Out_Of_Reach},
               {stretched, fk_ik::Arm_Out_Of_Reach},
               {huge, fk_ik::Arm_Out_Of_Reach}};
      for (double bad : {std::nan(""), HUGE_VAL}) {
        cases.push_back({reachable, fk_ik::Arm_Invalid});
        cases.back().first.p.y(bad);
        cases.push_back({reachable, fk_ik::Arm_Invalid});
        cases.back().first.M(2, 1) = bad;
      }
    }
    for (const auto& c : cases) {
      ArmIkSolutions out;
      out.count = 3;
      const long before = allocationCount;
      const Int32 code = fk_ik::solveSphericalWrist(named.arm, c.first, out);
      EXPECT_EQ(allocationCount - before, 0) << named.name;
      EXPECT_EQ(code, c.second) << named.name;
      EXPECT_EQ(out.count, 0);
    }
  }
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
