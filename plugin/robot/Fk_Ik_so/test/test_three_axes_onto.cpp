// Three axes in general position carrying a point onto a point: over random axes and
// angles, the generating angles are among the solutions and every solution carries the
// point onto its target.
#include <random>

#include "test_support.h"
#include "three_axes_onto.h"

namespace {

using fk_ik::Line;

KDL::Vector randomVector(std::mt19937_64& rng, double range) {
  std::uniform_real_distribution<double> value(-range, range);
  return KDL::Vector(value(rng), value(rng), value(rng));
}

TEST(ThreeAxesOnto, RoundTripOverRandomAxes) {
  std::mt19937_64 rng(67);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI);
  int found = 0, cases = test_support::caseCount(2000);
  for (int k = 0; k < cases; ++k) {
    Line axis[3];
    for (Line& a : axis) a = Line{randomVector(rng, 1), fk_ik::unitVector(randomVector(rng, 1))};
    const KDL::Vector p = randomVector(rng, 1);
    const double t[3] = {angle(rng), angle(rng), angle(rng)};
    const KDL::Vector q = fk_ik::screwMotion(axis[0], t[0]) * fk_ik::screwMotion(axis[1], t[1]) *
                          fk_ik::screwMotion(axis[2], t[2]) * p;
    double solutions[4][3];
    const int n = fk_ik::rotationsOntoThreeAxes(axis, p, q, solutions);
    ASSERT_LE(n, 4);
    bool among = false;
    for (int s = 0; s < n; ++s) {
      const double* u = solutions[s];
      const KDL::Vector reached = fk_ik::screwMotion(axis[0], u[0]) *
                                  fk_ik::screwMotion(axis[1], u[1]) *
                                  fk_ik::screwMotion(axis[2], u[2]) * p;
      double apart = 0;
      for (int i = 0; i < 3; ++i)
        apart = std::fmax(apart, std::fabs(std::remainder(u[i] - t[i], 2 * M_PI)));
      among = among || (apart < 1e-6 && fk_ik::length(reached - q) < 1e-9);
    }
    found += among;
  }
  // Random axes come near the cases the quartic cannot take (axes 2 and 3 nearly meeting
  // or parallel, double roots): a few misses, which the arm's solver reports by its check.
  EXPECT_GE(found, cases * 99 / 100);
}

TEST(ThreeAxesOnto, MeetingOrParallelAxesAreLeftToTheirClosedForms) {
  const Line meeting[3] = {{KDL::Vector(0, 0, 0), KDL::Vector(0, 0, 1)},
                           {KDL::Vector(0, 0, 1), KDL::Vector(1, 0, 0)},
                           {KDL::Vector(0, 0, 1), KDL::Vector(0, 1, 0)}};
  const Line parallel[3] = {{KDL::Vector(0, 0, 0), KDL::Vector(0, 0, 1)},
                            {KDL::Vector(0, 0, 1), KDL::Vector(1, 0, 0)},
                            {KDL::Vector(0, 1, 1), KDL::Vector(1, 0, 0)}};
  double t[4][3];
  EXPECT_EQ(fk_ik::rotationsOntoThreeAxes(meeting, KDL::Vector(0.3, 0.2, 0.5),
                                          KDL::Vector(0.1, 0.4, 0.6), t),
            0);
  EXPECT_EQ(fk_ik::rotationsOntoThreeAxes(parallel, KDL::Vector(0.3, 0.2, 0.5),
                                          KDL::Vector(0.1, 0.4, 0.6), t),
            0);
  const Line bad[3] = {{KDL::Vector(NAN, 0, 0), KDL::Vector(0, 0, 1)}, meeting[1], parallel[2]};
  EXPECT_EQ(
      fk_ik::rotationsOntoThreeAxes(bad, KDL::Vector(0.3, 0.2, 0.5), KDL::Vector(0.1, 0.4, 0.6), t),
      0);
}

}  // namespace
