#include "matrix.h"

#include <cassert>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <utility>

namespace {

const UInt32 Max_Matrix_Slots = Max_Matrix_Dimension * Max_Matrix_Dimension;

// |x| in the element type; the identity for the unsigned types.
template <typename T>
T absolute(const T& x) {
  if constexpr (std::is_unsigned<T>::value) {
    return x;
  } else {
    return std::fabs(x);
  }
}

// |x| as a Float64, for comparisons with a tolerance.
template <typename T>
Float64 magnitude(const T& x) {
  return static_cast<Float64>(absolute(x));
}

template <typename T>
Bool isNonFinite(const T& x) {
  return std::isnan(x) || std::isinf(x);
}

// a / b. A zero integral divisor would trap; the quotient is 0 instead, and the
// zero pivot then makes the product of u's diagonal zero, which the callers reject.
// Floating-point types divide as they are (a zero pivot gives a non-finite value).
template <typename T>
T quotient(const T& a, const T& b) {
  if constexpr (std::is_integral<T>::value) {
    if (b == 0) return 0;
  }
  return a / b;
}

}  // namespace

// Storage and element access.

template <typename T>
Matrix<T>::Matrix(const UInt32& nr, const UInt32& nc)
    : _data(), _n(0), _nr(0), _nc(0), _eps(1e-10) {
  assert(nr > 0 && nr <= Max_Matrix_Dimension);
  assert(nc > 0 && nc <= Max_Matrix_Dimension);
  _nr = nr;
  _nc = nc;
  _n = nr * nc;
}

template <typename T>
Matrix<T>::Matrix(const T* data) : _data(), _n(0), _nr(0), _nc(0), _eps(1e-10) {
  _copy(data, _data, 1, _n);
}

template <typename T>
Matrix<T>::Matrix(T* data) : _data(), _n(0), _nr(0), _nc(0), _eps(1e-10) {
  _copy(data, _data, 1, _n);
}

template <typename T>
Void Matrix<T>::resize(const UInt32& nr, const UInt32& nc) {
  assert(nr > 0 && nr <= Max_Matrix_Dimension);
  assert(nc > 0 && nc <= Max_Matrix_Dimension);
  _nr = nr;
  _nc = nc;
  _n = nr * nc;
}

template <typename T>
Void Matrix<T>::setToZero() {
  std::memset(_data, 0, _n * sizeof(T));
}

template <typename T>
Matrix<T> Matrix<T>::zero(const UInt32& nr, const UInt32& nc) {
  return Matrix<T>(nr, nc);
}

template <typename T>
Void Matrix<T>::setToIdentity() {
  assert(_nr > 0 && _nc > 0 && _nr == _nc);
  setToZero();
  for (UInt32 i = 0; i < _nr; ++i) _data[i * (_nc + 1)] = 1;
}

template <typename T>
Matrix<T> Matrix<T>::identity(const UInt32& n) {
  Matrix<T> result(n, n);
  for (UInt32 i = 0; i < n; ++i) result._data[i * (n + 1)] = 1;
  return result;
}

template <typename T>
Matrix<T>& Matrix<T>::operator=(const Matrix<T>& other) {
  if (&other != this) _copy(other._data, _data, _nr, _nc);
  return *this;
}

template <typename T>
Matrix<T>::operator T*() const {
  return const_cast<T*>(_data);
}

template <typename T>
T& Matrix<T>::operator()(const UInt32& i, const UInt32& j) {
  assert(i < _nr || j < _nc);
  return _data[i * _nc + j];
}

template <typename T>
T Matrix<T>::operator()(const UInt32& i, const UInt32& j) const {
  assert(i < _nr || j < _nc);
  return _data[i * _nc + j];
}

template <typename T>
UInt32 Matrix<T>::rows() const {
  return _nr;
}

template <typename T>
UInt32 Matrix<T>::columns() const {
  return _nc;
}

template <typename T>
Bool Matrix<T>::isSquare() const {
  return _nr == _nc;
}

// Arithmetic.

template <typename T>
Matrix<T> Matrix<T>::operator+(const Matrix<T>& other) const {
  Matrix<T> result(_nr, _nc);
  for (UInt32 k = 0; k < _n; ++k) result._data[k] = _data[k] + other._data[k];
  return result;
}

template <typename T>
Matrix<T> Matrix<T>::operator-(const Matrix<T>& other) const {
  Matrix<T> result(_nr, _nc);
  for (UInt32 k = 0; k < _n; ++k) result._data[k] = _data[k] - other._data[k];
  return result;
}

template <typename T>
Matrix<T> Matrix<T>::elementMultiply(const Matrix<T>& other) const {
  Matrix<T> result(_nr, _nc);
  for (UInt32 k = 0; k < _n; ++k) result._data[k] = _data[k] * other._data[k];
  return result;
}

template <typename T>
Void Matrix<T>::addToAll(const T& s) {
  for (UInt32 k = 0; k < _n; ++k) _data[k] += s;
}

template <typename T>
Void Matrix<T>::subtractFromAll(const T& s) {
  for (UInt32 k = 0; k < _n; ++k) _data[k] -= s;
}

template <typename T>
Void Matrix<T>::addToPrincipal(const T& s) {
  assert(_nr == _nc);
  for (UInt32 i = 0; i < _nr; ++i) _data[i * _nc + i] += s;
}

template <typename T>
Void Matrix<T>::subtractFromPrincipal(const T& s) {
  assert(_nr == _nc);
  for (UInt32 i = 0; i < _nr; ++i) _data[i * _nc + i] -= s;
}

template <typename T>
Matrix<T> Matrix<T>::plusScalar(const T& s) const {
  Matrix<T> result(_nr, _nc);
  for (UInt32 k = 0; k < _n; ++k) result._data[k] = _data[k] + s;
  return result;
}

// The subtraction applies to the fresh zero result, not to this matrix: kept so.
template <typename T>
Matrix<T> Matrix<T>::minusScalar(const T& s) const {
  Matrix<T> result(_nr, _nc);
  for (UInt32 k = 0; k < _n; ++k) result._data[k] -= s;
  return result;
}

template <typename T>
Matrix<T> Matrix<T>::plusScalarPrincipal(const T& s) const {
  assert(_nr == _nc);
  Matrix<T> result(_nr, _nc);
  for (UInt32 i = 0; i < _nr; ++i) result._data[i * _nc + i] = _data[i * _nc + i] + s;
  return result;
}

template <typename T>
Matrix<T> Matrix<T>::minusScalarPrincipal(const T& s) const {
  assert(_nr == _nc);
  Matrix<T> result(_nr, _nc);
  for (UInt32 i = 0; i < _nr; ++i) result._data[i * _nc + i] = _data[i * _nc + i] - s;
  return result;
}

template <typename T>
Matrix<T> Matrix<T>::operator*(const Matrix<T>& other) const {
  assert(_nc == other.rows());
  Matrix<T> result(_nr, other._nc);
  _multiply(_data, _nr, _nc, other._data, other._nc, result._data);
  return result;
}

template <typename T>
Vector<T> Matrix<T>::operator*(const Vector<T>& v) const {
  Vector<T> result(_nr);
  for (UInt32 i = 0; i < _nr; ++i) {
    T sum = 0;
    for (UInt32 j = 0; j < _nc; ++j) sum += _data[i * _nc + j] * v(j);
    result(i) = sum;
  }
  return result;
}

// Comparison, transposition and extrema.

template <typename T>
Bool Matrix<T>::almostEqual(const Matrix<T>& other, Float64 tol) {
  for (UInt32 k = 0; k < _n; ++k) {
    if (magnitude(static_cast<T>(_data[k] - other._data[k])) > std::fabs(tol)) return false;
  }
  return true;
}

// |this[k]| against other[k]: only the left operand's absolute value, kept so.
template <typename T>
Bool Matrix<T>::operator==(const Matrix<T>& other) const {
  for (UInt32 k = 0; k < _n; ++k) {
    if (absolute(_data[k]) != other._data[k]) return false;
  }
  return true;
}

template <typename T>
Bool Matrix<T>::operator!=(const Matrix<T>& other) {
  return !(*this == other);
}

template <typename T>
Void Matrix<T>::transpose(Matrix<T>& r) {
  assert(_nr == r.columns() && _nc == r.rows());
  for (UInt32 i = 0; i < _nr; ++i) {
    for (UInt32 j = 0; j < _nc; ++j) r(j, i) = (*this)(i, j);
  }
}

template <typename T>
Matrix<T> Matrix<T>::transpose() {
  Matrix<T> result(_nc, _nr);
  _transpose(_data, result._data, _nr, _nc);
  return result;
}

template <typename T>
Void Matrix<T>::min(T& value, UInt32& row, UInt32& col) const {
  UInt32 index = 0;
  value = _data[0];
  for (UInt32 k = 1; k < _n; ++k) {
    if (_data[k] < value) {
      value = _data[k];
      index = k;
    }
  }
  row = index / _nc;
  col = index % _nc;
}

template <typename T>
Void Matrix<T>::max(T& value, UInt32& row, UInt32& col) const {
  UInt32 index = 0;
  value = _data[0];
  for (UInt32 k = 1; k < _n; ++k) {
    if (_data[k] > value) {
      value = _data[k];
      index = k;
    }
  }
  row = index / _nc;
  col = index % _nc;
}

// Raw blocks: packed row-major arrays with their own stride.

template <typename T>
Void Matrix<T>::_copy(const T* src, T* dst, const UInt32& nr, const UInt32& nc) {
  for (UInt32 i = 0; i < nr; ++i) {
    for (UInt32 j = 0; j < nc; ++j) dst[i * nc + j] = src[i * nc + j];
  }
}

template <typename T>
Void Matrix<T>::_transpose(const T* src, T* dst, const UInt32& nr, const UInt32& nc) {
  for (UInt32 i = 0; i < nc; ++i) {
    for (UInt32 j = 0; j < nr; ++j) dst[i * nr + j] = src[j * nc + i];
  }
}

template <typename T>
Void Matrix<T>::_multiply(const T* a, const UInt32& nra, const UInt32& nca, const T* b,
                          const UInt32& ncb, T* c) {
  for (UInt32 i = 0; i < nra; ++i) {
    for (UInt32 j = 0; j < ncb; ++j) {
      T sum = 0;
      for (UInt32 k = 0; k < nca; ++k) sum += a[i * nca + k] * b[k * ncb + j];
      c[i * ncb + j] = sum;
    }
  }
}

// Closed forms of orders 2 and 3; a0 ... a8 are the slots of the block.

template <typename T>
T Matrix<T>::_getDet_2ndOrderMatrix(const T* a) {
  return a[3] * a[0] - a[2] * a[1];
}

template <typename T>
T Matrix<T>::_getDet_3rdOrderMatrix(const T* a) {
  return a[7] * (a[2] * a[3]) + (a[6] * (a[1] * a[5]) + a[8] * (a[0] * a[4])) - a[0] * a[5] * a[7] -
         a[1] * a[3] * a[8] - a[2] * a[4] * a[6];
}

template <typename T>
Bool Matrix<T>::_getInv_2ndOrderMatrix(const T* a, T* out) {
  const T d = _getDet_2ndOrderMatrix(a);
  if (_eps >= magnitude(d)) return false;
  out[0] = a[3] / d;
  out[1] = -a[1] / d;
  out[2] = -a[2] / d;
  out[3] = a[0] / d;
  return true;
}

// The adjugate divided by the determinant.
template <typename T>
Bool Matrix<T>::_getInv_3rdOrderMatrix(const T* a, T* out) {
  const T d = _getDet_3rdOrderMatrix(a);
  if (_eps >= magnitude(d)) return false;
  out[0] = a[8] * a[4] - a[7] * a[5];
  out[3] = -(a[8] * a[3] - a[6] * a[5]);
  out[6] = a[7] * a[3] - a[6] * a[4];
  out[1] = -(a[8] * a[1] - a[7] * a[2]);
  out[4] = a[8] * a[0] - a[6] * a[2];
  out[7] = -(a[7] * a[0] - a[6] * a[1]);
  out[2] = a[5] * a[1] - a[4] * a[2];
  out[5] = -(a[5] * a[0] - a[3] * a[2]);
  out[8] = a[4] * a[0] - a[3] * a[1];
  for (UInt32 k = 0; k < 9; ++k) out[k] /= d;
  return true;
}

// LU factorisation: Doolittle form, column by column, on a working copy W of a
// (kept in u until it is split).
//
// The pivot of column k is the last row, scanning downwards, whose |t| lies within
// _eps of the largest |t| seen up to that row: ties with the maximum, and later rows
// slightly below an earlier maximum, win over earlier rows. This rule is kept as it
// is; it never tests for a zero pivot.
template <typename T>
Void Matrix<T>::_getLU(const T* a, const UInt32& n, T* l, T* u, UInt32* perm) {
  T* w = u;
  _copy(a, w, n, n);
  for (UInt32 k = 0; k < n; ++k) {
    T best = 0;
    for (UInt32 i = k; i < n; ++i) {
      T s = 0;
      for (UInt32 m = 0; m < k; ++m) s += w[i * n + m] * w[m * n + k];
      const T t = w[i * n + k] - s;
      w[i * n + k] = t;
      if (!(best - absolute(t) > 0)) best = absolute(t);
      if (_eps >= magnitude(static_cast<T>(best - absolute(t)))) perm[k] = i;
    }
    if (perm[k] != k) {
      for (UInt32 j = 0; j < n; ++j) std::swap(w[k * n + j], w[perm[k] * n + j]);
    }
    // Column k of l below the pivot, then row k of u right of it (for k = 0 the sum
    // is empty and row 0 stays as it is).
    for (UInt32 i = k + 1; i < n; ++i) {
      T s = 0;
      for (UInt32 m = 0; m < k; ++m) s += w[k * n + m] * w[m * n + i];
      w[i * n + k] = quotient(w[i * n + k], w[k * n + k]);
      w[k * n + i] = w[k * n + i] - s;
    }
  }
  for (UInt32 i = 0; i < n; ++i) {
    for (UInt32 j = 0; j < n; ++j) {
      l[i * n + j] = i > j ? w[i * n + j] : static_cast<T>(i == j);
      if (i > j) u[i * n + j] = 0;
    }
  }
}

// A^-1 = U^-1 L^-1 P: both triangles inverted column by column, then the recorded
// row exchanges undone as column exchanges, last exchange first.
template <typename T>
Void Matrix<T>::_getInvLU(T* inv, const UInt32& n, T* l, T* u, T* linv, T* uinv, UInt32* perm) {
  for (UInt32 i = 0; i < n; ++i) {
    linv[i * n + i] = 1 / l[i * n + i];
    uinv[i * n + i] = 1 / u[i * n + i];
  }
  for (UInt32 j = 0; j < n; ++j) {
    for (UInt32 r = n; r-- > 0;) {
      const UInt32 f = n - 1 - r;
      if (j < f) {
        T s = 0;
        for (UInt32 m = j; m <= f; ++m) s += l[f * n + m] * linv[m * n + j];
        linv[f * n + j] = -linv[j * n + j] * s;
      } else if (j > f) {
        linv[f * n + j] = 0;
      }
      if (j < r) {
        uinv[r * n + j] = 0;
      } else if (j > r) {
        T s = 0;
        for (UInt32 m = r + 1; m <= j; ++m) s += u[r * n + m] * uinv[m * n + j];
        uinv[r * n + j] = (static_cast<T>(-1) / u[r * n + r]) * s;
      }
    }
  }
  for (UInt32 i = 0; i < n; ++i) {
    for (UInt32 j = 0; j < n; ++j) {
      T s = 0;
      for (UInt32 m = j; m < n; ++m) s += uinv[i * n + m] * linv[m * n + j];
      inv[i * n + j] = s;
    }
  }
  for (UInt32 k = n; k-- > 0;) {
    if (perm[k] != k) {
      for (UInt32 i = 0; i < n; ++i) std::swap(inv[i * n + k], inv[i * n + perm[k]]);
    }
  }
}

// Inverse, pseudo-inverses and determinant. Every member computes into local
// scratch and writes its output only on success.

template <typename T>
Bool Matrix<T>::_getInvBlock(const T* a, const UInt32& n, const UInt32& order,
                             const Bool& passAtEps, T* out) {
  switch (order) {
    case 1:
      if (!(magnitude(a[0]) > _eps)) return false;
      out[0] = 1 / a[0];
      return true;
    case 2:
      return _getInv_2ndOrderMatrix(a, out);
    case 3:
      return _getInv_3rdOrderMatrix(a, out);
    default:
      break;
  }
  T l[Max_Matrix_Slots] = {}, u[Max_Matrix_Slots] = {};
  T linv[Max_Matrix_Slots] = {}, uinv[Max_Matrix_Slots] = {};
  UInt32 perm[Max_Matrix_Dimension] = {};
  _getLU(a, n, l, u, perm);
  T p = 1;
  for (UInt32 i = 0; i < n; ++i) {
    p *= u[i * n + i];
    if (isNonFinite(p)) return false;
  }
  // inv passes a product of exactly _eps, the pseudo-inverses fail it.
  if (passAtEps ? _eps > magnitude(p) : !(magnitude(p) > _eps)) return false;
  _getInvLU(out, n, l, u, linv, uinv, perm);
  return true;
}

template <typename T>
Bool Matrix<T>::inv(Matrix<T>& out) {
  if (!isSquare() || !out.isSquare() || out.rows() != _nr) return false;
  T result[Max_Matrix_Slots];
  if (!_getInvBlock(_data, _nr, _nr, true, result)) return false;
  _copy(result, out._data, _nr, _nr);
  return true;
}

// The left pseudo-inverse (A^T A)^-1 A^T for m > n, the right one A^T (A A^T)^-1 for
// m < n. The inverse of the normal matrix is chosen by the row count m: for the left
// one that is not its order n, and the closed forms of order m then read beyond the
// n x n product, into scratch that starts cleared.
template <typename T>
Bool Matrix<T>::_getPseudoInv(Matrix<T>& out, const Bool& left) {
  if (isSquare()) return inv(out);
  const UInt32 m = _nr, n = _nc;
  if (out.rows() != n || out.columns() != m || (left ? m < n : n < m)) return false;
  T at[Max_Matrix_Slots] = {}, g[Max_Matrix_Slots] = {}, ginv[Max_Matrix_Slots] = {};
  _transpose(_data, at, m, n);
  if (left) {
    _multiply(at, n, m, _data, n, g);
  } else {
    _multiply(_data, m, n, at, m, g);
  }
  if (!_getInvBlock(g, left ? n : m, m, false, ginv)) return false;
  if (left) {
    _multiply(ginv, n, n, at, m, out._data);
  } else {
    _multiply(at, n, m, ginv, m, out._data);
  }
  return true;
}

template <typename T>
Bool Matrix<T>::lpinv(Matrix<T>& out) {
  return _getPseudoInv(out, true);
}

template <typename T>
Bool Matrix<T>::rpinv(Matrix<T>& out) {
  return _getPseudoInv(out, false);
}

// From order 4 the result is the product of the pivots: the row exchanges do not
// flip its sign. Required as it is.
template <typename T>
T Matrix<T>::det() {
  if (!isSquare()) return 0;
  switch (_nr) {
    case 1:
      return _data[0];
    case 2:
      return _getDet_2ndOrderMatrix(_data);
    case 3:
      return _getDet_3rdOrderMatrix(_data);
    default:
      break;
  }
  T l[Max_Matrix_Slots] = {}, u[Max_Matrix_Slots] = {};
  UInt32 perm[Max_Matrix_Dimension] = {};
  _getLU(_data, _nr, l, u, perm);
  T p = 1;
  for (UInt32 i = 0; i < _nr; ++i) p *= u[i * _nr + i];
  return p;
}

template class Matrix<unsigned int>;
template class Matrix<unsigned long>;
template class Matrix<float>;
template class Matrix<double>;
