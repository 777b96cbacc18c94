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

using test_support::kSampleArm;
const double kNoTool[6] = {0, 0, 0, 0, 0, 0};

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

}  // namespace
