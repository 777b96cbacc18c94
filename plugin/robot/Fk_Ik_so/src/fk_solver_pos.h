// Forward kinematics of a chain of modified-DH joints.
//
// Frames: the base frame is the frame in which record 0 of the chain is expressed;
// segment i ends in joint i's frame, DH_Craig1989(a, alpha, d, theta + q_i) relative
// to the frame before it; the last segment's frame is the flange. Lengths come out
// in the chain's unit, joint positions go in as radians, joint 1 first.
#ifndef FK_IK_SO_FK_SOLVER_POS_H
#define FK_IK_SO_FK_SOLVER_POS_H

#include <kdl/frames.hpp>

#include "chain_mdh4.h"
#include "fk_ik_types.h"
#include "vector.h"

// The tool centre point (TCP) relative to the flange: translation x, y, z in flange
// coordinates, then orientation as roll rx, pitch ry, yaw rz about the flange's fixed
// axes. Its frame is KDL::Frame(KDL::Rotation::RPY(rx, ry, rz), KDL::Vector(x, y, z)).
struct Tool {
  Float64 x;
  Float64 y;
  Float64 z;
  Float64 rx;
  Float64 ry;
  Float64 rz;
};

class FkSolverPos {
 public:
  // Keeps chainMDH4 (not owned); it must outlive the solver.
  explicit FkSolverPos(Chain_MDH4* chainMDH4);

  // Flange frame of the whole chain relative to the base.
  Void jntPosToFlangePos(const MathVector& jntPos, KDL::Frame& flangePos);
  // Frame at the end of the first segmenId segments (0: the identity).
  Void jntPosToFlangePos(const MathVector& jntPos, const Int32& segmenId, KDL::Frame& flangePos);
  // Frames at the end of every segment: flangePos[i] is joint i's frame relative to
  // the base. The caller provides room for _dof frames.
  Void jntPosToFlangePos(const MathVector& jntPos, KDL::Frame* flangePos);

  Chain_MDH4* _chainMDH4;
};

#endif  // FK_IK_SO_FK_SOLVER_POS_H
