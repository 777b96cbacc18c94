// Helpers of the Vector<T> tests: the eight element types for typed tests, each type's
// name as GCC spells it in an assertion report, and a view of a vector's storage.
#ifndef FK_IK_SO_VECTOR_TEST_SUPPORT_H
#define FK_IK_SO_VECTOR_TEST_SUPPORT_H

#include <gtest/gtest.h>

#include <vector>

#include "vector.h"

namespace test_support {

using ElementTypes =
    ::testing::Types<bool, short, int, long, unsigned int, unsigned long, float, double>;

template <typename T>
struct TypeName;
template <>
struct TypeName<bool> {
  static constexpr const char* value = "bool";
};
template <>
struct TypeName<short> {
  static constexpr const char* value = "short int";
};
template <>
struct TypeName<int> {
  static constexpr const char* value = "int";
};
template <>
struct TypeName<long> {
  static constexpr const char* value = "long int";
};
template <>
struct TypeName<unsigned int> {
  static constexpr const char* value = "unsigned int";
};
template <>
struct TypeName<unsigned long> {
  static constexpr const char* value = "long unsigned int";
};
template <>
struct TypeName<float> {
  static constexpr const char* value = "float";
};
template <>
struct TypeName<double> {
  static constexpr const char* value = "double";
};

// All fourteen slots, whatever the size.
template <typename T>
std::vector<T> slots(const Vector<T>& v) {
  const T* p = v;
  return std::vector<T>(p, p + Max_Vector_Dimension);
}

}  // namespace test_support

#endif  // FK_IK_SO_VECTOR_TEST_SUPPORT_H
