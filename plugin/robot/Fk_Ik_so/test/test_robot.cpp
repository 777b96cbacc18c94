// The Robot facade and the exported functions over it: TCP poses against KDL's chain solver
// with the tool applied, frame conversions, inverse-of-forward round trips with tools, and
// hostile values in every one of the 48 values a host passes.
#include <cstring>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/jntarray.hpp>
#include <limits>

#include "fk_ik_so.h"
#include "robot.h"
#include "test_support.h"

namespace {

KDL::Frame poseFrame(const double* pose) {
  return KDL::Frame(KDL::Rotation::RPY(pose[3], pose[4], pose[5]),
                    KDL::Vector(pose[0], pose[1], pose[2]));
}

// The arm, the tool and the joint position a host passes, as plain arrays.
struct Request {
  double arm[6][4], tool[6], jnt[6];
  explicit Request(const std::vector<MDH>& r, const Tool& t, const MathVector& q) {
    for (int i = 0; i < 6; ++i) {
      arm[i][0] = r[i].a, arm[i][1] = r[i].alpha, arm[i][2] = r[i].d, arm[i][3] = r[i].theta;
      jnt[i] = q(i);
    }
    const double values[6] = {t.x, t.y, t.z, t.rx, t.ry, t.rz};
    std::copy(values, values + 6, tool);
  }
};

// General arms, tools and joints beyond +-pi: the facade's TCP pose and that of the exported
// function are KDL's flange frame times the tool frame, the angles in GetRPY's ranges. On
// arms of the solver's form the inverse of that pose with the joints as reference reaches it
// in the reference's configuration (or meets a singular one, codes 2, 3, 4), the exported
// function giving the same bits.
TEST(Robot, ForwardAgainstKdlAndInverseOfForward) {
  std::mt19937_64 rng(4021);
  double worst = 0.0;
  int solved = 0;
  const int arms = test_support::caseCount(200);
  for (int arm = 0; arm < arms; ++arm) {
    const std::vector<MDH> records =
        arm % 2 ? test_support::randomSixAxisArm(rng) : test_support::randomArm(rng);
    Robot robot(records);
    const KDL::Chain chain = test_support::kdlChain(records);
    KDL::ChainFkSolverPos_recursive kdl(chain);
    Chain_MDH4 modes(6, &records);
    for (int k = 0; k < 10; ++k) {
      const MathVector q = test_support::randomVector(rng, 2 * M_PI);
      const Tool tool = test_support::randomTool(rng);
      const Request request(records, tool, q);
      init(request.arm);
      KDL::JntArray kq(6);
      for (unsigned i = 0; i < 6; ++i) kq(i) = q(i);
      KDL::Frame flange;
      ASSERT_EQ(kdl.JntToCart(kq, flange), 0);
      MathVector pose(3), back(6);
      double poseArray[6], backArray[6];
      robot.jntPosToTcpPos(q, tool, pose);
      ASSERT_EQ(pose.size(), 6u);
      ASSERT_EQ(jntPosToTcpPos(request.jnt, request.tool, poseArray), 0);
      ASSERT_EQ(std::memcmp(poseArray, &pose(0), sizeof poseArray), 0);
      worst = std::max(worst, host_support::distance(poseFrame(poseArray),
                                                     flange * test_support::toolFrame(tool)));
      EXPECT_TRUE(std::abs(pose(3)) <= M_PI && std::abs(pose(4)) <= M_PI / 2 &&
                  std::abs(pose(5)) <= M_PI);
      if (arm % 2 == 0) continue;
      const Int32 code = robot.tcpPosToJntPos(pose, tool, q, back);
      ASSERT_EQ(tcpPosToJntPos(poseArray, request.tool, request.jnt, backArray), code);
      ASSERT_TRUE(code == 0 || code == 2 || code == 3 || code == 4) << code;
      if (code != 0) continue;
      ++solved;
      ASSERT_EQ(std::memcmp(backArray, &back(0), sizeof backArray), 0);
      MathVector again(6);
      robot.jntPosToTcpPos(back, tool, again);
      EXPECT_LT(host_support::distance(poseFrame(&again(0)), poseFrame(&pose(0))), 1e-9);
      Int32 modeRef = -1, modeBack = -1;
      modes.getMode_6dof(q, modeRef, false);
      modes.getMode_6dof(back, modeBack, false);
      EXPECT_EQ(modeBack, modeRef);
      for (UInt32 j = 0; j < 6; ++j) EXPECT_LE(std::abs(back(j) - q(j)), M_PI + 1e-12);
    }
  }
  EXPECT_LT(worst, 1e-12);
  EXPECT_GT(solved, arms * 10 / 2 * 9 / 10);
}

// Pose vector to frame and back, pitch at exactly +-pi/2 included: the frame rebuilt from the
// angles is the frame given. A pose out of reach leaves the facade's output as it was (size
// 6), while the exported function writes six zeros; an all-zero arm has the identity flange.
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
    for (double v : answer) EXPECT_EQ(v, 0.0);
  }
  const double zeroArm[6][4] = {};
  double tcp[6] = {42, 42, 42, 42, 42, 42};
  init(zeroArm);
  ASSERT_EQ(jntPosToTcpPos(tool, tool, tcp), 0);
  for (double v : tcp) EXPECT_EQ(v, 0.0);
}

// The code the README's table gives for a hostile value (kind 0 not-a-number, 1 infinity,
// 2 huge) at one index of a request: arm 0-23 (record index / 4; a, alpha, d, theta), tool
// 24-29, joints 30-35, pose 36-41, reference 42-47.
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

// Not-a-number, infinity and huge values (1e300 for lengths, 1e10 for angles) in each of the
// 48 values of a solvable request on the sample arm, as the README's table has them: the
// forward call answers 0, its pose finite exactly when the values it reads are; the inverse
// answers the table's code, six zeros on failure, the base answer for a value it does not
// read, and a finite answer reaches the pose. Explicit mode -1 answers exactly as it, its
// answer is among the eight candidates, the nearest answer is never farther from the
// reference, and the arm-form check names the replaced value when it breaks the form.
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
      bool finite = true;
      for (double v : tcp) finite = finite && std::isfinite(v);
      EXPECT_EQ(finite, index >= 36 || kind == 2) << index << " " << bad;
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
      finite = true;
      const bool turnsOnly = kind == 0 && (index == 42 || index == 47);  // ref q0, q5 NaN
      for (int i = 0; i < 6; ++i) {
        EXPECT_TRUE(code == 0 || out[i] == 0.0);
        EXPECT_TRUE(!turnsOnly || std::fabs(out[i] - baseAnswer[i]) <= 1e-12) << index;
        finite = finite && std::isfinite(out[i]);
      }
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
