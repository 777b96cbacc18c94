// Every inverse solution, in closed form, of an arm whose axes 4, 5 and 6 meet in one point
// (the wrist centre), where the first three axes place that centre by small subproblems:
// axes 2 and 3 parallel, or axes 1 and 2 meeting; or, in general position, by the quartic
// of three_axes_onto.h.
//
// The arm is taken in product-of-exponentials form, from its axes and flange at zero joint
// position: flange(q) = Rot(axis 1, q1) ... Rot(axis 6, q6) flange(0). Joints 4-6 leave
// the centre where it is, so joints 1-3 alone carry it to the target's centre (up to four
// ways), and joints 4-6 then give the orientation (two ways each).
//
// Each joint is in (-pi, pi]; the joint limits are not applied (the caller filters).
// Every solution is checked with the arm's own forward kinematics and kept only when its
// flange is within 1e-10 x the arm's size and 1e-10 rad of the target; solutions within
// 1e-9 rad in every joint of one kept before are the same one. So an arm whose wrist only
// nearly meets in one point (within the layout's tolerance) may lose solutions, never
// get wrong ones.
//
// Continua. Where axes 4 and 6 fall on one line, only the sum (or the difference) of joints
// 4 and 6 counts: within 1e-10 rad of the line, joint 4 is given as 0 and
// joint 6 carries the whole turn, whenever joint 5 then still points axis 6 within
// 1e-11 rad (on the line itself it does, unless joints 1-3 are themselves ill-determined,
// as near the shoulder's continuum). Where the centre lies on axis 1, joint 1 is free:
// with axes 1 and 2 meeting it is whatever the rounding gives, with axes 2 and 3 parallel
// it is 0. Solutions with axes 4 and 6 within 1e-9 rad of one line, or the centre within
// 1e-9 x the size of axis 1, carry the singular flag.
//
// Nothing allocates.
#ifndef FK_IK_SO_ARM_IK_SPHERICAL_WRIST_H
#define FK_IK_SO_ARM_IK_SPHERICAL_WRIST_H

#include "arm_ik_solutions.h"

namespace fk_ik {

// All solutions reaching the flange frame target (in the base frame) into out. Returns
// Arm_Ok with out.count >= 1; Arm_Out_Of_Reach; Arm_Invalid for a target with a value
// that is not finite; Arm_Not_Covered unless axes 4-6 meet in one point off axis 3, and
// axes 2 and 3 are parallel (not coincident, axis 1 not parallel to them), or axes 1 and 2
// meet (not parallel, their meeting point off axis 3), or axes 2 and 3 neither meet nor are
// parallel (the quartic, whose roots' conditioning every solution's check guards).
FK_IK_SO_API Int32 solveSphericalWrist(const Arm& arm, const KDL::Frame& target,
                                       ArmIkSolutions& out);

// The same on screws (the arm's own, reversed or idealised), unchecked: the candidates as
// the closed form gives them, for the caller to map and check.
FK_IK_SO_API Int32 solveSphericalWrist(const ArmScrews& arm, const KDL::Frame& target,
                                       ArmIkSolutions& out);
// Whether the solver covers the screws' layout.
FK_IK_SO_API Bool coversSphericalWrist(const ArmScrews& arm);

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_IK_SPHERICAL_WRIST_H
