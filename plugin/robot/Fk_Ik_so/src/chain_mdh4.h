// The arm's kinematic description: one set of modified Denavit-Hartenberg
// parameters (Craig's convention) per joint.
//
// Frame i relative to frame i-1 is Rot_x(alpha) Trans_x(a) Rot_z(theta + q) Trans_z(d),
// with q the joint position: every joint is revolute and its position is added to the
// theta offset. Record 0 belongs to joint 1 at the base; record 5 ends at the flange.
// Lengths are in the caller's unit, angles in radians.
#ifndef FK_IK_SO_CHAIN_MDH4_H
#define FK_IK_SO_CHAIN_MDH4_H

#include <cmath>
#include <vector>

#include "fk_ik_types.h"
#include "vector.h"

// One joint's modified DH parameters.
struct FK_IK_SO_API MDH {
  MDH();

  Float64 a;      // link length along the previous frame's x axis
  Float64 alpha;  // link twist about the previous frame's x axis, radians
  Float64 d;      // link offset along this joint's z axis
  Float64 theta;  // joint-angle offset about this joint's z axis, radians
};

// Sine and cosine of one record's twist, with the twist they were taken of.
struct TwistSinCos {
  TwistSinCos() : alpha(0.0), sinAlpha(0.0), cosAlpha(1.0) {}
  explicit TwistSinCos(Float64 twist)
      : alpha(twist), sinAlpha(std::sin(twist)), cosAlpha(std::cos(twist)) {}

  Float64 alpha;
  Float64 sinAlpha;
  Float64 cosAlpha;
};

// The chain of a 6-axis arm: _dof (always 6) records copied from the caller.
// The record array has room for Max_Chain_Dof records; the seventh stays zero.
// The solvers read the fields directly; nothing changes them after construction.
class FK_IK_SO_API Chain_MDH4 {
 public:
  // Copies the records of pMDH4Param, which must hold exactly six (asserted).
  Chain_MDH4(UInt32 dof, const std::vector<MDH>* pMDH4Param);
  ~Chain_MDH4();

  // Configuration mode of the joint position jntPos (six joints) into `mode`, a bit field:
  //   4  shoulder quantity a[2] sin(q1) + a[3] sin(q1 + q2) + d[4] sin(q3 - q1 - q2) <= 0,
  //   2  elbow quantity sin(q2) <= 0,
  //   1  wrist quantity sin(q4) <= 0
  // (a not-a-number quantity sets its bit). With check true a configuration in which a
  // quantity's magnitude is below 1e-6 is reported instead, as 2 (shoulder), 3 (elbow) or
  // 4 (wrist), tested in that order, and `mode` is left at 0. Returns 0 otherwise.
  Int32 getMode_6dof(const MathVector& jntPos, Int32& mode, Bool check);

  // Whether six records are of the form the closed-form inverse solver is exact for:
  // twists 0, -pi/2, 0, pi, pi/2, pi/2 up to whole turns within 1e-9 rad; a of records 0,
  // 1, 4 and 5 zero and a of records 2 and 3 not, zero meaning |a| <= 1e-9 in the arm's
  // length unit; every value finite. Returns 0 when they are, else 4 * record + field + 1
  // of the first parameter that is not (records in order, fields a 0, alpha 1, d 2,
  // theta 3). Reads only mdh[0] ... mdh[5]; needs no chain.
  static Int32 checkArmForm(const MDH* mdh);
  // getMode_6dof in two halves, for the inverse solver, which has some of the sines at hand:
  // the shoulder quantity from the sines of q1, q2 + q1 and q3 - q1 - q2, summed in the same
  // order, and the code and mode bits of the three quantities.
  Float64 _shoulderQuantity(Float64 sinQ1, Float64 sinQ2PlusQ1, Float64 sinQ3MinusQ1MinusQ2) const {
    Float64 t = _mdhParam[2].a * sinQ1;
    t = t + sinQ2PlusQ1 * _mdhParam[3].a;
    return sinQ3MinusQ1MinusQ2 * _mdhParam[4].d + t;
  }
  static Int32 _modeOfQuantities(Float64 shoulder, Float64 elbow, Float64 wrist, Int32& mode,
                                 Bool check) {
    mode = 0;
    // Strict comparisons: a magnitude of exactly 1e-6 is not singular, and a quantity that
    // is not a number passes.
    const Float64 singularLimit = 1e-6;
    if (check) {
      if (std::fabs(shoulder) < singularLimit) return 2;
      if (std::fabs(elbow) < singularLimit) return 3;
      if (std::fabs(wrist) < singularLimit) return 4;
    }
    // "Not greater than 0" rather than "<= 0", so that not-a-number sets its bit too.
    if (!(shoulder > 0)) mode |= 4;
    if (!(elbow > 0)) mode |= 2;
    if (!(wrist > 0)) mode |= 1;
    return 0;
  }

  // Sine and cosine of the twist of record i, as KDL::Frame::DH_Craig1989 computes them.
  // They are taken once, at construction; a record whose twist was changed since is
  // computed afresh.
  Void twistSinCos(UInt32 i, Float64& sinAlpha, Float64& cosAlpha) const {
    const TwistSinCos& t = _twist[i];
    if (t.alpha == _mdhParam[i].alpha) {
      sinAlpha = t.sinAlpha;
      cosAlpha = t.cosAlpha;
    } else {
      sinAlpha = std::sin(_mdhParam[i].alpha);
      cosAlpha = std::cos(_mdhParam[i].alpha);
    }
  }

  UInt32 _dof;
  MDH _mdhParam[Max_Chain_Dof];
  // The twists' sines and cosines are constants of the arm: the forward kinematics reads
  // them here instead of computing them again for every segment of every call.
  TwistSinCos _twist[Max_Chain_Dof];
};

#endif  // FK_IK_SO_CHAIN_MDH4_H
