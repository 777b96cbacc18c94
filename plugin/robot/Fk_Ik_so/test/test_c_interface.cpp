// The exported C functions as a host sees them: the built library is loaded with dlopen
// and its three functions found with dlsym. This program is not linked to the library.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <kdl/frames.hpp>
#include <string>

#include "fk_ik_so.h"
#include "test_support.h"

namespace {

// The library's functions in one loaded copy of it.
struct Library {
  explicit Library(const std::string& path) : handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle == nullptr) throw std::runtime_error(dlerror());
    init = reinterpret_cast<decltype(init)>(find("init"));
    jntPosToTcpPos = reinterpret_cast<decltype(jntPosToTcpPos)>(find("jntPosToTcpPos"));
    tcpPosToJntPos = reinterpret_cast<decltype(tcpPosToJntPos)>(find("tcpPosToJntPos"));
  }
  void* find(const char* name) {
    void* symbol = dlsym(handle, name);
    if (symbol == nullptr) throw std::runtime_error(std::string("no function ") + name);
    return symbol;
  }

  void* handle;
  decltype(&::init) init;
  decltype(&::jntPosToTcpPos) jntPosToTcpPos;
  decltype(&::tcpPosToJntPos) tcpPosToJntPos;
};

// The copy every test but the first shares; the model it holds is whatever the last
// init set, so each test calls init itself.
Library& library() {
  static Library shared(FK_IK_LIBRARY_FILE);
  return shared;
}

using test_support::kSampleArm;
const double kNoTool[6] = {0, 0, 0, 0, 0, 0};

// Joint positions clear of the sample arm's singular configurations.
const double kJoints[][6] = {{0.0, -1.2, 1.5, -0.3, 1.0, 0.0},
                             {0.5, -0.8, 1.2, 0.7, -0.9, 1.0},
                             {-1.0, -2.0, -1.3, 2.0, 0.6, -2.5},
                             {3.5, -1.0, 1.0, -4.0, 1.2, 7.0}};

KDL::Frame poseFrame(const double pose[6]) {
  return KDL::Frame(KDL::Rotation::RPY(pose[3], pose[4], pose[5]),
                    KDL::Vector(pose[0], pose[1], pose[2]));
}

// The inverse of pose with q as reference, in the current model: code 0, every joint
// within half a turn of the reference, and the forward pose of the answer is the pose.
// (The answer need not be q itself: two candidates can share q's configuration mode.)
void expectRoundTrip(const double q[6], const double tool[6], const double pose[6]) {
  double back[6], again[6];
  ASSERT_EQ(library().tcpPosToJntPos(pose, tool, q, back), 0);
  for (int i = 0; i < 6; ++i) EXPECT_LE(std::abs(back[i] - q[i]), M_PI) << "joint " << i;
  ASSERT_EQ(library().jntPosToTcpPos(back, tool, again), 0);
  EXPECT_LT(test_support::frameDistance(poseFrame(again), poseFrame(pose)), 1e-9);
}

// A fresh copy of the library, loaded from a file of its own so that the dynamic loader
// gives it its own process-wide model: nothing has called its init yet.
TEST(CInterface, NoModelBeforeInit) {
  const std::filesystem::path copy =
      std::filesystem::temp_directory_path() / ("libFk_Ik_so-" + std::to_string(getpid()) + ".so");
  std::filesystem::copy_file(FK_IK_LIBRARY_FILE, copy,
                             std::filesystem::copy_options::overwrite_existing);
  Library fresh(copy.string());
  std::filesystem::remove(copy);

  double q[6] = {0.1, 0.2, 0.3, 0.4, 0.5, 0.6}, out[6];
  std::fill(out, out + 6, 42.0);
  EXPECT_EQ(fresh.jntPosToTcpPos(q, kNoTool, out), 1);
  for (double v : out) EXPECT_EQ(v, 42.0);
  EXPECT_EQ(fresh.tcpPosToJntPos(q, kNoTool, q, out), 1);
  for (double v : out) EXPECT_EQ(v, 42.0);

  fresh.init(kSampleArm);
  EXPECT_EQ(fresh.jntPosToTcpPos(q, kNoTool, out), 0);
  EXPECT_NE(out[0], 42.0);
}

// The second init's arm decides later results: the sample arm in millimetres puts the
// TCP 1000 times as far out with the same orientation, and its inverse solves the
// millimetre poses, which lie out of reach of the arm in metres.
TEST(CInterface, SecondInitReplacesTheFirst) {
  double millimetres[6][4];
  for (int j = 0; j < 6; ++j) {
    for (int k = 0; k < 4; ++k) millimetres[j][k] = kSampleArm[j][k] * (k % 2 == 0 ? 1000.0 : 1.0);
  }
  for (const auto& q : kJoints) {
    double metres[6], mm[6], back[6];
    library().init(kSampleArm);
    ASSERT_EQ(library().jntPosToTcpPos(q, kNoTool, metres), 0);
    library().init(millimetres);
    ASSERT_EQ(library().jntPosToTcpPos(q, kNoTool, mm), 0);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(mm[i], 1000.0 * metres[i], 1e-9);
    for (int i = 3; i < 6; ++i) EXPECT_NEAR(mm[i], metres[i], 1e-12);
    expectRoundTrip(q, kNoTool, mm);

    library().init(kSampleArm);
    EXPECT_NE(library().tcpPosToJntPos(mm, kNoTool, q, back), 0);
  }
}

}  // namespace
