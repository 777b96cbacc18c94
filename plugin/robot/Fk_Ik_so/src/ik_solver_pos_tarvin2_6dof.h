// Closed-form inverse position solver of the library's 6-axis arm.
//
// Chain form it is exact for: twists (alpha) 0, -pi/2, 0, pi, pi/2, pi/2 for records
// 0 ... 5; a[0] = a[1] = a[4] = a[5] = 0; a[2] (upper arm) and a[3] (forearm) non-zero,
// of either sign; any d and theta offsets. Nothing of this is checked.
//
// Result codes: 0 solved; 2 shoulder, 3 elbow, 4 wrist singular; 5 invalid mode;
// 6 target out of reach; 7 no solution in the requested configuration mode.
#ifndef FK_IK_SO_IK_SOLVER_POS_TARVIN2_6DOF_H
#define FK_IK_SO_IK_SOLVER_POS_TARVIN2_6DOF_H

// <cassert> and <cmath> serve the solver's source file, whose constructor and entry point
// keep their assertions at fixed lines (their reports name file and line).
#include <cassert>
#include <cmath>

#include "ik_solver_pos.h"

class FK_IK_SO_API IkSolverPos_Tarvin2_6Dof : public IkSolverPos {
 public:
  // chainMDH4 must have six joints (asserted).
  explicit IkSolverPos_Tarvin2_6Dof(Chain_MDH4* chainMDH4);
  ~IkSolverPos_Tarvin2_6Dof();

  // jntPos is resized to 6 first and written only on success (code 0).
  virtual Int32 flangePosToJntPos(const KDL::Frame& flangePos, const MathVector& jntPosRef,
                                  MathVector& jntPos, const Int32& mode, const Float64&);

  // True exactly for the configuration modes 0 ... 7.
  Bool _isValidMode(const Int32& mode);

  // Singularity thresholds, set at construction by these initialisers: shoulder, elbow,
  // wrist, in the order of the result codes 2, 3, 4. Only the limits decide anything; the
  // warning bands are kept for callers that read them.
  Float64 _shoulderSingularWarn = 0.02;   // length: warning band of the shoulder test
  Float64 _shoulderSingularLimit = 0.01;  // length: least sqrt(L), wrist centre from its cylinder
  Float64 _elbowSingularWarn = 0.03490658503988659;    // rad (2 deg): elbow warning band
  Float64 _elbowSingularLimit = 0.017453292519943295;  // rad (1 deg): q2 from 0, pi and -pi
  Float64 _wristSingularWarn = 0.03490658503988659;    // rad (2 deg): wrist warning band
  Float64 _wristSingularLimit = 0.017453292519943295;  // rad (1 deg): q4 from 0, pi and -pi
};

#endif  // FK_IK_SO_IK_SOLVER_POS_TARVIN2_6DOF_H
