// Small geometric problems of rotations about lines, from which the closed-form inverses
// are built: which angles about one or two axes carry a point onto a point, to a distance
// from a point or onto a plane.
//
// A rotation about a line (point r, unit direction w) by an angle t takes x to
//   r + Rot(w, t) (x - r),
// turning in the right-handed sense about w. Every angle returned is in (-pi, pi].
//
// Tolerance. A problem whose data were computed (rounded) upstream rarely has an exact
// solution: each function that counts solutions computes the candidates of the nearest
// exact problem and keeps those that reach the wanted point, distance or plane within
// Subproblem_Tolerance times the problem's scale (the largest distance of its points from
// the axes' points, and the wanted distance). So data slightly out of reach still give the
// touching solution, and data further out give none. Exact data give solutions to
// rounding. rotationOnto, a least-squares problem, reports how far it misses instead.
//
// Degenerate data (a point on the axis, parallel axes where they must meet, values that are
// not finite or whose differences overflow) give 0 solutions unless a function says
// otherwise; no angle returned is ever NaN or infinite. Nothing allocates, no loop is
// unbounded.
#ifndef FK_IK_SO_ARM_SUBPROBLEMS_H
#define FK_IK_SO_ARM_SUBPROBLEMS_H

#include <kdl/frames.hpp>

#include "arm_description.h"

namespace fk_ik {

// Relative amount by which a candidate may miss its problem and still be a solution. The
// functions that count solutions take another as their last argument: an idealised arm's
// problems are only near those of the true arm, whose solutions its candidates start from.
const Float64 Subproblem_Tolerance = 1e-10;

// A line in space: a point on it and its unit direction (unit length is the caller's to
// keep), the positive sense of a rotation about it.
struct FK_IK_SO_API Line {
  KDL::Vector point;
  KDL::Vector direction;
};

// The rigid motion turning space by angle about the line.
FK_IK_SO_API KDL::Frame screwMotion(const Line& axis, Float64 angle);

// angle taken into (-pi, pi]; a value that is not finite gives 0.
FK_IK_SO_API Float64 wrapAngle(Float64 angle);

// The distance of x from the line.
FK_IK_SO_API Float64 distanceToLine(const Line& line, const KDL::Vector& x);

// The point where two lines meet, taken midway between their nearest points. Returns false
// (point untouched) when they are parallel within 1e-9 rad or a value is not finite;
// whether they really meet is for the caller to know.
FK_IK_SO_API Bool meetingPoint(const Line& a, const Line& b, KDL::Vector& point);

// One axis, p onto q: the angle whose rotation takes p nearest to q (exactly onto it when
// both are as far from the axis and at the same height along it), and in miss the distance
// left between the rotated p and q. Returns 1; or 0 when p or q lies on the axis (within
// rounding), where every angle does as well: angle 0, miss the distance at angle 0; or 0
// with angle 0 and miss infinite when the data are not finite or overflow.
FK_IK_SO_API Int32 rotationOnto(const Line& axis, const KDL::Vector& p, const KDL::Vector& q,
                                Float64& angle, Float64& miss);

// Two axes that meet, p onto q: the angle pairs with Rot(first, t1) Rot(second, t2) p = q,
// p turned about the second axis first. Returns 0, 1 or 2 pairs (two where the circles
// of p about the second axis and of q about the first cross, one where they touch). 0 for
// parallel axes, for axes that miss each other, for p and q at different distances from
// the meeting point: no least-squares answer, the caller decides what to do instead.
// Where p lies on the second axis or q on the first, the angle about that axis is free:
// it is given as 0.
FK_IK_SO_API Int32 rotationsOntoMeeting(const Line& first, const Line& second, const KDL::Vector& p,
                                        const KDL::Vector& q, Float64 t1[2], Float64 t2[2],
                                        Float64 tolerance = Subproblem_Tolerance);

// Two parallel axes (of either sense), p onto q: the angle pairs with
// Rot(first, t1) Rot(second, t2) p = q. Returns 0, 1 or 2 pairs. 0 when the axes coincide
// or p lies on the second axis (the pairs then form a continuum or do not exist), and when
// p and q are at different heights along the axes or too far apart.
FK_IK_SO_API Int32 rotationsOntoParallel(const Line& first, const Line& second,
                                         const KDL::Vector& p, const KDL::Vector& q, Float64 t1[2],
                                         Float64 t2[2], Float64 tolerance = Subproblem_Tolerance);

// One axis, p to a distance from q: the angles with |Rot(axis, t) p - q| = distance.
// Returns 0, 1 or 2 (one where the distance is the nearest or the farthest p comes). 0 when
// p or q lies on the axis: the distance is then the same for every angle.
FK_IK_SO_API Int32 rotationToDistance(const Line& axis, const KDL::Vector& p, const KDL::Vector& q,
                                      Float64 distance, Float64 angle[2],
                                      Float64 tolerance = Subproblem_Tolerance);

// One axis, p onto a plane (a point on it and its unit normal): the angles with
// normal . (Rot(axis, t) p - planePoint) = 0. Returns 0, 1 or 2. 0 when p lies on the axis
// or the axis is along the normal: p's distance from the plane is then the same for every
// angle.
FK_IK_SO_API Int32 rotationOntoPlane(const Line& axis, const KDL::Vector& p,
                                     const KDL::Vector& planePoint, const KDL::Vector& normal,
                                     Float64 angle[2], Float64 tolerance = Subproblem_Tolerance);

}  // namespace fk_ik

#endif  // FK_IK_SO_ARM_SUBPROBLEMS_H
