// Abstract inverse position solver: flange pose to joint positions.
#ifndef FK_IK_SO_IK_SOLVER_POS_H
#define FK_IK_SO_IK_SOLVER_POS_H

#include <kdl/frames.hpp>

#include "chain_mdh4.h"
#include "fk_ik_types.h"
#include "vector.h"

class FK_IK_SO_API IkSolverPos {
 public:
  // Keeps chainMDH4 (not owned); it must outlive the solver.
  explicit IkSolverPos(Chain_MDH4* chainMDH4);
  // Not virtual: owners delete a solver through its concrete type.
  ~IkSolverPos();

  // Joint positions jntPos that put the flange at flangePos, in configuration mode
  // `mode` (0 ... 7, or -1 for the mode of jntPosRef) and in the turns of jntPosRef.
  // Returns a result code; 0 on success. The last argument is not read.
  virtual Int32 flangePosToJntPos(const KDL::Frame& flangePos, const MathVector& jntPosRef,
                                  MathVector& jntPos, const Int32& mode, const Float64&) = 0;

  Chain_MDH4* _chainMDH4;
};

#endif  // FK_IK_SO_IK_SOLVER_POS_H
