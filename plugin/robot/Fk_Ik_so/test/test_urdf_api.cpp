// The URDF reader's refusals, its limits, its silence, and its C functions on the sample
// arm's file against the same arm created from rows.
#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

#include "arm_test_support.h"
#include "arm_urdf.h"
#include "fk_ik_urdf.h"
#include "host_support.h"
#include "urdf_test_support.h"

namespace {

using urdf_test::fixed;
using urdf_test::revolute;
using urdf_test::UrdfJoint;

const std::string kSampleFile = FK_IK_URDF_TEST_DIR "/parallel_middle.urdf";

// Six joints with names of their own, from base_link to flange.
std::vector<UrdfJoint> sixJoints() {
  const char* const names[6] = {"shoulder_pan", "shoulder_lift", "elbow",
                                "wrist_pitch",  "wrist_yaw",     "wrist_roll"};
  const char* const links[7] = {"base_link", "shoulder", "upper_arm", "forearm",
                                "wrist_1",   "wrist_2",  "flange"};
  std::vector<UrdfJoint> joints;
  for (int i = 0; i < 6; ++i) {
    joints.push_back(revolute(names[i], links[i], links[i + 1], {0.1, 0, 0.2},
                              {i % 2 ? M_PI / 2 : 0, 0, 0}, {0, 0, 1}));
  }
  return joints;
}

// sixJoints with one change.
template <typename Change>
std::string changed(Change change) {
  std::vector<UrdfJoint> joints = sixJoints();
  change(joints);
  return urdf_test::urdfText(joints);
}

struct Refusal {
  const char* what;
  std::string text;  // or, when file is set, the file's path
  bool file;
  std::string base, tip;
  Int32 code;
  std::string said;  // in the message
};

std::vector<Refusal> refusals() {
  const std::string six = urdf_test::urdfText(sixJoints());
  const auto typed = [](const char* type) {
    return changed([=](std::vector<UrdfJoint>& j) { j[2].type = type; });
  };
  const std::string withLoop = changed([](std::vector<UrdfJoint>& j) {
    j.push_back(fixed("loop_out", "loop_a", "loop_b", {}, {}));
    j.push_back(fixed("loop_back", "loop_b", "loop_a", {}, {}));
  });
  const int invalid = fk_ik::Arm_Invalid, unreadable = fk_ik::Arm_Unreadable;
  return {
      {"prismatic", typed("prismatic"), false, "", "", invalid, "joint 'elbow' is prismatic"},
      {"planar", typed("planar"), false, "", "", invalid, "joint 'elbow' is planar"},
      {"floating", typed("floating"), false, "", "", invalid, "joint 'elbow' is floating"},
      {"mimic", changed([](std::vector<UrdfJoint>& j) { j[5].mimic = "wrist_yaw"; }), false, "", "",
       invalid, "joint 'wrist_roll' mimics joint 'wrist_yaw'"},
      {"five moving", changed([](std::vector<UrdfJoint>& j) { j[5].type = "fixed"; }), false, "",
       "", invalid, "from 'base_link' to 'flange' holds 5 moving joints"},
      {"seven moving", changed([](std::vector<UrdfJoint>& j) {
         j.push_back(revolute("tool_spin", "flange", "tool", {}, {}, {0, 0, 1}));
       }),
       false, "", "", invalid, "to 'tool' holds 7 moving joints"},
      {"none", six, false, "flange", "flange", invalid, "holds 0 moving joints"},
      {"tip above base", six, false, "upper_arm", "shoulder", invalid,
       "tip link 'shoulder' is not below the base link 'upper_arm'"},
      {"unknown base", six, false, "pedestal", "", invalid, "base link 'pedestal' is not a link"},
      {"unknown tip", six, false, "", "gripper", invalid, "tip link 'gripper' is not a link"},
      {"zero axis", changed([](std::vector<UrdfJoint>& j) { j[3].axis = KDL::Vector::Zero(); }),
       false, "", "", invalid, "joint 'wrist_pitch' has an axis of zero length"},
      {"lower above upper", changed([](std::vector<UrdfJoint>& j) { j[2].lower = 4; }), false, "",
       "", invalid, "joint 3 limits: lower 4 is not at most upper 3 (joints 1 to 6 are"},
      {"two tips", changed([](std::vector<UrdfJoint>& j) {
         j.push_back(fixed("tool_a_mount", "flange", "tool_a", {}, {}));
         j.push_back(fixed("tool_b_mount", "flange", "tool_b", {}, {}));
       }),
       false, "", "", invalid, "'tool_a', 'tool_b'), 2 of them six moving joints away"},
      {"loop below the base", withLoop, false, "loop_a", "", invalid, "'loop_a' form a loop"},
      {"tip in a loop", withLoop, false, "", "loop_b", invalid, "'loop_b' is not below"},
      {"unknown type", changed([](std::vector<UrdfJoint>& j) { j[1].type = "hinge"; }), false, "",
       "", invalid, "parser refused the text: Joint [shoulder_lift] has no known type"},
      {"truncated", six.substr(0, six.size() / 2), false, "", "", invalid,
       "parser refused the text: Error"},
      {"no robot", "<machine name=\"m\"/>", false, "", "", invalid, "'robot' element"},
      {"empty", "", false, "", "", invalid, "Error document empty"},
      {"missing file", "/nonexistent/arm.urdf", true, "", "", unreadable,
       "cannot read '/nonexistent/arm.urdf': No such file or directory"},
      {"directory", FK_IK_URDF_TEST_DIR, true, "", "", unreadable, "Is a directory"},
  };
}

TEST(UrdfRefusals, EachNamesWhatIsWrong) {
  for (const Refusal& r : refusals()) {
    SCOPED_TRACE(r.what);
    fk_ik::ArmDescription description;
    description.lower[0] = -1;  // untouched by a refusal
    std::string message;
    const Int32 code =
        r.file ? fk_ik::armDescriptionFromUrdfFile(r.text, r.base, r.tip, description, &message)
               : fk_ik::armDescriptionFromUrdf(r.text, r.base, r.tip, description, &message);
    EXPECT_EQ(code, r.code);
    EXPECT_NE(message.find(r.said), std::string::npos) << message;
    EXPECT_EQ(description.lower[0], -1);
  }
}

// urdfdom reports a parse error through console_bridge, which prints by default.
TEST(UrdfRefusals, NothingIsPrinted) {
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  fk_ik::ArmDescription description;
  std::string message;
  EXPECT_EQ(fk_ik::armDescriptionFromUrdf("<robot name=\"r\"><link", "", "", description, &message),
            fk_ik::Arm_Invalid);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(UrdfLimits, RevoluteLimitsReadContinuousJointsUnlimited) {
  const std::string xml = changed([](std::vector<UrdfJoint>& j) {
    for (size_t i = 0; i < j.size(); ++i) j[i].lower = -1.0 - i, j[i].upper = 0.5 + i;
    j[1].type = j[4].type = "continuous";
  });
  fk_ik::ArmDescription d;
  std::string message;
  ASSERT_EQ(fk_ik::armDescriptionFromUrdf(xml, "", "", d, &message), fk_ik::Arm_Ok) << message;
  for (int i = 0; i < 6; ++i) {
    SCOPED_TRACE(i);
    const bool continuous = i == 1 || i == 4;
    EXPECT_EQ(d.lower[i], continuous ? -INFINITY : -1.0 - i);
    EXPECT_EQ(d.upper[i], continuous ? INFINITY : 0.5 + i);
  }
}

std::string fileText(const std::string& path) {
  std::ifstream in(path);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

// The sample arm's file, read as text and from the file, with default and with named
// ends, against the sample rows' arm: the same poses over random joints and tools, and
// the file's limits.
TEST(UrdfC, CreatedArmsComputeTheSampleArm) {
  FkIkArm* rows = nullptr;
  char message[256] = "";
  ASSERT_EQ(armCreateFromRows(arm_test::kParallelMiddleRows, FK_IK_MODIFIED_ROWS, nullptr, nullptr,
                              nullptr, nullptr, nullptr, &rows, message, sizeof message),
            0)
      << message;
  const std::string text = fileText(kSampleFile);
  FkIkArm* arms[3] = {};
  ASSERT_EQ(armCreateFromUrdfFile(kSampleFile.c_str(), nullptr, nullptr, &arms[0], message,
                                  sizeof message),
            0)
      << message;
  ASSERT_EQ(
      armCreateFromUrdf(text.c_str(), "base_link", "flange", &arms[1], message, sizeof message), 0)
      << message;
  ASSERT_EQ(armCreateFromUrdf(text.c_str(), "", "", &arms[2], message, sizeof message), 0)
      << message;
  std::mt19937_64 rng(99);
  std::uniform_real_distribution<double> offset(-0.2, 0.2), angle(-M_PI, M_PI);
  for (int c = 0; c < 300; ++c) {
    double q[6], expected[6], pose[6];
    arm_test::randomJoints(rng, 2 * M_PI, q);
    const double tool[6] = {offset(rng), offset(rng), offset(rng),
                            angle(rng),  angle(rng),  angle(rng)};
    ASSERT_EQ(armJntPosToTcpPos(rows, q, tool, expected), 0);
    for (FkIkArm* arm : arms) {
      ASSERT_EQ(armJntPosToTcpPos(arm, q, tool, pose), 0);
      EXPECT_LE(host_support::poseDistance(pose, expected), 1e-12);
    }
  }
  double lower[6], upper[6];
  ASSERT_EQ(armLimits(arms[0], lower, upper), 0);
  EXPECT_EQ(lower[2], -M_PI);
  EXPECT_EQ(upper[0], 2 * M_PI);
  EXPECT_EQ(upper[5], INFINITY);
  for (FkIkArm* arm : arms) armDestroy(arm);
  armDestroy(rows);
}

TEST(UrdfC, FailuresGiveCodeAndMessage) {
  int somewhere;
  FkIkArm* const notNull = reinterpret_cast<FkIkArm*>(&somewhere);
  FkIkArm* arm = notNull;
  char message[256];
  EXPECT_EQ(armCreateFromUrdfFile("/nonexistent/arm.urdf", nullptr, nullptr, &arm, message,
                                  sizeof message),
            FK_IK_ARM_UNREADABLE);
  EXPECT_EQ(arm, nullptr);
  EXPECT_STREQ(message, "cannot read '/nonexistent/arm.urdf': No such file or directory");
  arm = notNull;
  EXPECT_EQ(
      armCreateFromUrdf("<robot name=\"r\"><link", nullptr, nullptr, &arm, message, sizeof message),
      FK_IK_ARM_INVALID);
  EXPECT_EQ(arm, nullptr);
  EXPECT_NE(std::strstr(message, "parser refused the text"), nullptr) << message;
  char shortMessage[8];
  EXPECT_EQ(armCreateFromUrdf(nullptr, nullptr, nullptr, &arm, shortMessage, sizeof shortMessage),
            FK_IK_ARM_INVALID);
  EXPECT_STREQ(shortMessage, "no URDF");
  EXPECT_EQ(armCreateFromUrdfFile(nullptr, nullptr, nullptr, &arm, nullptr, 0), FK_IK_ARM_INVALID);
}

}  // namespace
