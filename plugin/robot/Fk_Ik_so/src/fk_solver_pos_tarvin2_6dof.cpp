#include "fk_solver_pos_tarvin2_6dof.h"

#include <cassert>

FkSolverPos_Tarvin2_6Dof::FkSolverPos_Tarvin2_6Dof(Chain_MDH4* chainMDH4) : FkSolverPos(chainMDH4) {
  assert(chainMDH4->_dof == 6);
}

FkSolverPos_Tarvin2_6Dof::~FkSolverPos_Tarvin2_6Dof() {}
