// Shared declarations of libFk_Ik_so: the scalar type aliases used in every
// signature, the library's constants and the sign function.
//
// Units: lengths are in whatever unit the arm's MDH lengths are given in (the
// library converts nothing); angles are radians throughout.
#ifndef FK_IK_SO_FK_IK_TYPES_H
#define FK_IK_SO_FK_IK_TYPES_H

#include <cstdint>

typedef std::uint8_t UInt8;
typedef std::uint32_t UInt32;
typedef std::int32_t Int32;
typedef double Float64;
typedef bool Bool;
typedef void Void;

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

#endif  // FK_IK_SO_FK_IK_TYPES_H
