#include <cmath>
#include <complex>

#include "elimination.h"

namespace fk_ik {

namespace {

typedef std::complex<Float64> Complex;

// det Sigma is a trigonometric polynomial of degree 8: seventeen equally spaced samples
// determine it.
const int kDegree = 8;
const int kSamples = 2 * kDegree + 1;
const int kPolynomial = 2 * kDegree;  // degree in the half-angle tangent

// A complex pair closer to the real line than this (in angle) is taken as a real root that
// rounding split: a double root, or two roots close together.
const Float64 kNearlyReal = 1e-4;

// A sample this far below the largest: the roots may lie in a valley of the determinant
// whose floor is the largest sample's rounding (all of them close together), where the
// polynomial has lost them.
const Float64 kValley = 1e-12;

// Tables filled once: the samples' e^(i angle) and their powers; (1 + t^2)^8 e^(i k psi),
// t = tan(psi / 2), as a polynomial in t: (1 + i t)^(2 k) (1 + t^2)^(8 - k), since
// e^(i psi) = (1 + i t)^2 / (1 + t^2).
struct Tables {
  Complex sample[kSamples];
  Complex coefficient[kDegree + 1][kPolynomial + 1];
  Tables() {
    for (int j = 0; j < kSamples; ++j) sample[j] = std::polar(1.0, 2 * Pi * j / kSamples);
    for (int k = 0; k <= kDegree; ++k) {
      Complex p[kPolynomial + 1] = {Complex(1)};
      int degree = 0;
      const auto times = [&](Complex c0, Complex c1, Complex c2) {
        for (int m = degree + 2; m >= 0; --m) {
          Complex sum = 0;
          if (m <= degree) sum += c0 * p[m];
          if (m >= 1 && m - 1 <= degree) sum += c1 * p[m - 1];
          if (m >= 2) sum += c2 * p[m - 2];
          p[m] = sum;
        }
        degree += 2;
      };
      for (int n = 0; n < k; ++n) times(1, Complex(0, 2), -1);  // (1 + i t)^2
      for (int n = k; n < kDegree; ++n) times(1, 0, 1);         // 1 + t^2
      for (int m = 0; m <= kPolynomial; ++m) coefficient[k][m] = p[m];
    }
  }
};

// p(x) and p'(x) for the coefficients c[0..degree] (c[m] of x^m): the even and the odd
// coefficients' polynomials in x^2, p = e + x o and p' = e' 2x + o + 2 x^2 o', four chains
// of half the length that the processor runs side by side.
void evaluate(const Float64* c, int degree, Float64 x, Float64& p, Float64& dp) {
  const Float64 y = x * x;
  Float64 e = 0, de = 0, o = 0, d_o = 0;
  for (int k = degree / 2; k >= 0; --k) {
    de = de * y + e;
    e = e * y + c[2 * k];
    if (2 * k + 1 <= degree) {
      d_o = d_o * y + o;
      o = o * y + c[2 * k + 1];
    }
  }
  p = e + x * o;
  dp = 2 * x * de + o + 2 * y * d_o;
}

// And p''(x).
void evaluate(const Float64* c, int degree, Float64 x, Float64& p, Float64& dp, Float64& ddp) {
  p = c[degree];
  dp = 0;
  ddp = 0;
  for (int m = degree - 1; m >= 0; --m) {
    ddp = ddp * x + 2 * dp;
    dp = dp * x + p;
    p = p * x + c[m];
  }
}

// The root of c (of the given degree) in [low, high], where it is monotone and changes
// sign: from the middle, Newton steps kept inside the bracket, bisection
// where one leaves it, until a step is below tolerance (relative to 1 + |x|); at most 100
// steps.
Float64 bracketedRoot(const Float64* c, int degree, Float64 low, Float64 high, Float64 atLow,
                      Float64 tolerance) {
  Float64 x = 0.5 * (low + high);
  for (int step = 0; step < 100; ++step) {
    if (!(x > low && x < high)) x = 0.5 * (low + high);
    Float64 p, dp;
    evaluate(c, degree, x, p, dp);
    if (p == 0) return x;
    if ((p < 0) == (atLow < 0)) {
      low = x;
    } else {
      high = x;
    }
    const Float64 newton = p / dp;
    if (std::fabs(newton) <= tolerance * (1 + std::fabs(x))) return x - newton;
    x -= newton;
  }
  return x;
}

}  // namespace

Bool determinantPolynomial(const EliminationSystem& system, Float64 poly[17], Float64& shift,
                           Float64& spread) {
  static const Tables tables;
  Float64 sample[kSamples], largest = 0;
  int peak = 0;
  for (int j = 0; j < kSamples; ++j) {
    sample[j] = SigmaLu(system, tables.sample[j].real(), tables.sample[j].imag()).determinant;
    if (!std::isfinite(sample[j])) return false;
    if (std::fabs(sample[j]) > largest) {
      largest = std::fabs(sample[j]);
      peak = j;
    }
  }
  if (!(largest > 0)) return false;
  spread = INFINITY;
  for (int j = 0; j < kSamples; ++j) spread = std::fmin(spread, std::fabs(sample[j]) / largest);
  // psi = angle - shift puts the largest sample at psi = pi, where the half-angle tangent
  // is infinite: the polynomial's leading coefficient is that sample, and no root is near
  // infinity. Coefficients of e^(i k psi): c_k e^(i k shift).
  shift = 2 * Pi * peak / kSamples - Pi;
  for (int m = 0; m <= kPolynomial; ++m) poly[m] = 0;
  for (int k = 0; k <= kDegree; ++k) {
    Complex c = 0;
    for (int j = 0; j < kSamples; ++j) c += sample[j] * std::conj(tables.sample[k * j % kSamples]);
    c *= std::polar((k == 0 ? 1.0 : 2.0) / (kSamples * largest), k * shift);
    for (int m = 0; m <= kPolynomial; ++m) {
      poly[m] +=
          c.real() * tables.coefficient[k][m].real() - c.imag() * tables.coefficient[k][m].imag();
    }
  }
  return true;
}

// Real roots of the polynomial c[0..16], in increasing order, by the
// roots of its derivatives: between two consecutive roots of p', and beyond the outer ones,
// the polynomial is monotone and has a root exactly where it changes sign. A local extremum
// that stops short of zero by less than rounding could explain (a double root, or two roots
// closer than about near (1 + x^2) / 2 in x, pushed off the real line) counts as a root too.
Int32 polynomialRealRoots(const Float64 c[17], Float64 near, Float64 roots[16]) {
  const int degree = kPolynomial;
  // level[k]: the (degree - k)-th derivative made monic, of degree k.
  Float64 level[kPolynomial + 1][kPolynomial + 1];
  for (int m = 0; m <= degree; ++m) level[degree][m] = c[m] / c[degree];
  for (int k = degree; k > 1; --k) {
    for (int m = 0; m < k; ++m) level[k - 1][m] = (m + 1) * level[k][m + 1] / k;
  }
  Float64 found[kPolynomial], critical[kPolynomial];
  Int32 count = 1;
  found[0] = -level[1][0];
  for (int k = 2; k <= degree; ++k) {
    const Float64* p = level[k];
    const Int32 criticals = count;
    for (int m = 0; m < criticals; ++m) critical[m] = found[m];
    count = 0;
    // Towards minus infinity a monic polynomial has the sign of (-1)^k.
    Float64 low = -INFINITY, atLow = k % 2 == 0 ? 1 : -1;
    for (int m = 0; m <= criticals && count < k; ++m) {
      Float64 high = INFINITY, atHigh = 1, dp, ddp = 0;
      if (m < criticals) evaluate(p, k, high = critical[m], atHigh, dp, ddp);
      if ((atLow < 0) != (atHigh < 0) && atLow != 0 && atHigh != 0) {
        // An infinite end moved out from the other (or from 0) until it has the sign of
        // infinity there (at most 64 doublings).
        const Float64 from = std::isfinite(low) ? low : std::isfinite(high) ? high : 0;
        Float64 a = low, b = high, atA = atLow, atB = atHigh;
        for (Float64 n = 0, step = 1; n < 64 && std::isinf(a); ++n, step *= 2) {
          evaluate(p, k, from - step, atA, dp);
          if ((atA < 0) == (atLow < 0)) a = from - step;
        }
        for (Float64 n = 0, step = 1; n < 64 && std::isinf(b); ++n, step *= 2) {
          evaluate(p, k, from + step, atB, dp);
          if ((atB < 0) == (atHigh < 0)) b = from + step;
        }
        // A derivative's roots only bracket the next one's: 1e-10 is ample for them.
        if (std::isfinite(a) && std::isfinite(b)) {
          found[count++] = bracketedRoot(p, k, a, b, atA, k == degree ? 1e-14 : 1e-10);
        }
      }
      // The near miss matters for the polynomial's own roots only: a derivative's leaves
      // the one above it monotone across.
      const Float64 gap = near * (1 + high * high) / 2;
      if (m < criticals && count < k &&
          (atHigh == 0 || (k == degree && atHigh * ddp > 0 &&
                           std::fabs(atHigh) <= std::fabs(ddp) * gap * gap / 2))) {
        found[count++] = high;
      }
      low = high;
      atLow = atHigh;
    }
  }
  for (int m = 0; m < count; ++m) roots[m] = found[m];
  return count;
}

Int32 eliminationRoots(const EliminationSystem& system, Float64 roots[16], Bool& deep) {
  Float64 poly[kPolynomial + 1], shift, spread, x[kPolynomial];
  deep = false;
  if (!determinantPolynomial(system, poly, shift, spread)) return 0;
  deep = spread < kValley;
  const Int32 count = polynomialRealRoots(poly, kNearlyReal, x);
  for (int m = 0; m < count; ++m) roots[m] = wrapAngle(2 * std::atan(x[m]) + shift);
  return count;
}

}  // namespace fk_ik
