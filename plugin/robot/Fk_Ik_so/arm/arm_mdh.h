// An arm's equivalent modified (Craig) DH description: six rows a, alpha, d, theta (the
// library's column order), a sense per joint, a base frame and a flange frame, such that
//   flange(q) = base * prod_i DH_Craig1989(a_i, alpha_i, d_i, theta_i + sign_i q_i) * flange.
//
// Row 0 is always zero: the base frame is joint 1's modified frame at zero. Frame i's x
// axis lies along the common normal of axes i and i+1. Where two axes meet, it is their
// cross product (a = 0); where they are skew, it points from axis i to axis i+1 (a > 0).
// Where they are parallel (within 1e-12 rad), the normal is not unique: it is taken
// through the foot of the normal before it (d = 0 for that joint, the first joint's
// through its frame's origin). Nearly parallel axes keep their true common normal, which
// lies far away when the angle is small: d values of about the arm's size divided by the
// angle, that cancel in the product, so that the rows reproduce the arm to about 1e-16 of
// its size divided by that angle (deviation reports what was measured). The last frame's
// x axis is the one before it (theta_5 = 0, d_5 = 0); the flange frame takes the rest.
#ifndef FK_IK_SO_ARM_ARM_MDH_H
#define FK_IK_SO_ARM_ARM_MDH_H

#include "arm_description.h"

namespace fk_ik {

class Arm;

struct FK_IK_SO_API ArmMdh {
  Float64 rows[Arm_Dof][4];
  Float64 signs[Arm_Dof];
  KDL::Frame base;
  KDL::Frame flange;
  // Whether the rows are of the form the designed inverse solver is exact for
  // (Chain_MDH4::checkArmForm gives 0): joint senses and the normals' senses are chosen
  // to make them so where they can be. Such rows, handed to init, give the arm's flange
  // as base * (the designed forward kinematics at sign_i q_i) * flange.
  Bool designedForm;
  // The largest distance between the rows' flange and the arm's over a few fixed joint
  // positions: origins relative to the arm's size, plus the largest difference of the
  // rotations' elements.
  Float64 deviation;

  // The description of the arm's axes (its forward kinematics measures the deviation).
  static ArmMdh of(const Arm& arm);
  // The flange at q through the rows, base and flange, as above.
  KDL::Frame flangeFrame(const Float64 q[Arm_Dof]) const;
};

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_ARM_MDH_H
