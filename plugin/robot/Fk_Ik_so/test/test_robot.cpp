// The Robot facade and the exported functions: TCP poses against KDL, frame conversions,
// hostile values in each of the 48 values a host passes.
#include <cstring>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/jntarray.hpp>
#include <limits>

#include "fk_ik_so.h"
#include "robot.h"
#include "test_support.h"

namespace {

using host_support::poseFrame;

// General arms, tools and joints beyond +-pi: the facade's TCP pose and the exported
// function's are KDL's flange frame times the tool frame, the angles in GetRPY's ranges; on
// arms of the solver's form both inverses give the same code and bits.
TEST(Robot, ForwardAgainstKdlFacadeAndExportedAgree) {
  std::mt19937_64 rng(4021);
  double worst = 0.0;
  int solved = 0;
  const int arms = test_support::caseCount(200);
  for (int arm = 0; arm < arms; ++arm) {
    const std::vector<MDH> records =
        arm % 2 ? test_support::randomSixAxisArm(rng) : test_support::randomArm(rng);
    Robot robot(records);
    init(reinterpret_cast<const double(*)[4]>(records.data()));  // a, alpha, d, theta
    const KDL::Chain chain = test_support::kdlChain(records);
    KDL::ChainFkSolverPos_recursive kdl(chain);
    for (int k = 0; k < 10; ++k) {
      MathVector q = test_support::randomVector(rng, 2 * M_PI), pose(3), back(6);
      const Tool t = test_support::randomTool(rng);
      const double tool[6] = {t.x, t.y, t.z, t.rx, t.ry, t.rz};
      KDL::JntArray kq(6);
      for (unsigned i = 0; i < 6; ++i) kq(i) = q(i);
      KDL::Frame flange;
      double poseArray[6], backArray[6];
      ASSERT_EQ(kdl.JntToCart(kq, flange) + jntPosToTcpPos(&q(0), tool, poseArray), 0);
      robot.jntPosToTcpPos(q, t, pose);
      ASSERT_TRUE(pose.size() == 6u && !std::memcmp(poseArray, &pose(0), sizeof poseArray));
      worst = std::max(
          worst, host_support::distance(poseFrame(poseArray), flange * test_support::toolFrame(t)));
      EXPECT_TRUE(std::abs(pose(3)) <= M_PI && std::abs(pose(4)) <= M_PI / 2 &&
                  std::abs(pose(5)) <= M_PI);
      if (arm % 2 == 0) continue;
      const Int32 code = robot.tcpPosToJntPos(pose, t, q, back);
      ASSERT_EQ(tcpPosToJntPos(poseArray, tool, &q(0), backArray), code);
      solved += code == 0;
      EXPECT_TRUE(code != 0 || !std::memcmp(backArray, &back(0), sizeof backArray));
    }
  }
  EXPECT_LT(worst, 1e-12);
  EXPECT_GT(solved, arms * 10 / 2 * 9 / 10);
}

// Pose vector to frame and back (pitch +-pi/2 included); out of reach the facade keeps its
// output, the exported function writes zeros; an all-zero arm has the identity flange.
TEST(Robot, ConversionsAndFailures) {
  std::mt19937_64 rng(5);
  Robot robot(test_support::makeRecords(host_support::SampleArm));
  std::uniform_real_distribution<double> angle(-M_PI, M_PI), length(-2.0, 2.0);
  for (int k = 0; k < 300; ++k) {
    const double pitch = k % 3 == 0 ? M_PI / 2 : k % 3 == 1 ? -M_PI / 2 : angle(rng) / 2;
    const KDL::Frame frame(KDL::Rotation::RPY(angle(rng), pitch, angle(rng)),
                           KDL::Vector(length(rng), length(rng), length(rng)));
    MathVector pose(3);
    KDL::Frame back;
    robot.kdlFrameToVector(frame, pose);
    ASSERT_EQ(pose.size(), 6u);
    robot.vectorToKdlFrame(pose, back);
    EXPECT_LT(host_support::distance(back, frame), 1e-12);
    EXPECT_LT(host_support::distance(poseFrame(&pose(0)), frame), 1e-12);
  }
  init(host_support::SampleArm);
  const double far[6] = {2.0, 0.5, 0.3, 0, 0, 0}, onAxis[6] = {0, 0, 0.5, 0, 0, 0}, tool[6] = {};
  const double ref[6] = {0.3, -1.0, 1.0, 0, 1.0, 0};
  for (const double* target : {far, onAxis}) {
    MathVector pose(6), out(3), refVector(6);
    pose = target;
    refVector = ref;
    out(0) = 1.5;
    EXPECT_EQ(robot.tcpPosToJntPos(pose, Tool{0, 0, 0, 0, 0, 0}, refVector, out),
              target == far ? 7 : 6);
    ASSERT_EQ(out.size(), 6u);
    EXPECT_EQ(out(0), 1.5);
    double answer[6] = {42, 42, 42, 42, 42, 42};
    EXPECT_EQ(tcpPosToJntPos(target, tool, ref, answer), target == far ? 7 : 6);
    EXPECT_TRUE(host_support::allZero(answer));
  }
  const double zeroArm[6][4] = {};
  double tcp[6] = {42, 42, 42, 42, 42, 42};
  init(zeroArm);
  ASSERT_EQ(jntPosToTcpPos(tool, tool, tcp), 0);
  EXPECT_TRUE(host_support::allZero(tcp));
}

// The README's code for a hostile value (kind 0 NaN, 1 infinity, 2 huge) at an index: arm
// 0-23 (record, field), tool 24-29, joints 30-35, pose 36-41, reference 42-47.
int tableCode(int index, int kind) {
  if (index >= 24) {
    const int group = (index - 24) / 6, i = (index - 24) % 6;
    if (group == 1 || (group == 3 && (i == 0 || i == 4 || i == 5)))
      return 0;                                           // not read, or a turn
    if (i < 3 && group != 3) return 7;                    // tool and pose x, y, z
    return kind < 2 ? 7 : (group == 2 && i > 3) ? 6 : 0;  // as the angle modulo 2 pi
  }
  const int record = index / 4, field = index % 4;
  if (field == 1 || (field == 0 && record != 2 && record != 3)) return 0;  // not read
  if (field == 3) return record == 0 || record == 5 || kind == 2 ? 0 : 7;
  if (field == 2 && record >= 1 && record <= 3) return kind == 0 ? 7 : 6;  // lateral offset
  return 7;
}

// NaN, infinity and huge values (1e300 lengths, 1e10 angles) in each of the 48 values of a
// request: every exported function's code as the README's table has it, and its answer.
TEST(Robot, HostileValuesInEveryInput) {
  const double tool[6] = {0.01, -0.02, 0.05, 0.1, -0.2, 0.3};
  const double jnt[6] = {0.3, 1.0, 1.4, 0.5, 0.8, -0.4};
  double basePose[6], baseAnswer[6];
  init(host_support::SampleArm);
  jntPosToTcpPos(jnt, tool, basePose);
  ASSERT_EQ(tcpPosToJntPos(basePose, tool, jnt, baseAnswer), 0);
  for (int kind = 0; kind < 3; ++kind) {
    for (int index = 0; index < 48; ++index) {
      double arm[6][4], values[24], tcp[6], out[6], reached[6];  // tool, joints, pose, ref
      std::copy(&host_support::SampleArm[0][0], &host_support::SampleArm[0][0] + 24, &arm[0][0]);
      std::copy(tool, tool + 6, values), std::copy(jnt, jnt + 6, values + 6);
      std::copy(basePose, basePose + 6, values + 12), std::copy(jnt, jnt + 6, values + 18);
      double *t = values, *q = values + 6, *pose = values + 12, *ref = values + 18;
      const bool length = index < 24 ? index % 2 == 0 : (index < 27 || (index >= 36 && index < 39));
      const double bad = kind == 0   ? std::numeric_limits<double>::quiet_NaN()
                         : kind == 1 ? std::numeric_limits<double>::infinity()
                         : length    ? 1e300
                                     : 1e10;
      (index < 24 ? arm[index / 4][index % 4] : values[index - 24]) = bad;
      init(arm);
      ASSERT_EQ(jntPosToTcpPos(q, t, tcp), 0);
      EXPECT_EQ(host_support::allFinite(tcp), index >= 36 || kind == 2) << index << " " << bad;
      const int code = tcpPosToJntPos(pose, t, ref, out);
      ASSERT_EQ(code, tableCode(index, kind)) << index << " " << bad;
      double inMode[6], all[8][6], nearest[6];
      Int32 modes[8], status[8];
      EXPECT_EQ(tcpPosToJntPosInMode(pose, t, ref, -1, inMode), code) << index << " " << bad;
      EXPECT_EQ(std::memcmp(inMode, out, sizeof out), 0) << index << " " << bad;
      const int allCode = tcpPosToAllJntPos(pose, t, ref, all, modes, status);
      EXPECT_TRUE(allCode == 0 || allCode == 2 || allCode == 6) << index << " " << bad;
      bool among = code != 0;
      for (int k = 0; k < 8; ++k)
        among = among || (status[k] == 0 && std::memcmp(all[k], out, sizeof out) == 0);
      EXPECT_TRUE(among) << index << " " << bad;
      const int record = index / 4, field = index % 4;
      const bool unreadArm =
          index < 24 && (field == 1 || (field == 0 && record != 2 && record != 3));
      EXPECT_EQ(checkArmForm(arm), unreadArm || (index < 24 && kind < 2) ? index + 1 : 0) << index;
      const bool unread = unreadArm || (index >= 30 && index < 36);  // or a joint
      EXPECT_TRUE(!unread || std::memcmp(out, baseAnswer, sizeof out) == 0) << index << " " << bad;
      const bool turnsOnly = kind == 0 && (index == 42 || index == 47);  // ref q0, q5 NaN
      const bool finite = host_support::allFinite(out);
      EXPECT_TRUE(code == 0 || host_support::allZero(out));
      EXPECT_TRUE(!turnsOnly || test_support::largestDifference(out, baseAnswer) <= 1e-12) << index;
      const bool flangeAngle = index == 3 || index == 23;  // theta0, theta5
      EXPECT_EQ(finite, code != 0 || !flangeAngle || kind == 2) << index << " " << bad;
      if (code != 0 || !finite) continue;
      double far = 0.0, near = 0.0;
      ASSERT_EQ(tcpPosToNearestJntPos(pose, t, ref, nullptr, nullptr, nearest), 0) << index;
      for (int i = 0; i < 6; ++i) {
        far = std::fmax(far, std::fabs(out[i] - ref[i]));
        near = std::fmax(near, std::fabs(nearest[i] - ref[i]));
        // Below about 6.7e9 rad the turn count fits the solver's 32 bits: within pi.
        EXPECT_TRUE(kind == 2 || !std::isfinite(ref[i]) ||
                    std::fabs(out[i] - ref[i]) <= M_PI + 1e-9)
            << index << " " << i;
      }
      EXPECT_LE(near, far) << index << " " << bad;
      if (index < 24 && field != 3) continue;
      jntPosToTcpPos(out, t, reached);
      EXPECT_LT(host_support::distance(poseFrame(reached), poseFrame(pose)), 1e-5)
          << index << " " << bad;
    }
  }
}

}  // namespace
