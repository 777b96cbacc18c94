// What the host-side tests share: the sample arm of the chain form the inverse solver is
// built for, and small checks on the plain arrays that cross the exported functions.
#ifndef FK_IK_SO_TEST_HOST_SUPPORT_H
#define FK_IK_SO_TEST_HOST_SUPPORT_H

#include <cmath>
#include <cstring>
#include <kdl/frames.hpp>

#include "fk_ik_so.h"

namespace host_support {

// The sample arm in metres and radians, rows of a, alpha, d, theta from the base.
const double SampleArm[6][4] = {
    {0.0, 0.0, 0.1625, 0.0},     {0.0, -M_PI / 2, 0.0, 0.0},   {0.425, 0.0, 0.0, 0.0},
    {0.3922, M_PI, 0.1333, 0.0}, {0.0, M_PI / 2, 0.0997, 0.0}, {0.0, M_PI / 2, 0.0996, 0.0},
};

inline bool allFinite(const double (&v)[6]) {
  for (double x : v) {
    if (!std::isfinite(x)) return false;
  }
  return true;
}

inline bool allZero(const double (&v)[6]) {
  for (double x : v) {
    if (x != 0.0) return false;
  }
  return true;
}

// Bit-for-bit equality, NaN payloads and the sign of zero included.
inline bool sameBits(const double (&a)[6], const double (&b)[6]) {
  return std::memcmp(a, b, sizeof a) == 0;
}

inline KDL::Frame poseFrame(const double* pose) {
  return KDL::Frame(KDL::Rotation::RPY(pose[3], pose[4], pose[5]),
                    KDL::Vector(pose[0], pose[1], pose[2]));
}

// Distance between two frames: the distance between their origins plus the angle of the
// rotation from one to the other, 2 asin(|A - B| / sqrt(8)) with A, B the rotation
// matrices and the Frobenius norm, which stays exact for small angles (KDL's own Norm and
// GetRot give 0 below 1e-6). Not-a-number anywhere gives not-a-number.
inline double distance(const KDL::Frame& a, const KDL::Frame& b) {
  double origins = 0.0, rotations = 0.0;
  for (int i = 0; i < 3; ++i) {
    origins += (a.p(i) - b.p(i)) * (a.p(i) - b.p(i));
    for (int j = 0; j < 3; ++j) rotations += (a.M(i, j) - b.M(i, j)) * (a.M(i, j) - b.M(i, j));
  }
  const double halfChord = std::sqrt(rotations / 8);  // sin of half the angle
  return std::sqrt(origins) + 2 * std::asin(halfChord > 1.0 ? 1.0 : halfChord);
}

// Distance between the frames of two pose vectors, so that the many angle triples of one
// rotation count as equal.
inline double poseDistance(const double* p, const double* q) {
  return distance(poseFrame(p), poseFrame(q));
}

}  // namespace host_support

#endif  // FK_IK_SO_TEST_HOST_SUPPORT_H
