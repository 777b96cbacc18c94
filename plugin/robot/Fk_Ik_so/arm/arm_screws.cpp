#include "arm_screws.h"

#include <cmath>

#include "arm.h"
#include "elimination.h"
#include "ik_spherical_wrist.h"
#include "ik_three_parallel.h"

namespace fk_ik {

namespace {

// The lines' directions made the first one's, each keeping its own sense. (Any direction
// within the deviation would do: the refinement on the true arm takes the rest.)
void alignDirections(Line* lines, int n) {
  for (int k = 1; k < n; ++k) {
    const Float64 sense = KDL::dot(lines[k].direction, lines[0].direction) < 0 ? -1 : 1;
    lines[k].direction = lines[0].direction * sense;
  }
}

// The lines moved, each along itself unchanged in direction, through the point nearest them.
void meetInOnePoint(Line* lines, int n) {
  KDL::Vector point[3], direction[3];
  for (int k = 0; k < n; ++k) {
    point[k] = lines[k].point;
    direction[k] = lines[k].direction;
  }
  const KDL::Vector x = pointNearestLines(point, direction, n);
  for (int k = 0; k < n; ++k) lines[k].point = x;
}

Bool covered(const ArmScrews& s) {
  return coversThreeParallel(s) || coversSphericalWrist(s);
}

}  // namespace

ArmScrews ArmScrews::of(const Arm& arm) {
  ArmScrews s;
  KDL::Vector point[Arm_Dof], direction[Arm_Dof];
  arm.description().axesAtZero(point, direction);
  for (int i = 0; i < Arm_Dof; ++i) s.axis[i] = Line{point[i], direction[i]};
  const Float64 zeros[Arm_Dof] = {};
  arm.flangeFrame(zeros, s.flangeAtZero);
  s.layout = arm.layout();
  return s;
}

ArmScrews ArmScrews::reversed() const {
  ArmScrews r;
  r.flangeAtZero = flangeAtZero.Inverse();
  for (int k = 0; k < Arm_Dof; ++k) {
    const Line& a = axis[Arm_Dof - 1 - k];
    r.axis[k] = Line{r.flangeAtZero * a.point, r.flangeAtZero.M * -a.direction};
  }
  r.layout.size = layout.size;
  r.measure();
  return r;
}

Bool ArmScrews::ideal(ArmScrews& snapped) const {
  snapped = *this;
  const AxisPair* pair = layout.pair;
  if (pair[1].nearParallel && pair[2].nearParallel && pair[4].nearIntersecting &&
      !pair[4].nearParallel) {
    alignDirections(snapped.axis + 1, 3);
    meetInOnePoint(snapped.axis + 4, 2);
  } else if (layout.wristDistance <= Layout_Near * layout.size) {
    meetInOnePoint(snapped.axis + 3, 3);
    if (pair[1].nearParallel) {
      alignDirections(snapped.axis + 1, 2);
    } else if (pair[0].nearIntersecting && !pair[0].nearParallel) {
      meetInOnePoint(snapped.axis, 2);
    }
  } else {
    return false;
  }
  // Ten times the largest move of an axis (its turn in rad, its shift relative to the size).
  Float64 moved = 0;
  for (int k = 0; k < Arm_Dof; ++k) {
    const Line &from = axis[k], &to = snapped.axis[k];
    moved = std::fmax(moved, length(from.direction * to.direction));
    moved = std::fmax(moved, distanceToLine(from, to.point) / layout.size);
  }
  snapped.tolerance = Subproblem_Tolerance + 10 * moved;
  snapped.measure();
  return true;
}

Void ArmScrews::measure() {
  KDL::Vector point[Arm_Dof], direction[Arm_Dof];
  for (int i = 0; i < Arm_Dof; ++i) {
    point[i] = axis[i].point;
    direction[i] = axis[i].direction;
  }
  layout = ArmLayout::ofLines(point, direction, layout.size, false);
}

InversePlan InversePlan::of(const Arm& arm) {
  InversePlan plan;
  const ArmScrews own = ArmScrews::of(arm), back = own.reversed();
  ArmScrews snapped;
  if (covered(own)) {
    plan.route = InverseRoute::Direct;
    plan.screws = own;
  } else if (covered(back)) {
    plan.route = InverseRoute::Reversed;
    plan.screws = back;
  } else if (own.ideal(snapped) && covered(snapped)) {
    plan.route = InverseRoute::Ideal;
    plan.screws = snapped;
  } else if (back.ideal(snapped) && covered(snapped)) {
    plan.route = InverseRoute::IdealReversed;
    plan.screws = snapped;
  } else {
    plan.route = InverseRoute::Elimination;
    plan.screws = own;
  }
  const Int32 reading = eliminationReading(arm);
  plan.reading = reading < 0 ? 0 : reading;
  if (plan.route == InverseRoute::Elimination && reading < 0) plan.route = InverseRoute::None;
  return plan;
}

const char* inverseRouteName(InverseRoute route) {
  switch (route) {
    case InverseRoute::Direct:
      return "closed form";
    case InverseRoute::Reversed:
      return "closed form, chain reversed";
    case InverseRoute::Ideal:
      return "closed form of the nearest solvable arm, refined";
    case InverseRoute::IdealReversed:
      return "closed form of the nearest solvable arm, chain reversed, refined";
    case InverseRoute::Elimination:
      return "elimination";
    case InverseRoute::None:
      break;
  }
  return "none";
}

}  // namespace fk_ik
