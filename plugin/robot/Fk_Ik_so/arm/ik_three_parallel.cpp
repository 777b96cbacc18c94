#include "ik_three_parallel.h"

#include <cmath>

#include "subproblems.h"

namespace fk_ik {

namespace {

struct Screws {
  Line axis[Arm_Dof];
  KDL::Frame flangeAtZero;
  Float64 size;
  Float64 tolerance;
  // The parallel axes' direction, the meeting point of axes 5 and 6, a point of axis 4 and
  // one off it.
  KDL::Vector parallel, wrist, onAxis4, offAxis4;
};

// Two angles this close (rad) are one double root that rounding split: where a circle
// touches its plane or two circles touch, the roots part like the square root of the
// rounding (1.5e-8 for 2.2e-16), and neither reaches the pose to 1e-10.
const Float64 kTouching = 1e-6;

// A pair of roots closer than kTouching taken as the one between them; t2, when given, the
// second angle of each pair, goes along.
Int32 joinTouching(Int32 n, Float64 t[2], Float64* t2 = nullptr) {
  if (n != 2 || !(std::fabs(wrapAngle(t[1] - t[0])) < kTouching)) return n;
  t[0] = wrapAngle(t[0] + wrapAngle(t[1] - t[0]) / 2);
  if (t2) t2[0] = wrapAngle(t2[0] + wrapAngle(t2[1] - t2[0]) / 2);
  return 1;
}

Bool isParallel(const KDL::Vector& u, const KDL::Vector& v) {
  return length(u * v) <= Layout_Exact;
}

Bool screwsOf(const ArmScrews& arm, Screws& s) {
  KDL::Vector point[Arm_Dof], direction[Arm_Dof];
  for (int i = 0; i < Arm_Dof; ++i) {
    s.axis[i] = arm.axis[i];
    point[i] = arm.axis[i].point;
    direction[i] = arm.axis[i].direction;
  }
  const AxisPair* pair = arm.layout.pair;
  s.parallel = direction[1];
  if (!pair[1].parallel || !pair[2].parallel || pair[1].intersecting || pair[2].intersecting ||
      !pair[4].intersecting || pair[4].parallel || isParallel(direction[0], s.parallel) ||
      isParallel(direction[4], s.parallel) || !meetingPoint(s.axis[4], s.axis[5], s.wrist)) {
    return false;
  }
  s.flangeAtZero = arm.flangeAtZero;
  s.size = arm.layout.size;
  s.tolerance = arm.tolerance;
  s.onAxis4 = point[3];
  s.offAxis4 = point[3] + acrossUnit(direction[3], KDL::Vector::Zero()) * s.size;
  return true;
}

// Step 1: joint 1, undone, brings the wrist point to its height at zero. On axis 1 (the
// shoulder's continuum) joint 1 is free: 0, singular.
Int32 shoulder(const Screws& s, const KDL::Vector& wrist, Float64 q1[2], Bool& singular) {
  const Line back{s.axis[0].point, -s.axis[0].direction};
  const Int32 n =
      joinTouching(rotationOntoPlane(back, wrist, s.wrist, s.parallel, q1, s.tolerance), q1);
  singular = distanceToLine(s.axis[0], wrist) <= Layout_Exact * s.size;
  if (n == 0 && singular) {
    q1[0] = 0;
    return 1;
  }
  return n;
}

// Steps 2 and 3: joints 5 and 6 of the motion rest = Rot(2) Rot(3) Rot(4) Rot(5) Rot(6).
Int32 wrist(const Screws& s, const KDL::Frame& rest, Float64 q5[2], Float64 q6[2],
            Bool singular[2]) {
  // Axis 6's direction keeps its component along the parallel axes through joints 2-4.
  const KDL::Vector axis6 = rest.M * s.axis[5].direction;
  const KDL::Vector planePoint = s.wrist + s.parallel * KDL::dot(s.parallel, axis6);
  const Int32 n = joinTouching(rotationOntoPlane(s.axis[4], s.wrist + s.axis[5].direction,
                                                 planePoint, s.parallel, q5, s.tolerance),
                               q5);
  for (int i = 0; i < n; ++i) {
    // The parallel direction seen from the last link is the same through joints 2-4: joint
    // 6 turns rest's view of it onto joint 5's.
    const KDL::Vector seen = rest.M.Inverse() * s.parallel;
    const KDL::Vector wanted = KDL::Rotation::Rot2(s.axis[4].direction, -q5[i]) * s.parallel;
    Float64 miss;
    singular[i] = rotationOnto(s.axis[5], s.wrist + seen, s.wrist + wanted, q6[i], miss) == 0;
  }
  return n;
}

}  // namespace

Bool coversThreeParallel(const ArmScrews& arm) {
  Screws s;
  return screwsOf(arm, s);
}

Int32 solveThreeParallel(const Arm& arm, const KDL::Frame& target, ArmIkSolutions& out) {
  return verifiedCandidates(arm, target, solveThreeParallel(ArmScrews::of(arm), target, out), out);
}

Int32 solveThreeParallel(const ArmScrews& arm, const KDL::Frame& target, ArmIkSolutions& out) {
  out.count = 0;
  if (!finiteFrame(target)) return Arm_Invalid;
  Screws s;
  if (!screwsOf(arm, s)) return Arm_Not_Covered;
  const KDL::Frame motion = target * s.flangeAtZero.Inverse();
  Float64 q1[2];
  Bool shoulderSingular;
  const Int32 n1 = shoulder(s, motion * s.wrist, q1, shoulderSingular);
  for (int i = 0; i < n1; ++i) {
    const KDL::Frame rest = screwMotion(s.axis[0], -q1[i]) * motion;
    Float64 q5[2], q6[2];
    Bool wristSingular[2];
    const Int32 n5 = wrist(s, rest, q5, q6, wristSingular);
    for (int j = 0; j < n5; ++j) {
      // Step 4: Rot(2) Rot(3) Rot(4) is what joints 5 and 6 leave of rest; joint 4 keeps a
      // point of its axis in place.
      const KDL::Frame middle =
          rest * (screwMotion(s.axis[4], q5[j]) * screwMotion(s.axis[5], q6[j])).Inverse();
      Float64 q2[2], q3[2];
      const Int32 n23 = joinTouching(rotationsOntoParallel(s.axis[1], s.axis[2], s.onAxis4,
                                                           middle * s.onAxis4, q2, q3, s.tolerance),
                                     q3, q2);
      for (int k = 0; k < n23; ++k) {
        const KDL::Frame last =
            (screwMotion(s.axis[1], q2[k]) * screwMotion(s.axis[2], q3[k])).Inverse() * middle;
        Float64 q4, miss;
        rotationOnto(s.axis[3], s.offAxis4, last * s.offAxis4, q4, miss);
        const Float64 q[Arm_Dof] = {q1[i], q2[k], q3[k], q4, q5[j], q6[j]};
        appendCandidate(q, shoulderSingular || wristSingular[j], out);
      }
    }
  }
  if (out.count == 0) return Arm_Out_Of_Reach;
  return Arm_Ok;
}

}  // namespace fk_ik
