#include "fk_ik_so.h"

#include <vector>

#include "robot.h"

// The process-wide model: null until the first init, replaced by every later init and
// never destroyed otherwise, so it lives until the process ends.
Robot* pRobotModel = nullptr;

namespace {

Tool toTool(const Float64 tool[6]) {
  Tool t;
  t.x = tool[0];
  t.y = tool[1];
  t.z = tool[2];
  t.rx = tool[3];
  t.ry = tool[4];
  t.rz = tool[5];
  return t;
}

// The six records of rows of a, alpha, d, theta.
Void toRecords(const Float64 mdhParam[6][4], MDH* records) {
  for (int i = 0; i < 6; ++i) {
    records[i].a = mdhParam[i][0];
    records[i].alpha = mdhParam[i][1];
    records[i].d = mdhParam[i][2];
    records[i].theta = mdhParam[i][3];
  }
}

// The pose and reference of an inverse request as vectors of six.
Void toVectors(const Float64 tcpPos[6], const Float64 jntPosRef[6], MathVector& tcp,
               MathVector& ref) {
  for (UInt32 i = 0; i < 6; ++i) {
    tcp(i) = tcpPos[i];
    ref(i) = jntPosRef[i];
  }
}

}  // namespace

Void init(const Float64 mdhParam[6][4]) {
  std::vector<MDH> records(6);
  toRecords(mdhParam, records.data());
  // The old model goes first, so that a failing allocation below leaves no model
  // (code 1) rather than a stale one.
  if (pRobotModel != nullptr) {
    delete pRobotModel;
    pRobotModel = nullptr;
  }
  pRobotModel = new Robot(records);
}

Int32 jntPosToTcpPos(const Float64 jntPos[6], const Float64 tool[6], Float64 tcpPos[6]) {
  if (pRobotModel == nullptr) return 1;
  const Tool t = toTool(tool);
  MathVector in(6), out(6);
  for (UInt32 i = 0; i < 6; ++i) in(i) = jntPos[i];
  pRobotModel->jntPosToTcpPos(in, t, out);
  for (UInt32 i = 0; i < 6; ++i) tcpPos[i] = out(i);
  return 0;
}

Int32 tcpPosToJntPos(const Float64 tcpPos[6], const Float64 tool[6], const Float64 jntPosRef[6],
                     Float64 jntPos[6]) {
  if (pRobotModel == nullptr) return 1;
  const Tool t = toTool(tool);
  MathVector tcp(6), ref(6), out(6);
  toVectors(tcpPos, jntPosRef, tcp, ref);
  const Int32 code = pRobotModel->tcpPosToJntPos(tcp, t, ref, out);
  // Written whatever the code: the solver leaves `out` at zero when it fails, and hosts
  // rely on receiving those six zeros.
  for (UInt32 i = 0; i < 6; ++i) jntPos[i] = out(i);
  return code;
}

Int32 tcpPosToJntPosInMode(const Float64 tcpPos[6], const Float64 tool[6],
                           const Float64 jntPosRef[6], Int32 mode, Float64 jntPos[6]) {
  if (pRobotModel == nullptr) return 1;
  MathVector tcp(6), ref(6), out(6);
  toVectors(tcpPos, jntPosRef, tcp, ref);
  const Int32 code = pRobotModel->tcpPosToJntPosInMode(tcp, toTool(tool), ref, mode, out);
  for (UInt32 i = 0; i < 6; ++i) jntPos[i] = out(i);
  return code;
}

Int32 tcpPosToAllJntPos(const Float64 tcpPos[6], const Float64 tool[6], const Float64 jntPosRef[6],
                        Float64 jntPos[8][6], Int32 mode[8], Int32 status[8]) {
  if (pRobotModel == nullptr) return 1;
  MathVector tcp(6), ref(6);
  toVectors(tcpPos, jntPosRef, tcp, ref);
  IkSolutions solutions;
  const Int32 code = pRobotModel->tcpPosToAllJntPos(tcp, toTool(tool), ref, solutions);
  for (int k = 0; k < 8; ++k) {
    for (int j = 0; j < 6; ++j) jntPos[k][j] = solutions.jntPos[k][j];
    mode[k] = solutions.mode[k];
    status[k] = solutions.status[k];
  }
  return code;
}

Int32 tcpPosToNearestJntPos(const Float64 tcpPos[6], const Float64 tool[6],
                            const Float64 jntPosRef[6], const Float64 lower[6],
                            const Float64 upper[6], Float64 jntPos[6]) {
  if (pRobotModel == nullptr) return 1;
  MathVector tcp(6), ref(6), out(6);
  toVectors(tcpPos, jntPosRef, tcp, ref);
  const Int32 code = pRobotModel->tcpPosToNearestJntPos(tcp, toTool(tool), ref, out, lower, upper);
  for (UInt32 i = 0; i < 6; ++i) jntPos[i] = out(i);
  return code;
}

Int32 checkArmForm(const Float64 mdhParam[6][4]) {
  MDH records[6];
  toRecords(mdhParam, records);
  return Chain_MDH4::checkArmForm(records);
}
