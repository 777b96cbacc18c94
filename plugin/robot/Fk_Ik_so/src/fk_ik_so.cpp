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

}  // namespace

Void init(const Float64 mdhParam[6][4]) {
  std::vector<MDH> records(6);
  for (int i = 0; i < 6; ++i) {
    records[i].a = mdhParam[i][0];
    records[i].alpha = mdhParam[i][1];
    records[i].d = mdhParam[i][2];
    records[i].theta = mdhParam[i][3];
  }
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
  for (UInt32 i = 0; i < 6; ++i) {
    tcp(i) = tcpPos[i];
    ref(i) = jntPosRef[i];
  }
  const Int32 code = pRobotModel->tcpPosToJntPos(tcp, t, ref, out);
  // Written whatever the code: the solver leaves `out` at zero when it fails, and hosts
  // rely on receiving those six zeros.
  for (UInt32 i = 0; i < 6; ++i) jntPos[i] = out(i);
  return code;
}
