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

#include "ik_solver_pos.h"

class IkSolverPos_Tarvin2_6Dof : public IkSolverPos {
 public:
  // chainMDH4 must have six joints (asserted).
  explicit IkSolverPos_Tarvin2_6Dof(Chain_MDH4* chainMDH4);
  ~IkSolverPos_Tarvin2_6Dof();

  // jntPos is resized to 6 first and written only on success (code 0).
  virtual Int32 flangePosToJntPos(const KDL::Frame& flangePos, const MathVector& jntPosRef,
                                  MathVector& jntPos, const Int32& mode, const Float64&);

  // True exactly for the configuration modes 0 ... 7.
  Bool _isValidMode(const Int32& mode);

  Float64 _shoulderSingularWarn;   // length: warning band of the shoulder test (held only)
  Float64 _shoulderSingularLimit;  // length: least distance of the wrist centre from its cylinder
  Float64 _elbowSingularWarn;      // rad: warning band of the elbow test (no effect)
  Float64 _elbowSingularLimit;     // rad: least distance of q2 from 0, pi and -pi
  Float64 _wristSingularWarn;      // rad: warning band of the wrist test (no effect)
  Float64 _wristSingularLimit;     // rad: least distance of q4 from 0, pi and -pi
};

#endif  // FK_IK_SO_IK_SOLVER_POS_TARVIN2_6DOF_H
