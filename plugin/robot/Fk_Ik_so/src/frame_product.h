// The product of two KDL frames, inline.
#ifndef FK_IK_SO_FRAME_PRODUCT_H
#define FK_IK_SO_FRAME_PRODUCT_H

#include <kdl/frames.hpp>

// lhs * rhs with the operations of KDL's frame product in the same order, so the result
// is the same to the bit, but inline: KDL's rotation product is an out-of-line call.
inline KDL::Frame frameProduct(const KDL::Frame& lhs, const KDL::Frame& rhs) {
  const KDL::Rotation& a = lhs.M;
  const KDL::Rotation& b = rhs.M;
  KDL::Rotation m;
  for (int i = 0; i < 3; ++i) {
    for (int j = 0; j < 3; ++j) m(i, j) = a(i, 0) * b(0, j) + a(i, 1) * b(1, j) + a(i, 2) * b(2, j);
  }
  return KDL::Frame(m, a * rhs.p + lhs.p);
}

#endif  // FK_IK_SO_FRAME_PRODUCT_H
