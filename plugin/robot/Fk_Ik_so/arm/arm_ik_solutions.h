// Every inverse solution of an arm: up to sixteen joint positions, each with a flag for a
// singular one. Fixed size: a call fills it without allocating.
#ifndef FK_IK_SO_ARM_ARM_IK_SOLUTIONS_H
#define FK_IK_SO_ARM_ARM_IK_SOLUTIONS_H

#include "arm_description.h"

namespace fk_ik {

// A six-joint arm has at most sixteen inverse solutions.
const int Ik_Max_Solutions = 16;

struct FK_IK_SO_API ArmIkSolutions {
  Int32 count = 0;
  Float64 q[Ik_Max_Solutions][Arm_Dof];
  Bool singular[Ik_Max_Solutions];
};

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_ARM_IK_SOLUTIONS_H
