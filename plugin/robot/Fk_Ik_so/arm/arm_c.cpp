// The C functions of fk_ik_arm.h over fk_ik::Arm.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "arm_handle.h"
#include "arm_ik.h"

struct FkIkArm {
  fk_ik::Arm arm;
};

namespace fk_ik {

FkIkArm* newArmHandle(const Arm& arm) {
  // Plain new, deleted by armDestroy's delete: hosts that replace the allocation functions
  // see one pair.
  try {
    return new FkIkArm{arm};
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

const Arm* armOfHandle(const FkIkArm* handle) {
  return handle ? &handle->arm : nullptr;
}

Void copyMessage(const std::string& text, char* buffer, UInt32 size) {
  if (!buffer || size == 0) return;
  const size_t length = std::min<size_t>(text.size(), size - 1);
  std::memcpy(buffer, text.data(), length);
  buffer[length] = '\0';
}

}  // namespace fk_ik

namespace {

KDL::Frame frameOfMatrix(const Float64 m[4][4]) {
  return KDL::Frame(KDL::Rotation(m[0][0], m[0][1], m[0][2], m[1][0], m[1][1], m[1][2], m[2][0],
                                  m[2][1], m[2][2]),
                    KDL::Vector(m[0][3], m[1][3], m[2][3]));
}

void matrixOfFrame(const KDL::Frame& f, Float64 m[4][4]) {
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) m[i][j] = f.M(i, j);
    m[i][3] = f.p(i);
    m[3][i] = 0;
  }
  m[3][3] = 1;
}

// The bottom row of a homogeneous matrix must be 0 0 0 1; empty when it is.
std::string bottomRowFault(const Float64 m[4][4], const char* name) {
  if (m[3][0] == 0 && m[3][1] == 0 && m[3][2] == 0 && m[3][3] == 1) return std::string();
  return std::string(name) + " frame: the bottom row is not 0 0 0 1";
}

// A pose or tool vector x, y, z, roll, pitch, yaw as its frame.
KDL::Frame poseFrame(const Float64 pose[6]) {
  return KDL::Frame(KDL::Rotation::RPY(pose[3], pose[4], pose[5]),
                    KDL::Vector(pose[0], pose[1], pose[2]));
}

void copyJacobian(const fk_ik::ArmJacobian& j, Float64 out[6][6]) {
  for (int r = 0; r < 6; ++r) {
    for (int c = 0; c < 6; ++c) out[r][c] = j(r, c);
  }
}

}  // namespace

extern "C" {

Int32 armCreateFromRows(const Float64 rows[6][4], Int32 convention, const Float64 signs[6],
                        const Float64 base[4][4], const Float64 flange[4][4],
                        const Float64 lower[6], const Float64 upper[6], FkIkArm** arm,
                        char* message, UInt32 messageSize) {
  *arm = nullptr;
  std::string why;
  const auto refuse = [&](const std::string& text) {
    fk_ik::copyMessage(text, message, messageSize);
    return fk_ik::Arm_Invalid;
  };
  if (convention != FK_IK_MODIFIED_ROWS && convention != FK_IK_STANDARD_ROWS) {
    char number[16];
    std::snprintf(number, sizeof number, "%d", static_cast<int>(convention));
    return refuse(std::string("the row convention is ") + number +
                  ", not 0 (modified) or 1 (standard)");
  }
  KDL::Frame baseFrame, flangeFrame;
  if (base) {
    why = bottomRowFault(base, "base");
    if (!why.empty()) return refuse(why);
    baseFrame = frameOfMatrix(base);
  }
  if (flange) {
    why = bottomRowFault(flange, "flange");
    if (!why.empty()) return refuse(why);
    flangeFrame = frameOfMatrix(flange);
  }
  const fk_ik::RowConvention rowConvention = convention == FK_IK_MODIFIED_ROWS
                                                 ? fk_ik::RowConvention::Modified
                                                 : fk_ik::RowConvention::Standard;
  fk_ik::ArmDescription description;
  if (fk_ik::ArmDescription::fromRows(rows, rowConvention, signs, baseFrame, flangeFrame,
                                      description, &why) != fk_ik::Arm_Ok) {
    return refuse(why);
  }
  for (int i = 0; i < 6; ++i) {
    if (lower) description.lower[i] = lower[i];
    if (upper) description.upper[i] = upper[i];
  }
  fk_ik::Arm built;
  if (fk_ik::Arm::build(description, built, &why) != 0) return refuse(why);
  *arm = fk_ik::newArmHandle(built);
  return *arm ? fk_ik::Arm_Ok : refuse("out of memory");
}

Void armDestroy(FkIkArm* arm) {
  delete arm;
}

Int32 armJntPosToTcpPos(const FkIkArm* arm, const Float64 jntPos[6], const Float64 tool[6],
                        Float64 tcpPos[6]) {
  if (!arm) return fk_ik::Arm_Invalid;
  KDL::Frame tcp;
  arm->arm.tcpFrame(jntPos, poseFrame(tool), tcp);
  for (int i = 0; i < 3; ++i) tcpPos[i] = tcp.p(i);
  tcp.M.GetRPY(tcpPos[3], tcpPos[4], tcpPos[5]);
  return fk_ik::Arm_Ok;
}

Int32 armJacobian(const FkIkArm* arm, const Float64 jntPos[6], const Float64 tool[6],
                  Float64 jacobian[6][6]) {
  if (!arm) return fk_ik::Arm_Invalid;
  fk_ik::ArmJacobian j;
  arm->arm.jacobian(jntPos, poseFrame(tool), j);
  copyJacobian(j, jacobian);
  return fk_ik::Arm_Ok;
}

Int32 armJacobianDot(const FkIkArm* arm, const Float64 jntPos[6], const Float64 jntVel[6],
                     const Float64 tool[6], Float64 jacobian[6][6], Float64 jacobianDot[6][6]) {
  if (!arm) return fk_ik::Arm_Invalid;
  fk_ik::ArmJacobian j, jDot;
  arm->arm.jacobianDot(jntPos, jntVel, poseFrame(tool), j, jDot);
  copyJacobian(j, jacobian);
  copyJacobian(jDot, jacobianDot);
  return fk_ik::Arm_Ok;
}

Int32 armTcpPosToAllJntPos(const FkIkArm* arm, const Float64 tcpPos[6], const Float64 tool[6],
                           Float64 jntPos[16][6], Int32 singular[16], Int32* count) {
  *count = 0;
  if (!arm) return fk_ik::Arm_Invalid;
  fk_ik::ArmIkSolutions all;
  const Int32 code = fk_ik::armIkAll(arm->arm, poseFrame(tcpPos), poseFrame(tool), all);
  for (int k = 0; k < all.count; ++k) {
    std::copy(all.q[k], all.q[k] + 6, jntPos[k]);
    singular[k] = all.singular[k];
  }
  *count = all.count;
  return code;
}

Int32 armTcpPosToNearestJntPos(const FkIkArm* arm, const Float64 tcpPos[6], const Float64 tool[6],
                               const Float64 jntPosRef[6], const Float64 lower[6],
                               const Float64 upper[6], Float64 jntPos[6]) {
  Float64 q[6];
  const Int32 code = arm ? fk_ik::armIkNearest(arm->arm, poseFrame(tcpPos), poseFrame(tool),
                                               jntPosRef, lower, upper, q)
                         : fk_ik::Arm_Invalid;
  for (int i = 0; i < 6; ++i) jntPos[i] = code == 0 ? q[i] : 0.0;
  return code;
}

Int32 armLimits(const FkIkArm* arm, Float64 lower[6], Float64 upper[6]) {
  if (!arm) return fk_ik::Arm_Invalid;
  const fk_ik::ArmDescription& d = arm->arm.description();
  std::copy(d.lower, d.lower + 6, lower);
  std::copy(d.upper, d.upper + 6, upper);
  return fk_ik::Arm_Ok;
}

Int32 armLayout(const FkIkArm* arm, Int32* family, Int32* nearFamily, Float64 pairAngle[5],
                Float64 pairDistance[5], char* text, UInt32 textSize) {
  if (!arm) return fk_ik::Arm_Invalid;
  const fk_ik::ArmLayout& layout = arm->arm.layout();
  if (family) *family = static_cast<Int32>(layout.family);
  if (nearFamily) *nearFamily = static_cast<Int32>(layout.nearFamily);
  for (int i = 0; i < 5; ++i) {
    if (pairAngle) pairAngle[i] = layout.pair[i].angle;
    if (pairDistance) pairDistance[i] = layout.pair[i].distance;
  }
  if (text && textSize > 0) fk_ik::copyMessage(layout.text(), text, textSize);
  return fk_ik::Arm_Ok;
}

Int32 armInverseSolver(const FkIkArm* arm, char* name, UInt32 nameSize) {
  if (!arm) return fk_ik::Arm_Invalid;
  fk_ik::copyMessage(fk_ik::inverseRouteName(arm->arm.inversePlan().route), name, nameSize);
  return fk_ik::Arm_Ok;
}

Int32 armMdh(const FkIkArm* arm, Float64 rows[6][4], Float64 signs[6], Float64 base[4][4],
             Float64 flange[4][4], Int32* designedForm) {
  if (!arm) return fk_ik::Arm_Invalid;
  const fk_ik::ArmMdh& mdh = arm->arm.mdh();
  for (int i = 0; i < 6; ++i) {
    if (rows) std::copy(mdh.rows[i], mdh.rows[i] + 4, rows[i]);
    if (signs) signs[i] = mdh.signs[i];
  }
  if (base) matrixOfFrame(mdh.base, base);
  if (flange) matrixOfFrame(mdh.flange, flange);
  if (designedForm) *designedForm = mdh.designedForm;
  return fk_ik::Arm_Ok;
}

}  // extern "C"
