// Every inverse solution of any arm by elimination: the loop's equations at a solution, the
// polynomial's real roots against the eigenvalues of its companion matrix, completeness over
// random arms (every parameter random) with the solution counts reported, KDL's numeric
// solver from hundreds of starts finding nothing more, the closed forms' solutions found
// again, joints at pi, hostile targets, and no allocation (this program builds the
// elimination's sources itself, with Eigen's run-time allocation guard on).
#include <Eigen/Eigenvalues>
#include <Eigen/SVD>
#include <algorithm>
#include <iostream>

#include "arm_ik.h"
#include "arm_test_support.h"
#include "elimination.h"
#include "test_support.h"

namespace {

using namespace arm_test;
using fk_ik::ArmIkSolutions;

// The products of (1, cos, sin) of two angles, index 3 i + j.
Eigen::Matrix<double, 9, 1> products(double a, double b) {
  const double x[3] = {1, std::cos(a), std::sin(a)}, y[3] = {1, std::cos(b), std::sin(b)};
  Eigen::Matrix<double, 9, 1> p;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) p(3 * i + j) = x[i] * y[j];
  }
  return p;
}

// The fourteen equations of a reading at angles phi (in loop order): left less right.
double loopResidual(const fk_ik::EliminationSystem& system, const double phi[6]) {
  const Eigen::Matrix<double, 14, 9> left =
      system.left[0] + std::cos(phi[2]) * system.left[1] + std::sin(phi[2]) * system.left[2];
  const Eigen::Matrix<double, 9, 1> right = products(phi[0], phi[1]);
  return (left * products(phi[3], phi[4]) - system.right * right.tail<8>()).cwiseAbs().maxCoeff();
}

// At the joints of a pose, in every reading, the fourteen equations hold and Sigma is
// singular with the monomials of phi_3 and phi_4 as its null vector; a degree off, neither.
TEST(Elimination, LoopEquationsHoldAtTheSolutionOnly) {
  std::mt19937_64 rng(71);
  for (int n = 0; n < 20; ++n) {
    const Arm arm = randomArm(rng, n % 2 ? RowConvention::Modified : RowConvention::Standard);
    double q[6];
    randomJoints(rng, M_PI, q);
    KDL::Frame zero[7], flange;
    const double q0[6] = {};
    arm.jointFrames(q0, zero);
    arm.flangeFrame(q, flange);
    for (int reading = 0; reading < fk_ik::Readings; ++reading) {
      const fk_ik::EliminationLoop loop =
          fk_ik::eliminationLoop(zero, flange, reading / 2, reading % 2 ? -1 : 1);
      fk_ik::EliminationSystem system;
      fk_ik::eliminationRight(loop, system);
      fk_ik::eliminationLeft(loop, system);
      double phi[6];
      for (int k = 0; k < 6; ++k) phi[k] = loop.sense * q[loop.joint[k]];
      EXPECT_LT(loopResidual(system, phi), 1e-12) << n << " reading " << reading;
      fk_ik::SigmaMatrix sigma;
      fk_ik::sigmaAt(system, std::cos(phi[2]), std::sin(phi[2]), sigma);
      Eigen::Matrix<double, 12, 1> monomials;
      const double y = std::tan(phi[3] / 2), z = std::tan(phi[4] / 2);
      for (int a = 0; a < 4; ++a) {
        for (int b = 0; b < 3; ++b) monomials(3 * a + b) = std::pow(y, a) * std::pow(z, b);
      }
      monomials.normalize();
      EXPECT_LT((sigma * monomials).norm(), 1e-11) << n << " reading " << reading;
      // Its factorisation a degree off solves with it.
      const fk_ik::SigmaLu lu(system, std::cos(phi[2] + 0.02), std::sin(phi[2] + 0.02));
      fk_ik::sigmaAt(system, std::cos(phi[2] + 0.02), std::sin(phi[2] + 0.02), sigma);
      Eigen::Matrix<double, 12, 1> b = monomials, x = monomials;
      ASSERT_TRUE(lu.solve(x.data()));
      EXPECT_LT((sigma * x - b).norm(), 1e-9 * x.norm()) << n << " reading " << reading;
      EXPECT_NEAR(lu.determinant / sigma.determinant(), 1, 1e-9) << n << " reading " << reading;
      for (int k = 0; k < 5; ++k) {  // phi_5 is not in them
        phi[k] += 0.02;
        EXPECT_GT(loopResidual(system, phi), 1e-4) << n << " reading " << reading << " joint " << k;
        phi[k] -= 0.02;
      }
    }
  }
}

// Polynomials of degree 16 with known roots: separated, close pairs, a double root, complex
// pairs just off the real line (closer than 1e-4 (1 + x^2) / 2, which count as one root,
// and farther, which do not), wide magnitudes. The roots found are the real eigenvalues of
// the companion matrix (Eigen), a near-real pair's counting as one.
TEST(Elimination, PolynomialRootsAreTheCompanionsRealEigenvalues) {
  struct Family {
    const char* name;
    std::vector<double> real;                      // real roots
    std::vector<std::pair<double, double>> pairs;  // complex pairs: real part, imaginary part
  } families[] = {
      {"separated", {-3, -1, -0.2, 0.4, 1.5, 2, 5, 7}, {{0.3, 1}, {-1, 2}, {2, 0.5}, {0, 3}}},
      {"close pairs",
       {-1, -1 + 1e-7, 0.5, 0.5 + 1e-6, 2, 2.001},
       {{0, 1}, {1, 1}, {-2, 1}, {3, 2}, {0.1, 0.1}}},
      {"double root", {0.7, 0.7, -2, 3}, {{0, 1}, {1, 2}, {-1, 1}, {2, 2}, {0.5, 3}, {-3, 1}}},
      {"near-real pair",
       {-0.5, 1.2},
       {{0.3, 1e-9}, {0, 1}, {1, 1}, {-1, 2}, {2, 1}, {-2, 3}, {1, 3}}},
      {"near-real pair far out",
       {-1.5, 0.8},
       {{5, 1e-4}, {0, 1}, {1, 1}, {-1, 2}, {2, 1}, {-2, 3}, {1, 3}}},
      {"pair off the real line",
       {-1.5, 0.8},
       {{0.3, 1e-3}, {0, 1}, {1, 1}, {-1, 2}, {2, 1}, {-2, 3}, {1, 3}}},
      {"wide", {-300, -2e-3, 1e-3, 0.05, 40, 900}, {{0, 1}, {1, 1}, {-1, 2}, {2, 1}, {5, 5}}},
      {"no real root",
       {},
       {{0, 1}, {1, 1}, {-1, 2}, {2, 1}, {0.5, 0.1}, {-3, 1}, {1, 4}, {0, 0.3}}},
  };
  for (const Family& family : families) {
    // The product of (x - r) and (x^2 - 2 a x + a^2 + b^2), coefficients low first.
    std::vector<double> c = {1};
    const auto times = [&c](std::vector<double> factor) {
      std::vector<double> product(c.size() + factor.size() - 1, 0.0);
      for (size_t i = 0; i < c.size(); ++i) {
        for (size_t j = 0; j < factor.size(); ++j) product[i + j] += c[i] * factor[j];
      }
      c = product;
    };
    for (double r : family.real) times({-r, 1});
    for (const auto& p : family.pairs)
      times({p.first * p.first + p.second * p.second, -2 * p.first, 1});
    ASSERT_EQ(c.size(), 17u) << family.name;
    double roots[16];
    const int count = fk_ik::polynomialRealRoots(c.data(), 1e-4, roots);
    Eigen::Matrix<double, 16, 16> companion = Eigen::Matrix<double, 16, 16>::Zero();
    for (int m = 0; m < 16; ++m) {
      if (m > 0) companion(m, m - 1) = 1;
      companion(m, 15) = -c[m] / c[16];
    }
    const Eigen::EigenSolver<Eigen::Matrix<double, 16, 16>> eigen(companion, false);
    // Every eigenvalue well within the near-real band is near a root found, and every root
    // found near an eigenvalue within twice the band.
    const auto band = [](std::complex<double> e) {
      return std::fabs(e.imag()) / (1e-4 * (1 + e.real() * e.real()) / 2);
    };
    for (int m = 0; m < 16; ++m) {
      const std::complex<double> e = eigen.eigenvalues()(m);
      if (band(e) > 0.5) continue;
      double nearest = INFINITY;
      for (int k = 0; k < count; ++k) nearest = std::fmin(nearest, std::fabs(roots[k] - e.real()));
      EXPECT_LT(nearest, 1e-6 * (1 + std::fabs(e.real())) + std::fabs(e.imag()))
          << family.name << " eigenvalue " << e;
    }
    for (int k = 0; k < count; ++k) {
      double nearest = INFINITY;
      for (int m = 0; m < 16; ++m) {
        const std::complex<double> e = eigen.eigenvalues()(m);
        if (band(e) <= 2) {
          nearest = std::fmin(nearest, std::fabs(roots[k] - e.real()) - std::fabs(e.imag()));
        }
      }
      EXPECT_LT(nearest, 1e-6 * (1 + std::fabs(roots[k]))) << family.name << " root " << roots[k];
      if (k > 0) {
        EXPECT_LT(roots[k - 1], roots[k]) << family.name;
      }
    }
  }
}

// An arm with every frame and axis random, as a URDF file may give it: joint frames with
// any rotation and an offset within 0.5, axes of any direction.
Arm randomFramesArm(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> unit(-1, 1), angle(-M_PI, M_PI);
  ArmDescription d;
  d.base = frame(angle(rng), angle(rng), angle(rng), unit(rng), unit(rng), unit(rng));
  for (int i = 0; i < 6; ++i) {
    d.joint[i] =
        frame(angle(rng), angle(rng), angle(rng), unit(rng) / 2, unit(rng) / 2, unit(rng) / 2);
    d.axis[i] = KDL::Vector(unit(rng), unit(rng), unit(rng));
  }
  d.flange = frame(angle(rng), angle(rng), angle(rng), unit(rng) / 5, unit(rng) / 5, 0);
  return build(d);
}

// The smallest singular value of the Jacobian at q, its linear rows over the size.
double smallestSingularValue(const Arm& arm, const double q[6]) {
  fk_ik::ArmJacobian j;
  arm.jacobian(q, KDL::Frame::Identity(), j);
  j.topRows<3>() /= arm.size();
  return Eigen::JacobiSVD<fk_ik::ArmJacobian>(j).singularValues()(5);
}

// Random arms (standard and modified rows, every parameter random; and every frame and axis
// random) and random joints, some at pi, where a half-angle tangent is infinite: the
// producing joints are among the solutions in at least 99.9 % of the poses, every miss at a
// pose within 1e-4 of singular (two solutions merging there), every solution reaches the
// pose, the counts are even. The counts are reported.
TEST(Elimination, EveryRandomArmGivesBackItsJoints) {
  std::mt19937_64 rng(73);
  const int arms = test_support::caseCount(400), posesPerArm = 10;
  int poses = 0, found = 0, odd = 0, counts[17] = {};
  const KDL::Frame tool = frame(0.2, -0.1, 0.4, 0.01, 0.02, 0.08);
  for (int n = 0; n < arms; ++n) {
    const Arm arm = n % 4 == 3
                        ? randomFramesArm(rng)
                        : randomArm(rng, n % 2 ? RowConvention::Modified : RowConvention::Standard);
    for (int k = 0; k < posesPerArm; ++k, ++poses) {
      double q[6];
      randomJoints(rng, M_PI, q);
      if (k == 0) q[n % 6] = M_PI;
      KDL::Frame tcp, reached;
      arm.tcpFrame(q, tool, tcp);
      ArmIkSolutions all;
      ASSERT_EQ(fk_ik::armIkAll(arm, tcp, tool, all), 0) << "arm " << n << " pose " << k;
      bool among = false;
      for (int s = 0; s < all.count; ++s) {
        among = among || jointsApart(all.q[s], q) < 1e-9;
        arm.tcpFrame(all.q[s], tool, reached);
        ASSERT_LT(fk_ik::length(reached.p - tcp.p), 1e-10 * arm.size());
        ASSERT_LT(frameDistance(KDL::Frame(reached.M), KDL::Frame(tcp.M), 1), 1e-10);
      }
      if (!among) {
        const double sigma = smallestSingularValue(arm, q);
        std::cout << "missed: arm " << n << " pose " << k << ", smallest singular value " << sigma
                  << "\n";
        EXPECT_LT(sigma, 1e-4) << "arm " << n << " pose " << k;
      }
      found += among;
      odd += all.count % 2;
      ++counts[all.count];
    }
  }
  std::cout << "producing joints found in " << found << " of " << poses << " poses; counts:";
  for (int c = 0; c <= 16; ++c) std::cout << " " << c << ":" << counts[c];
  std::cout << "\n";
  EXPECT_GE(found, poses - poses / 1000);
  EXPECT_LE(odd, poses / 1000);
}

// A pose of an arm whose determinant, read from joint 1, has all sixteen roots within about
// half a radian: its samples' rounding fills the valley they lie in, and that reading loses
// two of the four solutions. It gives way to another, whichever reading is asked for.
TEST(Elimination, RootsInADeepValleyGoToAnotherReading) {
  const double rows[6][4] = {{0.05, 1.2, 0.30, 0.1},   {0.40, -0.3, 0.02, -0.4},
                             {0.03, 1.57, -0.05, 0.7}, {0.01, -1.1, 0.35, 0.2},
                             {0.02, 0.9, 0.01, -0.3},  {0.0, 0.0, 0.08, 0.5}};
  const double signs[6] = {1, -1, 1, 1, -1, 1};
  const Arm arm = build(describe(rows, RowConvention::Standard, signs));
  const double q[6] = {0.14402118, 0.44932182, -2.54650877, -2.31364237, 2.40140691, 2.17338441};
  KDL::Frame zero[7], target;
  const double q0[6] = {};
  arm.jointFrames(q0, zero);
  arm.flangeFrame(q, target);
  for (int reading = 0; reading < fk_ik::Readings; ++reading) {
    ArmIkSolutions out;
    out.count = 0;
    ASSERT_EQ(fk_ik::eliminationCandidates(zero, target, reading, out), 0);
    EXPECT_EQ(out.count, 4) << "reading " << reading;
    double nearest = INFINITY;
    for (int s = 0; s < out.count; ++s) nearest = std::fmin(nearest, jointsApart(out.q[s], q));
    EXPECT_LT(nearest, 1e-8) << "reading " << reading;
  }
}

// Hundreds of numeric starts per pose land on no solution elimination lacks.
TEST(Elimination, NumericSolverFindsNothingMore) {
  std::mt19937_64 rng(79);
  for (int n = 0; n < 6; ++n) {
    const Arm arm = randomArm(rng, RowConvention::Standard);
    double q[6];
    randomJoints(rng, M_PI, q);
    KDL::Frame target;
    arm.flangeFrame(q, target);
    ArmIkSolutions all;
    ASSERT_EQ(fk_ik::armIkAll(arm, target, KDL::Frame::Identity(), all), 0);
    const NumericSearch search = numericSearch(arm, target, all, test_support::caseCount(300), rng);
    EXPECT_EQ(search.missed, 0) << "arm " << n;
    EXPECT_GT(search.landed, 0) << "arm " << n;
  }
}

// Elimination on every named arm, closed-form ones and near ones unrefined, finds what
// their own route finds.
TEST(Elimination, FindsTheClosedFormsSolutions) {
  std::mt19937_64 rng(83);
  const KDL::Frame tool = frame(-0.3, 0.2, 0.1, 0.03, -0.01, 0.1);
  for (const NamedArm& named : namedArms()) {
    for (int k = 0; k < test_support::caseCount(50); ++k) {
      double q[6];
      randomJoints(rng, M_PI, q);
      KDL::Frame tcp;
      named.arm.tcpFrame(q, tool, tcp);
      ArmIkSolutions own, eliminated;
      ASSERT_EQ(fk_ik::armIkAll(named.arm, tcp, tool, own), 0);
      ASSERT_EQ(fk_ik::armIkByElimination(named.arm, tcp, tool, eliminated), 0);
      ASSERT_EQ(eliminated.count, own.count) << named.name << " pose " << k;
      for (int s = 0; s < own.count; ++s) {
        double nearest = INFINITY;
        for (int t = 0; t < eliminated.count; ++t) {
          nearest = std::fmin(nearest, jointsApart(own.q[s], eliminated.q[t]));
        }
        EXPECT_LT(nearest, 1e-9) << named.name << " pose " << k;
      }
    }
  }
}

// Targets a host can send: not finite, absurdly far, not rigid. A code, never a crash.
TEST(Elimination, HostileTargetsGiveACode) {
  const Arm arm = namedArms().back().arm;
  ArmIkSolutions all;
  KDL::Frame nan(KDL::Vector(NAN, 0, 0)), far(KDL::Vector(1e300, -1e300, 1e300)), skewed;
  skewed.M = KDL::Rotation(2, 0, 0, 0, 1, 0, 0, 0, 1);
  EXPECT_EQ(fk_ik::armIkByElimination(arm, nan, KDL::Frame::Identity(), all), fk_ik::Arm_Invalid);
  EXPECT_EQ(fk_ik::armIkByElimination(arm, KDL::Frame::Identity(), nan, all), fk_ik::Arm_Invalid);
  EXPECT_EQ(fk_ik::armIkByElimination(arm, far, KDL::Frame::Identity(), all),
            fk_ik::Arm_Out_Of_Reach);
  EXPECT_EQ(fk_ik::armIkByElimination(arm, skewed, KDL::Frame::Identity(), all),
            fk_ik::Arm_Out_Of_Reach);
  EXPECT_EQ(all.count, 0);
}

// The candidates of every named arm, hostile targets too, with Eigen's allocation guard on:
// an allocation inside Eigen fails its assertion.
TEST(Elimination, AllocatesNothing) {
  std::mt19937_64 rng(89);
  const std::vector<NamedArm> arms = namedArms();
  Eigen::internal::set_is_malloc_allowed(false);
  for (const NamedArm& named : arms) {
    KDL::Frame zero[7], target;
    const double q0[6] = {};
    named.arm.jointFrames(q0, zero);
    for (int k = 0; k < 5; ++k) {
      double q[6];
      randomJoints(rng, M_PI, q);
      named.arm.flangeFrame(q, target);
      if (k == 4) target.p = KDL::Vector(NAN, 1e300, 0);
      ArmIkSolutions out;
      out.count = 0;
      fk_ik::eliminationCandidates(zero, target, named.arm.inversePlan().reading, out);
      EXPECT_LE(out.count, 16);
    }
  }
  Eigen::internal::set_is_malloc_allowed(true);
}

}  // namespace
