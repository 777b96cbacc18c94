// URDF arms of every layout read back: their forward kinematics against KDL's chain of the
// same joints and, where the arm comes from rows, against the arm built from the rows;
// their layout; the ends of the chain; and random chains.
#include <kdl/chainfksolverpos_recursive.hpp>
#include <memory>

#include "arm_test_support.h"
#include "arm_urdf.h"
#include "host_support.h"
#include "urdf_test_support.h"

namespace {

using arm_test::frame;
using fk_ik::Arm;
using fk_ik::ArmFamily;
using urdf_test::fixed;
using urdf_test::originOf;
using urdf_test::revolute;
using urdf_test::UrdfJoint;

const int kJointCases = 300;

struct UrdfArm {
  std::string name;
  std::vector<UrdfJoint> joints;
  size_t first;  // the default chain's first joint: after a fixed joint from "world"
  ArmFamily family, nearFamily;
  bool designedForm;
  std::shared_ptr<Arm> rows;  // the same arm built from rows, where it has them
};

// Modified rows with theta 0 as URDF joints: Craig's frame at zero is Trans_x(a) Rot_x(alpha)
// Trans_z(d), which an origin holds as xyz (a, -d sin alpha, d cos alpha) and roll alpha
// (Trans_z(d) commutes with the joint's turn). Between a fixed joint from "world" and a
// tool frame.
std::vector<UrdfJoint> rowArm(const double (&rows)[6][4], const double (&signs)[6]) {
  std::vector<UrdfJoint> joints = {
      fixed("world_mount", "world", "link0", {0.5, -0.25, 0.8}, {0, 0, M_PI})};
  for (int i = 0; i < 6; ++i) {
    const double a = rows[i][0], alpha = rows[i][1], d = rows[i][2];
    joints.push_back(revolute(
        "joint" + std::to_string(i + 1), "link" + std::to_string(i), "link" + std::to_string(i + 1),
        {a, -d * std::sin(alpha), d * std::cos(alpha)}, {alpha, 0, 0}, {0, 0, signs[i]}));
  }
  joints.push_back(fixed("tool_mount", "link6", "tool", {0.01, 0.02, 0.1}, {0.1, 0.2, 0.3}));
  return joints;
}

std::shared_ptr<Arm> rowsArm(const double (&rows)[6][4], const double (&signs)[6],
                             double tilt = 0) {
  fk_ik::ArmDescription d =
      arm_test::describe(rows, fk_ik::RowConvention::Modified, signs, KDL::Frame::Identity(),
                         frame(0.1, 0.2, 0.3, 0.01, 0.02, 0.1));
  d.joint[2] = d.joint[2] * frame(tilt, 0, 0, 0, 0, 0);
  return std::make_shared<Arm>(arm_test::build(d));
}

// A spherical wrist behind a shoulder offset: the base turned by pi in joint 1's origin,
// axes along -y and -x, a fixed joint between joints 3 and 4, a tool frame.
std::vector<UrdfJoint> sphericalWristArm() {
  std::vector<UrdfJoint> joints = {
      revolute("j1", "base_link", "shoulder", {0, 0, 0.45}, {0, 0, M_PI}, {0, 0, 1}),
      revolute("j2", "shoulder", "upper_arm", {0.15, 0, 0}, {0, 0, 0}, {0, -1, 0}),
      revolute("j3", "upper_arm", "elbow", {0, 0, 0.6}, {0, 0, 0}, {0, -1, 0}),
      fixed("forearm_mount", "elbow", "forearm", {0, 0, 0.12}, {0, 0, 0}),
      revolute("j4", "forearm", "wrist_1", {0.3, 0, 0}, {0, 0, 0}, {-1, 0, 0}),
      revolute("j5", "wrist_1", "wrist_2", {0.34, 0, 0}, {0, 0, 0}, {0, -1, 0}),
      revolute("j6", "wrist_2", "flange", {0.08, 0, 0}, {0, 0, 0}, {-1, 0, 0}),
      fixed("tool_mount", "flange", "tool", {0.02, 0, 0.1}, {0, M_PI / 2, 0})};
  joints[4].type = "continuous";
  return joints;
}

// Skew axes, some not of unit length, behind a world link whose joint turns the base by
// pi; fixed joints between and after the moving ones.
std::vector<UrdfJoint> generalArm() {
  return {fixed("world_mount", "world", "base_link", {1, 0.5, 0}, {0, 0, M_PI}),
          revolute("j1", "base_link", "l1", {0, 0, 0.3}, {0, 0, 0}, {0, 0, 1}),
          revolute("j2", "l1", "l2", {0.1, 0.05, 0.2}, {0.3, -0.2, 0.1}, {0, -1, 0}),
          revolute("j3", "l2", "l3", {0.4, 0, 0.05}, {-0.4, 0, 0.25}, {2, 0, 0}),
          fixed("l3_mount", "l3", "l3b", {0, 0.03, 0}, {0.2, 0, 0}),
          revolute("j4", "l3b", "l4", {0.35, -0.02, 0.1}, {0, 0.5, 0}, {0, 0, 1}),
          revolute("j5", "l4", "l5", {0.05, 0.1, 0.2}, {0.7, 0, -0.3}, {-1, 0, 0}),
          revolute("j6", "l5", "l6", {0, 0.08, 0.12}, {0, 0, 0.6}, {0, -0.6, 0.8}),
          fixed("tool_mount", "l6", "tool", {0, 0, 0.15}, {0, 0, 0})};
}

std::vector<UrdfArm> namedArms() {
  const double flipped[6] = {1, -1, 1, 1, -1, 1}, plain[6] = {1, 1, 1, 1, 1, 1};
  std::vector<UrdfJoint> calibrated = rowArm(arm_test::kParallelMiddleRows, flipped);
  calibrated[3].rpy.x(1e-3);  // joint 3 tilted off parallel
  return {
      {"parallel middle, exact", rowArm(arm_test::kParallelMiddleRows, flipped), 1,
       ArmFamily::DesignedChain, ArmFamily::DesignedChain, true,
       rowsArm(arm_test::kParallelMiddleRows, flipped)},
      {"parallel middle, rounded", rowArm(arm_test::kRoundedRows, plain), 1, ArmFamily::General,
       ArmFamily::DesignedChain, false, rowsArm(arm_test::kRoundedRows, plain)},
      {"calibrated", calibrated, 1, ArmFamily::General, ArmFamily::DesignedChain, false,
       rowsArm(arm_test::kParallelMiddleRows, flipped, 1e-3)},
      {"spherical wrist", sphericalWristArm(), 0, ArmFamily::SphericalWrist,
       ArmFamily::SphericalWrist, false, nullptr},
      {"general", generalArm(), 1, ArmFamily::General, ArmFamily::General, false, nullptr},
  };
}

Arm read(const std::string& xml, const std::string& base = "", const std::string& tip = "") {
  Arm arm;
  std::string message;
  EXPECT_EQ(fk_ik::armFromUrdf(xml, base, tip, arm, &message), fk_ik::Arm_Ok) << message;
  return arm;
}

KDL::JntArray jntArray(const double (&q)[6]) {
  KDL::JntArray array(6);
  for (int i = 0; i < 6; ++i) array(i) = q[i];
  return array;
}

// Over random joints, the arm's flange against KDL's chain's and, when there is one, the
// rows' arm's: within 1e-12 of the arm's size.
void expectSameKinematics(const Arm& arm, const KDL::Chain& chain, const Arm* rows,
                          std::mt19937_64& rng, int cases) {
  KDL::ChainFkSolverPos_recursive kdl(chain);
  double worstKdl = 0, worstRows = 0;
  for (int c = 0; c < cases; ++c) {
    double q[6];
    arm_test::randomJoints(rng, 2 * M_PI, q);
    KDL::Frame flange, oracle, fromRows;
    arm.flangeFrame(q, flange);
    ASSERT_GE(kdl.JntToCart(jntArray(q), oracle), 0);
    worstKdl = std::max(worstKdl, host_support::distance(flange, oracle));
    if (!rows) continue;
    rows->flangeFrame(q, fromRows);
    worstRows = std::max(worstRows, host_support::distance(flange, fromRows));
  }
  EXPECT_LE(worstKdl, 1e-12 * arm.size());
  EXPECT_LE(worstRows, 1e-12 * arm.size());
}

TEST(UrdfRoundTrip, NamedArmsKeepTheirKinematicsAndLayout) {
  std::mt19937_64 rng(20261201);
  for (const UrdfArm& u : namedArms()) {
    SCOPED_TRACE(u.name);
    const Arm arm = read(urdf_test::urdfText(u.joints));
    expectSameKinematics(arm, urdf_test::kdlChainOf(u.joints, u.first), u.rows.get(), rng,
                         kJointCases);
    EXPECT_EQ(arm.layout().family, u.family);
    EXPECT_EQ(arm.layout().nearFamily, u.nearFamily);
    EXPECT_EQ(arm.mdh().designedForm, u.designedForm);
  }
}

// Naming the ends: "world" as the base puts the world joint in front of the default chain,
// the link before the tool as the tip takes the tool off, and the default ends named
// give the default arm.
TEST(UrdfRoundTrip, NamedEndsMoveTheChain) {
  const std::vector<UrdfJoint> joints = generalArm();
  const std::string xml = urdf_test::urdfText(joints);
  const Arm standard = read(xml), fromWorld = read(xml, "world"), toFlange = read(xml, "", "l6"),
            named = read(xml, "base_link", "tool");
  const KDL::Frame world = originOf(joints.front()), tool = originOf(joints.back());
  std::mt19937_64 rng(7);
  double worst = 0;
  for (int c = 0; c < kJointCases; ++c) {
    double q[6];
    arm_test::randomJoints(rng, 2 * M_PI, q);
    KDL::Frame f, w, t, n;
    standard.flangeFrame(q, f);
    fromWorld.flangeFrame(q, w);
    toFlange.flangeFrame(q, t);
    named.flangeFrame(q, n);
    worst = std::max(
        {worst, host_support::distance(w, world * f), host_support::distance(f, t * tool)});
    EXPECT_EQ(host_support::distance(n, f), 0.0);
  }
  EXPECT_LE(worst, 1e-12 * fromWorld.size());
}

// Family "random chains": six revolute or continuous joints, each behind up to two fixed
// joints and followed by up to two, origins within 0.6 m, any roll, pitch and yaw, axes of
// any direction and of length 0.1 to 10.
std::vector<UrdfJoint> randomChain(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> length(-0.6, 0.6), angle(-M_PI, M_PI), unit(-1, 1),
      scale(-1, 1);
  std::uniform_int_distribution<int> fixedCount(0, 2);
  std::vector<UrdfJoint> joints;
  std::string link = "base";
  const auto next = [&](bool moving) {
    const std::string child = "link" + std::to_string(joints.size());
    const KDL::Vector xyz(length(rng), length(rng), length(rng)),
        rpy(angle(rng), angle(rng), angle(rng));
    KDL::Vector axis(unit(rng), unit(rng), unit(rng));
    axis = axis / axis.Norm() * std::pow(10.0, scale(rng));
    joints.push_back(
        moving ? revolute("joint" + std::to_string(joints.size()), link, child, xyz, rpy, axis)
               : fixed("fixed" + std::to_string(joints.size()), link, child, xyz, rpy));
    if (moving && angle(rng) < 0) joints.back().type = "continuous";
    link = child;
  };
  for (int i = 0; i < 6; ++i) {
    for (int k = fixedCount(rng); k > 0; --k) next(false);
    next(true);
  }
  for (int k = fixedCount(rng); k > 0; --k) next(false);
  return joints;
}

TEST(UrdfRoundTrip, RandomChainsMatchKdl) {
  std::mt19937_64 rng(424242);
  for (int c = 0; c < 50; ++c) {
    const std::vector<UrdfJoint> joints = randomChain(rng);
    SCOPED_TRACE(urdf_test::urdfText(joints));
    expectSameKinematics(read(urdf_test::urdfText(joints)), urdf_test::kdlChainOf(joints, 0),
                         nullptr, rng, 20);
  }
}

}  // namespace
