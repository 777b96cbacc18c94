// Symbol hygiene as a host meets it. This program is a host linked with -rdynamic that
// defines names the library uses internally (the process-wide model pRobotModel and the
// vector sine VectorTrig::sin4), and it loads two copies of the library with RTLD_GLOBAL, one arm
// each. A library that reached its own model and helpers through the dynamic linker
// would take the host's definitions or the first copy's: each copy must keep its own.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "host_support.h"

// The host's own definitions of the library's internal names, exported by -rdynamic.
class Robot;
Robot* pRobotModel = nullptr;
int hostSin4Calls = 0;
struct VectorTrig {
  static Void sin4(const Float64* x, Float64* s);
};
Void VectorTrig::sin4(const Float64* x, Float64* s) {
  ++hostSin4Calls;
  for (int i = 0; i < 4; ++i) s[i] = x[i] + 42.0;
}

namespace {

struct Copy {
  explicit Copy(const std::string& path) : handle(dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL)) {
    if (handle == nullptr) throw std::runtime_error(dlerror());
    init = reinterpret_cast<decltype(init)>(dlsym(handle, "init"));
    fk = reinterpret_cast<decltype(fk)>(dlsym(handle, "jntPosToTcpPos"));
    ik = reinterpret_cast<decltype(ik)>(dlsym(handle, "tcpPosToJntPos"));
    if (init == nullptr || fk == nullptr || ik == nullptr) throw std::runtime_error(path);
  }
  void* handle;
  decltype(&::init) init;
  decltype(&::jntPosToTcpPos) fk;
  decltype(&::tcpPosToJntPos) ik;
};

TEST(TwoCopies, EachCopyKeepsItsOwnModelAndFunctions) {
  namespace fs = std::filesystem;
  const fs::path dir = fs::temp_directory_path() / ("fk_ik_two_copies_" + std::to_string(getpid()));
  fs::create_directories(dir);
  fs::copy_file(FK_IK_LIBRARY_FILE, dir / "libFk_Ik_so_a.so", fs::copy_options::overwrite_existing);
  fs::copy_file(FK_IK_LIBRARY_FILE, dir / "libFk_Ik_so_b.so", fs::copy_options::overwrite_existing);
  Copy a((dir / "libFk_Ik_so_a.so").string()), b((dir / "libFk_Ik_so_b.so").string());
  fs::remove_all(dir);
  ASSERT_NE(a.handle, b.handle);

  // Arm b is arm a with every length doubled: a power of two scales each position exactly.
  double longArm[6][4];
  for (int i = 0; i < 6; ++i) {
    for (int j = 0; j < 4; ++j) longArm[i][j] = host_support::SampleArm[i][j] * (j % 2 ? 1 : 2);
  }
  const double tool[6] = {0, 0, 0, 0, 0, 0};
  const double joints[6] = {0.5, -0.8, 1.2, 0.7, -0.9, 1.0};
  double poseA[6], poseB[6], again[6], back[6] = {42, 42, 42, 42, 42, 42};
  a.init(host_support::SampleArm);
  ASSERT_EQ(a.fk(joints, tool, poseA), 0);
  // A fresh copy has no model before its own init: code 1, nothing written.
  EXPECT_EQ(b.fk(joints, tool, back), 1);
  EXPECT_EQ(b.ik(poseA, tool, joints, back), 1);
  for (double v : back) EXPECT_EQ(v, 42.0);
  b.init(longArm);
  ASSERT_EQ(b.fk(joints, tool, poseB), 0);
  ASSERT_EQ(a.fk(joints, tool, again), 0);
  EXPECT_TRUE(host_support::sameBits(again, poseA)) << "copy a answers with copy b's arm";
  for (int i = 0; i < 6; ++i) EXPECT_EQ(poseB[i], i < 3 ? 2 * poseA[i] : poseA[i]) << i;

  // The inverse runs the vector sines: each copy must reach its own pose with its own.
  for (const Copy* copy : {&a, &b}) {
    ASSERT_EQ(copy->ik(copy == &a ? poseA : poseB, tool, joints, back), 0);
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(back[i], joints[i], 1e-9) << i;
  }
  EXPECT_EQ(pRobotModel, nullptr) << "a copy set the host's pRobotModel";
  EXPECT_EQ(hostSin4Calls, 0) << "a copy called the host's sin4";
}

}  // namespace
