// libFuzzer target on the URDF reader's C functions over URDF text, with default and named
// ends: code 0 or 9, a handle exactly on success, a refusal's message terminated within its
// small buffer, and a created arm's poses up to huge joints.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fk_ik_urdf.h"

// A broken invariant aborts, which libFuzzer reports as a crash with the input.
#define REQUIRE(c) \
  ((c) ? (void)0 : (std::fprintf(stderr, "invariant broken: %s\n", #c), std::abort()))

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string xml(reinterpret_cast<const char*>(data), size);
  const char* const ends[][2] = {{nullptr, nullptr}, {"base_link", "flange"}, {"world", nullptr}};
  const double joints[3][6] = {
      {0, 0, 0, 0, 0, 0}, {0.5, -1.2, 2.0, -0.3, 1.1, 3.0}, {1e3, -1e6, 1e9, -1e12, 1e15, -1e300}};
  const double tool[6] = {0.1, 0, 0.05, 0.3, -0.2, 0.1};
  for (const auto& end : ends) {
    FkIkArm* arm = nullptr;
    char message[48];
    std::memset(message, 'x', sizeof message);
    const Int32 code =
        armCreateFromUrdf(xml.c_str(), end[0], end[1], &arm, message, sizeof message);
    REQUIRE(code == 0 || code == FK_IK_ARM_INVALID);
    REQUIRE((code == 0) == (arm != nullptr));
    if (code != 0) {
      REQUIRE(std::memchr(message, '\0', sizeof message) != nullptr);
      continue;
    }
    for (const auto& q : joints) {
      double pose[6];
      REQUIRE(armJntPosToTcpPos(arm, q, tool, pose) == 0);
    }
    armDestroy(arm);
  }
  return 0;
}
