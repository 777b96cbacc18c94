// Shared declarations of libFk_Ik_so: the scalar type aliases used in every
// signature, the library's constants and the sign function.
//
// Units: lengths are in whatever unit the arm's MDH lengths are given in (the
// library converts nothing); angles are radians throughout.
//
// The aliases and the export macro are valid C as well, for the C header fk_ik_so.h;
// the rest is C++.
#ifndef FK_IK_SO_FK_IK_TYPES_H
#define FK_IK_SO_FK_IK_TYPES_H

#include <stdint.h>

typedef uint8_t UInt8;
typedef uint32_t UInt32;
typedef int32_t Int32;
typedef double Float64;
#ifdef __cplusplus
typedef bool Bool;
#else
typedef _Bool Bool;
#endif
typedef void Void;

// The library is built with hidden visibility: only what carries FK_IK_SO_API (the
// exported functions and the classes of the interface) is seen by hosts, and the
// library's calls to its own functions stay inside it. FK_IK_SO_LOCAL keeps a member of
// an exported class inside the library.
#if defined(__GNUC__)
#define FK_IK_SO_API __attribute__((visibility("default")))
#define FK_IK_SO_LOCAL __attribute__((visibility("hidden")))
#else
#define FK_IK_SO_API
#define FK_IK_SO_LOCAL
#endif

#ifdef __cplusplus

const Float64 Pi = 3.141592653589793;
// Conversion factors between millimetres and the chain's unit (metres). Declared
// for hosts that work in millimetres; no computation of the library applies them.
const Float64 Milli2Unit = 0.001;
const Float64 Unit2Milli = 1000.0;

// Capacity of a Vector<T> (elements) and of a Matrix<T> (rows and columns).
const UInt32 Max_Vector_Dimension = 14;
const UInt32 Max_Matrix_Dimension = 14;
// Capacity of a chain's record array; a 6-axis arm fills six of the seven.
const UInt32 Max_Chain_Dof = 7;

// +1 for x > 0, -1 for x < 0, 0 otherwise (zero of either sign and NaN).
template <typename T>
inline int sign(const T& x) {
  return (x > 0) - (0 > x);
}

#endif  // __cplusplus

#endif  // FK_IK_SO_FK_IK_TYPES_H
