#include "robot.h"

#include <cassert>

#include "simd_trig.h"

namespace {

// Rot_z(yaw) Rot_y(pitch) Rot_x(roll) from the sines s and cosines c of roll, pitch and
// yaw, with the operations of KDL::Rotation::RPY in the same order.
KDL::Rotation rpyRotation(const Float64* s, const Float64* c) {
  return KDL::Rotation(c[2] * c[1], c[2] * s[1] * s[0] - s[2] * c[0],
                       c[2] * s[1] * c[0] + s[2] * s[0], s[2] * c[1],
                       s[2] * s[1] * s[0] + c[2] * c[0], s[2] * s[1] * c[0] - c[2] * s[0], -s[1],
                       c[1] * s[0], c[1] * c[0]);
}

}  // namespace

// Each pointer is stored as soon as its object exists. When an allocation throws, the
// parts built before it are not released: the exception leaves the constructor as is.
Robot::Robot(const std::vector<MDH>& mdh)
    : _chainMDH4(nullptr), _fkSolverPos(nullptr), _ikSolverPos(nullptr) {
  _chainMDH4 = new Chain_MDH4(6, &mdh);
  _fkSolverPos = new FkSolverPos_Tarvin2_6Dof(_chainMDH4);
  _ikSolverPos = new IkSolverPos_Tarvin2_6Dof(_chainMDH4);
}

// The inverse solver's destructor is not virtual: it is deleted through its concrete
// type, which is exactly the object that was built, so the warning about deleting a
// polymorphic object through a non-virtual destructor does not apply.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdelete-non-virtual-dtor"
Robot::~Robot() {
  if (_fkSolverPos != nullptr) delete _fkSolverPos;
  if (_ikSolverPos != nullptr) delete _ikSolverPos;
  if (_chainMDH4 != nullptr) delete _chainMDH4;
}
#pragma GCC diagnostic pop

Void Robot::jntPosToTcpPos(const MathVector& jntPosIn, const Tool& tool, MathVector& tcpPosOut) {
  assert(_chainMDH4->_dof == jntPosIn.size());
  KDL::Frame flange;
  _fkSolverPos->jntPosToFlangePos(jntPosIn, flange);
  kdlFrameToVector(frameProduct(flange, tool.frame()), tcpPosOut);
}

Int32 Robot::tcpPosToJntPos(const MathVector& tcpPosIn, const Tool& tool,
                            const MathVector& jntPosRef, MathVector& jntPosOut) {
  assert(tcpPosIn.size() == 6);
  assert(_chainMDH4->_dof == jntPosRef.size());
  // Mode -1: keep the configuration of the reference. The solver never reads the last
  // argument. The call is virtual.
  return _ikSolverPos->flangePosToJntPos(_flangeOfTcp(tcpPosIn, tool), jntPosRef, jntPosOut, -1,
                                         0.0);
}

Int32 Robot::tcpPosToJntPosInMode(const MathVector& tcpPosIn, const Tool& tool,
                                  const MathVector& jntPosRef, const Int32& mode,
                                  MathVector& jntPosOut) {
  assert(tcpPosIn.size() == 6);
  assert(_chainMDH4->_dof == jntPosRef.size());
  return _ikSolverPos->flangePosToJntPos(_flangeOfTcp(tcpPosIn, tool), jntPosRef, jntPosOut, mode,
                                         0.0);
}

Int32 Robot::tcpPosToAllJntPos(const MathVector& tcpPosIn, const Tool& tool,
                               const MathVector& jntPosRef, IkSolutions& solutions) {
  assert(tcpPosIn.size() == 6);
  assert(_chainMDH4->_dof == jntPosRef.size());
  return _ikSolverPos->flangePosToAllJntPos(_flangeOfTcp(tcpPosIn, tool), jntPosRef, solutions);
}

Int32 Robot::tcpPosToNearestJntPos(const MathVector& tcpPosIn, const Tool& tool,
                                   const MathVector& jntPosRef, MathVector& jntPosOut,
                                   const Float64* lower, const Float64* upper) {
  assert(tcpPosIn.size() == 6);
  assert(_chainMDH4->_dof == jntPosRef.size());
  return _ikSolverPos->flangePosToNearestJntPos(_flangeOfTcp(tcpPosIn, tool), jntPosRef, jntPosOut,
                                                lower, upper);
}

// The pose's frame and the tool's, as vectorToKdlFrame and Tool::frame build them, with the
// six sines and cosines of their roll, pitch and yaw taken in two vector calls.
KDL::Frame Robot::_flangeOfTcp(const MathVector& tcpPosIn, const Tool& tool) const {
  const Float64 angles[8] = {tcpPosIn(3), tcpPosIn(4), tcpPosIn(5), tool.rx,
                             tool.ry,     tool.rz,     0.0,         0.0};
  Float64 s[8], c[8];
  sinCos4(angles, s, c);
  sinCos4(angles + 4, s + 4, c + 4);
  const KDL::Frame tcp(rpyRotation(s, c), KDL::Vector(tcpPosIn(0), tcpPosIn(1), tcpPosIn(2)));
  const KDL::Frame toolFrameOfTool(rpyRotation(s + 3, c + 3), KDL::Vector(tool.x, tool.y, tool.z));
  return frameProduct(tcp, toolFrameOfTool.Inverse());
}

Void Robot::kdlFrameToVector(const KDL::Frame& frame, MathVector& vecOut) {
  if (vecOut.size() != 6) vecOut.resize(6);
  vecOut(0) = frame.p.x();
  vecOut(1) = frame.p.y();
  vecOut(2) = frame.p.z();
  frame.M.GetRPY(vecOut(3), vecOut(4), vecOut(5));
}

Void Robot::vectorToKdlFrame(const MathVector& vecIn, KDL::Frame& frame) {
  assert(vecIn.size() == 6);
  frame.p = KDL::Vector(vecIn(0), vecIn(1), vecIn(2));
  frame.M = KDL::Rotation::RPY(vecIn(3), vecIn(4), vecIn(5));
}
