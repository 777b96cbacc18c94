// The robot facade: the one object through which the library's kinematics are used.
//
// A Robot owns the arm's chain and its forward and inverse solvers and works in poses
// of the tool centre point (TCP), while the solvers work in flange frames: the tool
// offset is applied on the right of the flange frame on the way out and removed on the
// way in.
//
// Pose vector: a MathVector of six, x, y, z of the frame's origin relative to the base
// (in the chain's length unit), then roll, pitch, yaw in radians about the base's fixed
// x, y and z axes, i.e. the rotation Rot_z(yaw) Rot_y(pitch) Rot_x(roll) that
// KDL::Rotation::RPY builds and KDL::Rotation::GetRPY reads back.
#ifndef FK_IK_SO_ROBOT_H
#define FK_IK_SO_ROBOT_H

#include <kdl/frames.hpp>
#include <vector>

#include "chain_mdh4.h"
#include "fk_ik_types.h"
#include "fk_solver_pos.h"
#include "fk_solver_pos_tarvin2_6dof.h"
#include "ik_solver_pos_tarvin2_6dof.h"
#include "vector.h"

class FK_IK_SO_API Robot {
 public:
  // Builds the chain from the six records, then the forward and the inverse solver.
  explicit Robot(const std::vector<MDH>& mdh);
  // Deletes the solvers, then the chain they point to.
  ~Robot();
  // A copy would delete the same chain and solvers twice.
  Robot(const Robot&) = delete;
  Robot& operator=(const Robot&) = delete;

  // TCP pose vector of the joint position jntPosIn (six joints, radians) with the tool.
  Void jntPosToTcpPos(const MathVector& jntPosIn, const Tool& tool, MathVector& tcpPosOut);
  // Joint position that puts the TCP at the pose tcpPosIn, in the configuration mode and
  // the turns of jntPosRef. Returns the inverse solver's result code; jntPosOut is
  // resized to 6 and written only on success (code 0).
  Int32 tcpPosToJntPos(const MathVector& tcpPosIn, const Tool& tool, const MathVector& jntPosRef,
                       MathVector& jntPosOut);

  // The inverse solver's other answers, the tool removed exactly as tcpPosToJntPos removes
  // it (IkSolverPos_Tarvin2_6Dof has the details and codes). Sizes are asserted as there.
  // tcpPosToJntPos with an explicit configuration mode: 0 ... 7, or -1 for the reference's
  // (code 5 for any other value).
  Int32 tcpPosToJntPosInMode(const MathVector& tcpPosIn, const Tool& tool,
                             const MathVector& jntPosRef, const Int32& mode, MathVector& jntPosOut);
  // All eight candidates, turn-aligned to the reference, with mode and status each.
  Int32 tcpPosToAllJntPos(const MathVector& tcpPosIn, const Tool& tool, const MathVector& jntPosRef,
                          IkSolutions& solutions);
  // The solution nearest the reference, optionally within six joint limits each side.
  Int32 tcpPosToNearestJntPos(const MathVector& tcpPosIn, const Tool& tool,
                              const MathVector& jntPosRef, MathVector& jntPosOut,
                              const Float64* lower = nullptr, const Float64* upper = nullptr);

  // Frame to pose vector; vecOut is resized to 6 when it has another size.
  Void kdlFrameToVector(const KDL::Frame& frame, MathVector& vecOut);
  // Pose vector (size 6, asserted) to frame.
  Void vectorToKdlFrame(const MathVector& vecIn, KDL::Frame& frame);

 private:
  // The flange frame of a TCP pose vector: the tool removed on the right (not exported).
  FK_IK_SO_LOCAL KDL::Frame _flangeOfTcp(const MathVector& tcpPosIn, const Tool& tool) const;

  Chain_MDH4* _chainMDH4;
  FkSolverPos_Tarvin2_6Dof* _fkSolverPos;
  IkSolverPos_Tarvin2_6Dof* _ikSolverPos;
};

#endif  // FK_IK_SO_ROBOT_H
