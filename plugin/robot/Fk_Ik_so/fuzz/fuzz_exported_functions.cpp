// libFuzzer target on the exported functions. An input is a flag byte, then up to 48 raw
// doubles (missing bytes read as zero): arm rows, tool, joints, pose, reference. Flag bit 0
// folds values to a sane size, bit 1 gives the chain form, the rest pick the mode (-2 ... 8).
// Checked: code ranges, six zeros on failure, exact answers on folded chain-form arms; arms
// built through the handle functions are refused with a message or put their flange where
// the plain chain product does.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fk_ik_arm.h"
#include "host_support.h"

namespace {

struct Input {
  int mode;
  bool folded, chainForm;
  double arm[6][4], tool[6], jnt[6], pose[6], ref[6];
};

Input decode(const std::uint8_t* data, std::size_t size) {
  Input in;
  const std::uint8_t flags = size > 0 ? data[0] : 0;
  in.folded = flags & 1, in.chainForm = flags & 2, in.mode = (flags >> 2) % 11 - 2;
  double values[48] = {};
  if (size > 0) std::memcpy(values, data + 1, std::min<std::size_t>((size - 1) / 8 * 8, 384));
  std::size_t next = 0;  // lengths fold into (-2, 2), angles into (-8, 8)
  const auto take = [&](bool angle) {
    const double v = values[next++], limit = angle ? 8.0 : 2.0;
    return !in.folded ? v : std::isfinite(v) ? std::fmod(v, limit) : 0.0;
  };
  for (auto& row : in.arm)
    for (int j = 0; j < 4; ++j) row[j] = take(j % 2);
  for (double* v : {in.tool, in.jnt, in.pose, in.ref})
    for (int i = 0; i < 6; ++i) v[i] = take(v == in.jnt || v == in.ref || i > 2);
  if (in.chainForm) {
    const double twist[6] = {0.0, -M_PI / 2, 0.0, M_PI, M_PI / 2, M_PI / 2};
    for (int i = 0; i < 6; ++i) in.arm[i][1] = twist[i];
    in.arm[0][0] = in.arm[1][0] = in.arm[4][0] = in.arm[5][0] = 0.0;
  }
  return in;
}

// A broken invariant aborts, which libFuzzer reports as a crash with the input.
#define REQUIRE(c) \
  ((c) ? (void)0 : (std::fprintf(stderr, "invariant broken: %s\n", #c), std::abort()))

bool isCode(int code) {
  return code == 0 || (code >= 2 && code <= 7);
}

// A failure writes six zeros; an exact success reaches the target (on frames, not pose vectors).
void checkAnswer(const Input& in, const double (&target)[6], bool exact, int code,
                 const double (&out)[6]) {
  if (code != 0) REQUIRE(host_support::allZero(out));
  if (code != 0 || !exact) return;
  REQUIRE(host_support::allFinite(out));
  KDL::Frame frame = KDL::Frame::Identity();
  for (int i = 0; i < 6; ++i) {
    const double* r = in.arm[i];
    frame = frame * KDL::Frame::DH_Craig1989(r[0], r[1], r[2], r[3] + out[i]);
  }
  frame = frame * host_support::poseFrame(in.tool);
  REQUIRE(host_support::distance(frame, host_support::poseFrame(target)) <= 1e-6);
}

void checkInverses(const Input& in, const double (&target)[6], bool exact, bool others) {
  double out[6], single[6], all[8][6];
  std::memset(single, 0x5a, sizeof single);
  int code = tcpPosToJntPos(target, in.tool, in.ref, single), mode[8], status[8];
  REQUIRE(isCode(code));
  checkAnswer(in, target, exact, code, single);
  if (!others) return;
  code = tcpPosToJntPosInMode(target, in.tool, in.ref, in.mode, out);
  REQUIRE(isCode(code));
  checkAnswer(in, target, exact, code, out);
  if (in.mode == -1)
    REQUIRE(tcpPosToJntPos(target, in.tool, in.ref, single) == code &&
            host_support::sameBits(out, single));
  code = tcpPosToAllJntPos(target, in.tool, in.ref, all, mode, status);
  REQUIRE(code == 0 || code == 2 || code == 6);
  for (int k = 0; k < 8; ++k) {
    REQUIRE(code == 0 ? (isCode(status[k]) && status[k] <= 4) || status[k] == 7
                      : status[k] == code && mode[k] == 0);
    REQUIRE(mode[k] >= 0 && mode[k] <= 7);
    checkAnswer(in, target, exact, status[k], all[k]);
  }
  code = tcpPosToNearestJntPos(target, in.tool, in.ref, nullptr, nullptr, out);
  REQUIRE(isCode(code));
  checkAnswer(in, target, exact, code, out);
  bool invalid = false;
  for (int i = 0; i < 6; ++i) invalid = invalid || !(in.jnt[i] <= in.ref[i]);
  code = tcpPosToNearestJntPos(target, in.tool, in.ref, in.jnt, in.ref, out);
  REQUIRE(invalid ? code == 8 : isCode(code));
  checkAnswer(in, target, exact, code, out);
  for (int i = 0; i < 6 && code == 0; ++i) REQUIRE(out[i] >= in.jnt[i] && out[i] <= in.ref[i]);
}

// A homogeneous matrix of a pose vector.
void poseMatrix(const double (&pose)[6], double (&m)[4][4]) {
  const KDL::Frame f = host_support::poseFrame(pose);
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) m[i][j] = i == 3 ? j == 3 : j == 3 ? f.p(i) : f.M(i, j);
}

void checkArms(const Input& in) {
  double signs[6], base[4][4], flange[4][4], pose[6], jacobian[6][6], jacobianDot[6][6];
  // Raw senses and limits (refused nearly always) only for unfolded inputs of odd modes.
  const bool raw = !in.folded && in.mode % 2;
  for (int i = 0; i < 6; ++i) signs[i] = raw ? in.ref[i] : in.ref[i] < 0 ? -1 : 1;
  poseMatrix(in.pose, base);
  poseMatrix(in.tool, flange);
  for (int convention : {FK_IK_MODIFIED_ROWS, FK_IK_STANDARD_ROWS}) {
    FkIkArm* arm = nullptr;
    char message[128] = "";
    const int code =
        armCreateFromRows(in.arm, convention, signs, base, flange, raw ? in.jnt : nullptr,
                          raw ? in.ref : nullptr, &arm, message, sizeof message);
    REQUIRE(code == 0 ? arm != nullptr : code == FK_IK_ARM_INVALID && !arm && message[0]);
    if (!arm) continue;
    REQUIRE(armJntPosToTcpPos(arm, in.jnt, in.tool, pose) == 0);
    REQUIRE(armJacobianDot(arm, in.jnt, in.ref, in.tool, jacobian, jacobianDot) == 0);
    int family, designed;
    double rows[6][4];
    REQUIRE(armLayout(arm, &family, nullptr, nullptr, nullptr, message, sizeof message) == 0);
    REQUIRE(family >= 0 && family <= 4);
    REQUIRE(armMdh(arm, rows, nullptr, nullptr, nullptr, &designed) == 0);
    REQUIRE(designed == (checkArmForm(rows) == 0));
    // Codes and answers of the inverses on the arm's own pose.
    double all[16][6], nearest[6];
    int singular[16], count;
    const int allCode = armTcpPosToAllJntPos(arm, pose, in.tool, all, singular, &count);
    REQUIRE(allCode == 0 ? count >= 1 && count <= 16 : count == 0);
    REQUIRE(allCode == 0 || allCode == 6 || allCode == 9 || allCode == 11);
    const int nearCode =
        armTcpPosToNearestJntPos(arm, pose, in.tool, in.ref, nullptr, nullptr, nearest);
    REQUIRE(nearCode == 0 ? allCode == 0 : nearCode == allCode || nearCode == 7 || nearCode == 8);
    for (int k = 0; k < count; ++k) {
      for (double value : all[k]) REQUIRE(std::isfinite(value) && std::fabs(value) <= M_PI);
    }
    if (in.folded && convention == FK_IK_MODIFIED_ROWS && std::fabs(std::cos(pose[4])) > 1e-6) {
      // The plain product of the same rows, senses, base and flange (away from pitch +-pi/2).
      KDL::Frame expected = host_support::poseFrame(in.pose);
      for (int i = 0; i < 6; ++i) {
        const double* r = in.arm[i];
        expected =
            expected * KDL::Frame::DH_Craig1989(r[0], r[1], r[2], r[3] + signs[i] * in.jnt[i]);
      }
      expected = expected * host_support::poseFrame(in.tool) * host_support::poseFrame(in.tool);
      REQUIRE(host_support::distance(host_support::poseFrame(pose), expected) <= 1e-9);
    }
    armDestroy(arm);
  }
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
  checkInverses(in, in.pose, exact, false);
  checkInverses(in, tcp, exact, true);
  checkArms(in);
  const int form = checkArmForm(in.arm);
  REQUIRE(form >= 0 && form <= 24);
  if (in.folded && in.chainForm) {
    const bool links = std::fabs(in.arm[2][0]) > 1e-9 && std::fabs(in.arm[3][0]) > 1e-9;
    REQUIRE(links ? form == 0 : form == 9 || form == 13);
  }
  return 0;
}
