// The layout of an arm: how its joint axes, taken at zero joint position, lie to one
// another, and the one family name the inverse solvers go by.
//
// Two tolerances. Exact (1e-9 rad for angles, 1e-9 of the arm's size for distances): an
// arm within it is of a layout. Near (1e-2 and 1e-2 of the size): an arm within that but
// not the exact one is near the layout, not of it. Real descriptions round their angles to
// about 1e-4 rad (1.5708 for pi/2) and calibrated arms have axes a few milliradians off
// parallel: such arms are near their nominal layout.
#ifndef FK_IK_SO_ARM_ARM_LAYOUT_H
#define FK_IK_SO_ARM_ARM_LAYOUT_H

#include <string>

#include "arm_description.h"

namespace fk_ik {

const Float64 Layout_Exact = 1e-9;
const Float64 Layout_Near = 1e-2;

// In the order a layout is named by: the first that applies names the arm.
enum class ArmFamily : Int32 {
  // The designed inverse solver's chain form up to joint senses, theta offsets, base and
  // flange: axes 1 and 2 meet at a right angle, 2, 3 and 4 are parallel (apart from one
  // another), 4 meets 5 and 5 meets 6 at right angles.
  DesignedChain = 0,
  // Axes 4, 5 and 6 meet in one point.
  SphericalWrist = 1,
  // Axes 1, 2 and 3 meet in one point: a spherical wrist at the base end.
  SphericalBase = 2,
  // Three consecutive axes are parallel.
  ThreeParallel = 3,
  // None of these.
  General = 4,
};

// The point nearest n lines (least squares of its distances from them), lines given by a
// point and a unit direction each.
FK_IK_SO_API KDL::Vector pointNearestLines(const KDL::Vector* point, const KDL::Vector* direction,
                                           int n);

// "designed chain", "spherical wrist", "spherical base", "three parallel", "general".
FK_IK_SO_API const char* familyName(ArmFamily family);

// Two consecutive axes.
struct FK_IK_SO_API AxisPair {
  // Between the lines' directions, 0 ... pi/2: 0 for parallel axes of either sense.
  Float64 angle;
  // Between the lines: along their common normal, or across them when parallel.
  Float64 distance;
  // At the exact and at the near tolerance (distance relative to the arm's size).
  Bool parallel, intersecting;
  Bool nearParallel, nearIntersecting;

  // "coincident", "parallel", "intersecting", "near parallel", "near intersecting" or
  // "skew": the first that applies.
  const char* kind() const;
};

struct FK_IK_SO_API ArmLayout {
  Float64 size;
  // pair[i]: axes i and i+1 (joints i+1 and i+2 in prose).
  AxisPair pair[Arm_Dof - 1];
  // How far axes 4, 5, 6 (wrist) and 1, 2, 3 (base) are from meeting in one point: the
  // largest distance from any of the three of the point nearest all three; infinite when
  // two of them are parallel.
  Float64 wristDistance;
  Float64 baseDistance;
  // The first of three consecutive parallel axes (0-based), or -1: exact and near.
  Int32 parallelTriple;
  Int32 nearParallelTriple;
  // The family at the exact tolerance, and the one the arm is within the near tolerance
  // of, with how far it is off that one's layout (the largest angle in rad or distance
  // relative to the size); 0 when the arm is of it.
  ArmFamily family;
  ArmFamily nearFamily;
  Float64 nearDeviation;

  // Measured from the description's axes at zero. designedChain: whether the equivalent
  // modified rows were found to be of the designed solver's form (ArmMdh), which decides
  // that family at the exact tolerance.
  static ArmLayout measure(const ArmDescription& description, Bool designedChain);
  // The same from the axes as lines (a point and a unit direction each) and the size.
  static ArmLayout ofLines(const KDL::Vector point[Arm_Dof], const KDL::Vector direction[Arm_Dof],
                           Float64 size, Bool designedChain);
  // How far the axes are from the designed chain's layout (as nearDeviation); infinite
  // when a pair that must be apart meets.
  static Float64 designedChainDeviation(const ArmLayout& layout);

  // Several lines of text: each pair, the meeting points, the triples, the family.
  std::string text() const;
};

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_ARM_LAYOUT_H
