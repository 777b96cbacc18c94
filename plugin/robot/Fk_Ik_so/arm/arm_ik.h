// Every inverse solution of an arm, by the closed form its layout allows, and the one
// nearest a reference within joint limits.
//
// In closed form: axes 2, 3, 4 parallel with axes 5 and 6 meeting (ik_three_parallel.h: the
// designed chain form and its relatives), and axes 4, 5, 6 meeting in one point with axes 2
// and 3 parallel or axes 1 and 2 meeting (ik_spherical_wrist.h), of the arm read either way,
// and arms near them, whose closed-form solutions are refined on the true arm. Every other
// arm, and a near arm where a refinement fails, by elimination (elimination.h): up to
// sixteen solutions, each refined by damped Newton steps on the arm. Only a degenerate arm
// (coincident axes) gives Arm_Not_Covered. What elimination can miss: a double root (two
// solutions merging, at a singular pose) may come out as one or none; the flag marks such
// poses.
//
// A solution is flagged singular when its solver found it on a continuum, or when the
// smallest singular value of its Jacobian, the linear rows divided by the arm's size, is
// below Ik_Singular.
#ifndef FK_IK_SO_ARM_ARM_IK_H
#define FK_IK_SO_ARM_ARM_IK_H

#include "arm_ik_solutions.h"

namespace fk_ik {

const Float64 Ik_Singular = 1e-6;

// All solutions putting the tool centre point at tcp (in the base frame) with tool (the
// TCP in the flange's frame): Arm_Ok with out.count >= 1, Arm_Out_Of_Reach,
// Arm_Not_Covered, or Arm_Invalid for a frame that is not finite.
FK_IK_SO_API Int32 armIkAll(const Arm& arm, const KDL::Frame& tcp, const KDL::Frame& tool,
                            ArmIkSolutions& out);

// armIkAll through elimination whatever the arm's layout (a slower check of a closed form).
FK_IK_SO_API Int32 armIkByElimination(const Arm& arm, const KDL::Frame& tcp, const KDL::Frame& tool,
                                      ArmIkSolutions& out);
// The solution, or whole-turn variant of one (within 2^20 turns), whose largest joint
// difference from ref is smallest (ties to the earlier solution), each joint within
// [lower, upper] (null: the arm's own limits; infinite: none). Returns Arm_Ok with q
// written; 8 for a limit that is not a number or a lower above its upper; 7 when no
// solution fits the limits; armIkAll's code when it finds none. q is written only on Arm_Ok.
FK_IK_SO_API Int32 armIkNearest(const Arm& arm, const KDL::Frame& tcp, const KDL::Frame& tool,
                                const Float64 ref[Arm_Dof], const Float64* lower,
                                const Float64* upper, Float64 q[Arm_Dof]);

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_ARM_IK_H
