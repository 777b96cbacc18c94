// The robot facade: its TCP poses against KDL's own chain solver with the tool applied,
// its frame conversions, its round trips through the inverse solver and its assertions.
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/jntarray.hpp>
#include <type_traits>

#include "robot.h"
#include "test_support.h"

using test_support::assertionReport;
using test_support::frameDistance;
using test_support::randomTool;
using test_support::randomVector;
using test_support::toolFrame;

namespace {

static_assert(!std::is_copy_constructible<Robot>::value && !std::is_copy_assignable<Robot>::value,
              "a copy would delete the chain and the solvers twice");

const char* const kForward =
    "Void Robot::jntPosToTcpPos(const MathVector&, const Tool&, MathVector&)";
const char* const kInverse =
    "Int32 Robot::tcpPosToJntPos(const MathVector&, const Tool&, const MathVector&, MathVector&)";
const char* const kToFrame = "Void Robot::vectorToKdlFrame(const MathVector&, KDL::Frame&)";

// The sample arm, in metres and radians.
const double kSampleRows[6][4] = {{0, 0, 0.1625, 0},        {0, -M_PI / 2, 0, 0},
                                  {0.425, 0, 0, 0},         {0.3922, M_PI, 0.1333, 0},
                                  {0, M_PI / 2, 0.0997, 0}, {0, M_PI / 2, 0.0996, 0}};

// The frame a pose vector names, built here rather than by the facade.
KDL::Frame poseFrame(const MathVector& pose) {
  return KDL::Frame(KDL::Rotation::RPY(pose(3), pose(4), pose(5)),
                    KDL::Vector(pose(0), pose(1), pose(2)));
}

double largestDifference(const MathVector& a, const MathVector& b) {
  double d = 0.0;
  for (UInt32 i = 0; i < a.size(); ++i) d = std::max(d, std::abs(a(i) - b(i)));
  return d;
}

// Random arms, joints beyond +-pi and random tools: the TCP pose is KDL's flange frame
// times the tool frame, and its angles lie in the ranges GetRPY reads them in.
TEST(Robot, TcpPoseIsFlangeTimesToolAgainstKdl) {
  std::mt19937_64 rng(4021);
  const int arms = test_support::caseCount(200);
  double worst = 0.0;
  for (int arm = 0; arm < arms; ++arm) {
    const std::vector<MDH> records = test_support::randomArm(rng);
    Robot robot(records);
    const KDL::Chain chain = test_support::kdlChain(records);  // the solver keeps a reference
    KDL::ChainFkSolverPos_recursive kdl(chain);
    for (int k = 0; k < 10; ++k) {
      const MathVector q = randomVector(rng, 2 * M_PI);
      const Tool tool = randomTool(rng);
      KDL::JntArray kq(6);
      for (unsigned i = 0; i < 6; ++i) kq(i) = q(i);
      KDL::Frame flange;
      ASSERT_EQ(kdl.JntToCart(kq, flange), 0);

      MathVector pose(6);
      robot.jntPosToTcpPos(q, tool, pose);
      ASSERT_EQ(pose.size(), 6u);
      worst = std::max(worst, frameDistance(poseFrame(pose), flange * toolFrame(tool)));
      EXPECT_LE(std::abs(pose(3)), M_PI);
      EXPECT_LE(std::abs(pose(4)), M_PI / 2);
      EXPECT_LE(std::abs(pose(5)), M_PI);
    }
  }
  EXPECT_LT(worst, 1e-12);
}

// Pose vector to frame and back, pitch at exactly +-pi/2 (where roll and yaw share one
// degree of freedom) included: the frame rebuilt from the angles is the frame given.
TEST(Robot, FrameConversionsRoundTrip) {
  std::mt19937_64 rng(5);
  Robot robot(test_support::makeRecords(kSampleRows));
  std::uniform_real_distribution<double> angle(-M_PI, M_PI), length(-2.0, 2.0);
  for (int k = 0; k < 300; ++k) {
    const double pitch = k % 3 == 0 ? M_PI / 2 : k % 3 == 1 ? -M_PI / 2 : angle(rng) / 2;
    const KDL::Frame frame(KDL::Rotation::RPY(angle(rng), pitch, angle(rng)),
                           KDL::Vector(length(rng), length(rng), length(rng)));
    MathVector pose(3);
    robot.kdlFrameToVector(frame, pose);
    ASSERT_EQ(pose.size(), 6u);
    KDL::Frame back;
    robot.vectorToKdlFrame(pose, back);
    EXPECT_LT(frameDistance(back, frame), 1e-12);
    EXPECT_LT(frameDistance(poseFrame(pose), frame), 1e-12);
  }
}

// Random solvable arms, random tools, joints beyond +-pi: the inverse of a forward pose,
// with the joints as reference, reaches that pose in the reference's configuration mode
// with every joint within half a turn of the reference, unless the call meets a singular
// configuration (codes 2, 3, 4). The joints need not be the reference's own: on some arms
// two candidates share a mode, and the solver keeps the later one.
TEST(Robot, InverseOfForwardReachesThePoseInTheReferenceMode) {
  std::mt19937_64 rng(90210);
  const int arms = test_support::caseCount(300);
  const int positionsPerArm = 10;
  int solved = 0;
  double worstPose = 0.0;
  for (int arm = 0; arm < arms; ++arm) {
    const std::vector<MDH> records = test_support::randomSixAxisArm(rng);
    Robot robot(records);
    Chain_MDH4 chain(6, &records);
    for (int k = 0; k < positionsPerArm; ++k) {
      const MathVector q = randomVector(rng, 2 * M_PI);
      const Tool tool = randomTool(rng);
      MathVector pose(6), back(6), again(6);
      robot.jntPosToTcpPos(q, tool, pose);
      const Int32 code = robot.tcpPosToJntPos(pose, tool, q, back);
      ASSERT_TRUE(code == 0 || code == 2 || code == 3 || code == 4) << "code " << code;
      if (code != 0) continue;
      ++solved;
      robot.jntPosToTcpPos(back, tool, again);
      worstPose = std::max(worstPose, frameDistance(poseFrame(again), poseFrame(pose)));
      Int32 modeRef = -1, modeBack = -1;
      chain.getMode_6dof(q, modeRef, false);
      chain.getMode_6dof(back, modeBack, false);
      EXPECT_EQ(modeBack, modeRef);
      EXPECT_LE(largestDifference(back, q), M_PI + 1e-12);
    }
  }
  EXPECT_GT(solved, arms * positionsPerArm * 9 / 10);
  EXPECT_LT(worstPose, 1e-9);
}

// A pose out of reach returns the solver's code; the output has size 6 and keeps the
// values it held.
TEST(Robot, UnreachablePoseLeavesOutputAsItWas) {
  Robot robot(test_support::makeRecords(kSampleRows));
  const double refValues[6] = {0.3, -1.0, 1.0, 0, 1.0, 0}, held[3] = {1.5, -2.5, 3.5};
  const double far[6] = {2.0, 0.5, 0.3, 0, 0, 0};
  // The wrist centre (the flange moved back by d[5] along its z axis) on joint 1's axis.
  const double onAxis[6] = {0, 0, 0.5, 0, 0, 0};
  MathVector ref(6), pose(6), out(3);
  ref = refValues;
  for (const double* target : {far, onAxis}) {
    pose = target;
    out.resize(3);
    out = held;
    EXPECT_EQ(robot.tcpPosToJntPos(pose, Tool{0, 0, 0, 0, 0, 0}, ref, out), target == far ? 7 : 6);
    ASSERT_EQ(out.size(), 6u);
    for (UInt32 i = 0; i < 3; ++i) EXPECT_EQ(out(i), held[i]);
  }
}

TEST(RobotDeathTest, WrongSizesAbortWithTheirReports) {
  Robot robot(test_support::makeRecords(kSampleRows));
  const Tool tool{0, 0, 0, 0, 0, 0};
  MathVector five(5), six(6), seven(7), out(6);
  KDL::Frame frame;
  EXPECT_DEATH(robot.jntPosToTcpPos(five, tool, out),
               assertionReport(kForward, "_chainMDH4->_dof == jntPosIn.size()"));
  EXPECT_DEATH(robot.tcpPosToJntPos(five, tool, six, out),
               assertionReport(kInverse, "tcpPosIn.size() == 6"));
  EXPECT_DEATH(robot.tcpPosToJntPos(six, tool, seven, out),
               assertionReport(kInverse, "_chainMDH4->_dof == jntPosRef.size()"));
  EXPECT_DEATH(robot.vectorToKdlFrame(seven, frame),
               assertionReport(kToFrame, "vecIn.size() == 6"));
}

}  // namespace
