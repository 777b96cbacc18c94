// Vector<T>: the library's fixed-capacity numeric vector.
//
// Up to Max_Vector_Dimension elements live inside the object together with the
// count _n of elements in use. A vector never allocates, has no virtual functions
// and is copied by value (all slots and _n). Slots at and beyond _n keep the
// value they last held: growing with resize() exposes them as they are.
//
// The template is defined in vector.cpp (element access below) and instantiated there
// for bool, short, int, long, unsigned int, unsigned long, float and double.
#ifndef FK_IK_SO_VECTOR_H
#define FK_IK_SO_VECTOR_H

#include "fk_ik_types.h"

// The checks of the inline members below report as glibc's assert does, and stay on in a
// client compiled with NDEBUG, as the library's own are.
extern "C" void __assert_fail(const char* assertion, const char* file, unsigned int line,
                              const char* function) noexcept __attribute__((__noreturn__));
#define FK_IK_SO_ASSERT(expr)        \
  (static_cast<bool>(expr) ? void(0) \
                           : __assert_fail(#expr, __FILE__, __LINE__, __PRETTY_FUNCTION__))

// Exported through the pragma rather than an attribute on the class: an attribute would
// change how GCC spells the type in the assertion reports of the members.
#pragma GCC visibility push(default)
template <typename T>
class Vector {
 public:
  // A vector of n zeros (n <= Max_Vector_Dimension); every slot starts at zero.
  explicit Vector(UInt32 n = 0);
  // An empty, all-zero vector. p is never read: load values from an array with
  // resize() followed by operator=(const T*).
  explicit Vector(const T* p);
  explicit Vector(T* p);
  // Copies the whole object: all slots and the count.
  Vector(const Vector<T>& other) = default;

  UInt32 size() const;
  // Sets the count of elements in use; stored slot values are kept, not cleared.
  Void resize(UInt32 n);

  T& operator()(const UInt32& id);
  T operator()(const UInt32& id) const;

  // Takes other's size, then its elements 0 ... size()-1.
  Void operator=(const Vector<T>& other);
  // Reads p[0] ... p[size()-1]; the size is unchanged.
  Void operator=(const T* p);
  // Address of element 0 (writable storage, although the member is const).
  operator T*() const;

  // Clears elements 0 ... size()-1; slots beyond are untouched.
  Void setToZero();
  static Vector<T> zero(const UInt32& n);
  // Sets elements 0 ... size()-1 to value converted to T.
  template <typename T1>
  Void fill(const T1& value);

  // Arithmetic and reductions. Results carry the size of *this; members that take a
  // second vector assert that the sizes agree. Each operation is the element type's
  // own arithmetic: the integer types wrap, short and bool compute in int and convert
  // the result back (for bool: non-zero is true), division by zero is left to T.

  // Element-wise absolute value, taken in double and converted back.
  Vector<T> abs() const;
  // False as soon as some |this(i) - other(i)|, the difference taken in T (in int for
  // short and bool), exceeds |tolerance|. A NaN difference does not count as exceeding.
  Bool almostEqual(const Vector<T>& other, Float64 tolerance);
  // Equality of T for every element: a NaN element makes vectors unequal, 0.0 == -0.0.
  Bool operator==(const Vector<T>& other);
  Bool operator!=(const Vector<T>& other);

  // Element-wise sums and differences, with another vector or with one scalar s for
  // every element; addToAll and subtractFromAll work in place.
  Vector<T> operator+(const Vector<T>& other) const;
  Void addToAll(const T& s);
  Vector<T> plusScalar(const T& s) const;
  Vector<T> operator-(const Vector<T>& other) const;
  Void subtractFromAll(const T& s);
  Vector<T> minusScalar(const T& s) const;
  // s times each element.
  Vector<T> operator*(const T& s) const;
  // No test of s: a zero divisor gives infinities or NaN for float and double and is
  // undefined (a division fault) for the integer types and bool.
  Vector<T> operator/(const T& s) const;
  Vector<T> elementMultiply(const Vector<T>& other) const;

  // Sum of the products in T, started at zero, in index order.
  T dot(const Vector<T>& other) const;
  // Square root, in double, of the sum of squares formed in T; converted back to T
  // (truncated for the integer types). Not guarded against overflow of the sum.
  T norm() const;
  // Divides every element by norm() when it is greater than zero (for the integer
  // types: at least 1); otherwise, also for a NaN norm, sets every element to zero.
  Void normalize();
  // Projection of *this onto other: other * (dot(other) / other.dot(other)). The guard
  // tests the norm of *this: a zero *this gives zeros whatever other is, while a zero
  // other divides by zero.
  Vector<T> project(const Vector<T>& other) const;

  // Extrema: the first, lowest-indexed one among equals. The candidate starts at slot
  // 0 and is replaced only by a strictly smaller (larger) element, so a NaN neither
  // replaces nor is replaced; an empty vector yields slot 0's stored value and index 0.
  Void min(T& value, UInt32& index) const;
  T min() const;
  UInt32 minIndex() const;
  T minAbs() const;
  // Index of abs().min(), converted to T (a Vector<bool> gives true for any index but 0).
  T minAbsIndex() const;
  Void max(T& value, UInt32& index) const;
  T max() const;
  UInt32 maxIndex() const;
  T maxAbs() const;
  // Index of abs().max(), converted to T. The name is part of the interface as spelled.
  T masAbsIndex() const;

 private:
  T _data[Max_Vector_Dimension];
  UInt32 _n;
};

// Size and element access are inline, for the solvers' hot paths; the explicit
// instantiations in vector.cpp still export them (visible by name: copies that other
// sources keep would otherwise hide them).
template <typename T>
FK_IK_SO_API inline UInt32 Vector<T>::size() const {
  return _n;
}

template <typename T>
FK_IK_SO_API inline Void Vector<T>::resize(UInt32 n) {
  FK_IK_SO_ASSERT(n <= Max_Vector_Dimension);
  _n = n;
}

template <typename T>
FK_IK_SO_API inline T& Vector<T>::operator()(const UInt32& id) {
  FK_IK_SO_ASSERT(id < _n);
  return _data[id];
}

template <typename T>
FK_IK_SO_API inline T Vector<T>::operator()(const UInt32& id) const {
  FK_IK_SO_ASSERT(id < _n);
  return _data[id];
}
#pragma GCC visibility pop

typedef Vector<Float64> MathVector;

#endif  // FK_IK_SO_VECTOR_H
