// The geometric subproblems: round trips from random axes, angles and sizes (the image of p
// built here with Eigen's angle-axis rotation, not the library's), least squares, the
// touching cases and the degenerate data of each.
#include <Eigen/Geometry>
#include <cmath>
#include <limits>
#include <random>

#include "subproblems.h"
#include "test_support.h"

namespace {

using fk_ik::Line;
using V = KDL::Vector;

const double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// The rotation about the line, by Eigen.
V rotated(const Line& axis, double angle, const V& x) {
  const Eigen::Vector3d w(axis.direction.x(), axis.direction.y(), axis.direction.z());
  const Eigen::Vector3d r(axis.point.x(), axis.point.y(), axis.point.z());
  const Eigen::Vector3d y =
      r + Eigen::AngleAxisd(angle, w) * (Eigen::Vector3d(x.x(), x.y(), x.z()) - r);
  return V(y.x(), y.y(), y.z());
}

double apart(const V& a, const V& b) {
  return std::hypot(a.x() - b.x(), a.y() - b.y(), a.z() - b.z());
}
double angleApart(double a, double b) {
  return std::fabs(std::remainder(a - b, 2 * M_PI));
}
bool inRange(double angle) {
  return angle > -M_PI && angle <= M_PI;
}

// Random problems in a cube of half-width scale: points, unit directions, angles.
struct Random {
  explicit Random(unsigned seed) : rng(seed) {}
  std::mt19937_64 rng;
  double scale = 1;
  double uniform(double lo, double hi) {
    return std::uniform_real_distribution<double>(lo, hi)(rng);
  }
  double angle() { return uniform(-M_PI, M_PI); }
  V point() { return V(uniform(-1, 1), uniform(-1, 1), uniform(-1, 1)) * scale; }
  V direction() {
    std::normal_distribution<double> normal;
    V v(normal(rng), normal(rng), normal(rng));
    return v / std::hypot(v.x(), v.y(), v.z());
  }
  Line line() { return Line{point(), direction()}; }
  // Problems from 1e-3 to 1e3 in size, to show the answers do not depend on it.
  void nextScale() { scale = std::pow(10.0, uniform(-3, 3)); }
};

// Every answer in (-pi, pi] with its residual below 1e-12 of the scale; true when one is the
// generating pair (t2 and s2[i] 0 for one-angle answers).
template <class Residual>
bool answersHold(int count, const double* s1, const double* s2, double t1, double t2, double scale,
                 Residual residual) {
  bool generating = false;
  for (int i = 0; i < count; ++i) {
    const double u2 = s2 ? s2[i] : 0;
    EXPECT_TRUE(inRange(s1[i]) && inRange(u2));
    EXPECT_LT(residual(s1[i], u2), 1e-12 * scale);
    generating |= angleApart(s1[i], t1) < 1e-9 && angleApart(u2, t2) < 1e-9;
  }
  return generating;
}

// wrapAngle into (-pi, pi], length without overflow, screwMotion against Eigen, and the
// meeting point of lines that meet (none for parallel or broken ones).
TEST(SubproblemHelpers, WrapLengthScrewMotionAndMeetingPoint) {
  EXPECT_EQ(fk_ik::wrapAngle(-M_PI), M_PI);
  EXPECT_EQ(fk_ik::wrapAngle(M_PI), M_PI);
  EXPECT_EQ(fk_ik::wrapAngle(kNaN), 0);
  EXPECT_EQ(fk_ik::wrapAngle(kInf), 0);
  EXPECT_EQ(fk_ik::length(V(3e-200, 4e-200, 0)), 5e-200);
  EXPECT_EQ(fk_ik::length(V(0, 3e300, 4e300)), 5e300);
  Random random(1);
  for (int k = 0; k < 1000; ++k) {
    const double x = random.uniform(-100, 100);
    EXPECT_TRUE(inRange(fk_ik::wrapAngle(x)));
    EXPECT_NEAR(std::sin(fk_ik::wrapAngle(x)), std::sin(x), 1e-13);
    EXPECT_NEAR(std::cos(fk_ik::wrapAngle(x)), std::cos(x), 1e-13);
    const Line axis = random.line();
    const V p = random.point(), b = random.direction();
    const double angle = random.angle();
    EXPECT_LT(apart(fk_ik::screwMotion(axis, angle) * p, rotated(axis, angle, p)), 1e-14);
    const Line second{p + b * random.uniform(-2, 2), b};
    const Line first{p + axis.direction * random.uniform(-2, 2), axis.direction};
    V found;
    ASSERT_TRUE(fk_ik::meetingPoint(first, second, found));
    // Rounding of the given points, over the sine of the lines' angle.
    const double tolerance = 1e-14 / fk_ik::length(axis.direction * b);
    EXPECT_LT(apart(found, p), tolerance);
    EXPECT_LT(fk_ik::distanceToLine(first, found), tolerance);
  }
  V untouched(7, 7, 7);
  const Line z{V(0, 0, 0), V(0, 0, 1)};
  EXPECT_FALSE(fk_ik::meetingPoint(z, Line{V(1, 0, 0), V(0, 0, -1)}, untouched));
  EXPECT_FALSE(fk_ik::meetingPoint(z, Line{V(kNaN, 0, 0), V(1, 0, 0)}, untouched));
  EXPECT_EQ(untouched, V(7, 7, 7));
  EXPECT_EQ(fk_ik::distanceToLine(z, V(3, 4, 9)), 5);
}

// One axis p onto q, two axes that meet and two parallel ones (of either sense), p to a
// distance from q and p onto a plane: every answer holds, and the generating angles are
// among them.
TEST(Subproblems, RoundTrips) {
  Random random(5);
  for (int k = 0; k < test_support::caseCount(5000); ++k) {
    random.nextScale();
    const double scale = random.scale;
    const Line first = random.line();
    const V b = random.direction();
    const Line meeting{first.point + first.direction * random.uniform(-1, 1) * scale +
                           b * random.uniform(-1, 1) * scale,
                       b};
    const Line parallel{random.point(), first.direction * (k % 2 ? 1 : -1)};
    const V p = random.point(), o = random.point();
    const double t1 = random.angle(), t2 = random.angle();
    double s1[2], s2[2], miss;
    {  // q moved off p's circle, radially and along the axis (not at all one case in four): the
       // angle stays, the miss is the move, and no other angle comes nearer.
      const V onCircle = rotated(first, t1, p);
      const V foot =
          first.point + first.direction * KDL::dot(first.direction, onCircle - first.point);
      const double radial = k % 4 ? random.uniform(-0.3, 0.3) : 0;
      const double along = k % 4 ? random.uniform(-0.5, 0.5) * scale : 0;
      const V q = onCircle + (onCircle - foot) * radial + first.direction * along;
      ASSERT_EQ(fk_ik::rotationOnto(first, p, q, s1[0], miss), 1);
      EXPECT_TRUE(answersHold(1, s1, nullptr, t1, 0, scale, [&](double u, double) {
        return std::fabs(apart(rotated(first, u, p), q) - miss);
      })) << k;
      EXPECT_NEAR(miss, std::hypot(apart(onCircle, foot) * radial, along), 1e-12 * scale);
      for (int s = 0; s < 36; ++s)
        EXPECT_GE(apart(rotated(first, s * M_PI / 18, p), q), miss - 1e-12 * scale);
    }
    for (int pair = 0; pair < 2; ++pair) {
      const Line& second = pair ? parallel : meeting;
      const V q = rotated(first, t1, rotated(second, t2, p));
      const int count = pair ? fk_ik::rotationsOntoParallel(first, second, p, q, s1, s2)
                             : fk_ik::rotationsOntoMeeting(first, second, p, q, s1, s2);
      ASSERT_GE(count, 1) << pair;
      EXPECT_TRUE(answersHold(count, s1, s2, t1, t2, scale,
                              [&](double u1, double u2) {
                                return apart(rotated(first, u1, rotated(second, u2, p)), q);
                              }))
          << pair << " " << k;
    }
    const double distance = apart(rotated(first, t1, p), o);
    int count = fk_ik::rotationToDistance(first, p, o, distance, s1);
    ASSERT_GE(count, 1);
    EXPECT_TRUE(answersHold(count, s1, nullptr, t1, 0, scale, [&](double u, double) {
      return std::fabs(apart(rotated(first, u, p), o) - distance);
    })) << k;
    // The nearest and the farthest distance p comes to o: the one angle there (the sampled
    // extreme within 1e-6 of the true one, its angles about 1e-3 apart); beyond, none.
    if (k < 1000) {
      double nearest = kInf, farthest = 0;
      for (int s = 0; s < 3600; ++s) {
        const double d = apart(rotated(first, s * M_PI / 1800, p), o);
        nearest = std::fmin(nearest, d);
        farthest = std::fmax(farthest, d);
      }
      const double extremes[2][2] = {{nearest, nearest * 0.999}, {farthest, farthest * 1.001}};
      for (const auto& extreme : extremes) {
        count = fk_ik::rotationToDistance(first, p, o, extreme[0], s1);
        ASSERT_GE(count, 1);
        for (int i = 0; i < count; ++i)
          EXPECT_NEAR(apart(rotated(first, s1[i], p), o), extreme[0], 1e-12 * scale);
        EXPECT_EQ(fk_ik::rotationToDistance(first, p, o, extreme[1], s1), 0);
      }
    }
    const V normal = random.direction();
    const V planePoint = rotated(first, t1, p) + o - normal * KDL::dot(normal, o);
    count = fk_ik::rotationOntoPlane(first, p, planePoint, normal, s1);
    ASSERT_GE(count, 1);
    EXPECT_TRUE(answersHold(count, s1, nullptr, t1, 0, scale, [&](double u, double) {
      return std::fabs(KDL::dot(normal, rotated(first, u, p) - planePoint));
    })) << k;
  }
}

// Meeting axes: where the circles touch (p's about the second axis meets q's about the
// first in one point) the pair holds; with p on the second axis or q on the first, that
// angle is free and given as 0.
TEST(RotationsOntoMeeting, TouchingCirclesAndFreeAngles) {
  Random random(7);
  for (int k = 0; k < 1000; ++k) {
    const Line first{random.point(), random.direction()};
    const Line second{first.point, random.direction()};
    const double t = random.angle();
    double s1[2], s2[2];
    const V z = first.point + first.direction * random.uniform(-1, 1) + second.direction;
    const V onCircles = rotated(second, random.angle(), z), q = rotated(first, t, z);
    int count = fk_ik::rotationsOntoMeeting(first, second, onCircles, q, s1, s2);
    ASSERT_GE(count, 1);
    for (int i = 0; i < count; ++i) {
      EXPECT_LT(apart(rotated(first, s1[i], rotated(second, s2[i], onCircles)), q), 1e-12);
    }
    const V onSecond = second.point + second.direction * random.uniform(0.5, 1);
    count =
        fk_ik::rotationsOntoMeeting(first, second, onSecond, rotated(first, t, onSecond), s1, s2);
    ASSERT_GE(count, 1);
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(s2[i], 0);
      EXPECT_LT(angleApart(s1[i], t), 1e-9);
    }
    const V onFirst = first.point + first.direction * random.uniform(0.5, 1);
    const V p = rotated(second, -t, onFirst);
    count = fk_ik::rotationsOntoMeeting(first, second, p, onFirst, s1, s2);
    ASSERT_GE(count, 1);
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(s1[i], 0);
      EXPECT_LT(apart(rotated(second, s2[i], p), onFirst), 1e-12);
    }
  }
}

// Meeting axes: none for parallel or skew axes, different distances from the meeting point
// (q's height along x beyond p's circle about y too), and data not finite or overflowing.
// Parallel axes: none for coincident or crossing axes, p on the second axis, different
// heights, too far apart and data not finite.
TEST(RotationsOntoTwoAxes, NoPairOutOfReachOrDegenerate) {
  const Line x{V(0, 0, 0), V(1, 0, 0)}, y{V(0, 0, 0), V(0, 1, 0)};
  const V p(0.3, 0.4, 0.5), q = rotated(x, 0.7, rotated(y, -0.4, p));
  double s1[2], s2[2];
  ASSERT_EQ(fk_ik::rotationsOntoMeeting(x, y, p, q, s1, s2), 2);
  const struct {
    Line second;
    V p, q;
  } meeting[] = {{Line{y.point, x.direction}, p, q},
                 {Line{V(0, 0, 1e-3), y.direction}, p, q},
                 {y, p, q * 1.001},
                 {y, V(0.1, 0.7, 0), V(0.7, 0.1, 0)},
                 {y, p, V(kNaN, 0, 0)},
                 {y, V(1.5e308, 1.5e308, 0), p},
                 {y, x.point, x.point}};
  for (const auto& c : meeting)
    EXPECT_EQ(fk_ik::rotationsOntoMeeting(x, c.second, c.p, c.q, s1, s2), 0);
  const V z(0, 0, 1);
  const Line first{V(0, 0, 0), z}, second{V(1, 0, 0), z};
  const V r(1.5, 0.2, 0.3), s = rotated(first, 0.4, rotated(second, 1.1, r));
  ASSERT_EQ(fk_ik::rotationsOntoParallel(first, second, r, s, s1, s2), 2);
  const struct {
    Line second;
    V p, q;
  } parallel[] = {{Line{V(0, 0, 2), -z}, r, s}, {Line{second.point, V(0, 1, 0)}, r, s},
                  {second, V(1, 0, 0.3), s},    {second, r, s + z * 1e-3},
                  {second, r, V(3, 0, 0.3)},    {second, r, V(0, kInf, 0)}};
  for (const auto& c : parallel)
    EXPECT_EQ(fk_ik::rotationsOntoParallel(first, c.second, c.p, c.q, s1, s2), 0);
}

// One axis: p or q on it (every angle does as well: angle 0, the miss at angle 0), data not
// finite or overflowing, distances out of reach, planes touching, missed or along the axis.
TEST(OneAxis, OnTheAxisTouchingOutOfReachAndHostileData) {
  const Line axis{V(0, 0, 0), V(0, 0, 1)};
  const V x(1, 0, 0), y(0, 1, 0), z(0, 0, 1), p(1, 0, 0.5);
  double angle = 9, miss = 9, found[2];
  EXPECT_EQ(fk_ik::rotationOnto(axis, z * 2, x, angle, miss), 0);
  EXPECT_EQ(angle, 0);
  EXPECT_DOUBLE_EQ(miss, std::sqrt(5.0));
  EXPECT_EQ(fk_ik::rotationOnto(axis, x, z * 2, angle, miss), 0);
  EXPECT_EQ(fk_ik::rotationOnto(axis, axis.point, axis.point, angle, miss), 0);
  EXPECT_EQ(miss, 0);
  for (const V& bad : {V(kNaN, 0, 0), V(kInf, 0, 0), V(-1e308, 1e308, 0)}) {
    EXPECT_EQ(fk_ik::rotationOnto(Line{V(1e308, 0, 0), z}, bad, x, angle, miss), 0);
    EXPECT_EQ(angle, 0);
    EXPECT_TRUE(std::isinf(miss));
  }
  const struct {
    V p, q;
    double distance;
  } none[] = {{z, x, 1.2}, {x, z, 1.2}, {x, y, -1}, {x, y, kNaN}, {x, y, 1e308}};
  for (const auto& c : none)
    EXPECT_EQ(fk_ik::rotationToDistance(axis, c.p, c.q, c.distance, found), 0);
  ASSERT_EQ(fk_ik::rotationToDistance(axis, x, y * 2, 1, found), 1);
  EXPECT_NEAR(found[0], M_PI / 2, 1e-15);
  // The plane x = 1 touches p's circle at angle 0, x = 0.5 crosses it at +-pi/3.
  ASSERT_EQ(fk_ik::rotationOntoPlane(axis, p, V(1, 5, 5), x, found), 1);
  EXPECT_EQ(found[0], 0);
  ASSERT_EQ(fk_ik::rotationOntoPlane(axis, p, V(0.5, 0, 0), x, found), 2);
  EXPECT_NEAR(std::fabs(found[0]), M_PI / 3, 1e-15);
  EXPECT_NEAR(found[0], -found[1], 1e-15);
  const struct {
    V p, planePoint, normal;
  } planes[] = {{p, V(1.001, 0, 0), x},
                {p, V(0, 0, 0.5), z},
                {z * 2, V(0, 0, 0), x},
                {p, V(kNaN, 0, 0), x},
                {p, V(-1e308, 0, 0), x}};
  for (const auto& c : planes)
    EXPECT_EQ(fk_ik::rotationOntoPlane(axis, c.p, c.planePoint, c.normal, found), 0);
}

}  // namespace
