// URDF arms read back: forward kinematics against KDL's chain of the same joints and the
// arm built from rows, their layout, the ends of the chain, and random chains.
#include <kdl/chainfksolverpos_recursive.hpp>

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

// Modified rows (theta 0) as joints with origin xyz (a, -d sin alpha, d cos alpha) and roll
// alpha, between a fixed joint from "world" and a tool frame.
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

Arm read(const std::string& xml, const std::string& base = "", const std::string& tip = "") {
  Arm arm;
  std::string message;
  EXPECT_EQ(fk_ik::armFromUrdf(xml, base, tip, arm, &message), fk_ik::Arm_Ok) << message;
  return arm;
}

// Over random joints, the flange against KDL's chain's and the rows' arm's, if any.
void expectSameKinematics(const Arm& arm, const KDL::Chain& chain, const Arm* rows,
                          std::mt19937_64& rng, int cases) {
  KDL::ChainFkSolverPos_recursive kdl(chain);
  double worstKdl = 0, worstRows = 0;
  for (int c = 0; c < cases; ++c) {
    double q[6];
    arm_test::randomJoints(rng, 2 * M_PI, q);
    KDL::Frame flange, oracle, fromRows;
    arm.flangeFrame(q, flange);
    ASSERT_GE(kdl.JntToCart(arm_test::jntArray(q), oracle), 0);
    worstKdl = std::max(worstKdl, host_support::distance(flange, oracle));
    if (!rows) continue;
    rows->flangeFrame(q, fromRows);
    worstRows = std::max(worstRows, host_support::distance(flange, fromRows));
  }
  EXPECT_LE(worstKdl, 1e-12 * arm.size());
  EXPECT_LE(worstRows, 1e-12 * arm.size());
}

// The sample arm exact and rounded: kinematics as KDL's chain and the rows' arm, layout.
TEST(UrdfRoundTrip, RowArmsKeepTheirKinematicsAndLayout) {
  std::mt19937_64 rng(20261201);
  const double flipped[6] = {1, -1, 1, 1, -1, 1}, plain[6] = {1, 1, 1, 1, 1, 1};
  for (const bool rounded : {false, true}) {
    SCOPED_TRACE(rounded);
    const auto& rows = rounded ? arm_test::kRoundedRows : arm_test::kParallelMiddleRows;
    const std::vector<UrdfJoint> joints = rowArm(rows, rounded ? plain : flipped);
    const Arm arm = read(urdf_test::urdfText(joints));
    const Arm fromRows = arm_test::build(
        arm_test::describe(rows, fk_ik::RowConvention::Modified, rounded ? plain : flipped,
                           KDL::Frame::Identity(), frame(0.1, 0.2, 0.3, 0.01, 0.02, 0.1)));
    expectSameKinematics(arm, urdf_test::kdlChainOf(joints, 1), &fromRows, rng, kJointCases);
    EXPECT_EQ(arm.layout().family, rounded ? ArmFamily::General : ArmFamily::DesignedChain);
    EXPECT_EQ(arm.layout().nearFamily, ArmFamily::DesignedChain);
    EXPECT_EQ(arm.mdh().designedForm, !rounded);
  }
}

// "world" as the base adds the world joint, "link6" as the tip takes the tool off, and the
// default ends named give the default arm.
TEST(UrdfRoundTrip, NamedEndsMoveTheChain) {
  const double plain[6] = {1, 1, 1, 1, 1, 1};
  const std::vector<UrdfJoint> joints = rowArm(arm_test::kThreeParallelRows, plain);
  const std::string xml = urdf_test::urdfText(joints);
  const Arm standard = read(xml), fromWorld = read(xml, "world"), toFlange = read(xml, "", "link6"),
            named = read(xml, "link0", "tool");
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

// Six revolute or continuous joints, up to two fixed joints around each, origins within
// 0.6 m, any orientation, axes of any direction and of length 0.1 to 10.
std::vector<UrdfJoint> randomChain(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> length(-0.6, 0.6), angle(-M_PI, M_PI), unit(-1, 1);
  std::uniform_int_distribution<int> fixedCount(0, 2);
  std::vector<UrdfJoint> joints;
  std::string link = "base";
  const auto next = [&](bool moving) {
    const std::string child = "link" + std::to_string(joints.size());
    const KDL::Vector xyz(length(rng), length(rng), length(rng)),
        rpy(angle(rng), angle(rng), angle(rng));
    KDL::Vector axis(unit(rng), unit(rng), unit(rng));
    axis = axis / axis.Norm() * std::pow(10.0, unit(rng));
    joints.push_back(
        moving ? revolute("joint" + std::to_string(joints.size()), link, child, xyz, rpy, axis)
               : fixed("fixed" + std::to_string(joints.size()), link, child, xyz, rpy));
    if (moving && angle(rng) < 0) joints.back().type = "continuous";
    link = child;
  };
  for (int i = 0; i < 7; ++i) {
    for (int k = fixedCount(rng); k > 0; --k) next(false);
    if (i < 6) next(true);
  }
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
