// Every inverse solution, in closed form, of an arm whose axes 2, 3 and 4 are parallel
// (apart from one another) and whose axes 5 and 6 meet: the designed chain form up to joint
// senses, offsets, base and flange, and any such arm with its first axis in any direction
// but theirs.
//
// Product-of-exponentials form, from the axes and the flange at zero joint position:
// flange(q) = Rot(axis 1, q1) ... Rot(axis 6, q6) flange(0). Turns about the parallel axes
// keep every point's height along them and every direction's component along them, so:
//   1. the meeting point of axes 5 and 6, which joints 5 and 6 leave in place, must reach
//      its height: joint 1 (two ways);
//   2. axis 6's direction must reach its component along the parallel axes: joint 5 (two
//      ways);
//   3. the parallel direction, seen from the last link, fixes joint 6 (one way);
//   4. a point of axis 4 fixes joints 2 and 3 (two ways), and what is left joint 4.
// Up to eight solutions, each joint in (-pi, pi], each checked with the arm's own forward
// kinematics (arm_ik_solutions.h).
//
// Continua: where axis 6 lies along the parallel axes (the wrist's singular pose), only
// the sum of the parallel joints and joint 6 counts: joint 6 is given as 0. Where the
// meeting point of axes 5 and 6 lies on axis 1 (the shoulder's), joint 1 is free: 0. Both
// carry the singular flag.
#ifndef FK_IK_SO_ARM_IK_THREE_PARALLEL_H
#define FK_IK_SO_ARM_IK_THREE_PARALLEL_H

#include "arm_ik_solutions.h"

namespace fk_ik {

// All solutions reaching the flange frame target (in the base frame). Returns Arm_Ok with
// out.count >= 1; Arm_Out_Of_Reach; Arm_Invalid for a target that is not finite;
// Arm_Not_Covered unless axes 2, 3, 4 are parallel and apart, axes 5 and 6 meet, and
// neither axis 1 nor axis 5 is parallel to axes 2-4.
FK_IK_SO_API Int32 solveThreeParallel(const Arm& arm, const KDL::Frame& target,
                                      ArmIkSolutions& out);

// The same on screws (the arm's own, reversed or idealised), unchecked: the candidates as
// the closed form gives them, for the caller to map and check.
FK_IK_SO_API Int32 solveThreeParallel(const ArmScrews& arm, const KDL::Frame& target,
                                      ArmIkSolutions& out);
// Whether the solver covers the screws' layout.
FK_IK_SO_API Bool coversThreeParallel(const ArmScrews& arm);

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_IK_THREE_PARALLEL_H
