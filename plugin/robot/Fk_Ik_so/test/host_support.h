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

// Distance between the frames of two pose vectors: the larger of the distance between
// their origins and the angle of the rotation from one to the other, so that the many
// angle triples of one rotation count as equal.
inline double poseDistance(const double* p, const double* q) {
  const KDL::Twist difference = KDL::diff(poseFrame(p), poseFrame(q));
  return std::fmax(difference.vel.Norm(), difference.rot.Norm());
}

}  // namespace host_support

#endif  // FK_IK_SO_TEST_HOST_SUPPORT_H
