// Hostile values through the exported functions (the other inverse functions and the
// arm-form check beside the three): not-a-number and infinity in every one of the 48
// input values (24 arm parameters, tool, joints, pose, reference), lengths of 1e300 and
// angles of 1e10. Each row changes one value of a solvable request on the
// sample arm and expects the result code the solver's rules give and, for code 0,
// finite or non-finite outputs. The README's table of what a host can rely on sums
// these rows up.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "host_support.h"

namespace {

using host_support::allFinite;
using host_support::allZero;

enum class Group { Arm, Tool, Joints, Pose, Ref };
enum class Value { NotANumber, Infinity, HugeLength, HugeAngle };
enum class Finite { Yes, No, Unchecked };

const double HugeLength = 1e300, HugeAngle = 1e10;

struct Request {
  double arm[6][4];
  double tool[6], jnt[6], pose[6], ref[6];

  double& at(Group group, int index) {
    switch (group) {
      case Group::Arm:
        return arm[index / 4][index % 4];
      case Group::Tool:
        return tool[index];
      case Group::Joints:
        return jnt[index];
      case Group::Pose:
        return pose[index];
      default:
        return ref[index];
    }
  }
};

bool finiteArm(const Request& r) {
  for (const auto& row : r.arm) {
    for (double v : row) {
      if (!std::isfinite(v)) return false;
    }
  }
  return true;
}

struct Answer {
  int fkCode, ikCode;
  double tcp[6], out[6];
  // The other inverse functions on the same request: explicit mode -1, the eight
  // candidates, the nearest answer without limits; and the arm-form check.
  int inModeCode, allCode, nearestCode, form;
  double inMode[6], all[8][6], nearest[6];
  int mode[8], status[8];
};

Answer call(const Request& r) {
  Answer a;
  init(r.arm);
  a.fkCode = jntPosToTcpPos(r.jnt, r.tool, a.tcp);
  a.ikCode = tcpPosToJntPos(r.pose, r.tool, r.ref, a.out);
  a.inModeCode = tcpPosToJntPosInMode(r.pose, r.tool, r.ref, -1, a.inMode);
  a.allCode = tcpPosToAllJntPos(r.pose, r.tool, r.ref, a.all, a.mode, a.status);
  a.nearestCode = tcpPosToNearestJntPos(r.pose, r.tool, r.ref, nullptr, nullptr, a.nearest);
  a.form = checkArmForm(r.arm);
  return a;
}

// What the other inverse functions owe the single answer on any request: mode -1 is the
// single answer itself; a single answer is one of the eight candidates; a finite single
// answer means a nearest answer at most as far from the reference. The arm-form check
// names the replaced arm value exactly when it breaks the form: when it is not finite, or
// is a twist or a length that must be zero (lengths of 1e300 elsewhere, and every d and
// theta, keep it). Returns the number of broken rules.
int brokenRulesOfOtherInverses(const Answer& a, const Request& r, Group group, int index, Value v) {
  int broken = a.inModeCode != a.ikCode || !host_support::sameBits(a.inMode, a.out);
  bool among = a.ikCode != 0;
  for (int k = 0; k < 8; ++k) {
    among = among || (a.status[k] == 0 && host_support::sameBits(a.all[k], a.out));
  }
  broken += !among + !(a.allCode == 0 || a.allCode == 2 || a.allCode == 6);
  if (a.ikCode == 0 && allFinite(a.out)) {
    double far = 0.0, near = 0.0;
    for (int i = 0; i < 6; ++i) {
      far = std::fmax(far, std::fabs(a.out[i] - r.ref[i]));
      near = std::fmax(near, std::fabs(a.nearest[i] - r.ref[i]));
    }
    broken += a.nearestCode != 0 || !(near <= far);
  }
  const bool nonFinite = v == Value::NotANumber || v == Value::Infinity;
  const int record = index / 4, field = index % 4;
  const bool breaksForm = group == Group::Arm &&
                          (nonFinite || field == 1 || (field == 0 && record != 2 && record != 3));
  broken += a.form != (breaksForm ? index + 1 : 0);
  return broken;
}

// The base request: a tool with every offset non-zero, joints in configuration mode 0
// clear of every singularity, their own forward pose as target and as reference.
Request baseRequest() {
  Request r;
  std::copy(&host_support::SampleArm[0][0], &host_support::SampleArm[0][0] + 24, &r.arm[0][0]);
  const double tool[6] = {0.01, -0.02, 0.05, 0.1, -0.2, 0.3};
  const double jnt[6] = {0.3, 1.0, 1.4, 0.5, 0.8, -0.4};
  std::copy(tool, tool + 6, r.tool);
  std::copy(jnt, jnt + 6, r.jnt);
  std::copy(jnt, jnt + 6, r.ref);
  init(r.arm);
  jntPosToTcpPos(r.jnt, r.tool, r.pose);
  return r;
}

// Configuration mode of a joint position of the sample arm: bit 4 when the shoulder
// quantity is not positive, 2 when sin(q2) is not, 1 when sin(q4) is not.
int modeOf(const double (&q)[6]) {
  const double(&arm)[6][4] = host_support::SampleArm;
  const double shoulder = arm[2][0] * std::sin(q[1]) + arm[3][0] * std::sin(q[1] + q[2]) +
                          arm[4][2] * std::sin(q[3] - q[1] - q[2]);
  return (shoulder > 0 ? 0 : 4) | (std::sin(q[2]) > 0 ? 0 : 2) | (std::sin(q[4]) > 0 ? 0 : 1);
}

// Code of the base target for a finite reference in configuration mode m.
int codeInMode(int m) {
  Request r = baseRequest();
  r.ref[1] = m & 4 ? -1.0 : 1.0;
  r.ref[2] = m & 2 ? -1.4 : 1.4;
  r.ref[4] = m & 1 ? -0.8 : 0.8;
  EXPECT_EQ(modeOf(r.ref), m);
  return call(r).ikCode;
}

bool isLength(Group group, int index) {
  if (group == Group::Arm) return index % 2 == 0;  // a and d; alpha and theta are angles
  return (group == Group::Tool || group == Group::Pose) && index < 3;
}

double valueOf(Value v) {
  switch (v) {
    case Value::NotANumber:
      return std::numeric_limits<double>::quiet_NaN();
    case Value::Infinity:
      return std::numeric_limits<double>::infinity();
    case Value::HugeLength:
      return HugeLength;
    default:
      return HugeAngle;
  }
}

// What the inverse call must give: a code (or AsReducedAngle: the code of the same request
// with the angle replaced by its remainder modulo 2 pi), whether a solved answer is finite,
// and whether it is the very answer of the base request.
const int AsReducedAngle = -1;

struct Expected {
  int code;
  Finite finite;
  bool sameAsBase;
};

Expected solved(Finite finite) {
  return {0, finite, false};
}
Expected failed(int code) {
  return {code, Finite::Unchecked, false};
}
Expected solvedOrFailed(int code) {
  return code == 0 ? solved(Finite::Yes) : failed(code);
}
const Expected Unchanged = {0, Finite::Yes, true};
const Expected Reduced = {AsReducedAngle, Finite::Unchecked, false};

Expected expectedInverse(Group group, int index, Value v) {
  const bool nonFinite = v == Value::NotANumber || v == Value::Infinity;
  if (group == Group::Pose || group == Group::Tool) {
    // Non-finite or huge values spread into the wrist centre or the planar arm problem,
    // whose candidates all fall into modes 6 and 7 (NaN elbow and shoulder quantities);
    // the base reference asks for mode 0.
    return v == Value::HugeAngle ? Reduced : failed(7);
  }
  if (group == Group::Ref) {
    // A reference value only sets the turn of its joint (an infinite one counts as a
    // far turn, whose answer is still finite) and, for q1 ... q4, the bits of the target
    // mode: a quantity that is not a number sets its bit.
    if (index == 0 || index == 5) return v == Value::NotANumber ? Unchanged : solved(Finite::Yes);
    double ref[6];
    const Request base = baseRequest();
    std::copy(base.ref, base.ref + 6, ref);
    ref[index] = valueOf(v);
    return solvedOrFailed(codeInMode(modeOf(ref)));
  }
  if (group == Group::Joints) return Unchanged;  // not read by the inverse
  const int record = index / 4, field = index % 4;
  // The solver reads neither the twists nor a of records 0, 1, 4 and 5.
  if (field == 1 || (field == 0 && record != 2 && record != 3)) return Unchanged;
  if (field == 3) {  // theta: joint position = DH angle - theta
    if (record == 0 || record == 5) return solved(nonFinite ? Finite::No : Finite::Yes);
    if (nonFinite) return failed(7);  // a mode quantity is not a number: modes 4 ... 7
    return Reduced;
  }
  // d of records 1, 2, 3 forms the lateral offset e: infinite or huge, the wrist centre is
  // inside the offset cylinder; not a number, every candidate is NaN (mode 7).
  if (field == 2 && record >= 1 && record <= 3) return failed(v == Value::NotANumber ? 7 : 6);
  return failed(7);  // d0, d4, d5, a2, a3: the planar problem has no finite solution
}

struct Row {
  std::string name;
  Group group;
  int index;
  Value value;
};

std::vector<Row> hostileRows() {
  const char* groupNames[5] = {"arm", "tool", "joint", "pose", "ref"};
  const char* valueNames[4] = {"NaN", "inf", "1e300", "1e10"};
  const int sizes[5] = {24, 6, 6, 6, 6};
  std::vector<Row> rows;
  for (int g = 0; g < 5; ++g) {
    for (int i = 0; i < sizes[g]; ++i) {
      const Group group = static_cast<Group>(g);
      const Value values[3] = {Value::NotANumber, Value::Infinity,
                               isLength(group, i) ? Value::HugeLength : Value::HugeAngle};
      for (Value v : values) {
        rows.push_back({std::string(groupNames[g]) + "[" + std::to_string(i) +
                            "] = " + valueNames[static_cast<int>(v)],
                        group, i, v});
      }
    }
  }
  return rows;
}

TEST(HostileInput, EveryValueGivesTheCodeOfTheSolversRules) {
  const Request base = baseRequest();
  const Answer baseAnswer = call(base);
  ASSERT_EQ(baseAnswer.ikCode, 0);
  double reached[6];
  jntPosToTcpPos(baseAnswer.out, base.tool, reached);
  ASSERT_LE(host_support::poseDistance(reached, base.pose), 1e-9);

  const std::vector<Row> rows = hostileRows();
  EXPECT_EQ(rows.size(), 144u);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Request r = base;
    r.at(row.group, row.index) = valueOf(row.value);
    // The expected code first: finding it may call the library with other models.
    const Expected e = expectedInverse(row.group, row.index, row.value);
    int expectedCode = e.code;
    if (e.code == AsReducedAngle) {
      Request reduced = r;
      reduced.at(row.group, row.index) = std::remainder(HugeAngle, 2 * M_PI);
      expectedCode = call(reduced).ikCode;
    }
    const Answer a = call(r);

    // Forward: code 0 always; non-finite inputs it reads give non-finite poses.
    EXPECT_EQ(a.fkCode, 0);
    if (row.group == Group::Arm || row.group == Group::Tool || row.group == Group::Joints) {
      const bool nonFinite = row.value == Value::NotANumber || row.value == Value::Infinity;
      EXPECT_EQ(allFinite(a.tcp), !nonFinite);
    }

    EXPECT_EQ(a.ikCode, expectedCode);
    EXPECT_EQ(brokenRulesOfOtherInverses(a, r, row.group, row.index, row.value), 0);
    if (a.ikCode != 0) {
      EXPECT_TRUE(allZero(a.out)) << "a failure writes six zeros";
      continue;
    }
    if (e.finite != Finite::Unchecked) {
      EXPECT_EQ(allFinite(a.out), e.finite == Finite::Yes);
    }
    if (e.sameAsBase) {
      // A value the inverse does not read (a joint, or a parameter outside the solver's
      // chain form): the base answer, bit for bit.
      EXPECT_TRUE(host_support::sameBits(a.out, baseAnswer.out));
      continue;
    }
    if (!allFinite(a.out) || !allFinite(r.tool) || !allFinite(r.pose) || !finiteArm(r)) continue;
    // A finite answer for a chain-form arm and finite tool and pose reaches the pose.
    jntPosToTcpPos(a.out, r.tool, reached);
    EXPECT_LE(host_support::poseDistance(reached, r.pose), 1e-5);
    // It lies within pi of each finite reference element, in the reference's turn; except
    // for angles of 1e10, whose turn counts overflow the solver's 32-bit turn arithmetic.
    if (row.value == Value::HugeAngle) continue;
    for (int i = 0; i < 6; ++i) {
      if (std::isfinite(r.ref[i])) {
        EXPECT_LE(std::fabs(a.out[i] - r.ref[i]), M_PI + 1e-9) << "joint " << i;
      }
    }
  }
}

}  // namespace
