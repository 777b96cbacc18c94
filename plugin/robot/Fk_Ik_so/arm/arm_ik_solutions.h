// Every inverse solution of an arm: up to sixteen joint positions, each with a flag for a
// singular one. Fixed size: a call fills it without allocating.
#ifndef FK_IK_SO_ARM_ARM_IK_SOLUTIONS_H
#define FK_IK_SO_ARM_ARM_IK_SOLUTIONS_H

#include "arm.h"
#include "arm_screws.h"

namespace fk_ik {

// A six-joint arm has at most sixteen inverse solutions.
const int Ik_Max_Solutions = 16;

struct FK_IK_SO_API ArmIkSolutions {
  Int32 count = 0;
  Float64 q[Ik_Max_Solutions][Arm_Dof];
  Bool singular[Ik_Max_Solutions];
};

// Result codes of the inverses, beside ArmCode's (the first is the library's code for a
// target out of reach).
enum ArmIkCode : Int32 {
  // No joint position reaches the target; count 0.
  Arm_Out_Of_Reach = 6,
  // No inverse: from armIkAll, a degenerate arm, whose loop no reading poses (coincident
  // axes); from one closed form called alone, an arm not of its layout. count 0.
  Arm_Not_Covered = 11,
};

// A solution's flange within this of its target: times the arm's size for the origin, the
// rotation's angle in rad.
const Float64 Ik_Reach = 1e-10;
// Two solutions within this (rad) in every joint are one.
const Float64 Ik_Same = 1e-9;

// Whether every element of the frame is finite.
FK_IK_SO_LOCAL Bool finiteFrame(const KDL::Frame& f);

// The largest difference of two joint positions, each joint's taken modulo 2 pi.
FK_IK_SO_LOCAL Float64 jointsApart(const Float64 a[Arm_Dof], const Float64 b[Arm_Dof]);

// q appended to out as it is (nothing beyond Ik_Max_Solutions).
FK_IK_SO_LOCAL void appendCandidate(const Float64 q[Arm_Dof], Bool singular, ArmIkSolutions& out);

// The candidates of out that reach target on the arm, duplicates merged (keepSolution), in
// place of them all; code, a solver's, becomes Arm_Out_Of_Reach when none is left.
FK_IK_SO_LOCAL Int32 verifiedCandidates(const Arm& arm, const KDL::Frame& target, Int32 code,
                                        ArmIkSolutions& out);

// q appended to out when the arm's flange at q reaches target within Ik_Reach and no
// solution already there is the same (Ik_Same); nothing beyond Ik_Max_Solutions.
FK_IK_SO_LOCAL void keepSolution(const Arm& arm, const KDL::Frame& target, const Float64 q[Arm_Dof],
                                 Bool singular, ArmIkSolutions& out);

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_ARM_IK_SOLUTIONS_H
