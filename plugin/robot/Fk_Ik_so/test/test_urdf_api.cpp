// The URDF reader's refusals, limits and silence, and its C functions against rows.
#include <cmath>
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
using Joints = std::vector<UrdfJoint>;

const std::string kSampleFile = FK_IK_URDF_TEST_DIR "/parallel_middle.urdf";

// Six joints with names of their own, from base_link to flange.
Joints sixJoints() {
  const char* const names[6] = {"shoulder_pan", "shoulder_lift", "elbow",
                                "wrist_pitch",  "wrist_yaw",     "wrist_roll"};
  const char* const links[7] = {"base_link", "shoulder", "upper_arm", "forearm",
                                "wrist_1",   "wrist_2",  "flange"};
  Joints joints;
  for (int i = 0; i < 6; ++i) {
    joints.push_back(revolute(names[i], links[i], links[i + 1], {0.1, 0, 0.2},
                              {i % 2 ? M_PI / 2 : 0, 0, 0}, {0, 0, 1}));
  }
  return joints;
}

// sixJoints with one change.
template <typename Change>
std::string changed(Change change) {
  Joints joints = sixJoints();
  change(joints);
  return urdf_test::urdfText(joints);
}

struct Refusal {
  const char* what;
  std::string text;  // or, when file is set, the file's path
  std::string said;  // in the message
  std::string base = "", tip = "";
  bool file = false;  // refused as unreadable
};

std::vector<Refusal> refusals() {
  const std::string six = urdf_test::urdfText(sixJoints());
  const auto typed = [](const char* type) { return changed([=](Joints& j) { j[2].type = type; }); };
  const std::string withLoop = changed([](Joints& j) {
    j.push_back(fixed("loop_out", "loop_a", "loop_b", {}, {}));
    j.push_back(fixed("loop_back", "loop_b", "loop_a", {}, {}));
  });
  return {
      {"prismatic", typed("prismatic"), "joint 'elbow' is prismatic"},
      {"planar", typed("planar"), "joint 'elbow' is planar"},
      {"floating", typed("floating"), "joint 'elbow' is floating"},
      {"mimic", changed([](Joints& j) { j[5].mimic = "wrist_yaw"; }),
       "joint 'wrist_roll' mimics joint 'wrist_yaw'"},
      {"five moving", changed([](Joints& j) { j[5].type = "fixed"; }),
       "from 'base_link' to 'flange' holds 5 moving joints"},
      {"seven moving", changed([](Joints& j) {
         j.push_back(revolute("spin", "flange", "tool", {}, {}, {0, 0, 1}));
       }),
       "to 'tool' holds 7 moving joints"},
      {"none", six, "holds 0 moving joints", "flange", "flange"},
      {"tip above base", six, "tip link 'shoulder' is not below the base link 'upper_arm'",
       "upper_arm", "shoulder"},
      {"unknown base", six, "base link 'pedestal' is not a link", "pedestal"},
      {"unknown tip", six, "tip link 'gripper' is not a link", "", "gripper"},
      {"zero axis", changed([](Joints& j) { j[3].axis = KDL::Vector::Zero(); }),
       "joint 'wrist_pitch' has an axis of zero length"},
      {"lower above upper", changed([](Joints& j) { j[2].lower = 4; }),
       "joint 3 limits: lower 4 is not at most upper 3 (joints 1 to 6 are"},
      {"two tips", changed([](Joints& j) {
         j.push_back(fixed("tool_a_mount", "flange", "tool_a", {}, {}));
         j.push_back(fixed("tool_b_mount", "flange", "tool_b", {}, {}));
       }),
       "'tool_a', 'tool_b'), 2 of them six moving joints away"},
      {"loop below the base", withLoop, "'loop_a' form a loop", "loop_a"},
      {"tip in a loop", withLoop, "'loop_b' is not below", "", "loop_b"},
      {"unknown type", changed([](Joints& j) { j[1].type = "hinge"; }),
       "parser refused the text: Joint [shoulder_lift] has no known type"},
      {"truncated", six.substr(0, six.size() / 2), "parser refused the text: Error"},
      {"no robot", "<machine name=\"m\"/>", "'robot' element"},
      {"empty", "", "Error document empty"},
      {"directory", FK_IK_URDF_TEST_DIR, "Is a directory", "", "", true},
  };
}

// Each refusal names what is wrong, leaves the description alone, and prints nothing
// (urdfdom reports parse errors through console_bridge, which prints by default).
TEST(UrdfRefusals, EachNamesWhatIsWrongSilently) {
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  for (const Refusal& r : refusals()) {
    SCOPED_TRACE(r.what);
    fk_ik::ArmDescription description;
    description.lower[0] = -1;  // untouched by a refusal
    std::string message;
    const Int32 code =
        r.file ? fk_ik::armDescriptionFromUrdfFile(r.text, r.base, r.tip, description, &message)
               : fk_ik::armDescriptionFromUrdf(r.text, r.base, r.tip, description, &message);
    EXPECT_EQ(code, r.file ? fk_ik::Arm_Unreadable : fk_ik::Arm_Invalid);
    EXPECT_NE(message.find(r.said), std::string::npos) << message;
    EXPECT_EQ(description.lower[0], -1);
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// The sample arm's file, read as text and from the file, with default and named ends:
// the rows' arm's poses over random joints and tools, and the file's limits (revolute and
// continuous).
TEST(UrdfC, CreatedArmsComputeTheSampleArm) {
  FkIkArm* rows = nullptr;
  ASSERT_EQ(armCreateFromRows(arm_test::kParallelMiddleRows, FK_IK_MODIFIED_ROWS, 0, 0, 0, 0, 0,
                              &rows, 0, 0),
            0);
  std::ostringstream file;
  file << std::ifstream(kSampleFile).rdbuf();
  const std::string text = file.str();
  FkIkArm* arms[2] = {};
  ASSERT_EQ(armCreateFromUrdfFile(kSampleFile.c_str(), nullptr, nullptr, &arms[0], 0, 0), 0);
  ASSERT_EQ(armCreateFromUrdf(text.c_str(), "base_link", "flange", &arms[1], 0, 0), 0);
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
  EXPECT_TRUE(lower[5] == -INFINITY && upper[5] == INFINITY);  // continuous
  for (FkIkArm* arm : arms) armDestroy(arm);
  armDestroy(rows);
}

// The C functions' codes, a null handle on failure, the message cut to the buffer.
TEST(UrdfC, FailuresGiveCodeAndMessage) {
  int somewhere;
  FkIkArm* arm = reinterpret_cast<FkIkArm*>(&somewhere);
  char message[256];
  EXPECT_EQ(armCreateFromUrdfFile("/nonexistent/arm.urdf", nullptr, nullptr, &arm, message,
                                  sizeof message),
            FK_IK_ARM_UNREADABLE);
  EXPECT_EQ(arm, nullptr);
  EXPECT_STREQ(message, "cannot read '/nonexistent/arm.urdf': No such file or directory");
  char shortMessage[8];
  EXPECT_EQ(armCreateFromUrdf(nullptr, nullptr, nullptr, &arm, shortMessage, sizeof shortMessage),
            FK_IK_ARM_INVALID);
  EXPECT_STREQ(shortMessage, "no URDF");
  EXPECT_EQ(armCreateFromUrdfFile(nullptr, nullptr, nullptr, &arm, nullptr, 0), FK_IK_ARM_INVALID);
}

}  // namespace
