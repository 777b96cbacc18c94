#include "jacobian.h"

#include <cassert>

namespace {

// to(i, j) = from(i, j), row by row, through the asserting element access.
Void copyElements(Jacobian& to, const Matrix<double>& from) {
  for (UInt32 i = 0; i < to.rows(); ++i) {
    for (UInt32 j = 0; j < to.columns(); ++j) to(i, j) = from(i, j);
  }
}

}  // namespace

Void Jacobian::operator=(const Matrix<double>& other) {
  assert(this->rows() == other.rows());
  assert(this->columns() == other.columns());
  copyElements(*this, other);
}

Void Jacobian::operator=(const Jacobian& other) {
  assert(this->rows() == other.rows());
  assert(this->columns() == other.columns());
  copyElements(*this, other);
}

Jacobian Jacobian::operator-() {
  Jacobian result(static_cast<UInt8>(rows()), static_cast<UInt8>(columns()));
  for (UInt32 i = 0; i < rows(); ++i) {
    for (UInt32 j = 0; j < columns(); ++j) result(i, j) = -(*this)(i, j);
  }
  return result;
}

// The product is formed for its shape check only; the left operand is returned.
Jacobian Jacobian::operator*(const Jacobian& other) {
  static_cast<Void>(Matrix<double>::operator*(other));
  return *this;
}

Jacobian Jacobian::operator*(const Matrix<double>& other) {
  static_cast<Void>(Matrix<double>::operator*(other));
  return *this;
}
