#include "arm_mdh.h"

#include <cmath>

#include "arm.h"
#include "chain_mdh4.h"

namespace fk_ik {

namespace {

// Axes closer to parallel than this have no common normal worth computing.
const Float64 kParallel = 1e-12;

KDL::Frame frameOf(const KDL::Vector& x, const KDL::Vector& z, const KDL::Vector& origin) {
  const KDL::Vector xs = acrossUnit(z, x);
  return KDL::Frame(KDL::Rotation(xs, z * xs, z), origin);
}

// The modified frames of the axes at zero, each joint's z axis in its own sense.
void naturalFrames(const KDL::Vector* p, const KDL::Vector* u, Float64 size, KDL::Frame* frame) {
  KDL::Vector origin = p[0];
  KDL::Vector x = acrossUnit(u[0], KDL::Vector(1, 0, 0));
  for (int i = 0; i + 1 < Arm_Dof; ++i) {
    const KDL::Vector& v = u[i + 1];
    const KDL::Vector w = u[i] * v;
    KDL::Vector foot;
    if (length(w) <= kParallel) {
      // Through the foot of the normal before (or the first frame's origin).
      const KDL::Vector toNext = p[i + 1] - origin;
      const KDL::Vector gap = toNext - u[i] * KDL::dot(toNext, u[i]);
      // Axes on one line (to rounding) leave the normal's direction free: the one before.
      x = acrossUnit(u[i], length(gap) > kParallel * size ? gap : x);
      foot = origin + gap;
    } else {
      // The closest points of the two lines, and the normal's direction from this axis
      // to the next.
      const KDL::Vector r = p[i] - p[i + 1];
      const Float64 b = KDL::dot(u[i], v);
      const Float64 t = (b * KDL::dot(r, v) - KDL::dot(r, u[i])) / KDL::dot(w, w);
      const Float64 s = KDL::dot(r, v) + t * b;
      origin = p[i] + u[i] * t;
      foot = p[i + 1] + v * s;
      const KDL::Vector normal = unitVector(w);
      x = KDL::dot(p[i + 1] - p[i], normal) >= 0 ? normal : -normal;
    }
    frame[i] = frameOf(x, u[i], origin);
    origin = foot;
  }
  frame[Arm_Dof - 1] = frameOf(x, u[Arm_Dof - 1], origin);
}

// The modified row of a frame relative to the one before it, Rot_x(alpha) Trans_x(a)
// Rot_z(theta) Trans_z(d): rotation Rot_x(alpha) Rot_z(theta), translation
// (a, -sin(alpha) d, cos(alpha) d).
void rowOf(const KDL::Frame& relative, Float64 row[4]) {
  const KDL::Rotation& r = relative.M;
  const Float64 alpha = std::atan2(-r(1, 2), r(2, 2));
  row[0] = relative.p.x();
  row[1] = alpha;
  row[2] = -std::sin(alpha) * relative.p.y() + std::cos(alpha) * relative.p.z();
  row[3] = std::atan2(-r(0, 1), r(0, 0));
}

// The frame turned half a turn about its x axis (flip 1: the joint's sense reversed), its
// z axis (flip 2: the normal's sense reversed) or both (flip 3).
KDL::Frame flipped(const KDL::Frame& frame, int flip) {
  static const KDL::Rotation turns[4] = {KDL::Rotation::Identity(), KDL::Rotation::RotX(Pi),
                                         KDL::Rotation::RotZ(Pi), KDL::Rotation::RotY(Pi)};
  KDL::Rotation turn = turns[flip];
  // Exact half turns: the library's sines of pi are 1.2e-16, not 0.
  for (double& element : turn.data) element = std::round(element);
  return KDL::Frame(frame.M * turn, frame.p);
}

// Chooses flips for frames k ... 5 so that the rows pass the designed form, given those
// before k; rows 0 ... k-1 already filled. The last frame's normal sense is left as is
// (its theta is free).
bool searchDesigned(const KDL::Frame* natural, int k, KDL::Frame* chosen, int* flips, MDH* rows) {
  if (k == Arm_Dof) return Chain_MDH4::checkArmForm(rows) == 0;
  for (int flip = 0; flip < (k == Arm_Dof - 1 ? 2 : 4); ++flip) {
    chosen[k] = flipped(natural[k], flip);
    flips[k] = flip;
    if (k > 0) {
      Float64 row[4];
      rowOf(chosen[k - 1].Inverse() * chosen[k], row);
      rows[k] = MDH();
      rows[k].a = row[0];
      rows[k].alpha = row[1];
      rows[k].d = row[2];
      rows[k].theta = row[3];
      // A value failing in rows 0 ... k prunes the branch; rows after k, still those of an
      // earlier branch, can only fail later.
      const Int32 failing = Chain_MDH4::checkArmForm(rows);
      if (failing != 0 && failing <= 4 * (k + 1)) continue;
    }
    if (searchDesigned(natural, k + 1, chosen, flips, rows)) return true;
  }
  return false;
}

}  // namespace

ArmMdh ArmMdh::of(const Arm& arm) {
  KDL::Vector point[Arm_Dof], direction[Arm_Dof];
  arm.description().axesAtZero(point, direction);
  KDL::Frame natural[Arm_Dof];
  naturalFrames(point, direction, arm.size(), natural);

  KDL::Frame chosen[Arm_Dof];
  int flips[Arm_Dof] = {};
  MDH rows[Arm_Dof];
  ArmMdh mdh;
  mdh.designedForm = searchDesigned(natural, 0, chosen, flips, rows);
  if (!mdh.designedForm) {
    for (int i = 0; i < Arm_Dof; ++i) {
      chosen[i] = natural[i];
      flips[i] = 0;
    }
  }
  for (int i = 0; i < Arm_Dof; ++i) {
    if (i == 0) {
      for (Float64& value : mdh.rows[0]) value = 0;
    } else {
      rowOf(chosen[i - 1].Inverse() * chosen[i], mdh.rows[i]);
    }
    mdh.signs[i] = flips[i] & 1 ? -1.0 : 1.0;
  }
  const Float64 zero[Arm_Dof] = {};
  KDL::Frame flangeAtZero;
  arm.flangeFrame(zero, flangeAtZero);
  // The flange frame takes what the rows leave at q = 0, rounding included, so that the
  // description is exact there.
  mdh.base = chosen[0];
  mdh.flange = KDL::Frame::Identity();
  mdh.flange = mdh.flangeFrame(zero).Inverse() * flangeAtZero;

  const Float64 samples[3][Arm_Dof] = {
      {0, 0, 0, 0, 0, 0}, {0.3, -1.2, 1.5, -0.4, 1.1, 0.2}, {-2.9, 2.2, -0.7, 3.1, -1.6, 2.4}};
  mdh.deviation = 0;
  for (const auto& q : samples) {
    KDL::Frame exact;
    arm.flangeFrame(q, exact);
    const KDL::Frame rows = mdh.flangeFrame(q);
    Float64 rotation = 0;
    for (int i = 0; i < 9; ++i) {
      rotation = std::fmax(rotation, std::fabs(rows.M.data[i] - exact.M.data[i]));
    }
    const Float64 off = length(rows.p - exact.p) / arm.size() + rotation;
    mdh.deviation = std::fmax(mdh.deviation, std::isnan(off) ? INFINITY : off);
  }
  return mdh;
}

KDL::Frame ArmMdh::flangeFrame(const Float64 q[Arm_Dof]) const {
  KDL::Frame frame = base;
  for (int i = 0; i < Arm_Dof; ++i) {
    const Float64* row = rows[i];
    frame = frame * KDL::Frame::DH_Craig1989(row[0], row[1], row[2], row[3] + signs[i] * q[i]);
  }
  return frame * flange;
}

}  // namespace fk_ik
