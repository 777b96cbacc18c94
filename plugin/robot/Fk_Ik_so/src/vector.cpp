#include "vector.h"

#include <cassert>
#include <climits>
#include <cmath>
#include <cstring>
#include <functional>
#include <tuple>
#include <type_traits>
#include <utility>

// Element arithmetic and reductions precede the storage members below.
//
// Each operation is written once and is the element type's own arithmetic: float and
// double follow IEEE (a NaN compares false, x / 0 is infinite or NaN); int and long wrap
// on overflow (this file is compiled with -fwrapv), the unsigned types modulo 2^32 and
// 2^64; short and bool compute in int and convert each result back, so short keeps the
// low 16 bits and bool is true where it is non-zero (+ is a logical or, - true where the
// elements differ, * a logical and). Integer division by zero faults, as in T itself.
//
// GCC names Vector of a template parameter after its first spelling in this file, and
// size assertions report return types with that name: it is spelled Vector<T1> here.

namespace {

// A vector of n elements, element i being f(i), written through the result's access.
template <typename T1, typename F>
Vector<T1> elementWise(UInt32 n, F f) {
  Vector<T1> result(n);
  for (UInt32 i = 0; i < n; ++i) result(i) = f(i);
  return result;
}

// x converted to T as GCC's code for x86-64 has always converted it, but with every case
// defined: a plain cast is undefined out of range, and the sanitizer build stops there.
// In range the conversion truncates toward zero. Out of range, and for a NaN, the
// truncating instruction gives its "integer indefinite" value, the smallest int or long;
// short keeps the low 16 bits of that int (0), and unsigned int the low 32 bits of the
// long. unsigned long from 2^63 on converts x - 2^63 and sets the top bit again, so 2^64
// gives 0. abs() and norm() meet these cases: |INT_MIN| is 2^31, |LONG_MIN| and every
// long from 2^63 - 512 on become 2^63 in double, unsigned longs from 2^64 - 1024 on
// become 2^64, and the root of a sum of squares that wrapped negative is a NaN.
template <typename T>
T fromDouble(Float64 x) {
  const Float64 two31 = 2147483648.0, two63 = 9223372036854775808.0;
  // The instruction's two widths: 32 bits for int and short, 64 bits for the others.
  const auto toInt = [&](Float64 v) { return v > -two31 - 1 && v < two31 ? int(v) : INT_MIN; };
  const auto toLong = [&](Float64 v) { return v >= -two63 && v < two63 ? long(v) : LONG_MIN; };
  if constexpr (std::is_same<T, int>::value || std::is_same<T, short>::value) {
    return static_cast<T>(toInt(x));
  } else if constexpr (std::is_same<T, long>::value || std::is_same<T, unsigned int>::value) {
    return static_cast<T>(toLong(x));
  } else if constexpr (std::is_same<T, unsigned long>::value) {
    // No unsigned conversion instruction: below 2^63 (or NaN) the signed one, else the
    // signed one on x - 2^63, which is exact there.
    if (!(x >= two63)) return static_cast<T>(toLong(x));
    return static_cast<T>(toLong(x - two63)) ^ (T(1) << 63);
  } else {
    return static_cast<T>(x);  // float, double and bool: defined for every value
  }
}

}  // namespace

// fabs clears the sign bit of float and double (-0.0 becomes 0.0); integers pass through
// double, exact up to 2^53, and come back through fromDouble. short comes back through int,
// as its other results do, so that |-32768| wraps to -32768 instead of leaving its range.
template <typename T1>
Vector<T1> Vector<T1>::abs() const {
  using Promoted = decltype(+T1());
  return elementWise<T1>(_n, [this](UInt32 i) {
    return fromDouble<Promoted>(std::fabs(static_cast<Float64>(_data[i])));
  });
}

// The difference keeps the promoted type of T: it wraps for int, long and the unsigned
// types (whose wrapped difference is never negative), and is exact in int for short and
// bool. A float difference is rounded in float, then compared in double. A NaN
// difference compares false and so never fails the test.
template <typename T>
Bool Vector<T>::almostEqual(const Vector<T>& other, Float64 tolerance) {
  assert(_n == other.size());
  for (UInt32 i = 0; i < _n; ++i)
    if (std::fabs(static_cast<Float64>(_data[i] - other(i))) > std::fabs(tolerance)) return false;
  return true;
}

// The equality of T: for float and double a NaN element makes the vectors unequal, and
// 0.0 equals -0.0.
template <typename T>
Bool Vector<T>::operator==(const Vector<T>& other) {
  assert(_n == other.size());
  for (UInt32 i = 0; i < _n; ++i)
    if (!(_data[i] == other(i))) return false;
  return true;
}

// True as soon as one pair of elements compares unequal with != of T (a NaN element
// always does).
template <typename T>
Bool Vector<T>::operator!=(const Vector<T>& other) {
  assert(_n == other.size());
  for (UInt32 i = 0; i < _n; ++i)
    if (_data[i] != other(i)) return true;
  return false;
}

// Sums wrap like the element type's own: short keeps the low 16 bits of the int sum
// (32767 + 1 is -32768), and for bool a sum is a logical or.
template <typename T1>
Vector<T1> Vector<T1>::operator+(const Vector<T1>& other) const {
  assert(_n == other.size());
  return elementWise<T1>(_n, [&](UInt32 i) { return _data[i] + other(i); });
}

// The scalar forms add one value to every element: in place, writing the storage
// directly, or into a new vector that leaves *this as it was.
template <typename T>
Void Vector<T>::addToAll(const T& s) {
  for (UInt32 i = 0; i < _n; ++i) _data[i] = _data[i] + s;
}

// For bool, plusScalar(true) is all true and plusScalar(false) a copy of *this; for
// the unsigned types a sum past the largest value starts again from zero.
template <typename T1>
Vector<T1> Vector<T1>::plusScalar(const T1& s) const {
  return elementWise<T1>(_n, [&](UInt32 i) { return _data[i] + s; });
}

// Differences, the same three ways. The unsigned types wrap (for unsigned int, 1 - 2 is
// 4294967295), short keeps the low 16 bits of the int difference, and for bool the
// difference is true where the two elements differ.
template <typename T1>
Vector<T1> Vector<T1>::operator-(const Vector<T1>& other) const {
  assert(_n == other.size());
  return elementWise<T1>(_n, [&](UInt32 i) { return _data[i] - other(i); });
}

// The same s subtracted from every element, in place or into a new vector. For the
// unsigned types an element smaller than s wraps to a large value; for bool a false s
// leaves the elements as they are, and a true s negates each of them.
template <typename T>
Void Vector<T>::subtractFromAll(const T& s) {
  for (UInt32 i = 0; i < _n; ++i) _data[i] = _data[i] - s;
}

template <typename T1>
Vector<T1> Vector<T1>::minusScalar(const T1& s) const {
  return elementWise<T1>(_n, [&](UInt32 i) { return _data[i] - s; });
}

// Scaling: s times each element, s being the left factor. Products wrap for the integer
// types; for bool the product is a logical and, so a false s clears the vector and a
// true s leaves it as it is.
template <typename T1>
Vector<T1> Vector<T1>::operator*(const T1& s) const {
  return elementWise<T1>(_n, [&](UInt32 i) { return s * _data[i]; });
}

// No test of s: a zero s gives infinities or NaN for float and double and is a division
// fault for the integer types, as is a false s for bool (a true one leaves the vector
// as it is). Integer quotients truncate toward zero; the smallest int or long divided
// by -1 does not fit and faults as well.
template <typename T1>
Vector<T1> Vector<T1>::operator/(const T1& s) const {
  return elementWise<T1>(_n, [&](UInt32 i) { return _data[i] / s; });
}

// Element-wise products, wrapping for the integer types (short keeps the low 16 bits of
// the int product, so 300 * 300 is 24464); for bool a logical and, so the result keeps
// the true elements of *this where other is true.
template <typename T1>
Vector<T1> Vector<T1>::elementMultiply(const Vector<T1>& other) const {
  assert(_n == other.size());
  return elementWise<T1>(_n, [&](UInt32 i) { return _data[i] * other(i); });
}

// The sum is kept in T from the first product on, so it wraps for the integer types
// (short keeps the low 16 bits after every step) and, for bool, is true when some index
// has both elements true.
template <typename T>
T Vector<T>::dot(const Vector<T>& other) const {
  assert(_n == other.size());
  T sum = T(0);
  for (UInt32 i = 0; i < _n; ++i) sum = sum + _data[i] * other(i);
  return sum;
}

// The sum of squares is dot(*this), formed in T: a float sum rounds in float before
// the root, an integer sum may wrap. No scaling guards against overflow.
template <typename T>
T Vector<T>::norm() const {
  return fromDouble<T>(std::sqrt(static_cast<Float64>(dot(*this))));
}

// "Greater than zero" in T is n > 0.0 for float and double (false for a NaN norm),
// n >= 1 for the signed integers and n != 0 for the unsigned types and bool.
template <typename T>
Void Vector<T>::normalize() {
  const T n = norm();
  if (n > T(0)) {
    for (UInt32 i = 0; i < _n; ++i) _data[i] = _data[i] / n;
  } else {
    setToZero();
  }
}

// The guard tests the norm of *this, not of other: a zero *this gives zeros whatever
// other is, while a zero other with a non-zero *this divides by zero as T does.
template <typename T1>
Vector<T1> Vector<T1>::project(const Vector<T1>& other) const {
  assert(_n == other.size());
  Vector<T1> result(size());
  if (norm() > T1(0)) {
    const T1 s = dot(other) / other.dot(other);
    result = other * s;
  } else {
    result.fill(0);
  }
  return result;
}

namespace {

// Element and index of the extremum of data[0 ... n-1]: the candidate starts at slot 0,
// read even when n is 0, and a later element replaces it only where better() holds,
// strictly. Ties keep the lowest index; a NaN neither replaces nor is replaced.
template <typename T, typename Better>
std::pair<T, UInt32> extremum(const T* data, UInt32 n, Better better) {
  std::pair<T, UInt32> best(data[0], 0);
  for (UInt32 i = 1; i < n; ++i)
    if (better(data[i], best.first)) best = std::make_pair(data[i], i);
  return best;
}

}  // namespace

template <typename T>
Void Vector<T>::min(T& value, UInt32& index) const {
  std::tie(value, index) = extremum(_data, _n, std::less<T>());
}

template <typename T>
T Vector<T>::min() const {
  return extremum(_data, _n, std::less<T>()).first;
}

template <typename T>
UInt32 Vector<T>::minIndex() const {
  return extremum(_data, _n, std::less<T>()).second;
}

template <typename T>
Void Vector<T>::max(T& value, UInt32& index) const {
  std::tie(value, index) = extremum(_data, _n, std::greater<T>());
}

template <typename T>
T Vector<T>::max() const {
  return extremum(_data, _n, std::greater<T>()).first;
}

template <typename T>
UInt32 Vector<T>::maxIndex() const {
  return extremum(_data, _n, std::greater<T>()).second;
}

template <typename T>
T Vector<T>::minAbs() const {
  return abs().min();
}

template <typename T>
T Vector<T>::minAbsIndex() const {
  return static_cast<T>(abs().minIndex());
}

template <typename T>
T Vector<T>::maxAbs() const {
  return abs().max();
}

template <typename T>
T Vector<T>::masAbsIndex() const {
  return static_cast<T>(abs().maxIndex());
}

// Storage (size and element access are inline in the header).

template <typename T>
Vector<T>::Vector(UInt32 n) {
  assert(n <= Max_Vector_Dimension);
  std::memset(_data, 0, sizeof(_data));
  _n = n;
  std::memset(_data, 0, n * sizeof(T));
}

// The copy loop runs over the count, which is still 0: p is never read and the
// result is an empty vector, on purpose. Values from an array are loaded with
// resize() followed by operator=(const T*).
template <typename T>
Vector<T>::Vector(const T* p) {
  std::memset(_data, 0, sizeof(_data));
  _n = 0;
  for (UInt32 i = 0; i < _n; ++i) _data[i] = p[i];
}

template <typename T>
Vector<T>::Vector(T* p) {
  std::memset(_data, 0, sizeof(_data));
  _n = 0;
  for (UInt32 i = 0; i < _n; ++i) _data[i] = p[i];
}

template <typename T>
Void Vector<T>::operator=(const Vector<T>& other) {
  _n = other.size();
  for (UInt32 i = 0; i < _n; ++i) _data[i] = other(i);
}

template <typename T>
Void Vector<T>::operator=(const T* p) {
  for (UInt32 i = 0; i < _n; ++i) _data[i] = p[i];
}

template <typename T>
Vector<T>::operator T*() const {
  return const_cast<T*>(_data);
}

template <typename T>
Void Vector<T>::setToZero() {
  std::memset(_data, 0, _n * sizeof(T));
}

template <typename T>
Vector<T> Vector<T>::zero(const UInt32& n) {
  Vector<T> result(n);
  std::memset(static_cast<T*>(result), 0, n * sizeof(T));
  return result;
}

template <typename T>
template <typename T1>
Void Vector<T>::fill(const T1& value) {
  for (UInt32 i = 0; i < _n; ++i) _data[i] = static_cast<T>(value);
}

#define FK_IK_SO_INSTANTIATE_VECTOR(T) \
  template class Vector<T>;            \
  template Void Vector<T>::fill<int>(const int&);

FK_IK_SO_INSTANTIATE_VECTOR(bool)
FK_IK_SO_INSTANTIATE_VECTOR(short)
FK_IK_SO_INSTANTIATE_VECTOR(int)
FK_IK_SO_INSTANTIATE_VECTOR(long)
FK_IK_SO_INSTANTIATE_VECTOR(unsigned int)
FK_IK_SO_INSTANTIATE_VECTOR(unsigned long)
FK_IK_SO_INSTANTIATE_VECTOR(float)
FK_IK_SO_INSTANTIATE_VECTOR(double)
