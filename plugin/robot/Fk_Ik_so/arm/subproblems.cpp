#include "subproblems.h"

#include <cmath>
#include <limits>

#include "arm_layout.h"

namespace fk_ik {

namespace {

// A part across an axis this much shorter than the problem's scale is rounding: the point
// is on the axis.
const Float64 kOnAxis = 1e-14;

Bool finite(const KDL::Vector& v) {
  return std::isfinite(v.x()) && std::isfinite(v.y()) && std::isfinite(v.z());
}

KDL::Vector turn(const KDL::Vector& w, Float64 angle, const KDL::Vector& x) {
  return KDL::Rotation::Rot2(w, angle) * x;
}

// The largest of the lengths, when it is finite and positive. Each problem is solved in
// units of it, so that no product of its data overflows or underflows.
Bool problemScale(const KDL::Vector& u, const KDL::Vector& v, Float64 distance, Float64& scale) {
  if (!finite(u) || !finite(v) || !std::isfinite(distance)) return false;
  scale = std::fmax(std::fabs(distance), std::fmax(length(u), length(v)));
  return std::isfinite(scale) && scale > 0;
}

// p and q about one axis through the origin, in units of the scale: their parts across it.
struct AboutAxis {
  KDL::Vector w, u, v;
  KDL::Vector uAcross, vAcross;
  Float64 ru, rv;
  Float64 scale;
};

Bool aboutAxis(const Line& axis, const KDL::Vector& p, const KDL::Vector& q, Float64 distance,
               AboutAxis& a) {
  a.w = axis.direction;
  if (!finite(a.w) || !problemScale(p - axis.point, q - axis.point, distance, a.scale)) {
    return false;
  }
  a.u = (p - axis.point) / a.scale;
  a.v = (q - axis.point) / a.scale;
  a.uAcross = a.u - a.w * KDL::dot(a.w, a.u);
  a.vAcross = a.v - a.w * KDL::dot(a.w, a.v);
  a.ru = length(a.uAcross);
  a.rv = length(a.vAcross);
  return true;
}

// The angle about w from the direction of x to that of y, both across w.
Float64 angleAcross(const KDL::Vector& w, const KDL::Vector& x, const KDL::Vector& y) {
  return wrapAngle(std::atan2(KDL::dot(w, x * y), KDL::dot(x, y)));
}

// centre - spread and centre + spread (one angle when spread is 0) that pass the test,
// into angle; returns how many.
template <typename Test>
Int32 keepPair(Float64 centre, Float64 spread, const Test& passes, Float64 angle[2]) {
  Int32 count = 0;
  for (int k = 0; k < (spread > 0 ? 2 : 1); ++k) {
    const Float64 candidate = wrapAngle(k == 0 ? centre + spread : centre - spread);
    if (passes(candidate)) angle[count++] = candidate;
  }
  return count;
}

// acos of a cosine computed from rounded data, held to [-1, 1]: the touching angle for
// data slightly out of reach, which the caller's test then accepts or refuses.
Float64 spreadOf(Float64 cosine) {
  return std::acos(std::fmax(-1.0, std::fmin(1.0, cosine)));
}

}  // namespace

KDL::Frame screwMotion(const Line& axis, Float64 angle) {
  const KDL::Rotation r = KDL::Rotation::Rot2(axis.direction, angle);
  return KDL::Frame(r, axis.point - r * axis.point);
}

Float64 wrapAngle(Float64 angle) {
  // Most angles are in range already: libm's remainder costs more than all the rest.
  if (angle > -Pi && angle <= Pi) return angle;
  if (angle > Pi && angle <= 3 * Pi) return angle - 2 * Pi;
  if (angle > -3 * Pi && angle <= -Pi) return angle + 2 * Pi;
  if (!std::isfinite(angle)) return 0;
  const Float64 r = std::remainder(angle, 2 * Pi);
  return r <= -Pi ? r + 2 * Pi : r;
}

Float64 distanceToLine(const Line& line, const KDL::Vector& x) {
  return length((x - line.point) * line.direction);
}

Bool meetingPoint(const Line& a, const Line& b, KDL::Vector& point) {
  const KDL::Vector across = a.direction * b.direction;
  if (!(length(across) > Layout_Exact) || !finite(a.point) || !finite(b.point)) return false;
  // The nearest points a.point + s a.direction and b.point + t b.direction, their
  // difference along across; from cross products, which keep the rounding of the points
  // from being divided by the sine twice.
  const Float64 sin2 = KDL::dot(across, across);
  const KDL::Vector d = b.point - a.point;
  const KDL::Vector nearA = a.point + a.direction * (KDL::dot(d * b.direction, across) / sin2);
  const KDL::Vector nearB = b.point + b.direction * (KDL::dot(d * a.direction, across) / sin2);
  const KDL::Vector midway = nearA + (nearB - nearA) * 0.5;
  if (!finite(midway)) return false;
  point = midway;
  return true;
}

Int32 rotationOnto(const Line& axis, const KDL::Vector& p, const KDL::Vector& q, Float64& angle,
                   Float64& miss) {
  angle = 0;
  miss = std::numeric_limits<Float64>::infinity();
  AboutAxis a;
  if (!aboutAxis(axis, p, q, 0, a)) {
    // Both on the axis's point: nothing to turn.
    if (finite(p - axis.point) && finite(q - axis.point) && finite(axis.direction)) {
      miss = length(p - q);
    }
    return 0;
  }
  if (a.ru <= kOnAxis || a.rv <= kOnAxis) {
    miss = a.scale * length(a.u - a.v);
    return 0;
  }
  // Turned onto q's half-plane, p is as near q as it comes: what is left is the difference
  // of their distances from the axis and of their heights along it.
  angle = angleAcross(a.w, a.uAcross, a.vAcross);
  miss = a.scale * std::hypot(a.ru - a.rv, KDL::dot(a.w, a.u - a.v));
  return 1;
}

Int32 rotationsOntoMeeting(const Line& first, const Line& second, const KDL::Vector& p,
                           const KDL::Vector& q, Float64 t1[2], Float64 t2[2], Float64 tolerance) {
  KDL::Vector centre;
  Float64 scale;
  if (!meetingPoint(first, second, centre) || !problemScale(p - centre, q - centre, 0, scale)) {
    return 0;
  }
  const KDL::Vector u = (p - centre) / scale, v = (q - centre) / scale;
  const KDL::Vector &w1 = first.direction, &w2 = second.direction;
  // The point between the turns, z = Rot(w2, t2) u = Rot(w1, -t1) v, keeps u's height along
  // w2 and v's along w1: z = alpha w1 + beta w2 + gamma (w1 x w2).
  const KDL::Vector normal = w1 * w2;
  const Float64 sin2 = KDL::dot(normal, normal);
  const Float64 k = KDL::dot(w1, w2);
  const Float64 a = KDL::dot(w2, u), b = KDL::dot(w1, v);
  const Float64 alpha = (b - k * a) / sin2, beta = (a - k * b) / sin2;
  // gamma from z's distance to one axis, that of its own circle: the smaller circle's, so
  // that z meets it to rounding even where it shrinks to a point on its axis (the free
  // angle); the larger circle tolerates the rounding left for it.
  const Float64 ru = length(u - w2 * a), rv = length(v - w1 * b);
  const Float64 across2 = rv <= ru ? rv * rv - beta * beta * sin2 : ru * ru - alpha * alpha * sin2;
  const Float64 gamma = across2 > 0 ? std::sqrt(across2 / sin2) : 0;
  const KDL::Vector inPlane = w1 * alpha + w2 * beta;
  const Line axis1{KDL::Vector::Zero(), w1}, axis2{KDL::Vector::Zero(), w2};
  Int32 count = 0;
  for (int branch = 0; branch < (gamma > 0 ? 2 : 1); ++branch) {
    const KDL::Vector z = inPlane + normal * (branch == 0 ? gamma : -gamma);
    Float64 a1, a2, miss;
    rotationOnto(axis2, u, z, a2, miss);
    rotationOnto(axis1, z, v, a1, miss);
    if (length(turn(w1, a1, turn(w2, a2, u)) - v) <= tolerance) {
      t1[count] = a1;
      t2[count] = a2;
      ++count;
    }
  }
  return count;
}

Int32 rotationsOntoParallel(const Line& first, const Line& second, const KDL::Vector& p,
                            const KDL::Vector& q, Float64 t1[2], Float64 t2[2], Float64 tolerance) {
  if (!(length(first.direction * second.direction) <= Layout_Exact)) return 0;
  Float64 scale;
  if (!problemScale(p - second.point, q - first.point, length(first.point - second.point), scale)) {
    return 0;
  }
  // Turning about the second axis keeps p's height along both: there p must come as far
  // from the first axis as q is, that is as far from the first axis's point at that height.
  const KDL::Vector foot =
      first.point + first.direction * KDL::dot(first.direction, p - first.point);
  Float64 turns[2];
  const Int32 n = rotationToDistance(second, p, foot, distanceToLine(first, q), turns, tolerance);
  Int32 count = 0;
  for (int i = 0; i < n; ++i) {
    const KDL::Vector turned = screwMotion(second, turns[i]) * p;
    Float64 angle, miss;
    rotationOnto(first, turned, q, angle, miss);
    if (miss <= tolerance * scale) {
      t1[count] = angle;
      t2[count] = turns[i];
      ++count;
    }
  }
  return count;
}

Int32 rotationToDistance(const Line& axis, const KDL::Vector& p, const KDL::Vector& q,
                         Float64 distance, Float64 angle[2], Float64 tolerance) {
  AboutAxis a;
  if (!(distance >= 0) || !aboutAxis(axis, p, q, distance, a)) return 0;
  if (a.ru <= kOnAxis || a.rv <= kOnAxis) return 0;
  const Float64 d = distance / a.scale;
  const Float64 height = KDL::dot(a.w, a.u - a.v);
  // |turned u - v|^2 = ru^2 + rv^2 - 2 ru rv cos(t - t0) + height^2, t0 the angle that
  // turns u towards v.
  const Float64 cosine = (a.ru * a.ru + a.rv * a.rv + height * height - d * d) / (2 * a.ru * a.rv);
  const auto passes = [&](Float64 t) {
    return std::fabs(length(turn(a.w, t, a.u) - a.v) - d) <= tolerance;
  };
  return keepPair(angleAcross(a.w, a.uAcross, a.vAcross), spreadOf(cosine), passes, angle);
}

Int32 rotationOntoPlane(const Line& axis, const KDL::Vector& p, const KDL::Vector& planePoint,
                        const KDL::Vector& normal, Float64 angle[2], Float64 tolerance) {
  const KDL::Vector& n = normal;
  const Float64 offset0 = KDL::dot(n, planePoint - axis.point);
  // Only p turns: the axis's own point stands in for the second point, and the plane's
  // offset from it joins the scale.
  AboutAxis a;
  if (!finite(n) || !aboutAxis(axis, p, axis.point, offset0, a)) return 0;
  // n . turned u = A cos t + B sin t + (n . w)(w . u), wanted equal to the plane's offset.
  const Float64 offset = offset0 / a.scale;
  const Float64 cosPart = KDL::dot(n, a.uAcross), sinPart = KDL::dot(n, a.w * a.uAcross);
  const Float64 rest = offset - KDL::dot(n, a.w) * KDL::dot(a.w, a.u);
  const Float64 amplitude = std::hypot(cosPart, sinPart);
  if (!(amplitude > kOnAxis)) return 0;
  const auto passes = [&](Float64 t) {
    return std::fabs(KDL::dot(n, turn(a.w, t, a.u)) - offset) <= tolerance;
  };
  return keepPair(std::atan2(sinPart, cosPart), spreadOf(rest / amplitude), passes, angle);
}

}  // namespace fk_ik
