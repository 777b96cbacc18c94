// The geometric subproblems: round trips from random axes and angles (the image of p built
// here with Eigen's angle-axis rotation, not the library's), least squares, the touching
// cases and the degenerate data of each.
#include <Eigen/Geometry>
#include <cmath>
#include <limits>
#include <random>

#include "subproblems.h"
#include "test_support.h"

namespace {

using fk_ik::Line;

const double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// The rotation about the line, by Eigen.
KDL::Vector rotated(const Line& axis, double angle, const KDL::Vector& x) {
  const Eigen::Vector3d w(axis.direction.x(), axis.direction.y(), axis.direction.z());
  const Eigen::Vector3d r(axis.point.x(), axis.point.y(), axis.point.z());
  const Eigen::Vector3d y =
      r + Eigen::AngleAxisd(angle, w) * (Eigen::Vector3d(x.x(), x.y(), x.z()) - r);
  return KDL::Vector(y.x(), y.y(), y.z());
}

double apart(const KDL::Vector& a, const KDL::Vector& b) {
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
  KDL::Vector point() {
    return KDL::Vector(uniform(-1, 1), uniform(-1, 1), uniform(-1, 1)) * scale;
  }
  KDL::Vector direction() {
    std::normal_distribution<double> normal;
    KDL::Vector v(normal(rng), normal(rng), normal(rng));
    return v / std::hypot(v.x(), v.y(), v.z());
  }
  Line line() { return Line{point(), direction()}; }
  // Problems from 1e-3 to 1e3 in size, to show the answers do not depend on it.
  void nextScale() { scale = std::pow(10.0, uniform(-3, 3)); }
};

TEST(SubproblemHelpers, WrapAndLengthAndScrewMotion) {
  EXPECT_EQ(fk_ik::wrapAngle(-M_PI), M_PI);
  EXPECT_EQ(fk_ik::wrapAngle(M_PI), M_PI);
  EXPECT_EQ(fk_ik::wrapAngle(kNaN), 0);
  EXPECT_EQ(fk_ik::wrapAngle(kInf), 0);
  Random random(1);
  for (int k = 0; k < 1000; ++k) {
    const double x = random.uniform(-100, 100);
    EXPECT_TRUE(inRange(fk_ik::wrapAngle(x)));
    EXPECT_NEAR(std::sin(fk_ik::wrapAngle(x)), std::sin(x), 1e-13);
    EXPECT_NEAR(std::cos(fk_ik::wrapAngle(x)), std::cos(x), 1e-13);
  }
  EXPECT_EQ(fk_ik::length(KDL::Vector(3e-200, 4e-200, 0)), 5e-200);
  EXPECT_EQ(fk_ik::length(KDL::Vector(0, 3e300, 4e300)), 5e300);
  for (int k = 0; k < 1000; ++k) {
    const Line axis = random.line();
    const KDL::Vector x = random.point();
    const double angle = random.angle();
    EXPECT_LT(apart(fk_ik::screwMotion(axis, angle) * x, rotated(axis, angle, x)), 1e-14);
  }
}

TEST(SubproblemHelpers, MeetingPointOfLinesThatMeet) {
  Random random(2);
  for (int k = 0; k < 1000; ++k) {
    const KDL::Vector meeting = random.point();
    const KDL::Vector a = random.direction(), b = random.direction();
    const Line first{meeting + a * random.uniform(-2, 2), a};
    const Line second{meeting + b * random.uniform(-2, 2), b};
    KDL::Vector found;
    ASSERT_TRUE(fk_ik::meetingPoint(first, second, found));
    // Rounding of the given points, over the sine of the lines' angle.
    const double tolerance = 1e-14 / fk_ik::length(a * b);
    EXPECT_LT(apart(found, meeting), tolerance);
    EXPECT_LT(fk_ik::distanceToLine(first, found), tolerance);
  }
  KDL::Vector untouched(7, 7, 7);
  const Line z{KDL::Vector(0, 0, 0), KDL::Vector(0, 0, 1)};
  EXPECT_FALSE(
      fk_ik::meetingPoint(z, Line{KDL::Vector(1, 0, 0), KDL::Vector(0, 0, -1)}, untouched));
  EXPECT_FALSE(
      fk_ik::meetingPoint(z, Line{KDL::Vector(kNaN, 0, 0), KDL::Vector(1, 0, 0)}, untouched));
  EXPECT_EQ(untouched, KDL::Vector(7, 7, 7));
  EXPECT_EQ(fk_ik::distanceToLine(z, KDL::Vector(3, 4, 9)), 5);
}

TEST(RotationOnto, RoundTrip) {
  Random random(3);
  for (int k = 0; k < test_support::caseCount(5000); ++k) {
    random.nextScale();
    const Line axis = random.line();
    const KDL::Vector p = random.point();
    const double angle = random.angle();
    const KDL::Vector q = rotated(axis, angle, p);
    double found, miss;
    ASSERT_EQ(fk_ik::rotationOnto(axis, p, q, found, miss), 1);
    EXPECT_TRUE(inRange(found));
    EXPECT_LT(angleApart(found, angle), 1e-9);
    EXPECT_LT(apart(rotated(axis, found, p), q), 1e-12 * random.scale);
    EXPECT_LT(miss, 1e-12 * random.scale);
  }
}

// q moved off p's circle, radially and along the axis: the angle stays, the miss is the
// move, and no other angle comes nearer.
TEST(RotationOnto, LeastSquaresWhenQIsOffTheCircle) {
  Random random(4);
  for (int k = 0; k < test_support::caseCount(2000); ++k) {
    const Line axis = random.line();
    const KDL::Vector p = random.point();
    const double angle = random.angle();
    const KDL::Vector onCircle = rotated(axis, angle, p);
    const KDL::Vector foot =
        axis.point + axis.direction * KDL::dot(axis.direction, onCircle - axis.point);
    const double radial = random.uniform(-0.3, 0.3), along = random.uniform(-0.5, 0.5);
    const KDL::Vector q = onCircle + (onCircle - foot) * radial + axis.direction * along;
    const double expectedMiss = std::hypot(apart(onCircle, foot) * radial, along);
    double found, miss;
    ASSERT_EQ(fk_ik::rotationOnto(axis, p, q, found, miss), 1);
    EXPECT_LT(angleApart(found, angle), 1e-9);
    EXPECT_NEAR(miss, expectedMiss, 1e-12);
    EXPECT_NEAR(apart(rotated(axis, found, p), q), miss, 1e-12);
    for (int s = 0; s < 36; ++s) {
      EXPECT_GE(apart(rotated(axis, s * M_PI / 18, p), q), miss - 1e-12);
    }
  }
}

TEST(RotationOnto, PointsOnTheAxisAndHostileValues) {
  const Line axis{KDL::Vector(1, 2, 3), KDL::Vector(0, 0, 1)};
  const KDL::Vector off(2, 2, 3), onAxis(1, 2, 5);
  double angle = 9, miss = 9;
  EXPECT_EQ(fk_ik::rotationOnto(axis, onAxis, off, angle, miss), 0);
  EXPECT_EQ(angle, 0);
  EXPECT_DOUBLE_EQ(miss, std::sqrt(5.0));
  EXPECT_EQ(fk_ik::rotationOnto(axis, off, onAxis, angle, miss), 0);
  EXPECT_EQ(fk_ik::rotationOnto(axis, axis.point, axis.point, angle, miss), 0);
  EXPECT_EQ(miss, 0);
  for (const KDL::Vector& bad :
       {KDL::Vector(kNaN, 0, 0), KDL::Vector(kInf, 0, 0), KDL::Vector(-1e308, 1e308, 0)}) {
    EXPECT_EQ(
        fk_ik::rotationOnto(Line{KDL::Vector(1e308, 0, 0), axis.direction}, bad, off, angle, miss),
        0);
    EXPECT_EQ(angle, 0);
    EXPECT_TRUE(std::isinf(miss));
  }
}

TEST(RotationsOntoMeeting, RoundTrip) {
  Random random(5);
  for (int k = 0; k < test_support::caseCount(5000); ++k) {
    random.nextScale();
    const KDL::Vector meeting = random.point();
    const KDL::Vector a = random.direction(), b = random.direction();
    const Line first{meeting + a * random.uniform(-1, 1) * random.scale, a};
    const Line second{meeting + b * random.uniform(-1, 1) * random.scale, b};
    const KDL::Vector p = random.point();
    const double t1 = random.angle(), t2 = random.angle();
    const KDL::Vector q = rotated(first, t1, rotated(second, t2, p));
    double s1[2], s2[2];
    const int count = fk_ik::rotationsOntoMeeting(first, second, p, q, s1, s2);
    ASSERT_GE(count, 1);
    bool generating = false;
    for (int i = 0; i < count; ++i) {
      EXPECT_TRUE(inRange(s1[i]) && inRange(s2[i]));
      EXPECT_LT(apart(rotated(first, s1[i], rotated(second, s2[i], p)), q), 1e-12 * random.scale);
      generating |= angleApart(s1[i], t1) < 1e-9 && angleApart(s2[i], t2) < 1e-9;
    }
    EXPECT_TRUE(generating) << k;
  }
}

// The circles touch: p's circle about the second axis meets q's about the first in one
// point, in the plane of the two directions.
TEST(RotationsOntoMeeting, TouchingCircles) {
  Random random(6);
  for (int k = 0; k < 1000; ++k) {
    const Line first{KDL::Vector::Zero(), random.direction()};
    const Line second{KDL::Vector::Zero(), random.direction()};
    const KDL::Vector z = first.direction * random.uniform(-1, 1) + second.direction;
    const KDL::Vector p = rotated(second, random.angle(), z);
    const KDL::Vector q = rotated(first, random.angle(), z);
    double s1[2], s2[2];
    const int count = fk_ik::rotationsOntoMeeting(first, second, p, q, s1, s2);
    ASSERT_GE(count, 1);
    for (int i = 0; i < count; ++i) {
      EXPECT_LT(apart(rotated(first, s1[i], rotated(second, s2[i], p)), q), 1e-12);
    }
  }
}

// p on the second axis or q on the first: that angle is free, and given as 0.
TEST(RotationsOntoMeeting, FreeAngleIsZero) {
  Random random(7);
  for (int k = 0; k < 1000; ++k) {
    const Line first{random.point(), random.direction()};
    const Line second{first.point, random.direction()};
    const double t = random.angle();
    double s1[2], s2[2];
    const KDL::Vector onSecond = second.point + second.direction * random.uniform(0.5, 1);
    const KDL::Vector q = rotated(first, t, onSecond);
    int count = fk_ik::rotationsOntoMeeting(first, second, onSecond, q, s1, s2);
    ASSERT_GE(count, 1);
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(s2[i], 0);
      EXPECT_LT(angleApart(s1[i], t), 1e-9);
    }
    const KDL::Vector onFirst = first.point + first.direction * random.uniform(0.5, 1);
    const KDL::Vector p = rotated(second, -t, onFirst);
    count = fk_ik::rotationsOntoMeeting(first, second, p, onFirst, s1, s2);
    ASSERT_GE(count, 1);
    for (int i = 0; i < count; ++i) {
      EXPECT_EQ(s1[i], 0);
      EXPECT_LT(apart(rotated(second, s2[i], p), onFirst), 1e-12);
    }
  }
}

TEST(RotationsOntoMeeting, NoPairForParallelOrSkewAxesOrPointsOutOfReach) {
  const Line x{KDL::Vector(0, 0, 0), KDL::Vector(1, 0, 0)};
  const Line y{KDL::Vector(0, 0, 0), KDL::Vector(0, 1, 0)};
  const KDL::Vector p(0.3, 0.4, 0.5);
  const KDL::Vector q = rotated(x, 0.7, rotated(y, -0.4, p));
  double s1[2], s2[2];
  ASSERT_EQ(fk_ik::rotationsOntoMeeting(x, y, p, q, s1, s2), 2);
  EXPECT_EQ(fk_ik::rotationsOntoMeeting(x, Line{y.point, x.direction}, p, q, s1, s2), 0);
  EXPECT_EQ(
      fk_ik::rotationsOntoMeeting(x, Line{KDL::Vector(0, 0, 1e-3), y.direction}, p, q, s1, s2), 0);
  EXPECT_EQ(fk_ik::rotationsOntoMeeting(x, y, p, q * 1.001, s1, s2), 0);
  // As far from the meeting point, but q's height along x beyond p's circle about y.
  EXPECT_EQ(
      fk_ik::rotationsOntoMeeting(x, y, KDL::Vector(0.1, 0.7, 0), KDL::Vector(0.7, 0.1, 0), s1, s2),
      0);
  EXPECT_EQ(fk_ik::rotationsOntoMeeting(x, y, p, KDL::Vector(kNaN, 0, 0), s1, s2), 0);
  // Distances from the meeting point that overflow.
  EXPECT_EQ(fk_ik::rotationsOntoMeeting(x, y, KDL::Vector(1.5e308, 1.5e308, 0), p, s1, s2), 0);
  EXPECT_EQ(fk_ik::rotationsOntoMeeting(x, y, x.point, x.point, s1, s2), 0);
}

TEST(RotationsOntoParallel, RoundTrip) {
  Random random(8);
  for (int k = 0; k < test_support::caseCount(5000); ++k) {
    random.nextScale();
    const Line first = random.line();
    const Line second{random.point(), first.direction * (k % 2 ? 1 : -1)};
    const KDL::Vector p = random.point();
    const double t1 = random.angle(), t2 = random.angle();
    const KDL::Vector q = rotated(first, t1, rotated(second, t2, p));
    double s1[2], s2[2];
    const int count = fk_ik::rotationsOntoParallel(first, second, p, q, s1, s2);
    ASSERT_GE(count, 1);
    bool generating = false;
    for (int i = 0; i < count; ++i) {
      EXPECT_TRUE(inRange(s1[i]) && inRange(s2[i]));
      EXPECT_LT(apart(rotated(first, s1[i], rotated(second, s2[i], p)), q), 1e-12 * random.scale);
      generating |= angleApart(s1[i], t1) < 1e-9 && angleApart(s2[i], t2) < 1e-9;
    }
    EXPECT_TRUE(generating) << k;
  }
}

TEST(RotationsOntoParallel, NoPairForCoincidentOrCrossingAxesOrPointsOutOfReach) {
  const KDL::Vector z(0, 0, 1);
  const Line first{KDL::Vector(0, 0, 0), z}, second{KDL::Vector(1, 0, 0), z};
  const KDL::Vector p(1.5, 0.2, 0.3);
  const KDL::Vector q = rotated(first, 0.4, rotated(second, 1.1, p));
  double s1[2], s2[2];
  ASSERT_EQ(fk_ik::rotationsOntoParallel(first, second, p, q, s1, s2), 2);
  EXPECT_EQ(fk_ik::rotationsOntoParallel(first, Line{KDL::Vector(0, 0, 2), -z}, p, q, s1, s2), 0);
  EXPECT_EQ(
      fk_ik::rotationsOntoParallel(first, Line{second.point, KDL::Vector(0, 1, 0)}, p, q, s1, s2),
      0);
  EXPECT_EQ(fk_ik::rotationsOntoParallel(first, second, KDL::Vector(1, 0, 0.3), q, s1, s2), 0);
  EXPECT_EQ(fk_ik::rotationsOntoParallel(first, second, p, q + z * 1e-3, s1, s2), 0);
  EXPECT_EQ(fk_ik::rotationsOntoParallel(first, second, p, KDL::Vector(3, 0, 0.3), s1, s2), 0);
  EXPECT_EQ(fk_ik::rotationsOntoParallel(first, second, p, KDL::Vector(0, kInf, 0), s1, s2), 0);
}

TEST(RotationToDistance, RoundTrip) {
  Random random(9);
  for (int k = 0; k < test_support::caseCount(5000); ++k) {
    random.nextScale();
    const Line axis = random.line();
    const KDL::Vector p = random.point(), q = random.point();
    const double angle = random.angle();
    const double distance = apart(rotated(axis, angle, p), q);
    double found[2];
    const int count = fk_ik::rotationToDistance(axis, p, q, distance, found);
    ASSERT_GE(count, 1);
    bool generating = false;
    for (int i = 0; i < count; ++i) {
      EXPECT_TRUE(inRange(found[i]));
      EXPECT_NEAR(apart(rotated(axis, found[i], p), q), distance, 1e-12 * random.scale);
      generating |= angleApart(found[i], angle) < 1e-9;
    }
    EXPECT_TRUE(generating) << k;
  }
}

// The nearest and the farthest distance p comes to q: the one angle there; beyond, none.
TEST(RotationToDistance, NearestAndFarthestAndBeyond) {
  Random random(10);
  for (int k = 0; k < 1000; ++k) {
    const Line axis = random.line();
    const KDL::Vector p = random.point(), q = random.point();
    double nearest = kInf, farthest = 0;
    for (int s = 0; s < 3600; ++s) {
      const double d = apart(rotated(axis, s * M_PI / 1800, p), q);
      nearest = std::fmin(nearest, d);
      farthest = std::fmax(farthest, d);
    }
    double found[2];
    for (double extreme : {nearest, farthest}) {
      // The sampled extreme is within 1e-6 of the true one: its angles are about 1e-3 apart.
      const int count = fk_ik::rotationToDistance(axis, p, q, extreme, found);
      ASSERT_GE(count, 1);
      for (int i = 0; i < count; ++i) {
        EXPECT_NEAR(apart(rotated(axis, found[i], p), q), extreme, 1e-12);
      }
    }
    EXPECT_EQ(fk_ik::rotationToDistance(axis, p, q, nearest * 0.999, found), 0);
    EXPECT_EQ(fk_ik::rotationToDistance(axis, p, q, farthest * 1.001, found), 0);
  }
}

TEST(RotationToDistance, DegenerateData) {
  const Line axis{KDL::Vector(0, 0, 0), KDL::Vector(0, 0, 1)};
  double found[2];
  EXPECT_EQ(fk_ik::rotationToDistance(axis, KDL::Vector(0, 0, 1), KDL::Vector(1, 0, 0), 1.2, found),
            0);
  EXPECT_EQ(fk_ik::rotationToDistance(axis, KDL::Vector(1, 0, 0), KDL::Vector(0, 0, 1), 1.2, found),
            0);
  EXPECT_EQ(fk_ik::rotationToDistance(axis, KDL::Vector(1, 0, 0), KDL::Vector(0, 1, 0), -1, found),
            0);
  EXPECT_EQ(
      fk_ik::rotationToDistance(axis, KDL::Vector(1, 0, 0), KDL::Vector(0, 1, 0), kNaN, found), 0);
  EXPECT_EQ(
      fk_ik::rotationToDistance(axis, KDL::Vector(1, 0, 0), KDL::Vector(0, 1, 0), 1e308, found), 0);
  ASSERT_EQ(fk_ik::rotationToDistance(axis, KDL::Vector(1, 0, 0), KDL::Vector(0, 2, 0), 1, found),
            1);
  EXPECT_NEAR(found[0], M_PI / 2, 1e-15);
}

TEST(RotationOntoPlane, RoundTrip) {
  Random random(11);
  for (int k = 0; k < test_support::caseCount(5000); ++k) {
    random.nextScale();
    const Line axis = random.line();
    const KDL::Vector p = random.point();
    const double angle = random.angle();
    const KDL::Vector image = rotated(axis, angle, p);
    const KDL::Vector normal = random.direction();
    const KDL::Vector inPlane = random.point();
    const KDL::Vector planePoint = image + inPlane - normal * KDL::dot(normal, inPlane);
    double found[2];
    const int count = fk_ik::rotationOntoPlane(axis, p, planePoint, normal, found);
    ASSERT_GE(count, 1);
    bool generating = false;
    for (int i = 0; i < count; ++i) {
      EXPECT_TRUE(inRange(found[i]));
      EXPECT_LT(std::fabs(KDL::dot(normal, rotated(axis, found[i], p) - planePoint)),
                1e-12 * random.scale);
      generating |= angleApart(found[i], angle) < 1e-9;
    }
    EXPECT_TRUE(generating) << k;
  }
}

TEST(RotationOntoPlane, TouchingOutOfReachAndDegenerate) {
  const Line axis{KDL::Vector(0, 0, 0), KDL::Vector(0, 0, 1)};
  const KDL::Vector p(1, 0, 0.5), x(1, 0, 0), z(0, 0, 1);
  double found[2];
  // The plane x = 1 touches p's circle at angle 0; x = 1.001 misses it.
  ASSERT_EQ(fk_ik::rotationOntoPlane(axis, p, KDL::Vector(1, 5, 5), x, found), 1);
  EXPECT_EQ(found[0], 0);
  EXPECT_EQ(fk_ik::rotationOntoPlane(axis, p, KDL::Vector(1.001, 0, 0), x, found), 0);
  ASSERT_EQ(fk_ik::rotationOntoPlane(axis, p, KDL::Vector(0.5, 0, 0), x, found), 2);
  EXPECT_NEAR(std::fabs(found[0]), M_PI / 3, 1e-15);
  EXPECT_NEAR(found[0], -found[1], 1e-15);
  // Along the normal, or on the axis: the distance from the plane does not change.
  EXPECT_EQ(fk_ik::rotationOntoPlane(axis, p, KDL::Vector(0, 0, 0.5), z, found), 0);
  EXPECT_EQ(fk_ik::rotationOntoPlane(axis, KDL::Vector(0, 0, 2), KDL::Vector(0, 0, 0), x, found),
            0);
  EXPECT_EQ(fk_ik::rotationOntoPlane(axis, p, KDL::Vector(kNaN, 0, 0), x, found), 0);
  EXPECT_EQ(fk_ik::rotationOntoPlane(axis, p, KDL::Vector(-1e308, 0, 0), x, found), 0);
}

}  // namespace
