// Closed-form inverse position solver of the library's 6-axis arm.
//
// Chain form it is exact for: twists (alpha) 0, -pi/2, 0, pi, pi/2, pi/2 for records
// 0 ... 5; a[0] = a[1] = a[4] = a[5] = 0; a[2] (upper arm) and a[3] (forearm) non-zero,
// of either sign; any d and theta offsets. Nothing of this is checked.
//
// Result codes: 0 solved; 2 shoulder, 3 elbow, 4 wrist singular; 5 invalid mode;
// 6 target out of reach; 7 no solution in the requested configuration mode (or within the
// limits, or for the two arm links); 8 invalid joint limits.
#ifndef FK_IK_SO_IK_SOLVER_POS_TARVIN2_6DOF_H
#define FK_IK_SO_IK_SOLVER_POS_TARVIN2_6DOF_H

// <cassert> and <cmath> serve the solver's source file, whose constructor and entry point
// keep their assertions at fixed lines (their reports name file and line).
#include <cassert>
#include <cmath>

#include "ik_solver_pos.h"

// The eight candidate solutions of one flange pose, in candidate order: candidate k takes
// shoulder branch k >> 2, wrist branch (k >> 1) & 1 and elbow branch k & 1. A fixed-size
// value, filled without allocation.
struct IkSolutions {
  // Joints moved into the reference's turns exactly as flangePosToJntPos moves the one it
  // selects; zeros where status != 0.
  Float64 jntPos[8][6];
  // Configuration mode of the candidate, also for a singular one (the bits of its
  // quantities, a zero quantity setting its bit); 0 where D < 0 (status 7).
  Int32 mode[8];
  // 0 solved; 2, 3, 4 shoulder, elbow, wrist singular, by getMode_6dof's 1e-6 tests or by
  // the 1 degree wrist and elbow tests on the turn-aligned joints; 7 no solution for the
  // two arm links (D < 0).
  Int32 status[8];
};

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

  // All eight candidates of the pose, from the one computation that flangePosToJntPos
  // selects from: where it returns 0, its answer is one of the solved rows, bit for bit.
  // Returns 0, or the pose's own code 6 (wrist centre on or inside the offset cylinder) or
  // 2 (shoulder singular); on a non-zero return every joint value and mode is zero and
  // every status equals the code. jntPosRef (six, asserted) sets only the turns.
  Int32 flangePosToAllJntPos(const KDL::Frame& flangePos, const MathVector& jntPosRef,
                             IkSolutions& solutions);
  // The solved candidate, or whole-turn variant (q + 2 pi k per joint) of one, nearest the
  // reference: smallest largest-joint-difference, ties to the lower candidate index; a
  // difference that is not a number counts as infinite. Each joint takes the variant
  // nearest its reference within [lower[j], upper[j]] (and within 2^20 turns); lower and
  // upper are six limits each, null for none (infinite limits are none either). Returns 0
  // (jntPos written), 8 when a lower limit is above its upper one or a limit is not a
  // number (checked first), 6 or 2 for the pose, 7 when no candidate is solved or none has
  // variants within the limits (joint values that are not finite have none), or the status
  // of the first singular candidate when none is solved and one is singular. jntPos is
  // resized to 6 and written only on code 0.
  Int32 flangePosToNearestJntPos(const KDL::Frame& flangePos, const MathVector& jntPosRef,
                                 MathVector& jntPos, const Float64* lower = nullptr,
                                 const Float64* upper = nullptr);

  // Singularity thresholds, set at construction by these initialisers: shoulder, elbow,
  // wrist, in the order of the result codes 2, 3, 4. Only the limits decide anything; the
  // warning bands are kept for callers that read them.
  Float64 _shoulderSingularWarn = 0.02;   // length: warning band of the shoulder test
  Float64 _shoulderSingularLimit = 0.01;  // length: least sqrt(L), wrist centre from its cylinder
  Float64 _elbowSingularWarn = 0.03490658503988659;    // rad (2 deg): elbow warning band
  Float64 _elbowSingularLimit = 0.017453292519943295;  // rad (1 deg): q2 from 0, pi and -pi
  Float64 _wristSingularWarn = 0.03490658503988659;    // rad (2 deg): wrist warning band
  Float64 _wristSingularLimit = 0.017453292519943295;  // rad (1 deg): q4 from 0, pi and -pi

 private:
  // The facade hands over frames it built with the vector functions, with their error.
  friend class Robot;
  // Bounds of a flange frame's departure from the frame libm's functions give: of each
  // rotation element, and of each position coordinate. Zero for a frame the caller gave.
  struct FrameError {
    Float64 rotation;
    Float64 position;
  };

  // flangePosToJntPos after its assertion, with the trigonometric functions of Trig (LibmTrig or
  // VectorTrig of simd_trig.h), into code and, on 0, jntPos. With VectorTrig it returns
  // false and writes nothing when a decision lies too near its threshold for the vector
  // functions' values to take it as libm's would; with LibmTrig it returns true.
  template <class Trig>
  FK_IK_SO_LOCAL Bool _solve(const KDL::Frame& flangePos, const FrameError& inputError,
                             const MathVector& jntPosRef, Int32 mode, MathVector& jntPos,
                             Int32& code);
  // flangePosToAllJntPos with the functions of Trig, into code and solutions. Returns the
  // rows (bit k for row k) to be taken from libm instead (_libmRows): none with LibmTrig;
  // with VectorTrig every row (AllRows) when a decision of the candidates lies too near,
  // else the solved rows with one too near in their turn alignment.
  template <class Trig>
  FK_IK_SO_LOCAL UInt32 _all(const KDL::Frame& flangePos, const FrameError& inputError,
                             const MathVector& jntPosRef, IkSolutions& solutions, Int32& code);
  static constexpr UInt32 AllRows = 0xFF;
  FK_IK_SO_LOCAL Int32 _libmRows(const KDL::Frame& flangePos, const MathVector& jntPosRef,
                                 IkSolutions& solutions, UInt32 rows);
  // flangePosToNearestJntPos's choice among the eight of flangePosToAllJntPos.
  FK_IK_SO_LOCAL Int32 _nearestOf(const IkSolutions& all, Int32 poseCode,
                                  const MathVector& jntPosRef, MathVector& jntPos,
                                  const Float64* lower, const Float64* upper) const;
  template <class Trig>
  FK_IK_SO_LOCAL Bool _referenceMode(const MathVector& jntPosRef, Int32& targetMode,
                                     Int32& code) const;
  // The closed form of the eight candidates, before any turn alignment; -1 when (vector
  // functions only) a decision or the joints' error bound, jointError, is too near.
  template <class Trig>
  FK_IK_SO_LOCAL Int32 _candidatesWith(const KDL::Frame& flangePos, const FrameError& inputError,
                                       IkSolutions& raw, Float64& jointError) const;
  // _intoReferenceTurns of a solved candidate's joints q, on the vector path: false when
  // one of the decisions of the turn alignment and the tests after it lies within its bound
  // of its threshold (q then half done, to be dropped).
  FK_IK_SO_LOCAL Bool _alignedClear(Float64* q, const MathVector& jntPosRef, Float64 error) const;
  // The turn alignment and singularity test of flangePosToJntPos's answer: each
  // joint into the reference's turn; 4 or 3 when q4 or q2 then lies within 1 degree of
  // 0, pi or -pi, else 0; each joint at most one turn towards the reference.
  FK_IK_SO_LOCAL Void _intoReferenceTurns(Float64* q, const MathVector& jntPosRef) const;
  FK_IK_SO_LOCAL Int32 _alignedSingularity(const Float64* q) const;
  FK_IK_SO_LOCAL Void _nearestTurns(Float64* q, const MathVector& jntPosRef) const;
};

#endif  // FK_IK_SO_IK_SOLVER_POS_TARVIN2_6DOF_H
