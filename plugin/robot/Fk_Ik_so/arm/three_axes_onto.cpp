#include "three_axes_onto.h"

#include <Eigen/Eigenvalues>
#include <cmath>
#include <complex>

namespace fk_ik {

namespace {

// A point turned about an axis, as a + b cos t + c sin t.
struct Circle {
  KDL::Vector centre, cosine, sine;
};

// p turned about the axis by sense * t.
Circle circleOf(const Line& axis, const KDL::Vector& p, Float64 sense) {
  const KDL::Vector foot = axis.point + axis.direction * KDL::dot(axis.direction, p - axis.point);
  const KDL::Vector r = p - foot;
  return Circle{foot, r, (axis.direction * r) * sense};
}

// The squared distance from o and the height along u, each as k0 + k1 cos t + k2 sin t.
void measures(const Circle& c, const KDL::Vector& o, const KDL::Vector& u, Float64 distance[3],
              Float64 height[3]) {
  const KDL::Vector d = c.centre - o;
  distance[0] = KDL::dot(d, d) + KDL::dot(c.cosine, c.cosine);
  distance[1] = 2 * KDL::dot(d, c.cosine);
  distance[2] = 2 * KDL::dot(d, c.sine);
  height[0] = KDL::dot(u, d);
  height[1] = KDL::dot(u, c.cosine);
  height[2] = KDL::dot(u, c.sine);
}

// The polynomial k0 + k1 cos t + k2 sin t times (1 + x^2), x = tan(t / 2): coefficients of
// 1, x, x^2.
void halfAngle(const Float64 k[3], Float64 out[3]) {
  out[0] = k[0] + k[1];
  out[1] = 2 * k[2];
  out[2] = k[0] - k[1];
}

void multiply(const Float64* a, int na, const Float64* b, int nb, Float64* out) {
  for (int i = 0; i < na + nb - 1; ++i) out[i] = 0;
  for (int i = 0; i < na; ++i) {
    for (int j = 0; j < nb; ++j) out[i + j] += a[i] * b[j];
  }
}

Float64 evaluate(const Float64 c[5], Float64 x) {
  return (((c[4] * x + c[3]) * x + c[2]) * x + c[1]) * x + c[0];
}

// The real roots of the quartic c0 + c1 x + ... + c4 x^4, each polished by Newton steps;
// a quartic whose leading coefficients vanish is solved times a power of x (its extra roots
// at 0 are candidates like the others). degree receives the degree it had.
Int32 realRoots(const Float64 c[5], Float64 roots[4], int& degree) {
  Float64 scale = 0;
  for (int i = 0; i < 5; ++i) scale = std::fmax(scale, std::fabs(c[i]));
  degree = 4;
  if (!(scale > 0) || !std::isfinite(scale)) return 0;
  while (degree > 0 && std::fabs(c[degree]) <= 1e-14 * scale) --degree;
  if (degree == 0) return 0;
  Float64 shifted[5] = {};
  for (int i = 0; i <= degree; ++i) shifted[i + 4 - degree] = c[i];
  Eigen::Matrix4d companion = Eigen::Matrix4d::Zero();
  for (int i = 0; i < 4; ++i) companion(0, i) = -shifted[3 - i] / shifted[4];
  for (int i = 1; i < 4; ++i) companion(i, i - 1) = 1;
  const Eigen::EigenSolver<Eigen::Matrix4d> solver(companion, false);
  Int32 count = 0;
  for (int i = 0; i < 4; ++i) {
    const std::complex<Float64> root = solver.eigenvalues()(i);
    if (!(std::fabs(root.imag()) <= 1e-6 * (1 + std::fabs(root.real())))) continue;
    Float64 x = root.real();
    for (int step = 0; step < 4; ++step) {
      const Float64 slope =
          ((4 * shifted[4] * x + 3 * shifted[3]) * x + 2 * shifted[2]) * x + shifted[1];
      if (!(std::fabs(slope) > 0)) break;
      x -= evaluate(shifted, x) / slope;
    }
    if (std::isfinite(x)) roots[count++] = x;
  }
  return count;
}

}  // namespace

Int32 rotationsOntoThreeAxes(const Line axis[3], const KDL::Vector& p, const KDL::Vector& q,
                             Float64 t[4][3]) {
  const KDL::Vector &o = axis[1].point, &u = axis[1].direction;
  const Circle near = circleOf(axis[2], p, 1), far = circleOf(axis[0], q, -1);
  Float64 a[3], b[3], c[3], d[3];
  measures(near, o, u, a, b);  // of p turned by t3
  measures(far, o, u, c, d);   // of q turned back by t1
  const Float64 det = a[1] * b[2] - a[2] * b[1];
  const Float64 scale = std::fabs(a[1] * b[2]) + std::fabs(a[2] * b[1]);
  if (!(std::fabs(det) > 1e-9 * scale)) return 0;
  // a1 cos t3 + a2 sin t3 = P(t1), b1 cos t3 + b2 sin t3 = Q(t1), with P and Q times
  // (1 + x^2) quadratics in x = tan(t1 / 2).
  const Float64 pk[3] = {c[0] - a[0], c[1], c[2]}, qk[3] = {d[0] - b[0], d[1], d[2]};
  Float64 pHalf[3], qHalf[3];
  halfAngle(pk, pHalf);
  halfAngle(qk, qHalf);
  Float64 cosine[3], sine[3];  // det (1 + x^2) cos t3 and sin t3
  for (int i = 0; i < 3; ++i) {
    cosine[i] = b[2] * pHalf[i] - a[2] * qHalf[i];
    sine[i] = a[1] * qHalf[i] - b[1] * pHalf[i];
  }
  const Float64 onePlus[3] = {1, 0, 1};
  Float64 squares[5], sineSquares[5], circle[5];
  multiply(cosine, 3, cosine, 3, squares);
  multiply(sine, 3, sine, 3, sineSquares);
  multiply(onePlus, 3, onePlus, 3, circle);
  Float64 quartic[5];
  for (int i = 0; i < 5; ++i) quartic[i] = squares[i] + sineSquares[i] - det * det * circle[i];
  // A root at infinity, t1 = pi, takes the quartic's degree down.
  Float64 roots[4];
  int degree;
  Int32 n = realRoots(quartic, roots, degree);
  Float64 first[5];
  for (int i = 0; i < n; ++i) first[i] = 2 * std::atan(roots[i]);
  if (degree < 4) first[n++] = Pi;
  Int32 count = 0;
  for (int i = 0; i < n && count < 4; ++i) {
    const Float64 c1 = std::cos(first[i]), s1 = std::sin(first[i]);
    const Float64 pValue = pk[0] + pk[1] * c1 + pk[2] * s1,
                  qValue = qk[0] + qk[1] * c1 + qk[2] * s1;
    const Float64 t3 =
        std::atan2((a[1] * qValue - b[1] * pValue) / det, (b[2] * pValue - a[2] * qValue) / det);
    const KDL::Vector from = screwMotion(axis[2], t3) * p;
    const KDL::Vector to = screwMotion(axis[0], -first[i]) * q;
    Float64 t2, miss;
    rotationOnto(axis[1], from, to, t2, miss);
    t[count][0] = wrapAngle(first[i]);
    t[count][1] = t2;
    t[count][2] = wrapAngle(t3);
    ++count;
  }
  return count;
}

}  // namespace fk_ik
