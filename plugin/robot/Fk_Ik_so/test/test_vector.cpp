// Vector<T> storage and element access, over all eight element types.
#include <cmath>
#include <cstring>

#include "test_support.h"
#include "vector_test_support.h"

using test_support::assertionReport;
using test_support::ElementTypes;
using test_support::slots;
using test_support::TypeName;

namespace {

// Distinct non-zero values for every type (bool cycles through true only).
template <typename T>
T valueAt(int i) {
  return static_cast<T>(i + 1);
}

template <typename T>
class VectorStorage : public ::testing::Test {};

TYPED_TEST_SUITE(VectorStorage, ElementTypes);

TYPED_TEST(VectorStorage, SizedConstructorZeroesEverySlot) {
  using T = TypeParam;
  for (UInt32 n = 0; n <= Max_Vector_Dimension; ++n) {
    Vector<T> v(n);
    EXPECT_EQ(v.size(), n);
    EXPECT_EQ(slots(v), std::vector<T>(Max_Vector_Dimension, T(0)));
  }
}

TYPED_TEST(VectorStorage, PointerConstructorsReadNothing) {
  using T = TypeParam;
  T values[Max_Vector_Dimension];
  for (UInt32 i = 0; i < Max_Vector_Dimension; ++i) values[i] = valueAt<T>(i);
  const T* constPointer = values;
  Vector<T> fromConst(constPointer);
  Vector<T> fromMutable(values);
  Vector<T> fromNull(static_cast<const T*>(nullptr));
  for (const Vector<T>* v : {&fromConst, &fromMutable, &fromNull}) {
    EXPECT_EQ(v->size(), 0u);
    EXPECT_EQ(slots(*v), std::vector<T>(Max_Vector_Dimension, T(0)));
  }
  fromNull.resize(2);
  EXPECT_EQ(fromNull(0), T(0));
  EXPECT_EQ(fromNull(1), T(0));
}

TYPED_TEST(VectorStorage, ResizeKeepsStoredSlots) {
  using T = TypeParam;
  Vector<T> v(6);
  for (UInt32 i = 0; i < 6; ++i) v(i) = valueAt<T>(i);
  v.resize(3);
  EXPECT_EQ(v.size(), 3u);
  v.resize(6);
  for (UInt32 i = 0; i < 6; ++i) EXPECT_EQ(v(i), valueAt<T>(i));
  v.resize(Max_Vector_Dimension);
  EXPECT_EQ(v.size(), Max_Vector_Dimension);
  EXPECT_EQ(v(13), T(0));
}

TYPED_TEST(VectorStorage, AssignmentFromVectorTakesTheSourceSize) {
  using T = TypeParam;
  Vector<T> a(6), b(3);
  for (UInt32 i = 0; i < 6; ++i) a(i) = valueAt<T>(i);
  for (UInt32 i = 0; i < 3; ++i) b(i) = valueAt<T>(10 - i);
  a = b;
  EXPECT_EQ(a.size(), 3u);
  for (UInt32 i = 0; i < 3; ++i) EXPECT_EQ(a(i), b(i));
  a.resize(6);  // the slots beyond the copied three keep a's old values
  for (UInt32 i = 3; i < 6; ++i) EXPECT_EQ(a(i), valueAt<T>(i));

  Vector<T> copy(a);
  EXPECT_EQ(slots(copy), slots(a));
  EXPECT_EQ(copy.size(), a.size());
}

TYPED_TEST(VectorStorage, AssignmentFromArrayReadsTheCurrentSize) {
  using T = TypeParam;
  T values[4] = {valueAt<T>(0), valueAt<T>(1), valueAt<T>(2), valueAt<T>(3)};
  Vector<T> empty;
  empty = static_cast<const T*>(nullptr);  // size 0: nothing is read
  EXPECT_EQ(empty.size(), 0u);
  Vector<T> v(3);
  v = static_cast<const T*>(values);
  EXPECT_EQ(v.size(), 3u);
  for (UInt32 i = 0; i < 3; ++i) EXPECT_EQ(v(i), values[i]);
  v.resize(4);
  EXPECT_EQ(v(3), T(0));
}

TYPED_TEST(VectorStorage, PointerConversionAddressesSlotZero) {
  using T = TypeParam;
  Vector<T> v(2);
  T* p = v;
  p[1] = valueAt<T>(5);
  EXPECT_EQ(v(1), valueAt<T>(5));
  const Vector<T>& constView = v;
  EXPECT_EQ(static_cast<T*>(constView), p);
}

TYPED_TEST(VectorStorage, SetToZeroClearsOnlyTheUsedElements) {
  using T = TypeParam;
  Vector<T> v(Max_Vector_Dimension);
  for (UInt32 i = 0; i < Max_Vector_Dimension; ++i) v(i) = valueAt<T>(i);
  v.resize(2);
  v.setToZero();
  v.resize(Max_Vector_Dimension);
  EXPECT_EQ(v(0), T(0));
  EXPECT_EQ(v(1), T(0));
  for (UInt32 i = 2; i < Max_Vector_Dimension; ++i) EXPECT_EQ(v(i), valueAt<T>(i));
}

TYPED_TEST(VectorStorage, ZeroAndFill) {
  using T = TypeParam;
  Vector<T> z = Vector<T>::zero(5);
  EXPECT_EQ(z.size(), 5u);
  EXPECT_EQ(slots(z), std::vector<T>(Max_Vector_Dimension, T(0)));

  Vector<T> v(3);
  v.fill(7);
  for (UInt32 i = 0; i < 3; ++i) EXPECT_EQ(v(i), static_cast<T>(7));
  v.resize(4);
  EXPECT_EQ(v(3), T(0));  // fill writes the used elements only
}

TEST(VectorStorage, FillConvertsTheInteger) {
  Vector<bool> flags(3);
  flags.fill(5);
  for (UInt32 i = 0; i < 3; ++i) EXPECT_TRUE(flags(i));
  flags.fill(0);
  for (UInt32 i = 0; i < 3; ++i) EXPECT_FALSE(flags(i));
  Vector<float> f(2);
  f.fill(-2);
  EXPECT_EQ(f(0), -2.0f);
  Vector<unsigned int> u(1);
  u.fill(-1);
  EXPECT_EQ(u(0), 4294967295u);
}

// The reports name the function with the instantiation's own types.
template <typename T>
class VectorAssertions : public ::testing::Test {};
TYPED_TEST_SUITE(VectorAssertions, ElementTypes);

TYPED_TEST(VectorAssertions, ReportsNameTheFunctionAndCondition) {
  using T = TypeParam;
  const std::string type = TypeName<T>::value;
  const std::string resize =
      "Void Vector<T>::resize(UInt32) [with T = " + type + "; Void = void; UInt32 = unsigned int]";
  const std::string access =
      "T& Vector<T>::operator()(const UInt32&) [with T = " + type + "; UInt32 = unsigned int]";
  const std::string constAccess =
      "T Vector<T>::operator()(const UInt32&) const [with T = " + type + "; UInt32 = unsigned int]";

  EXPECT_DEATH(Vector<T>(1).resize(15), assertionReport(resize, "n <= Max_Vector_Dimension"));
  EXPECT_DEATH(
      {
        Vector<T> v(3);
        v(3) = T(1);
      },
      assertionReport(access, "id < _n"));
  EXPECT_DEATH(
      {
        const Vector<T> v;
        T value = v(0);
        (void)value;
      },
      assertionReport(constAccess, "id < _n"));
  // A count above the capacity never overruns the storage.
  EXPECT_DEATH(Vector<T>(15), assertionReport("Vector<T>::Vector(UInt32) [with T = " + type +
                                                  "; UInt32 = unsigned int]",
                                              "n <= Max_Vector_Dimension"));
}

}  // namespace
