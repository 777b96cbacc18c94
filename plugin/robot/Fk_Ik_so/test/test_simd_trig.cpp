// The four-lane sines, cosines and arc tangents against libm's scalar functions.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>

#include "simd_trig.h"

namespace {

// Distance of two doubles in units in the last place (both finite, same sign or near 0).
std::int64_t ulps(double a, double b) {
  std::int64_t ia, ib;
  std::memcpy(&ia, &a, sizeof a);
  std::memcpy(&ib, &b, sizeof b);
  if (ia < 0) ia = INT64_MIN - ia;
  if (ib < 0) ib = INT64_MIN - ib;
  return ia > ib ? ia - ib : ib - ia;
}

// Over angles of the sizes the inverse solver produces (and a few turns beyond), each lane
// is within 4 units in the last place of libm, and 1e-16 absolutely near zero.
TEST(SimdTrig, AgreesWithLibmToAFewUlps) {
  std::mt19937_64 rng(4);
  std::uniform_real_distribution<double> angle(-20.0, 20.0), value(-3.0, 3.0);
  for (int n = 0; n < 100000; ++n) {
    double x[4], y[4], s[4], c[4], s2[4], a[4];
    for (int i = 0; i < 4; ++i) {
      x[i] = angle(rng);
      y[i] = value(rng);
    }
    sinCos4(x, s, c);
    sin4(x, s2);
    atan2x4(y, x, a);
    for (int i = 0; i < 4; ++i) {
      ASSERT_TRUE(ulps(s[i], std::sin(x[i])) <= 4 || std::fabs(s[i] - std::sin(x[i])) < 1e-16)
          << x[i];
      ASSERT_TRUE(ulps(c[i], std::cos(x[i])) <= 4 || std::fabs(c[i] - std::cos(x[i])) < 1e-16)
          << x[i];
      ASSERT_EQ(s2[i], s[i]) << x[i];
      ASSERT_LE(ulps(a[i], std::atan2(y[i], x[i])), 4) << y[i] << " " << x[i];
    }
  }
}

// The solver's branches rest on the signs of zero and on not-a-number passing through: the
// lanes give exactly libm's values there.
TEST(SimdTrig, SignedZerosInfinitiesAndNotANumber) {
  const double inf = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double ys[][4] = {{0.0, 0.0, -0.0, -0.0}, {0.0, -0.0, 1.0, -1.0}, {inf, -inf, nan, 1.0}};
  const double xs[][4] = {{1.0, -1.0, 1.0, -1.0}, {0.0, -0.0, 0.0, -0.0}, {1.0, inf, 1.0, nan}};
  for (int row = 0; row < 3; ++row) {
    double a[4];
    atan2x4(ys[row], xs[row], a);
    for (int i = 0; i < 4; ++i) {
      const double expected = std::atan2(ys[row][i], xs[row][i]);
      if (std::isnan(expected)) {
        EXPECT_TRUE(std::isnan(a[i]));
      } else {
        EXPECT_EQ(a[i], expected) << ys[row][i] << " " << xs[row][i];
        EXPECT_EQ(std::signbit(a[i]), std::signbit(expected));
      }
    }
  }
  const double x[4] = {0.0, -0.0, inf, nan};
  double s[4], c[4];
  sinCos4(x, s, c);
  EXPECT_EQ(s[0], 0.0);
  EXPECT_FALSE(std::signbit(s[0]));
  EXPECT_TRUE(std::signbit(s[1]));
  EXPECT_EQ(c[0], 1.0);
  EXPECT_EQ(c[1], 1.0);
  for (int i = 2; i < 4; ++i) EXPECT_TRUE(std::isnan(s[i]) && std::isnan(c[i]));
}

}  // namespace
