#include "robot.h"

#include <kdl/utilities/utility.h>

#include <cassert>
#include <cmath>

#include "simd_trig.h"

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

// The inverse members try the vector path first: the flange frame built with the vector
// functions and the solver's vector path told how far that frame may lie from libm's. Where
// a decision comes too near for that, libm's frame and functions answer (for the
// all-solutions member, only in the rows concerned).
Int32 Robot::tcpPosToJntPos(const MathVector& tcpPosIn, const Tool& tool,
                            const MathVector& jntPosRef, MathVector& jntPosOut) {
  assert(tcpPosIn.size() == 6);
  assert(_chainMDH4->_dof == jntPosRef.size());
  return tcpPosToJntPosInMode(tcpPosIn, tool, jntPosRef, -1, jntPosOut);
}

Int32 Robot::tcpPosToJntPosInMode(const MathVector& tcpPosIn, const Tool& tool,
                                  const MathVector& jntPosRef, const Int32& mode,
                                  MathVector& jntPosOut) {
  assert(tcpPosIn.size() == 6);
  assert(_chainMDH4->_dof == jntPosRef.size());
  IkSolverPos_Tarvin2_6Dof::FrameError error;
  Int32 code = 0;
  if (VectorTrig::usable() && _flangeError(tcpPosIn, tool, error) &&
      _ikSolverPos->_solve<VectorTrig>(_flangeOfTcp<VectorTrig>(tcpPosIn, tool), error, jntPosRef,
                                       mode, jntPosOut, code)) {
    return code;
  }
  // Mode -1 keeps the configuration of the reference.
  _ikSolverPos->_solve<LibmTrig>(_flangeOfTcp<LibmTrig>(tcpPosIn, tool), {0.0, 0.0}, jntPosRef,
                                 mode, jntPosOut, code);
  return code;
}

Int32 Robot::tcpPosToAllJntPos(const MathVector& tcpPosIn, const Tool& tool,
                               const MathVector& jntPosRef, IkSolutions& solutions) {
  assert(tcpPosIn.size() == 6);
  assert(_chainMDH4->_dof == jntPosRef.size());
  IkSolverPos_Tarvin2_6Dof::FrameError error;
  Int32 code = 0;
  UInt32 libmRows = IkSolverPos_Tarvin2_6Dof::AllRows;
  if (VectorTrig::usable() && _flangeError(tcpPosIn, tool, error)) {
    libmRows = _ikSolverPos->_all<VectorTrig>(_flangeOfTcp<VectorTrig>(tcpPosIn, tool), error,
                                              jntPosRef, solutions, code);
  }
  if (libmRows == 0) return code;
  return _ikSolverPos->_libmRows(_flangeOfTcp<LibmTrig>(tcpPosIn, tool), jntPosRef, solutions,
                                 libmRows);
}

Int32 Robot::tcpPosToNearestJntPos(const MathVector& tcpPosIn, const Tool& tool,
                                   const MathVector& jntPosRef, MathVector& jntPosOut,
                                   const Float64* lower, const Float64* upper) {
  assert(tcpPosIn.size() == 6);
  assert(_chainMDH4->_dof == jntPosRef.size());
  IkSolutions all;
  const Int32 poseCode = tcpPosToAllJntPos(tcpPosIn, tool, jntPosRef, all);
  return _ikSolverPos->_nearestOf(all, poseCode, jntPosRef, jntPosOut, lower, upper);
}

// The pose's frame and the tool's, as vectorToKdlFrame and Tool::frame build them (with
// LibmTrig exactly so), the six sines and cosines of their roll, pitch and yaw taken in
// two four-lane calls; then the tool removed on the right.
template <class Trig>
KDL::Frame Robot::_flangeOfTcp(const MathVector& tcpPosIn, const Tool& tool) const {
  const Float64 angles[8] = {tcpPosIn(3), tcpPosIn(4), tcpPosIn(5), tool.rx,
                             tool.ry,     tool.rz,     0.0,         0.0};
  Float64 s[8], c[8];
  Trig::sinCos4(angles, s, c);
  Trig::sinCos4(angles + 4, s + 4, c + 4);
  const KDL::Frame tcp(rpyRotation(s, c), KDL::Vector(tcpPosIn(0), tcpPosIn(1), tcpPosIn(2)));
  const KDL::Frame toolFrameOfTool(rpyRotation(s + 3, c + 3), KDL::Vector(tool.x, tool.y, tool.z));
  return frameProduct(tcp, toolFrameOfTool.Inverse());
}

// How far _flangeOfTcp<VectorTrig> may lie from _flangeOfTcp<LibmTrig>. Each vector sine
// and cosine is within 8 units in the last place of 1 (U) of libm's; a rotation element of
// rpyRotation (products of up to three, two summed) within 52 U; an element of the pose's
// rotation times the tool's transposed one within 3 (52 + 52) U plus rounding, bounded by
// 512 U; the flange position, the pose's rotation applied to minus the tool's transposed
// rotation applied to the tool's translation t, within 1024 U |t|, plus a rounding of the
// sums. False (libm then) for angles too large for these bounds to hold, or not numbers.
Bool Robot::_flangeError(const MathVector& tcpPosIn, const Tool& tool,
                         IkSolverPos_Tarvin2_6Dof::FrameError& error) const {
  const Float64 U = 0x1p-52;
  const Float64 largest = std::fmax(std::fmax(std::fabs(tcpPosIn(3)), std::fabs(tcpPosIn(4))),
                                    std::fmax(std::fmax(std::fabs(tcpPosIn(5)), std::fabs(tool.rx)),
                                              std::fmax(std::fabs(tool.ry), std::fabs(tool.rz))));
  if (!(largest <= 1e5)) return false;
  const Float64 t = std::fabs(tool.x) + std::fabs(tool.y) + std::fabs(tool.z);
  const Float64 p = std::fabs(tcpPosIn(0)) + std::fabs(tcpPosIn(1)) + std::fabs(tcpPosIn(2));
  error.rotation = 512 * U;
  error.position = 1024 * U * t + 8 * U * (p + 2 * t);
  return true;
}

Void Robot::kdlFrameToVector(const KDL::Frame& frame, MathVector& vecOut) {
  if (vecOut.size() != 6) vecOut.resize(6);
  vecOut(0) = frame.p.x();
  vecOut(1) = frame.p.y();
  vecOut(2) = frame.p.z();
  // KDL::Rotation::GetRPY's operations, in its order, inline: pitch from the first
  // column's length, then roll and yaw, or, within 1e-12 of a pitch of +-pi/2, yaw from
  // the second column and a roll of 0.
  const KDL::Rotation& m = frame.M;
  const Float64 pitch = std::atan2(-m(2, 0), std::sqrt(m(0, 0) * m(0, 0) + m(1, 0) * m(1, 0)));
  vecOut(4) = pitch;
  if (std::fabs(pitch) > KDL::PI_2 - 1e-12) {
    vecOut(5) = std::atan2(-m(0, 1), m(1, 1));
    vecOut(3) = 0.0;
  } else {
    vecOut(3) = std::atan2(m(2, 1), m(2, 2));
    vecOut(5) = std::atan2(m(1, 0), m(0, 0));
  }
}

Void Robot::vectorToKdlFrame(const MathVector& vecIn, KDL::Frame& frame) {
  assert(vecIn.size() == 6);
  frame.p = KDL::Vector(vecIn(0), vecIn(1), vecIn(2));
  frame.M = KDL::Rotation::RPY(vecIn(3), vecIn(4), vecIn(5));
}
