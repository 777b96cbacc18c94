#include "ik_spherical_wrist.h"

#include <cmath>

#include "subproblems.h"
#include "three_axes_onto.h"

namespace fk_ik {

namespace {

// Axes 4 and 6 this close (rad) to one line are taken to be on it, well beyond the rounding
// of joints 1-3 that keeps a pose on the line from meeting it exactly: joint 4 is set to 0
// when joint 5 then still points axis 6 within kSnap (rad) of where it must. Off the line
// by more, or where that misses, the split is the pose's, and kept.
const Float64 kOnLine = 1e-10;
const Float64 kSnap = 1e-11;

// How joints 1-3 place the wrist centre.
enum class Shoulder { Meeting, Parallel, General };

// The arm in product-of-exponentials form, with the points the subproblems turn.
struct Screws {
  Line axis[Arm_Dof];
  KDL::Frame flangeAtZero;
  Float64 size;
  Float64 tolerance;
  Shoulder form;
  // The wrist centre at zero; the meeting point of axes 1 and 2 (form Meeting).
  KDL::Vector centre, shoulder;
  // A point on axis 6 off the centre and one off axis 6, a size away from the centre: the
  // first fixes joints 4 and 5, the second joint 6.
  KDL::Vector onAxis6, offAxis6;
};

// The arm's screws, or false when its layout is not one the solver covers.
Bool screwsOf(const ArmScrews& arm, Screws& s) {
  for (int i = 0; i < Arm_Dof; ++i) s.axis[i] = arm.axis[i];
  s.flangeAtZero = arm.flangeAtZero;
  s.size = arm.layout.size;
  s.tolerance = arm.tolerance;
  const Float64 exact = Layout_Exact * s.size;
  const ArmLayout& layout = arm.layout;
  if (!(layout.wristDistance <= exact) || !meetingPoint(s.axis[3], s.axis[4], s.centre)) {
    return false;
  }
  // Joint 3 must move the centre, or joints 1-3 place it on a surface, not a point.
  if (distanceToLine(s.axis[2], s.centre) <= exact) return false;
  const AxisPair &pair12 = layout.pair[0], &pair23 = layout.pair[1];
  if (pair12.intersecting && !pair12.parallel && meetingPoint(s.axis[0], s.axis[1], s.shoulder) &&
      distanceToLine(s.axis[2], s.shoulder) > exact) {
    s.form = Shoulder::Meeting;
  } else if (pair23.parallel && !pair23.intersecting && !pair12.parallel) {
    s.form = Shoulder::Parallel;
  } else if (!pair23.parallel && !pair23.intersecting) {
    s.form = Shoulder::General;
  } else {
    return false;
  }
  s.onAxis6 = s.centre + s.axis[5].direction * s.size;
  s.offAxis6 = s.centre + acrossUnit(s.axis[5].direction, KDL::Vector::Zero()) * s.size;
  return true;
}

// Joints 1-3 carrying the wrist centre from its place at zero onto target: up to four.
Int32 placeCentre(const Screws& s, const KDL::Vector& target, Float64 q[4][3]) {
  Float64 q1[2], q2[2], q3[2];
  Int32 count = 0;
  if (s.form == Shoulder::General) return rotationsOntoThreeAxes(s.axis, s.centre, target, q);
  if (s.form == Shoulder::Meeting) {
    // Joints 1 and 2 keep the centre's distance from their meeting point: joint 3 sets it.
    const Int32 n3 = rotationToDistance(s.axis[2], s.centre, s.shoulder,
                                        length(target - s.shoulder), q3, s.tolerance);
    for (int i = 0; i < n3; ++i) {
      const KDL::Vector elbow = screwMotion(s.axis[2], q3[i]) * s.centre;
      const Int32 n12 =
          rotationsOntoMeeting(s.axis[0], s.axis[1], elbow, target, q1, q2, s.tolerance);
      for (int j = 0; j < n12; ++j) {
        q[count][0] = q1[j];
        q[count][1] = q2[j];
        q[count][2] = q3[i];
        ++count;
      }
    }
    return count;
  }
  // Joints 2 and 3 keep the centre's height along their axes: joint 1, undone, brings the
  // target to that height. On axis 1 (which then lies in that plane, or the target is out
  // of reach) joint 1 is free, and 0.
  const Line back{s.axis[0].point, -s.axis[0].direction};
  Int32 n1 = rotationOntoPlane(back, target, s.centre, s.axis[1].direction, q1, s.tolerance);
  if (n1 == 0 && distanceToLine(s.axis[0], target) <= Layout_Exact * s.size) {
    q1[0] = 0;
    n1 = 1;
  }
  for (int i = 0; i < n1; ++i) {
    const KDL::Vector inPlane = screwMotion(back, q1[i]) * target;
    const Int32 n23 =
        rotationsOntoParallel(s.axis[1], s.axis[2], s.centre, inPlane, q2, q3, s.tolerance);
    for (int j = 0; j < n23; ++j) {
      q[count][0] = q1[i];
      q[count][1] = q2[j];
      q[count][2] = q3[j];
      ++count;
    }
  }
  return count;
}

// On the line of axes 4 and 6 the split between joints 4 and 6 is the rounding's: joint 4 is
// set to 0 and joint 5 found again for it, unless that misses by more than kSnap.
void snapJointFour(const Screws& s, const KDL::Frame& rest, Float64& q4, Float64& q5) {
  Float64 q5Alone, miss;
  rotationOnto(s.axis[4], s.onAxis6, rest * s.onAxis6, q5Alone, miss);
  if (miss <= kSnap * s.size) {
    q4 = 0;
    q5 = q5Alone;
  }
}

// Joints 4-6 whose motion is rest (Rot(axis 4) Rot(axis 5) Rot(axis 6)): up to two, each
// with whether axes 4 and 6 then lie on one line.
Int32 orientWrist(const Screws& s, const KDL::Frame& rest, Float64 q[2][3], Bool aligned[2]) {
  Float64 q4[2], q5[2];
  const Int32 n =
      rotationsOntoMeeting(s.axis[3], s.axis[4], s.onAxis6, rest * s.onAxis6, q4, q5, s.tolerance);
  for (int i = 0; i < n; ++i) {
    // Axis 6 after joint 5 against axis 4: on one line, only joint 4 plus or minus joint 6
    // counts, and joint 6 takes it all.
    const KDL::Vector axis6 = KDL::Rotation::Rot2(s.axis[4].direction, q5[i]) * s.axis[5].direction;
    const Float64 off = length(s.axis[3].direction * axis6);
    aligned[i] = off <= Layout_Exact;
    if (off <= kOnLine) snapJointFour(s, rest, q4[i], q5[i]);
    const KDL::Frame turned = screwMotion(s.axis[3], q4[i]) * screwMotion(s.axis[4], q5[i]);
    Float64 q6, miss;
    rotationOnto(s.axis[5], s.offAxis6, turned.Inverse() * (rest * s.offAxis6), q6, miss);
    q[i][0] = q4[i];
    q[i][1] = q5[i];
    q[i][2] = q6;
  }
  return n;
}

}  // namespace

Bool coversSphericalWrist(const ArmScrews& arm) {
  Screws s;
  return screwsOf(arm, s);
}

Int32 solveSphericalWrist(const ArmScrews& arm, const KDL::Frame& target, ArmIkSolutions& out) {
  out.count = 0;
  if (!finiteFrame(target)) return Arm_Invalid;
  Screws s;
  if (!screwsOf(arm, s)) return Arm_Not_Covered;
  // The motion from the zero position's flange to the target's: it carries the centre, and
  // what joints 1-3 leave of it is the wrist's.
  const KDL::Frame motion = target * s.flangeAtZero.Inverse();
  const KDL::Vector centre = motion * s.centre;
  const Bool shoulderSingular = distanceToLine(s.axis[0], centre) <= Layout_Exact * s.size;
  Float64 placed[4][3];
  const Int32 n = placeCentre(s, centre, placed);
  for (int i = 0; i < n; ++i) {
    const KDL::Frame carried = screwMotion(s.axis[0], placed[i][0]) *
                               screwMotion(s.axis[1], placed[i][1]) *
                               screwMotion(s.axis[2], placed[i][2]);
    Float64 wrist[2][3];
    Bool aligned[2];
    const Int32 m = orientWrist(s, carried.Inverse() * motion, wrist, aligned);
    for (int j = 0; j < m; ++j) {
      const Float64 q[Arm_Dof] = {placed[i][0], placed[i][1], placed[i][2],
                                  wrist[j][0],  wrist[j][1],  wrist[j][2]};
      appendCandidate(q, shoulderSingular || aligned[j], out);
    }
  }
  return out.count > 0 ? Int32(Arm_Ok) : Int32(Arm_Out_Of_Reach);
}

Int32 solveSphericalWrist(const Arm& arm, const KDL::Frame& target, ArmIkSolutions& out) {
  return verifiedCandidates(arm, target, solveSphericalWrist(ArmScrews::of(arm), target, out), out);
}

}  // namespace fk_ik
