// An arm as its inverse solvers see it: the joints' axes at zero position as lines in the
// base frame and the flange's frame there, so that
//   flange(q) = Rot(axis 1, q1) ... Rot(axis 6, q6) flange(0),
// with their layout. Plain data, filled once per arm.
//
// Besides the arm's own screws: the chain reversed (flange to base: its inverse, whose
// special axes are then at the other end), and the nearest arm of a solvable layout for an
// arm that is only near one (rounded angles, calibration), whose solutions the true arm's
// refine.
#ifndef FK_IK_SO_ARM_ARM_SCREWS_H
#define FK_IK_SO_ARM_ARM_SCREWS_H

#include "arm_layout.h"
#include "subproblems.h"

namespace fk_ik {

class Arm;

struct FK_IK_SO_API ArmScrews {
  Line axis[Arm_Dof];
  KDL::Frame flangeAtZero;
  // The layout of the axes (size included); family and designed-chain questions aside.
  ArmLayout layout;
  // What the subproblems may miss by (relative): Subproblem_Tolerance for an arm's own
  // screws, more for idealised ones, by as much as the axes were moved.
  Float64 tolerance = Subproblem_Tolerance;

  // The arm's own.
  static ArmScrews of(const Arm& arm);
  // The inverse chain: flange(q)^-1 = Rot(axis' 1, q6) ... Rot(axis' 6, q1) flange(0)^-1,
  // axis' k being axis 7-k turned the other way and carried by flange(0)^-1.
  ArmScrews reversed() const;
  // The same flange at zero with the axes moved onto the layout the arm is near, when it is
  // near the three parallel axes (2, 3, 4, with 5 and 6 meeting) or the spherical wrist
  // (with 2 and 3 parallel or 1 and 2 meeting): directions averaged, lines moved through
  // the points they nearly meet in. False when it is near neither.
  Bool ideal(ArmScrews& snapped) const;
  // Remeasures the layout after the lines changed.
  Void measure();
};

// How an arm's inverse is solved: on its own screws, on the reversed chain's, or on those of
// the nearest solvable arm (of either direction) with each solution refined on the true arm,
// all in closed form; else by elimination (elimination.h), which any arm allows but a
// degenerate one (None: no reading of its loop is posed, as where every axis is one line).
enum class InverseRoute : Int32 { None, Direct, Reversed, Ideal, IdealReversed, Elimination };

struct FK_IK_SO_API InversePlan {
  InverseRoute route = InverseRoute::None;
  ArmScrews screws;
  // Where elimination starts (elimination.h), for this route or a refinement that fails.
  Int32 reading = 0;

  static InversePlan of(const Arm& arm);
};

// The route as words: "none", "closed form", "closed form, chain reversed", "closed form of
// the nearest solvable arm, refined" (and "..., chain reversed, refined"), "elimination".
FK_IK_SO_API const char* inverseRouteName(InverseRoute route);

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_ARM_SCREWS_H
