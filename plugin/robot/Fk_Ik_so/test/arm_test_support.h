// The test arms of every layout, and KDL's chain of any arm's description as an oracle.
#ifndef FK_IK_SO_ARM_TEST_SUPPORT_H
#define FK_IK_SO_ARM_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cmath>
#include <kdl/chain.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainiksolverpos_lma.hpp>
#include <random>
#include <string>
#include <vector>

#include "arm.h"
#include "arm_ik_solutions.h"

namespace arm_test {

using fk_ik::Arm;
using fk_ik::ArmDescription;
using fk_ik::ArmFamily;
using fk_ik::RowConvention;

// The library's sample arm (three parallel middle axes), in modified rows a, alpha, d, theta.
const double kParallelMiddleRows[6][4] = {{0, 0, 0.1625, 0},        {0, -M_PI / 2, 0, 0},
                                          {0.425, 0, 0, 0},         {0.3922, M_PI, 0.1333, 0},
                                          {0, M_PI / 2, 0.0997, 0}, {0, M_PI / 2, 0.0996, 0}};
// The same with its angles rounded as real files print them (1e-4 rad off the layout).
const double kRoundedRows[6][4] = {{0, 0, 0.1625, 0},      {0, -1.5708, 0, 0},
                                   {0.425, 0, 0, 0},       {0.3922, 3.1416, 0.1333, 0},
                                   {0, 1.5708, 0.0997, 0}, {0, 1.5708, 0.0996, 0}};
// A spherical wrist behind a shoulder offset, in standard (distal) rows.
const double kSphericalWristRows[6][4] = {{0.15, -M_PI / 2, 0.45, 0}, {0.6, 0, 0, -M_PI / 2},
                                          {0.12, -M_PI / 2, 0, 0},    {0, M_PI / 2, 0.64, 0},
                                          {0, -M_PI / 2, 0, 0},       {0, 0, 0.1, 0}};
// Axes 1, 2, 3 through one point, axes 5 and 6 meeting (modified rows).
const double kSphericalBaseRows[6][4] = {{0, 0, 0.3, 0},       {0, M_PI / 2, 0, 0.4},
                                         {0, -M_PI / 2, 0, 0}, {0.5, M_PI / 2, 0.3, 0},
                                         {0.4, 0.7, 0.1, 0},   {0, M_PI / 2, 0.05, 0}};
// Three parallel middle axes with a shoulder offset and a slanted wrist (modified rows).
const double kThreeParallelRows[6][4] = {{0, 0, 0.2, 0},           {0.1, -M_PI / 2, 0, 0},
                                         {0.5, 0, 0.05, 0},        {0.45, 0, -0.05, 0},
                                         {0.05, M_PI / 2, 0.1, 0}, {0, M_PI / 3, 0.1, 0}};
// No two axes parallel or meeting, no closed form (standard rows).
const double kNoLayoutRows[6][4] = {{0.12, 1.1, 0.35, 0.2},   {0.55, -0.4, 0.08, -0.7},
                                    {0.07, 1.9, -0.11, 0.4},  {0.03, -1.3, 0.42, 1.2},
                                    {0.05, 0.9, -0.06, -0.3}, {0.02, 2.2, 0.09, 0.5}};

inline KDL::Frame frame(double roll, double pitch, double yaw, double x, double y, double z) {
  return KDL::Frame(KDL::Rotation::RPY(roll, pitch, yaw), KDL::Vector(x, y, z));
}

inline Arm build(const ArmDescription& description) {
  Arm arm;
  std::string message;
  EXPECT_EQ(Arm::build(description, arm, &message), fk_ik::Arm_Ok) << message;
  return arm;
}

inline ArmDescription describe(const double (&rows)[6][4], RowConvention convention,
                               const double* signs = nullptr,
                               const KDL::Frame& base = KDL::Frame::Identity(),
                               const KDL::Frame& flange = KDL::Frame::Identity()) {
  ArmDescription description;
  std::string message;
  EXPECT_EQ(ArmDescription::fromRows(rows, convention, signs, base, flange, description, &message),
            fk_ik::Arm_Ok)
      << message;
  return description;
}

struct NamedArm {
  std::string name;
  Arm arm;
  ArmFamily family, nearFamily;
};

// Every layout, with reversed senses, a turned base and a flange somewhere; the calibrated
// arm has axis 3 tilted 1e-3 rad off parallel.
inline std::vector<NamedArm> namedArms() {
  const double flipped[6] = {1, -1, 1, 1, -1, 1};
  const KDL::Frame turned = frame(0, 0, M_PI, 0.2, -0.1, 0.05);
  const KDL::Frame flange = frame(0.1, 0.2, 0.3, 0.01, 0.02, 0.1);
  const ArmDescription exact =
      describe(kParallelMiddleRows, RowConvention::Modified, flipped, turned, flange);
  ArmDescription calibrated = exact;
  calibrated.joint[2] = calibrated.joint[2] * frame(1e-3, 0, 0, 0, 0, 0);
  return {
      {"parallel middle", build(exact), ArmFamily::DesignedChain, ArmFamily::DesignedChain},
      {"rounded", build(describe(kRoundedRows, RowConvention::Modified, nullptr, turned)),
       ArmFamily::General, ArmFamily::DesignedChain},
      {"calibrated", build(calibrated), ArmFamily::General, ArmFamily::DesignedChain},
      {"spherical wrist",
       build(describe(kSphericalWristRows, RowConvention::Standard, flipped, turned, flange)),
       ArmFamily::SphericalWrist, ArmFamily::SphericalWrist},
      {"spherical base", build(describe(kSphericalBaseRows, RowConvention::Modified, flipped)),
       ArmFamily::SphericalBase, ArmFamily::SphericalBase},
      {"three parallel",
       build(describe(kThreeParallelRows, RowConvention::Modified, nullptr, turned, flange)),
       ArmFamily::ThreeParallel, ArmFamily::ThreeParallel},
      {"general", build(describe(kNoLayoutRows, RowConvention::Standard, flipped, turned, flange)),
       ArmFamily::General, ArmFamily::General},
  };
}

// Every parameter random: lengths in [-1, 1], angles in [-pi, pi], senses +-1.
inline Arm randomArm(std::mt19937_64& rng, RowConvention convention) {
  std::uniform_real_distribution<double> length(-1, 1), angle(-M_PI, M_PI);
  double rows[6][4], signs[6];
  for (int i = 0; i < 6; ++i) {
    for (int c = 0; c < 4; ++c) rows[i][c] = c % 2 ? angle(rng) : length(rng);
    signs[i] = angle(rng) < 0 ? -1 : 1;
  }
  const KDL::Frame base = frame(angle(rng), angle(rng), angle(rng), length(rng), 0, 0);
  const KDL::Frame flange = frame(angle(rng), angle(rng), angle(rng), 0, length(rng), 0);
  return build(describe(rows, convention, signs, base, flange));
}

// Every axis the base's z axis: no inverse covers it.
inline Arm degenerateArm() {
  const double rows[6][4] = {};
  return build(describe(rows, RowConvention::Standard));
}

inline void randomJoints(std::mt19937_64& rng, double range, double q[6]) {
  std::uniform_real_distribution<double> value(-range, range);
  for (int i = 0; i < 6; ++i) q[i] = value(rng);
}

inline KDL::JntArray jntArray(const double* q) {
  KDL::JntArray array(6);
  for (int i = 0; i < 6; ++i) array(i) = q[i];
  return array;
}

// A fixed segment to joint 1's frame, then per joint one turning about its axis.
inline KDL::Chain kdlChain(const ArmDescription& d) {
  KDL::Chain chain;
  chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::None), d.base * d.joint[0]));
  for (int i = 0; i < 6; ++i) {
    const KDL::Frame tip = i < 5 ? d.joint[i + 1] : d.flange;
    chain.addSegment(
        KDL::Segment(KDL::Joint(KDL::Vector::Zero(), d.axis[i], KDL::Joint::RotAxis), tip));
  }
  return chain;
}

// Origins apart relative to scale, plus the largest difference of rotation elements (KDL's
// rotation angle reads 0 below about 1e-6).
inline double frameDistance(const KDL::Frame& a, const KDL::Frame& b, double scale) {
  double rotation = 0;
  for (int i = 0; i < 9; ++i) rotation = std::fmax(rotation, std::fabs(a.M.data[i] - b.M.data[i]));
  return fk_ik::length(a.p - b.p) / scale + rotation;
}

// The largest difference of two joint positions, modulo 2 pi.
inline double jointsApart(const double* a, const double* b) {
  double worst = 0;
  for (int i = 0; i < 6; ++i)
    worst = std::fmax(worst, std::fabs(std::remainder(a[i] - b[i], 2 * M_PI)));
  return worst;
}

// KDL's Levenberg-Marquardt solver from random starts towards a flange target: converged
// means within 1e-6 of the pose (KDL's answers are good to about 1e-7), the same solution
// within 1e-4 in the joints.
struct NumericSearch {
  int converged = 0;
  int missed = 0;  // converged starts that landed on none of the solutions
  int landed = 0;  // solutions some start landed on
};

inline NumericSearch numericSearch(const Arm& arm, const KDL::Frame& target,
                                   const fk_ik::ArmIkSolutions& solutions, int starts,
                                   std::mt19937_64& rng) {
  // The solvers keep a reference to the chain.
  const KDL::Chain chain = kdlChain(arm.description());
  KDL::ChainIkSolverPos_LMA numeric(chain, Eigen::Matrix<double, 6, 1>::Ones(), 1e-12, 1000);
  KDL::ChainFkSolverPos_recursive forward(chain);
  NumericSearch search;
  bool landed[fk_ik::Ik_Max_Solutions] = {};
  for (int start = 0; start < starts; ++start) {
    KDL::JntArray found(6);
    double joints[6];
    randomJoints(rng, M_PI, joints);
    numeric.CartToJnt(jntArray(joints), target, found);
    KDL::Frame reached;
    forward.JntToCart(found, reached);
    if (!(frameDistance(reached, target, arm.size()) < 1e-6)) continue;
    ++search.converged;
    for (int i = 0; i < 6; ++i) joints[i] = found(i);
    int nearest = -1;
    for (int s = 0; s < solutions.count; ++s) {
      if (jointsApart(solutions.q[s], joints) < 1e-4) nearest = s;
    }
    if (nearest < 0)
      ++search.missed;
    else if (!landed[nearest])
      landed[nearest] = true, ++search.landed;
  }
  return search;
}

}  // namespace arm_test

#endif  // FK_IK_SO_ARM_TEST_SUPPORT_H
