// libFuzzer target on the exported functions.
//
// An input is one flag byte followed by up to 48 doubles as raw 64-bit patterns (NaN,
// infinities, subnormals and huge values included); missing bytes read as zero:
//   24  the arm, six rows of a, alpha, d, theta;
//    6  the tool x, y, z, rx, ry, rz;
//    6  joint positions for the forward call;
//    6  a pose for the inverse call;
//    6  the reference joint position of both inverse calls.
// Flag bit 0 folds every value into a range of sane size (non-finite values become
// zero, lengths fall in (-2, 2), angles in (-8, 8)); bit 1 gives the arm the chain form
// the inverse solver is built for (twists 0, -pi/2, 0, pi, pi/2, pi/2 and
// a[0] = a[1] = a[4] = a[5] = 0), keeping the other parameters from the input; the
// remaining bits pick the configuration mode of the explicit-mode inverse, -2 ... 8.
//
// Each input initialises a model, computes the forward pose of the joints, and solves
// the inverse twice: for the given pose, and for the forward pose just computed. Beyond
// "no crash, no sanitizer report" it checks what a host relies on:
//   - the forward call returns 0, the inverse calls a code of 0 or 2 ... 7;
//   - an inverse failure writes six zeros;
//   - for a chain-form arm with folded inputs and arm links of at least 0.05, the
//     forward pose is finite, and code 0 means a finite answer whose TCP frame is the
//     target's to 1e-6 (distance of the origins plus angle between the rotations);
//   - the same of the other inverse functions, run on the forward pose: the explicit mode
//     (mode -1 gives the single answer bit for bit), each solved one of the eight
//     candidates, and the nearest answer without limits and within the limits [joints,
//     reference] (code 8 exactly when a limit is NaN or above its upper one);
//   - the arm-form check names a parameter, and passes a folded chain-form arm exactly
//     when its two arm links are non-zero.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host_support.h"

namespace {

const std::size_t ValueCount = 48;
const double Pi = 3.141592653589793;

struct Input {
  int mode;
  bool folded;
  bool chainForm;
  double arm[6][4];
  double tool[6];
  double jnt[6];
  double pose[6];
  double ref[6];
};

// Folds v into (-limit, limit): non-finite values become 0, others keep their
// remainder, so values already inside pass unchanged.
double fold(double v, double limit) {
  return std::isfinite(v) ? std::fmod(v, limit) : 0.0;
}

Input decode(const std::uint8_t* data, std::size_t size) {
  Input in;
  const std::uint8_t flags = size > 0 ? data[0] : 0;
  in.folded = flags & 1;
  in.chainForm = flags & 2;
  in.mode = (flags >> 2) % 11 - 2;
  double values[ValueCount] = {};
  const std::size_t available = size > 0 ? (size - 1) / sizeof(double) : 0;
  std::memcpy(values, data + (size > 0 ? 1 : 0),
              sizeof(double) * (available < ValueCount ? available : ValueCount));
  std::size_t next = 0;
  auto take = [&](double limit) {
    const double v = values[next++];
    return in.folded ? fold(v, limit) : v;
  };
  const double length = 2.0, angle = 8.0;
  const double rowLimits[4] = {length, angle, length, angle};
  const double poseLimits[6] = {length, length, length, angle, angle, angle};
  for (auto& row : in.arm) {
    for (int j = 0; j < 4; ++j) row[j] = take(rowLimits[j]);
  }
  for (int i = 0; i < 6; ++i) in.tool[i] = take(poseLimits[i]);
  for (double& q : in.jnt) q = take(angle);
  for (int i = 0; i < 6; ++i) in.pose[i] = take(poseLimits[i]);
  for (double& q : in.ref) q = take(angle);
  if (in.chainForm) {
    const double twist[6] = {0.0, -Pi / 2, 0.0, Pi, Pi / 2, Pi / 2};
    for (int i = 0; i < 6; ++i) in.arm[i][1] = twist[i];
    in.arm[0][0] = in.arm[1][0] = in.arm[4][0] = in.arm[5][0] = 0.0;
  }
  return in;
}

// A broken invariant aborts, which libFuzzer reports as a crash with the input.
#define REQUIRE(condition)                                        \
  do {                                                            \
    if (!(condition)) {                                           \
      std::fprintf(stderr, "invariant broken: %s\n", #condition); \
      std::abort();                                               \
    }                                                             \
  } while (false)

// The TCP frame of joints q, the product of the joints' modified-DH frames and the tool
// frame. The answer is checked against this frame rather than against the pose vector of
// the forward call: near a pitch of +-pi/2, KDL's GetRPY reads roll and yaw from rotation
// elements of size cos(pitch), so their rounding errors grow like 1e-16 / cos(pitch) rad
// (1.5e-5 rad at 2.6e-12 from pi/2, in the seed near_gimbal_lock), whatever the joints.
KDL::Frame tcpFrame(const Input& in, const double (&q)[6]) {
  KDL::Frame frame = KDL::Frame::Identity();
  for (int i = 0; i < 6; ++i) {
    const double* r = in.arm[i];
    frame = frame * KDL::Frame::DH_Craig1989(r[0], r[1], r[2], r[3] + q[i]);
  }
  return frame * host_support::poseFrame(in.tool);
}

// A solver's answer against the host's rules: a failure writes six zeros, a success of an
// exact request reaches the target.
void checkAnswer(const Input& in, const double (&target)[6], bool exact, int code,
                 const double (&out)[6]) {
  if (code != 0) {
    REQUIRE(host_support::allZero(out));
    return;
  }
  if (!exact) return;
  REQUIRE(host_support::allFinite(out));
  REQUIRE(host_support::distance(tcpFrame(in, out), host_support::poseFrame(target)) <= 1e-6);
}

// Solves the inverse of target and checks the answer against the host's rules.
void checkInverse(const Input& in, const double (&target)[6], bool exact) {
  double out[6];
  std::memset(out, 0x5a, sizeof out);
  const int code = tcpPosToJntPos(target, in.tool, in.ref, out);
  REQUIRE(code == 0 || (code >= 2 && code <= 7));
  checkAnswer(in, target, exact, code, out);
}

// The other inverse functions on one target.
void checkOtherInverses(const Input& in, const double (&target)[6], bool exact) {
  double out[6], single[6];
  int code = tcpPosToJntPosInMode(target, in.tool, in.ref, in.mode, out);
  REQUIRE(code == 0 || (code >= 2 && code <= 7));
  checkAnswer(in, target, exact, code, out);
  if (in.mode == -1) {
    REQUIRE(tcpPosToJntPos(target, in.tool, in.ref, single) == code);
    REQUIRE(host_support::sameBits(out, single));
  }

  double all[8][6];
  int mode[8], status[8];
  code = tcpPosToAllJntPos(target, in.tool, in.ref, all, mode, status);
  REQUIRE(code == 0 || code == 2 || code == 6);
  for (int k = 0; k < 8; ++k) {
    REQUIRE(code == 0 ? status[k] == 0 || (status[k] >= 2 && status[k] <= 4) || status[k] == 7
                      : status[k] == code && mode[k] == 0);
    REQUIRE(mode[k] >= 0 && mode[k] <= 7);
    checkAnswer(in, target, exact, status[k], all[k]);
  }

  code = tcpPosToNearestJntPos(target, in.tool, in.ref, nullptr, nullptr, out);
  REQUIRE(code == 0 || (code >= 2 && code <= 7));
  checkAnswer(in, target, exact, code, out);
  bool invalid = false;
  for (int i = 0; i < 6; ++i) invalid = invalid || !(in.jnt[i] <= in.ref[i]);
  code = tcpPosToNearestJntPos(target, in.tool, in.ref, in.jnt, in.ref, out);
  REQUIRE(invalid ? code == 8 : code == 0 || (code >= 2 && code <= 7));
  checkAnswer(in, target, exact, code, out);
  for (int i = 0; i < 6 && code == 0; ++i) REQUIRE(out[i] >= in.jnt[i] && out[i] <= in.ref[i]);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Input in = decode(data, size);
  init(in.arm);
  // The inverse is exact only for chain-form arms; tiny arm links lose its precision.
  const bool exact = in.folded && in.chainForm && std::fabs(in.arm[2][0]) >= 0.05 &&
                     std::fabs(in.arm[3][0]) >= 0.05;
  double tcp[6];
  REQUIRE(jntPosToTcpPos(in.jnt, in.tool, tcp) == 0);
  if (exact) REQUIRE(host_support::allFinite(tcp));
  checkInverse(in, in.pose, exact);
  checkInverse(in, tcp, exact);
  checkOtherInverses(in, tcp, exact);

  const int form = checkArmForm(in.arm);
  REQUIRE(form >= 0 && form <= 24);
  if (in.folded && in.chainForm) {
    const bool links = std::fabs(in.arm[2][0]) > 1e-9 && std::fabs(in.arm[3][0]) > 1e-9;
    REQUIRE(links ? form == 0 : form == 9 || form == 13);
  }
  return 0;
}
