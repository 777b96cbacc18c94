#include "ik_solver_pos.h"

IkSolverPos::IkSolverPos(Chain_MDH4* chainMDH4) : _chainMDH4(chainMDH4) {}

IkSolverPos::~IkSolverPos() {}
