// Vector<T>: the library's fixed-capacity numeric vector.
//
// Up to Max_Vector_Dimension elements live inside the object together with the
// count _n of elements in use. A vector never allocates, has no virtual functions
// and is copied by value (all slots and _n). Slots at and beyond _n keep the
// value they last held: growing with resize() exposes them as they are.
//
// The template is defined in vector.cpp and instantiated there for bool, short,
// int, long, unsigned int, unsigned long, float and double.
#ifndef FK_IK_SO_VECTOR_H
#define FK_IK_SO_VECTOR_H

#include "fk_ik_types.h"

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

 private:
  T _data[Max_Vector_Dimension];
  UInt32 _n;
};

typedef Vector<Float64> MathVector;

#endif  // FK_IK_SO_VECTOR_H
