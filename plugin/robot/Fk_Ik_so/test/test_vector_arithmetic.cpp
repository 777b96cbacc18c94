// Vector<T> arithmetic, comparisons, norms, projection and extrema: typed tests over the
// eight element types for what they share, one table per column where the types differ,
// and Eigen as an independent oracle for Vector<double>.
#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <type_traits>

#include "test_support.h"
#include "vector_test_support.h"

using test_support::assertionReportAt;
using test_support::ElementTypes;
using test_support::slots;
using test_support::TypeName;

namespace {

const double Inf = std::numeric_limits<double>::infinity();
const double NaN = std::numeric_limits<double>::quiet_NaN();

template <typename T>
Vector<T> vec(std::initializer_list<T> values) {
  Vector<T> v(static_cast<UInt32>(values.size()));
  UInt32 i = 0;
  for (T x : values) v(i++) = x;
  return v;
}

template <typename T>
std::vector<T> elements(const Vector<T>& v) {
  std::vector<T> out = slots(v);
  out.resize(v.size());
  return out;
}

// The oracle's exact arithmetic: long long for the integer types and bool, double for
// float and double. The small operands drawn below never overflow it, so its result
// converted to T is what T's own arithmetic gives: wrapped for the unsigned types, the
// low 16 bits for short, non-zero is true for bool.
template <typename T>
using Wide = std::conditional_t<std::is_floating_point<T>::value, double, long long>;

// -9 ... 9 for signed and floating-point types, 0 ... 9 unsigned, 0 or 1 for bool.
template <typename T>
T smallElement(std::mt19937_64& rng, bool nonZero = false) {
  const int high = std::is_same<T, bool>::value ? 1 : 9;
  std::uniform_int_distribution<int> draw(std::is_signed<T>::value ? -high : 0, high);
  int x = draw(rng);
  while (nonZero && x == 0) x = draw(rng);
  return static_cast<T>(x);
}

template <typename T>
Vector<T> smallVector(std::mt19937_64& rng, UInt32 n) {
  Vector<T> v(n);
  for (UInt32 i = 0; i < n; ++i) v(i) = smallElement<T>(rng);
  return v;
}

// Element i of result is expected(i) converted to T; the slots past the size are zero.
template <typename T, typename F>
void expectElements(const char* what, const Vector<T>& result, UInt32 n, F expected) {
  ASSERT_EQ(result.size(), n) << what;
  for (UInt32 i = 0; i < n; ++i)
    EXPECT_EQ(result(i), static_cast<T>(expected(i))) << what << ", element " << i;
  for (UInt32 i = n; i < Max_Vector_Dimension; ++i) EXPECT_EQ(slots(result)[i], T(0)) << what;
}

template <typename T>
class VectorArithmetic : public ::testing::Test {};
TYPED_TEST_SUITE(VectorArithmetic, ElementTypes);

TYPED_TEST(VectorArithmetic, ElementsFollowExactArithmeticConvertedToT) {
  using T = TypeParam;
  using W = Wide<T>;
  std::mt19937_64 rng(20240607);
  for (UInt32 n = 0; n <= Max_Vector_Dimension; ++n) {
    for (int draw = 0; draw < test_support::caseCount(20); ++draw) {
      Vector<T> a = smallVector<T>(rng, n), b = smallVector<T>(rng, n);
      const Vector<T> aBefore(a), bBefore(b);
      const T s = smallElement<T>(rng), divisor = smallElement<T>(rng, true);
      const W ws = s, wd = divisor;
      auto x = [&](UInt32 i) { return static_cast<W>(a(i)); };
      auto y = [&](UInt32 i) { return static_cast<W>(b(i)); };

      expectElements("+", a + b, n, [&](UInt32 i) { return x(i) + y(i); });
      expectElements("-", a - b, n, [&](UInt32 i) { return x(i) - y(i); });
      expectElements("product", a.elementMultiply(b), n, [&](UInt32 i) { return x(i) * y(i); });
      expectElements("plusScalar", a.plusScalar(s), n, [&](UInt32 i) { return x(i) + ws; });
      expectElements("minusScalar", a.minusScalar(s), n, [&](UInt32 i) { return x(i) - ws; });
      expectElements("*", a * s, n, [&](UInt32 i) { return ws * x(i); });
      expectElements("/", a / divisor, n, [&](UInt32 i) { return x(i) / wd; });
      expectElements("abs", a.abs(), n, [&](UInt32 i) { return x(i) < 0 ? -x(i) : x(i); });

      W dot = 0, squares = 0;
      for (UInt32 i = 0; i < n; ++i) {
        dot += x(i) * y(i);
        squares += x(i) * x(i);
      }
      EXPECT_EQ(a.dot(b), static_cast<T>(dot));
      const T norm = a.norm();
      EXPECT_EQ(norm, static_cast<T>(std::sqrt(static_cast<double>(squares))));
      Vector<T> normalized(a);
      normalized.normalize();
      expectElements("normalize", normalized, n,
                     [&](UInt32 i) { return norm > T(0) ? x(i) / W(norm) : W(0); });

      if (n > 0) {
        const std::vector<T> e = elements(a), magnitudes = elements(a.abs());
        const auto lowest = std::min_element(e.begin(), e.end());
        const auto highest = std::max_element(e.begin(), e.end());
        T value;
        UInt32 index;
        a.min(value, index);
        EXPECT_EQ(value, *lowest);
        EXPECT_EQ(index, UInt32(lowest - e.begin()));
        EXPECT_EQ(a.min(), *lowest);
        EXPECT_EQ(a.minIndex(), index);
        a.max(value, index);
        EXPECT_EQ(value, *highest);
        EXPECT_EQ(index, UInt32(highest - e.begin()));
        EXPECT_EQ(a.max(), *highest);
        EXPECT_EQ(a.maxIndex(), index);
        const auto smallest = std::min_element(magnitudes.begin(), magnitudes.end());
        const auto largest = std::max_element(magnitudes.begin(), magnitudes.end());
        EXPECT_EQ(a.minAbs(), *smallest);
        EXPECT_EQ(a.minAbsIndex(), static_cast<T>(smallest - magnitudes.begin()));
        EXPECT_EQ(a.maxAbs(), *largest);
        EXPECT_EQ(a.masAbsIndex(), static_cast<T>(largest - magnitudes.begin()));
      }

      // Only the in-place members change their vector.
      EXPECT_TRUE(a.almostEqual(b, Inf) && a == a && !(a != a));
      EXPECT_EQ(slots(a), slots(aBefore));
      EXPECT_EQ(slots(b), slots(bBefore));
      EXPECT_EQ(a.size(), n);
    }
  }
}

TYPED_TEST(VectorArithmetic, InPlaceMembersWriteOnlyTheUsedElements) {
  using T = TypeParam;
  std::mt19937_64 rng(11);
  Vector<T> stored = smallVector<T>(rng, Max_Vector_Dimension);
  const std::vector<T> before = slots(stored);
  stored.resize(5);
  const T s = smallElement<T>(rng);
  const T norm = stored.norm();
  const std::pair<std::function<void(Vector<T>&)>, Vector<T>> cases[] = {
      {[&](Vector<T>& v) { v.addToAll(s); }, stored.plusScalar(s)},
      {[&](Vector<T>& v) { v.subtractFromAll(s); }, stored.minusScalar(s)},
      {[&](Vector<T>& v) { v.normalize(); }, norm > T(0) ? stored / norm : Vector<T>(5)}};
  for (const auto& c : cases) {
    Vector<T> v(stored);
    c.first(v);
    EXPECT_EQ(elements(v), elements(c.second));
    v.resize(Max_Vector_Dimension);
    const std::vector<T> after = slots(v);
    EXPECT_EQ(std::vector<T>(after.begin() + 5, after.end()),
              std::vector<T>(before.begin() + 5, before.end()));
  }
}

TYPED_TEST(VectorArithmetic, ComparisonsSeeEveryElement) {
  using T = TypeParam;
  std::mt19937_64 rng(5);
  Vector<T> empty;
  EXPECT_TRUE(empty == Vector<T>());
  EXPECT_FALSE(empty != Vector<T>());
  EXPECT_TRUE(empty.almostEqual(Vector<T>(), 0.0));
  const bool wrapsBelowZero = std::is_unsigned<T>::value && !std::is_same<T, bool>::value;
  for (UInt32 n = 1; n <= Max_Vector_Dimension; ++n) {
    Vector<T> a = smallVector<T>(rng, n);
    for (UInt32 k = 0; k < n; ++k) {
      // a(k) - b(k) is 1 in every type, b(k) - a(k) wraps for the unsigned types.
      a(k) = T(1);
      Vector<T> b(a);
      b(k) = T(0);
      EXPECT_TRUE(a == a && !(a != a) && a.almostEqual(a, 0.0));
      EXPECT_FALSE(a == b) << k;
      EXPECT_TRUE(a != b) << k;
      EXPECT_TRUE(a.almostEqual(b, 1.0)) << k;
      EXPECT_TRUE(a.almostEqual(b, -1.0)) << k;
      EXPECT_FALSE(a.almostEqual(b, 0.99)) << k;
      EXPECT_EQ(b.almostEqual(a, 1.0), !wrapsBelowZero) << k;
    }
  }
}

TYPED_TEST(VectorArithmetic, ExtremaKeepTheFirstOfEqualElements) {
  using T = TypeParam;
  const Vector<T> v = vec<T>({T(1), T(0), T(0), T(1)});
  EXPECT_EQ(v.min(), T(0));
  EXPECT_EQ(v.minIndex(), 1u);
  EXPECT_EQ(v.max(), T(1));
  EXPECT_EQ(v.maxIndex(), 0u);
  static_assert(std::is_same<decltype(v.minAbsIndex()), T>::value, "the index comes back as T");
  static_assert(std::is_same<decltype(v.masAbsIndex()), T>::value, "the index comes back as T");
  const Vector<T> w = vec<T>({T(1), T(1), T(1), T(0)});
  EXPECT_EQ(w.minAbsIndex(), T(3));
  EXPECT_EQ(w.masAbsIndex(), T(0));

  // An empty vector reports slot 0 as it is stored, at index 0; its abs() is a new,
  // all-zero vector.
  Vector<T> empty = vec<T>({T(1), T(0)});
  empty.resize(0);
  EXPECT_EQ(empty.min(), T(1));
  EXPECT_EQ(empty.max(), T(1));
  EXPECT_EQ(empty.minIndex(), 0u);
  EXPECT_EQ(empty.maxIndex(), 0u);
  EXPECT_EQ(empty.minAbs(), T(0));
  EXPECT_EQ(empty.masAbsIndex(), T(0));
}

TYPED_TEST(VectorArithmetic, ProjectionOfAZeroVectorIsZero) {
  using T = TypeParam;
  std::mt19937_64 rng(3);
  for (UInt32 n = 0; n <= Max_Vector_Dimension; ++n) {
    const Vector<T> zero(n);
    expectElements("project", zero.project(smallVector<T>(rng, n)), n, [](UInt32) { return 0; });
    expectElements("project onto zero", zero.project(zero), n, [](UInt32) { return 0; });
  }
}

TYPED_TEST(VectorArithmetic, SizeMismatchesAbortWithTheirReports) {
  using T = TypeParam;
  const std::string with = " [with T = " + std::string(TypeName<T>::value);
  const std::string boolean = with + "; Bool = bool]";
  Vector<T> a(3), b(4);
  const std::tuple<int, std::string, std::function<void()>> cases[] = {
      {82,
       "Bool Vector<T>::almostEqual(const Vector<T>&, Float64)" + with +
           "; Bool = bool; Float64 = double]",
       [&] { a.almostEqual(b, 1.0); }},
      {92, "Bool Vector<T>::operator==(const Vector<T>&)" + boolean, [&] { (void)(a == b); }},
      {102, "Bool Vector<T>::operator!=(const Vector<T>&)" + boolean, [&] { (void)(a != b); }},
      {112, "Vector<T1> Vector<T>::operator+(const Vector<T>&) const" + with + "]", [&] { a + b; }},
      {135, "Vector<T1> Vector<T>::operator-(const Vector<T>&) const" + with + "]", [&] { a - b; }},
      {174, "Vector<T1> Vector<T>::elementMultiply(const Vector<T>&) const" + with + "]",
       [&] { a.elementMultiply(b); }},
      {183, "T Vector<T>::dot(const Vector<T>&) const" + with + "]", [&] { a.dot(b); }},
      {212, "Vector<T1> Vector<T>::project(const Vector<T>&) const" + with + "]",
       [&] { a.project(b); }}};
  for (const auto& c : cases) {
    EXPECT_DEATH(std::get<2>(c)(), assertionReportAt("vector.cpp", std::get<0>(c), std::get<1>(c),
                                                     "_n == other.size()"));
  }
}

// Per-type columns: where the element types part ways.

TEST(VectorPerType, AbsClearsTheSignOrRoundTripsThroughDouble) {
  const Vector<double> d = vec<double>({-0.0, -2.5, -Inf, std::copysign(NaN, -1.0)}).abs();
  EXPECT_FALSE(std::signbit(d(0)));
  EXPECT_EQ(d(1), 2.5);
  EXPECT_EQ(d(2), Inf);
  EXPECT_TRUE(std::isnan(d(3)) && !std::signbit(d(3)));
  const Vector<float> f = vec<float>({-0.0f, -2.5f, std::copysign(float(NaN), -1.0f)}).abs();
  EXPECT_FALSE(std::signbit(f(0)));
  EXPECT_EQ(f(1), 2.5f);
  EXPECT_TRUE(std::isnan(f(2)) && !std::signbit(f(2)));

  const long big = (1L << 53) + 1;  // not a double: rounds to 2^53 on the way
  EXPECT_EQ(elements(vec<int>({-5, 2147483647, -2147483647}).abs()),
            (std::vector<int>{5, 2147483647, 2147483647}));
  EXPECT_EQ(elements(vec<long>({-big, big, -7}).abs()), (std::vector<long>{1L << 53, 1L << 53, 7}));
  // short comes back through int: -32768 has no positive short and wraps to itself.
  EXPECT_EQ(elements(vec<short>({-32767, -32768, 5}).abs()),
            (std::vector<short>{32767, -32768, 5}));
  EXPECT_EQ(elements(vec<unsigned int>({4294967295u, 0u}).abs()),
            (std::vector<unsigned int>{4294967295u, 0u}));
  EXPECT_EQ(elements(vec<unsigned long>({(1UL << 53) + 1, 1UL << 63}).abs()),
            (std::vector<unsigned long>{1UL << 53, 1UL << 63}));
  EXPECT_EQ(elements(vec<bool>({true, false}).abs()), (std::vector<bool>{true, false}));
}

// Results beyond the element type's range come back as the truncating conversion of
// x86-64 gives them (the smallest int or long for signed types), and the sanitizer build
// sees no undefined conversion on the way: abs of the smallest value, abs of longs that
// round to 2^63 and of unsigned longs that round to 2^64, and norms of sums of squares
// that wrapped negative (a NaN root), also through normalize, project and the abs forms.
TEST(VectorPerType, OutOfRangeResultsAreTheTruncatingInstructions) {
  const int intMin = std::numeric_limits<int>::min(), intMax = std::numeric_limits<int>::max();
  const long longMin = std::numeric_limits<long>::min(), longMax = std::numeric_limits<long>::max();
  EXPECT_EQ(elements(vec<int>({intMin, -intMax, 3}).abs()), (std::vector<int>{intMin, intMax, 3}));
  EXPECT_EQ(vec<int>({intMin}).maxAbs(), intMin);
  EXPECT_EQ(elements(vec<long>({longMin, longMax - 511, -(longMax - 512)}).abs()),
            (std::vector<long>{longMin, longMin, longMax - 1023}));
  const unsigned long top = std::numeric_limits<unsigned long>::max();
  EXPECT_EQ(elements(vec<unsigned long>({top - 1023, top, top - 1024, (1UL << 63) - 512}).abs()),
            (std::vector<unsigned long>{0, 0, top - 2047, 1UL << 63}));
  EXPECT_EQ(vec<int>({46341}).norm(), intMin);
  EXPECT_EQ(vec<long>({3037000500L}).norm(), longMin);
  EXPECT_EQ(vec<short>({182}).norm(), 0);
  EXPECT_EQ(vec<unsigned long>({top}).norm(), 1UL);  // the square wraps to 1
  for (Vector<int> v : {vec<int>({46341, 0}), vec<int>({-46341, 3})}) {
    const Vector<int> projection = v.project(vec<int>({1, 1}));
    v.normalize();
    EXPECT_EQ(elements(v), (std::vector<int>{0, 0}));
    EXPECT_EQ(projection.size(), 2u);
  }
  Vector<short> s = vec<short>({182});
  s.normalize();
  EXPECT_EQ(s(0), 0);
}

TEST(VectorPerType, OverflowWrapsInTheElementType) {
  const int intMax = std::numeric_limits<int>::max(), intMin = std::numeric_limits<int>::min();
  EXPECT_EQ(elements(vec<int>({intMax, intMin}) + vec<int>({1, -1})),
            (std::vector<int>{intMin, intMax}));
  EXPECT_EQ(elements(vec<int>({65536}) * 65536), std::vector<int>{0});
  EXPECT_EQ(vec<int>({65536, 1}).dot(vec<int>({65536, 2})), 2);
  const long longMax = std::numeric_limits<long>::max();
  EXPECT_EQ(elements(vec<long>({longMax}).plusScalar(1)),
            std::vector<long>{std::numeric_limits<long>::min()});
  EXPECT_EQ(elements(vec<long>({1L << 32}).elementMultiply(vec<long>({1L << 32}))),
            std::vector<long>{0});

  // short computes in int and keeps the low 16 bits.
  EXPECT_EQ(elements(vec<short>({32767, -32768}) + vec<short>({1, -1})),
            (std::vector<short>{-32768, 32767}));
  EXPECT_EQ(elements(vec<short>({300}).elementMultiply(vec<short>({300}))),
            std::vector<short>{24464});
  EXPECT_EQ(vec<short>({200}).dot(vec<short>({200})), -25536);
  Vector<short> shorts = vec<short>({-32768});
  shorts.subtractFromAll(1);
  EXPECT_EQ(shorts(0), 32767);

  EXPECT_EQ(elements(vec<unsigned int>({0u}) - vec<unsigned int>({1u})),
            std::vector<unsigned int>{4294967295u});
  EXPECT_EQ(elements(vec<unsigned int>({65536u}) * 65536u), std::vector<unsigned int>{0u});
  // The sum of squares wraps to 0, so the norm is 0 and normalize clears the vector.
  Vector<unsigned int> wrapped = vec<unsigned int>({65536u});
  EXPECT_EQ(wrapped.norm(), 0u);
  wrapped.normalize();
  EXPECT_EQ(wrapped(0), 0u);
  EXPECT_EQ(elements(vec<unsigned long>({0UL}).minusScalar(1UL)),
            std::vector<unsigned long>{std::numeric_limits<unsigned long>::max()});
  EXPECT_EQ(elements(vec<unsigned long>({1UL << 32}) * (1UL << 32)), std::vector<unsigned long>{0});

  // bool: + is or, - is "differ", * and elementMultiply are and.
  const Vector<bool> p = vec<bool>({false, false, true, true}),
                     q = vec<bool>({false, true, false, true});
  EXPECT_EQ(elements(p + q), (std::vector<bool>{false, true, true, true}));
  EXPECT_EQ(elements(p - q), (std::vector<bool>{false, true, true, false}));
  EXPECT_EQ(elements(p.elementMultiply(q)), (std::vector<bool>{false, false, false, true}));
  EXPECT_EQ(elements(p * true), elements(p));
  EXPECT_EQ(elements(p * false), std::vector<bool>(4, false));
  EXPECT_EQ(elements(p.minusScalar(true)), (std::vector<bool>{true, true, false, false}));
  EXPECT_EQ(elements(vec<bool>({true, false}) - vec<bool>({true, true})),
            (std::vector<bool>{false, true}));
  EXPECT_FALSE(vec<bool>({true, false}).dot(vec<bool>({false, true})));
  EXPECT_TRUE(p.dot(q));
  EXPECT_TRUE(p.norm());
  EXPECT_FALSE(Vector<bool>(3).norm());
}

template <typename T>
void expectTruncatingDivision() {
  EXPECT_EQ(elements(vec<T>({7, -7, 6}) / T(2)), (std::vector<T>{3, -3, 3}));
  EXPECT_EQ(elements(vec<T>({7, -7}) / T(-2)), (std::vector<T>{-3, 3}));
}

TEST(VectorPerType, DivisionIsTheElementTypes) {
  const Vector<double> d = vec<double>({1.0, -1.0, 0.0}) / 0.0;
  EXPECT_EQ(d(0), Inf);
  EXPECT_EQ(d(1), -Inf);
  EXPECT_TRUE(std::isnan(d(2)));
  const Vector<float> f = vec<float>({1.0f, 0.0f}) / 0.0f;
  EXPECT_EQ(f(0), float(Inf));
  EXPECT_TRUE(std::isnan(f(1)));
  EXPECT_EQ(elements(vec<double>({1.0}) / 3.0), std::vector<double>{1.0 / 3.0});
  expectTruncatingDivision<short>();
  expectTruncatingDivision<int>();
  expectTruncatingDivision<long>();
  EXPECT_EQ(elements(vec<unsigned int>({7u, 4294967295u}) / 2u),
            (std::vector<unsigned int>{3u, 2147483647u}));
  EXPECT_EQ(elements(vec<unsigned long>({7UL}) / 2UL), std::vector<unsigned long>{3UL});
  EXPECT_EQ(elements(vec<bool>({true, false}) / true), (std::vector<bool>{true, false}));
}

template <typename T>
bool almostEqual(T a, T b, double tolerance) {
  return vec<T>({a}).almostEqual(vec<T>({b}), tolerance);
}

TEST(VectorPerType, AlmostEqualTakesTheDifferenceInTheElementType) {
  EXPECT_TRUE(almostEqual(1.0, 1.5, -0.5));
  EXPECT_FALSE(almostEqual(1.0, 1.5, 0.4));
  EXPECT_TRUE(almostEqual(NaN, 0.0, 0.0));
  EXPECT_FALSE(almostEqual(1.0, Inf, 1e308));
  EXPECT_TRUE(almostEqual(Inf, Inf, 0.0));  // inf - inf is NaN
  // 2^25 - 1 is not a float: the difference rounds up to 2^25 before the comparison.
  EXPECT_FALSE(almostEqual(33554432.0f, 1.0f, 33554431.5));
  EXPECT_TRUE(almostEqual(33554432.0f, 1.0f, 33554432.0));
  EXPECT_TRUE(almostEqual(float(NaN), 1.0f, 0.0));
  // int and long wrap: the extremes are 1 apart.
  EXPECT_TRUE(almostEqual(std::numeric_limits<int>::max(), std::numeric_limits<int>::min(), 1.0));
  EXPECT_TRUE(almostEqual(std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), 1.0));
  EXPECT_FALSE(almostEqual(5, 3, 1.9));
  EXPECT_TRUE(almostEqual(3, 5, 2.0));
  EXPECT_TRUE(almostEqual(std::numeric_limits<long>::max(), std::numeric_limits<long>::min(), 1.0));
  // short subtracts in int, without wrapping.
  EXPECT_FALSE(almostEqual<short>(32767, -32768, 1.0));
  EXPECT_TRUE(almostEqual<short>(32767, -32768, 65535.0));
  EXPECT_TRUE(almostEqual<short>(-32768, 32767, 65535.0));
  // The unsigned types: a smaller element minus a larger one is huge.
  EXPECT_FALSE(almostEqual(1u, 2u, 1.0));
  EXPECT_TRUE(almostEqual(1u, 2u, 4294967295.0));
  EXPECT_TRUE(almostEqual(2u, 1u, 1.0));
  EXPECT_FALSE(almostEqual(1UL, 2UL, 1e19));
  EXPECT_TRUE(almostEqual(2UL, 1UL, 1.0));
  // bool subtracts in int.
  EXPECT_TRUE(almostEqual(false, true, 1.0));
  EXPECT_FALSE(almostEqual(false, true, 0.5));
  EXPECT_TRUE(almostEqual(true, false, -1.0));
}

TEST(VectorPerType, FloatingPointEqualityIsIeee) {
  Vector<double> nan = vec<double>({NaN}), zero = vec<double>({0.0});
  EXPECT_FALSE(nan == zero);
  EXPECT_TRUE(nan != zero);
  EXPECT_FALSE(nan == nan);
  EXPECT_TRUE(nan != nan);
  EXPECT_TRUE(nan.almostEqual(zero, 0.0));
  EXPECT_TRUE(zero == vec<double>({-0.0}));
  EXPECT_FALSE(zero != vec<double>({-0.0}));
  Vector<float> floatZero = vec<float>({0.0f});
  EXPECT_TRUE(floatZero == vec<float>({-0.0f}));
  EXPECT_TRUE(floatZero != vec<float>({float(NaN)}));
}

TEST(VectorPerType, NormSumsInTheElementType) {
  EXPECT_EQ(vec<double>({3.0, 4.0}).norm(), 5.0);
  EXPECT_EQ(vec<double>({1.0, 1.0}).norm(), std::sqrt(2.0));
  EXPECT_EQ(vec<float>({1.0f, 1.0f}).norm(), float(std::sqrt(2.0)));
  // Thirteen ones vanish against 4096^2 = 2^24 in a float sum; a double sum would give
  // a root of 4096.0015.
  Vector<float> f(14);
  f.fill(1);
  f(0) = 4096.0f;
  EXPECT_EQ(f.norm(), 4096.0f);
  EXPECT_EQ(vec<int>({2, 3}).norm(), 3);  // sqrt(13) truncated
  EXPECT_EQ(vec<int>({-3, 4}).norm(), 5);
  EXPECT_EQ(vec<long>({1L << 30, 1L << 30}).norm(), 1518500249L);  // 2^30 sqrt(2)
  EXPECT_EQ(vec<short>({2, -3}).norm(), 3);
  EXPECT_EQ(vec<unsigned int>({2u, 3u}).norm(), 3u);
  EXPECT_EQ(vec<unsigned long>({1UL << 31, 1UL << 31}).norm(), 3037000499UL);
  EXPECT_TRUE(vec<bool>({false, true}).norm());
  EXPECT_FALSE(vec<bool>({false, false}).norm());
}

template <typename T>
std::vector<T> normalized(std::initializer_list<T> values) {
  Vector<T> v = vec<T>(values);
  v.normalize();
  return elements(v);
}

TEST(VectorPerType, NormalizeDividesWhenTheNormIsPositive) {
  EXPECT_EQ(normalized<double>({3.0, 4.0}), (std::vector<double>{0.6, 0.8}));
  EXPECT_EQ(normalized<double>({0.0, 0.0}), (std::vector<double>{0.0, 0.0}));
  EXPECT_EQ(normalized<double>({NaN, 1.0}), (std::vector<double>{0.0, 0.0}));
  EXPECT_EQ(normalized<double>({Inf, 1.0})[1], 0.0);  // 1 / inf
  EXPECT_EQ(normalized<float>({3.0f, 4.0f}), (std::vector<float>{0.6f, 0.8f}));
  EXPECT_EQ(normalized<float>({float(NaN), 1.0f}), (std::vector<float>{0.0f, 0.0f}));
  // Integer division by the truncated norm.
  EXPECT_EQ(normalized<int>({3, 4}), (std::vector<int>{0, 0}));
  EXPECT_EQ(normalized<int>({-10, 0, 1}), (std::vector<int>{-1, 0, 0}));
  EXPECT_EQ(normalized<int>({0, 0}), (std::vector<int>{0, 0}));
  EXPECT_EQ(normalized<long>({-9, 0}), (std::vector<long>{-1, 0}));
  EXPECT_EQ(normalized<short>({0, 7}), (std::vector<short>{0, 1}));
  EXPECT_EQ(normalized<unsigned int>({10u, 0u}), (std::vector<unsigned int>{1u, 0u}));
  EXPECT_EQ(normalized<unsigned long>({0UL, 0UL}), (std::vector<unsigned long>{0UL, 0UL}));
  EXPECT_EQ(normalized<bool>({true, false}), (std::vector<bool>{true, false}));
  EXPECT_EQ(normalized<bool>({false, false}), (std::vector<bool>{false, false}));
}

TEST(VectorPerType, ExtremaWithNaNAndAbsoluteIndices) {
  const Vector<double> leadingNaN = vec<double>({NaN, 1.0, 0.0});
  EXPECT_TRUE(std::isnan(leadingNaN.min()));
  EXPECT_EQ(leadingNaN.maxIndex(), 0u);
  const Vector<double> innerNaN = vec<double>({1.0, NaN, 0.0});
  EXPECT_EQ(innerNaN.min(), 0.0);
  EXPECT_EQ(innerNaN.minIndex(), 2u);
  EXPECT_EQ(innerNaN.maxIndex(), 0u);
  const Vector<double> v = vec<double>({-4.0, 2.0, -1.0});
  EXPECT_EQ(v.minAbsIndex(), 2.0);
  EXPECT_EQ(v.masAbsIndex(), 0.0);
  EXPECT_EQ(v.minAbs(), 1.0);
  EXPECT_EQ(v.maxAbs(), 4.0);
  EXPECT_EQ(v.min(), -4.0);
  EXPECT_EQ(vec<int>({-4, 2, -1}).masAbsIndex(), 0);
  EXPECT_EQ(vec<short>({3, -7, 7}).maxAbs(), 7);
  EXPECT_EQ(vec<short>({3, -7, 7}).masAbsIndex(), 1);
  EXPECT_TRUE(vec<bool>({true, true, false}).minAbsIndex());  // index 2
}

TEST(VectorPerType, ProjectDividesInTheElementType) {
  EXPECT_EQ(elements(vec<double>({1.0, 1.0}).project(vec<double>({2.0, 0.0}))),
            (std::vector<double>{1.0, 0.0}));
  EXPECT_EQ(elements(vec<double>({0.0, 0.0}).project(vec<double>({3.0, 4.0}))),
            (std::vector<double>{0.0, 0.0}));
  // A non-zero vector onto a zero one: 0 / 0.
  const Vector<double> undefined = vec<double>({1.0, 0.0}).project(vec<double>({0.0, 0.0}));
  EXPECT_TRUE(std::isnan(undefined(0)) && std::isnan(undefined(1)));
  const Vector<float> floats = vec<float>({1.0f}).project(vec<float>({0.0f}));
  EXPECT_TRUE(std::isnan(floats(0)));
  // The integer scale factor truncates.
  EXPECT_EQ(elements(vec<int>({3, 4}).project(vec<int>({1, 0}))), (std::vector<int>{3, 0}));
  EXPECT_EQ(elements(vec<int>({1, 1}).project(vec<int>({2, 0}))), (std::vector<int>{0, 0}));
  EXPECT_EQ(elements(vec<unsigned int>({5u, 5u}).project(vec<unsigned int>({1u, 1u}))),
            (std::vector<unsigned int>{5u, 5u}));
  EXPECT_EQ(elements(vec<bool>({true, false}).project(vec<bool>({true, true}))),
            (std::vector<bool>{true, true}));
}

// Vector<double> against Eigen on random vectors of every size.
TEST(VectorDouble, NormDotNormalizeAndProjectAgreeWithEigen) {
  std::mt19937_64 rng(42);
  std::uniform_real_distribution<double> value(-10.0, 10.0);
  for (UInt32 n = 0; n <= Max_Vector_Dimension; ++n) {
    for (int draw = 0; draw < test_support::caseCount(50); ++draw) {
      MathVector a(n), b(n);
      Eigen::VectorXd ea(n), eb(n);
      for (UInt32 i = 0; i < n; ++i) {
        ea(i) = a(i) = value(rng);
        eb(i) = b(i) = value(rng);
      }
      EXPECT_NEAR(a.norm(), ea.norm(), 1e-15 * ea.norm());
      EXPECT_NEAR(a.dot(b), ea.dot(eb), 2e-15 * ea.norm() * eb.norm());
      MathVector unit(a);
      unit.normalize();
      const Eigen::VectorXd eUnit = ea.normalized();
      const Eigen::VectorXd eProjection = eb * (ea.dot(eb) / eb.squaredNorm());
      const MathVector projection = a.project(b);
      ASSERT_EQ(unit.size(), n);
      ASSERT_EQ(projection.size(), n);
      for (UInt32 i = 0; i < n; ++i) {
        EXPECT_NEAR(unit(i), eUnit(i), 1e-15);
        EXPECT_NEAR(projection(i), eProjection(i), 1e-14 * (ea.norm() + 1.0));
      }
      if (n > 0) {
        EXPECT_NEAR(unit.norm(), 1.0, 1e-15);
      }
    }
  }
}

}  // namespace
