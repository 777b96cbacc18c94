// Forward solver of the library's 6-axis arm: FkSolverPos on a chain of six joints.
#ifndef FK_IK_SO_FK_SOLVER_POS_TARVIN2_6DOF_H
#define FK_IK_SO_FK_SOLVER_POS_TARVIN2_6DOF_H

#include "fk_solver_pos.h"

class FK_IK_SO_API FkSolverPos_Tarvin2_6Dof : public FkSolverPos {
 public:
  // chainMDH4 must have six joints (asserted).
  explicit FkSolverPos_Tarvin2_6Dof(Chain_MDH4* chainMDH4);
  ~FkSolverPos_Tarvin2_6Dof();
};

#endif  // FK_IK_SO_FK_SOLVER_POS_TARVIN2_6DOF_H
