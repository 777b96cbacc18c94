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
#include "jacobian.h"
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

  // The TCP frame relative to the flange.
  KDL::Frame frame() const {
    return KDL::Frame(KDL::Rotation::RPY(rx, ry, rz), KDL::Vector(x, y, z));
  }
};

// lhs * rhs with the operations of KDL's frame product in the same order, so the result
// is the same to the bit, but inline: KDL's rotation product is an out-of-line call.
inline KDL::Frame frameProduct(const KDL::Frame& lhs, const KDL::Frame& rhs) {
  const KDL::Rotation& a = lhs.M;
  const KDL::Rotation& b = rhs.M;
  KDL::Rotation m;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) m(i, j) = a(i, 0) * b(0, j) + a(i, 1) * b(1, j) + a(i, 2) * b(2, j);
  }
  return KDL::Frame(m, a * rhs.p + lhs.p);
}

class FK_IK_SO_API FkSolverPos {
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

  // Geometric velocity Jacobian of the TCP, expressed in the base frame: column i maps
  // joint i's velocity to the TCP's linear velocity (rows 0-2, z_i x (p_tcp - p_i)) and
  // angular velocity (rows 3-5, z_i, joint i's axis). velJacobian must be shaped
  // 6 x _dof; every element is written.
  Void jntPosToJacobians(const MathVector& jntPos, const Tool& tool, MathJacobian& velJacobian);
  // velJacobian as above and, for the joint velocity jntVel (rad/s), velJacobianDot.
  // Frames of the vectors combined, per joint k with n the last joint:
  //   z_k   joint k's axis, base frame;
  //   w_k   angular velocity of joint k's frame, w_k = sum of jntVel(j) z_j for j <= k,
  //         base frame;
  //   r_k   the TCP's offset from joint k's origin, in joint k's own frame (so r_n is
  //         the tool's translation in flange coordinates).
  // Column k holds a_k = (w_k x z_k) x r_k + z_k x ((w_n x r_n) - (w_k x r_k)) in rows
  // 0-2 and w_k x z_k in rows 3-5. The joint-frame offsets r_k and r_n are not rotated
  // into the base frame before they meet the base-frame vectors: this is the required
  // computation and callers depend on it, so it must not be "corrected". The angular
  // rows are the time derivative of velJacobian's; the linear rows, in general, not.
  Void jntPosToJacobiansDot(const MathVector& jntPos, const MathVector& jntVel, const Tool& tool,
                            MathJacobian& velJacobian, MathJacobian& velJacobianDot);

  Chain_MDH4* _chainMDH4;
};

#endif  // FK_IK_SO_FK_SOLVER_POS_H
