// The description of a serial arm of six revolute joints, as a user gives it.
//
// Frames. The base frame is the frame every pose is given in. Joint i (i = 0 ... 5, joint
// 1 in prose) has a frame fixed to the link before it: joint[0] places joint 0's frame in
// the base's, joint[i] joint i's frame in joint i-1's, each at zero joint position. Joint i
// turns its link and everything after it about axis[i], a direction in its own frame
// (any length; its sense is the joint's positive sense), through the frame's origin. The
// flange frame is fixed to the last link, placed in joint 5's frame. So the flange at
// joint position q is
//   base * joint[0] * Rot(axis[0], q0) * joint[1] * ... * joint[5] * Rot(axis[5], q5) * flange.
//
// Units: lengths in the unit of the description (nothing is converted), angles in radians.
#ifndef FK_IK_SO_ARM_ARM_DESCRIPTION_H
#define FK_IK_SO_ARM_ARM_DESCRIPTION_H

#include <kdl/frames.hpp>
#include <string>

#include "fk_ik_types.h"

namespace fk_ik {

const int Arm_Dof = 6;

// Result codes of the arm's functions, continuing the library's numbering (0 ... 8).
enum ArmCode : Int32 {
  Arm_Ok = 0,
  // The description was refused: the message says which value and why.
  Arm_Invalid = 9,
  // A file could not be read (the URDF reader).
  Arm_Unreadable = 10,
};

// Which convention a table of rows follows. Both take each row in the library's column
// order a, alpha, d, theta (lengths, then radians), row 0 for joint 1.
enum class RowConvention {
  // Craig's: joint i's frame is Rot_x(alpha) Trans_x(a) Rot_z(theta + q) Trans_z(d) in the
  // frame before it.
  Modified,
  // Distal: frame i is Rot_z(theta + q) Trans_z(d) Trans_x(a) Rot_x(alpha) in frame i-1,
  // joint i turning about frame i-1's z axis.
  Standard,
};

struct FK_IK_SO_API ArmDescription {
  // Identity frames, z axes, infinite limits.
  ArmDescription();

  KDL::Frame base;
  KDL::Frame joint[Arm_Dof];
  KDL::Vector axis[Arm_Dof];
  KDL::Frame flange;
  // Joint limits in radians; infinite for none.
  Float64 lower[Arm_Dof];
  Float64 upper[Arm_Dof];

  // The description of a table of rows, exactly: joint i turns about its z axis in the
  // sense of signs[i] (+1 or -1; null for all +1); the rows' chain stands on base and
  // carries flange after its last frame. The limits stay infinite, for the caller to set.
  // Returns Arm_Ok, or Arm_Invalid with the reason in message (a sign other than +1 or -1).
  static Int32 fromRows(const Float64 rows[Arm_Dof][4], RowConvention convention,
                        const Float64* signs, const KDL::Frame& base, const KDL::Frame& flange,
                        ArmDescription& description, std::string* message);

  // Arm_Ok when every value is finite, every frame rigid (rotation orthonormal to 1e-9,
  // determinant +1), every axis of non-zero length and every lower limit at most its upper
  // one (limits may be infinite, not NaN); else Arm_Invalid and the first fault in message.
  Int32 check(std::string* message) const;

  // The arm's size: the sum of the lengths of the joints' and the flange's fixed
  // translations (not the base's: where the arm stands does not change it); 1 when that
  // is 0. Length tolerances are relative to it.
  Float64 size() const;

  // The joints' axes at zero position as lines in the base frame: a point on each (its
  // frame's origin) and the unit direction of its positive sense.
  Void axesAtZero(KDL::Vector point[Arm_Dof], KDL::Vector direction[Arm_Dof]) const;
};

// The length of v, without overflow or underflow for any finite v. (KDL's Vector::Norm
// reads every vector whose elements are all below 1e-6 as of length 0.)
FK_IK_SO_API Float64 length(const KDL::Vector& v);

// v scaled to unit length, computed without overflow or underflow for any finite v;
// zero when v is zero.
FK_IK_SO_API KDL::Vector unitVector(const KDL::Vector& v);

// A unit vector across the unit vector u: hint without its part along u, or, where that
// is zero, the coordinate axis most across u (exactly, for u along a coordinate axis).
FK_IK_SO_LOCAL KDL::Vector acrossUnit(const KDL::Vector& u, const KDL::Vector& hint);

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_ARM_DESCRIPTION_H
