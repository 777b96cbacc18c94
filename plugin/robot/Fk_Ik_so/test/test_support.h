// Helpers shared by the test programs: assertion-report patterns, named families of arms and
// joints, and the same arm as a KDL::Chain, an oracle independent of the library's solvers.
#ifndef FK_IK_SO_TEST_SUPPORT_H
#define FK_IK_SO_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <kdl/chain.hpp>
#include <kdl/frames.hpp>
#include <random>
#include <string>
#include <vector>

#include "chain_mdh4.h"
#include "fk_solver_pos.h"
#include "host_support.h"

namespace test_support {

// glibc's assertion report "FILE:LINE: FUNCTION: Assertion `COND' failed." as an extended
// regular expression; file and line only where they are fixed (line 0: any).
inline std::string assertionReport(const std::string& function, const std::string& condition,
                                   const std::string& file = "", int line = 0) {
  std::string text = function + ": Assertion `" + condition + "' failed.", out;
  if (line > 0) text = file + ":" + std::to_string(line) + ": " + text;
  for (char c : text) {
    if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos) out += '\\';
    out += c;
  }
  return out;
}

// Case count of a property test: the default, or FK_IK_TEST_CASES for longer runs.
inline int caseCount(int defaultCount) {
  const char* env = std::getenv("FK_IK_TEST_CASES");
  return env != nullptr ? std::atoi(env) : defaultCount;
}

// The largest element difference of two six-element arrays.
inline double largestDifference(const double* a, const double* b) {
  double d = 0.0;
  for (int j = 0; j < 6; ++j) d = std::fmax(d, std::fabs(a[j] - b[j]));
  return d;
}

inline MathVector joints(double q0, double q1, double q2, double q3, double q4, double q5) {
  const double values[6] = {q0, q1, q2, q3, q4, q5};
  MathVector q(6);
  q = values;
  return q;
}

// Six values in [-range, range]: joint positions (beyond +-pi for range > pi) or velocities.
inline MathVector randomVector(std::mt19937_64& rng, double range) {
  std::uniform_real_distribution<double> value(-range, range);
  MathVector v(6);
  for (UInt32 i = 0; i < 6; ++i) v(i) = value(rng);
  return v;
}

// A tool with its offset in [-0.5, 0.5] along each axis and any orientation.
inline Tool randomTool(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> length(-0.5, 0.5), angle(-M_PI, M_PI);
  return Tool{length(rng), length(rng), length(rng), angle(rng), angle(rng), angle(rng)};
}

// The TCP frame relative to the flange, built here rather than by the library.
inline KDL::Frame toolFrame(const Tool& t) {
  return KDL::Frame(KDL::Rotation::RPY(t.rx, t.ry, t.rz), KDL::Vector(t.x, t.y, t.z));
}

inline std::vector<MDH> makeRecords(const double (&rows)[6][4]) {
  std::vector<MDH> records(6);
  for (int i = 0; i < 6; ++i)
    records[i].a = rows[i][0], records[i].alpha = rows[i][1], records[i].d = rows[i][2],
    records[i].theta = rows[i][3];
  return records;
}

// General arm: every parameter random, lengths in [-1, 1], angles in [-pi, pi].
inline std::vector<MDH> randomArm(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> length(-1.0, 1.0), angle(-M_PI, M_PI);
  std::vector<MDH> records(6);
  for (MDH& r : records)
    r.a = length(rng), r.alpha = angle(rng), r.d = length(rng), r.theta = angle(rng);
  return records;
}

// An arm of the closed-form solver's form: twists 0, -pi/2, 0, pi, pi/2, pi/2; only a[2], a[3]
// non-zero, magnitudes in [0.2, 1] of either sign; d in [-0.5, 0.5], theta in [-pi, pi].
inline std::vector<MDH> randomSixAxisArm(std::mt19937_64& rng) {
  std::uniform_real_distribution<double> link(0.2, 1.0), offset(-0.5, 0.5), angle(-M_PI, M_PI);
  std::bernoulli_distribution negative(0.5);
  const double twists[6] = {0, -M_PI / 2, 0, M_PI, M_PI / 2, M_PI / 2};
  std::vector<MDH> records(6);
  for (int i = 0; i < 6; ++i) {
    records[i].alpha = twists[i];
    records[i].d = offset(rng);
    records[i].theta = angle(rng);
  }
  for (int i : {2, 3}) records[i].a = negative(rng) ? -link(rng) : link(rng);
  return records;
}

// One fixed segment per record (a, alpha), each followed by a RotZ segment (d, theta):
// segment 2k + 1 ends in joint k's frame.
inline KDL::Chain kdlChain(const std::vector<MDH>& r) {
  KDL::Chain chain;
  for (const MDH& record : r) {
    chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::None),
                                  KDL::Frame::DH_Craig1989(record.a, record.alpha, 0, 0)));
    chain.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::RotZ),
                                  KDL::Frame::DH_Craig1989(0, 0, record.d, record.theta)));
  }
  return chain;
}

}  // namespace test_support

#endif  // FK_IK_SO_TEST_SUPPORT_H
