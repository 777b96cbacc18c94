// The fixed-capacity containers: Vector<T> against exact wide arithmetic over its eight
// element types, Matrix<T> and its inverses against Eigen, and the storage beyond the used
// elements, which no member may touch.
#include <Eigen/Dense>
#include <cmath>
#include <limits>
#include <random>
#include <type_traits>

#include "jacobian.h"
#include "matrix.h"
#include "test_support.h"

namespace {

const double Inf = std::numeric_limits<double>::infinity();
const double NaN = std::numeric_limits<double>::quiet_NaN();
const UInt32 kSlots = Max_Matrix_Dimension * Max_Matrix_Dimension;

template <typename T>
std::vector<T> slots(const Vector<T>& v) {
  const T* p = v;
  return std::vector<T>(p, p + Max_Vector_Dimension);
}
template <typename T>
std::vector<T> slots(const Matrix<T>& m) {
  const T* p = m;
  return std::vector<T>(p, p + kSlots);
}
template <typename T>
Vector<T> vec(std::initializer_list<T> values) {
  Vector<T> v(static_cast<UInt32>(values.size()));
  UInt32 i = 0;
  for (T x : values) v(i++) = x;
  return v;
}
// An nr x nc matrix whose first slots hold values, the other slots k + 1 (beyond the shape too).
template <typename T>
Matrix<T> make(UInt32 nr, UInt32 nc, std::initializer_list<T> values = {}) {
  Matrix<T> m(nr, nc);
  T* p = m;
  for (UInt32 k = 0; k < kSlots; ++k) p[k] = T(k + 1);
  std::copy(values.begin(), values.end(), p);
  return m;
}

// The oracle's exact arithmetic: long long for the integer types and bool, double for float
// and double. The small operands below never overflow it, so its result converted to T is
// what T's own arithmetic gives: wrapped for unsigned, the low 16 bits for short, non-zero
// is true for bool.
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

// A vector of n small elements whose storage beyond n holds small elements too.
template <typename T>
Vector<T> smallVector(std::mt19937_64& rng, UInt32 n) {
  Vector<T> v(Max_Vector_Dimension);
  for (UInt32 i = 0; i < Max_Vector_Dimension; ++i) v(i) = smallElement<T>(rng);
  v.resize(n);
  return v;
}

// Element i of result is expected(i) converted to T; a new vector's slots past n are zero.
template <typename T, typename F>
void expectElements(const char* what, const Vector<T>& result, UInt32 n, F expected) {
  ASSERT_EQ(result.size(), n) << what;
  for (UInt32 i = 0; i < n; ++i)
    EXPECT_EQ(result(i), static_cast<T>(expected(i))) << what << ", element " << i;
  for (UInt32 i = n; i < Max_Vector_Dimension; ++i) EXPECT_EQ(slots(result)[i], T(0)) << what;
}

using ElementTypes =
    ::testing::Types<bool, short, int, long, unsigned int, unsigned long, float, double>;
template <typename T>
class VectorOfEveryType : public ::testing::Test {};
TYPED_TEST_SUITE(VectorOfEveryType, ElementTypes);

TYPED_TEST(VectorOfEveryType, StorageKeepsWhatIsNotInUse) {
  using T = TypeParam;
  std::mt19937_64 rng(1);
  for (UInt32 n = 0; n <= Max_Vector_Dimension; ++n) {
    EXPECT_EQ(slots(Vector<T>(n)), std::vector<T>(Max_Vector_Dimension, T(0)));
    EXPECT_EQ(Vector<T>::zero(n).size(), n);
  }
  // The pointer constructors read nothing: an empty, all-zero vector.
  T values[Max_Vector_Dimension];
  for (UInt32 i = 0; i < Max_Vector_Dimension; ++i) values[i] = T(i + 1);
  for (const Vector<T>& v : {Vector<T>(static_cast<const T*>(values)), Vector<T>(values)}) {
    EXPECT_EQ(v.size(), 0u);
    EXPECT_EQ(slots(v), std::vector<T>(Max_Vector_Dimension, T(0)));
  }
  // resize exposes and keeps stored values; the array assignment reads the current size;
  // setToZero and fill write only the used elements; assignment takes the source's size.
  Vector<T> v = smallVector<T>(rng, Max_Vector_Dimension), a(6);
  std::vector<T> expected = slots(v);
  v.resize(5);
  v = static_cast<const T*>(values);
  v.resize(3);
  v.setToZero();
  v.resize(2);
  v.fill(7);
  const T changed[5] = {static_cast<T>(7), static_cast<T>(7), T(0), values[3], values[4]};
  std::copy(changed, changed + 5, expected.begin());
  v.resize(Max_Vector_Dimension);
  EXPECT_EQ(slots(v), expected);
  a = v;
  v.resize(2);
  a = v;
  EXPECT_EQ(a.size(), 2u);
  a.resize(Max_Vector_Dimension);
  EXPECT_EQ(slots(a), expected);
}

TYPED_TEST(VectorOfEveryType, ArithmeticIsExactArithmeticConvertedToT) {
  using T = TypeParam;
  using W = Wide<T>;
  std::mt19937_64 rng(20240607);
  for (UInt32 n = 0; n <= Max_Vector_Dimension; ++n) {
    for (int draw = 0; draw < test_support::caseCount(20); ++draw) {
      const Vector<T> a = smallVector<T>(rng, n), b = smallVector<T>(rng, n);
      const std::vector<T> aSlots = slots(a), bSlots = slots(b);
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
      for (UInt32 i = 0; i < n; ++i) dot += x(i) * y(i), squares += x(i) * x(i);
      EXPECT_EQ(a.dot(b), static_cast<T>(dot));
      const T norm = a.norm();
      EXPECT_EQ(norm, static_cast<T>(std::sqrt(static_cast<double>(squares))));
      // The in-place members change the used elements only.
      Vector<T> unit(a), added(a), subtracted(a);
      unit.normalize();
      added.addToAll(s);
      subtracted.subtractFromAll(s);
      for (const Vector<T>* v : {&unit, &added, &subtracted}) {
        ASSERT_EQ(v->size(), n);
        for (UInt32 i = n; i < Max_Vector_Dimension; ++i) EXPECT_EQ(slots(*v)[i], aSlots[i]);
      }
      for (UInt32 i = 0; i < n; ++i) {
        EXPECT_EQ(unit(i), static_cast<T>(norm > T(0) ? x(i) / W(norm) : W(0)));
        EXPECT_EQ(added(i), static_cast<T>(x(i) + ws));
        EXPECT_EQ(subtracted(i), static_cast<T>(x(i) - ws));
      }
      if (n > 0) {  // extrema: the first of equal elements
        std::vector<T> e(aSlots.begin(), aSlots.begin() + n), m;
        for (UInt32 i = 0; i < n; ++i) m.push_back(a.abs()(i));
        const auto at = [](const std::vector<T>& v, auto it) {
          return std::make_pair(T(*it), UInt32(it - v.begin()));
        };
        T value;
        UInt32 index;
        a.min(value, index);
        EXPECT_EQ(std::make_pair(value, index), at(e, std::min_element(e.begin(), e.end())));
        EXPECT_EQ(std::make_pair(a.min(), a.minIndex()), std::make_pair(value, index));
        a.max(value, index);
        EXPECT_EQ(std::make_pair(value, index), at(e, std::max_element(e.begin(), e.end())));
        EXPECT_EQ(std::make_pair(a.max(), a.maxIndex()), std::make_pair(value, index));
        const auto low = at(m, std::min_element(m.begin(), m.end()));
        const auto high = at(m, std::max_element(m.begin(), m.end()));
        EXPECT_EQ(std::make_pair(a.minAbs(), a.minAbsIndex()),
                  std::make_pair(low.first, T(low.second)));
        EXPECT_EQ(std::make_pair(a.maxAbs(), a.masAbsIndex()),
                  std::make_pair(high.first, T(high.second)));
      }
      // A zero vector projects to zero.
      expectElements("project", Vector<T>(n).project(b), n, [](UInt32) { return 0; });
      EXPECT_EQ(slots(a), aSlots);
      EXPECT_EQ(slots(b), bSlots);
    }
  }
}

// Every element takes part in the comparisons; the difference is formed in T, so for the
// unsigned types a smaller element minus a larger one wraps to a huge value.
TYPED_TEST(VectorOfEveryType, ComparisonsSeeEveryElement) {
  using T = TypeParam;
  std::mt19937_64 rng(5);
  EXPECT_TRUE(Vector<T>() == Vector<T>() && !(Vector<T>() != Vector<T>()));
  const bool wraps = std::is_unsigned<T>::value && !std::is_same<T, bool>::value;
  for (UInt32 n = 1; n <= Max_Vector_Dimension; ++n) {
    Vector<T> a = smallVector<T>(rng, n);
    for (UInt32 k = 0; k < n; ++k) {
      a(k) = T(1);
      Vector<T> b(a);
      b(k) = T(0);
      EXPECT_TRUE(a == a && !(a != a) && a.almostEqual(a, 0.0));
      EXPECT_TRUE(!(a == b) && a != b) << k;
      EXPECT_TRUE(a.almostEqual(b, 1.0) && a.almostEqual(b, -1.0)) << k;
      EXPECT_FALSE(a.almostEqual(b, 0.99)) << k;
      EXPECT_EQ(b.almostEqual(a, 1.0), !wraps) << k;
    }
  }
}

// Edge values of the floating-point types: not-a-number and the sign of zero.
TEST(VectorPerType, EdgeValues) {
  EXPECT_TRUE(vec<double>({NaN}).almostEqual(vec<double>({0.0}), 0.0));
  EXPECT_TRUE(vec<double>({NaN}) != vec<double>({NaN}) &&
              vec<double>({0.0}) == vec<double>({-0.0}));
  Vector<double> v = vec<double>({NaN, 1.0});
  v.normalize();  // the norm is not a number: all zeros
  EXPECT_EQ(slots(v), std::vector<double>(Max_Vector_Dimension, 0.0));
  EXPECT_TRUE(std::isnan(vec<double>({1.0, 0.0}).project(vec<double>({0.0, 0.0}))(1)));
}

// Results beyond the element type's range come back as x86-64's truncating conversion gives
// them (the smallest int or long for signed types), with no undefined conversion for the
// sanitizer build to see: abs of the smallest value, of longs that round to 2^63 and of
// unsigned longs that round to 2^64, and norms of sums of squares that wrapped negative (a NaN
// root), also through normalize and project.
TEST(VectorPerType, OutOfRangeResultsAreTheTruncatingInstructions) {
  const auto elements = [](const auto& v) {
    auto all = slots(v);
    all.resize(v.size());
    return all;
  };
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

// Vector<double> against Eigen on random vectors of every size.
TEST(VectorDouble, AgreesWithEigen) {
  std::mt19937_64 rng(42);
  std::uniform_real_distribution<double> value(-10.0, 10.0);
  for (UInt32 n = 1; n <= Max_Vector_Dimension; ++n) {
    for (int draw = 0; draw < test_support::caseCount(50); ++draw) {
      MathVector a(n), b(n);
      Eigen::VectorXd ea(n), eb(n);
      for (UInt32 i = 0; i < n; ++i) ea(i) = a(i) = value(rng), eb(i) = b(i) = value(rng);
      EXPECT_NEAR(a.norm(), ea.norm(), 1e-15 * ea.norm());
      EXPECT_NEAR(a.dot(b), ea.dot(eb), 2e-15 * ea.norm() * eb.norm());
      MathVector unit(a);
      unit.normalize();
      const Eigen::VectorXd eUnit = ea.normalized(),
                            eProjection = eb * (ea.dot(eb) / eb.squaredNorm());
      const MathVector projection = a.project(b);
      for (UInt32 i = 0; i < n; ++i) {
        EXPECT_NEAR(unit(i), eUnit(i), 1e-15);
        EXPECT_NEAR(projection(i), eProjection(i), 1e-14 * (ea.norm() + 1.0));
      }
    }
  }
}

template <typename T>
class MatrixOfEveryType : public ::testing::Test {};
using MatrixTypes = ::testing::Types<unsigned int, unsigned long, float, double>;
TYPED_TEST_SUITE(MatrixOfEveryType, MatrixTypes);

// Shapes are stored, not checked against the other operand: every member reads and writes
// the first rows x columns slots with the current column count as stride.
TYPED_TEST(MatrixOfEveryType, MembersWorkOnTheUsedSlots) {
  using T = TypeParam;
  // The pointer constructors copy the element count, which is still 0: a 0 x 0 matrix.
  T values[2] = {T(1), T(2)};
  for (const Matrix<T>& m : {Matrix<T>(static_cast<const T*>(values)), Matrix<T>(values)}) {
    EXPECT_EQ(slots(m), std::vector<T>(kSlots, T(0)));
    EXPECT_EQ(m.rows() + m.columns(), 0u);
  }
  EXPECT_EQ(slots(Matrix<T>(14, 14)), std::vector<T>(kSlots, T(0)));
  Matrix<T> m = make<T>(3, 2, {1, 2, 3, 4, 5, 6});
  m.resize(2, 3);  // reread with the new stride
  EXPECT_EQ(std::make_pair(m(0, 2), m(1, 0)), std::make_pair(T(3), T(4)));
  const Matrix<T>& view = m;  // the index guard fails only when both indices are out of range
  EXPECT_EQ(view(5, 0), T(16));
  // Assignment copies the target's own elements and keeps its shape; a copy is whole.
  Matrix<T> a = make<T>(2, 2);
  const Matrix<T> b = make<T>(3, 3, {10, 11, 12, 13, 14, 15, 16, 17, 18});
  a = b;
  EXPECT_EQ(slots(a), slots(make<T>(2, 2, {10, 11, 12, 13})));
  EXPECT_EQ(a.rows(), 2u);
  EXPECT_EQ(slots(Matrix<T>(b)), slots(b));
  a = make<T>(2, 2, {1, 2, 3, 4});
  const auto result = [](Matrix<T> r) {  // a new matrix: zero beyond its elements
    const std::vector<T> all = slots(r);
    return std::vector<T>(all.begin(), all.begin() + 6);
  };
  EXPECT_EQ(result(a + b), (std::vector<T>{11, 13, 15, 17, 0, 0}));
  EXPECT_EQ(result(b - a), (std::vector<T>{9, 9, 9, 9, 9, 9}));
  EXPECT_EQ(result(a.elementMultiply(b)), (std::vector<T>{10, 22, 36, 52, 0, 0}));
  EXPECT_EQ(result(a.plusScalar(T(2))), (std::vector<T>{3, 4, 5, 6, 0, 0}));
  const T minusTwo = T(0) - T(2);  // subtracted from a zero result, kept so
  EXPECT_EQ(result(a.minusScalar(T(2))),
            (std::vector<T>{minusTwo, minusTwo, minusTwo, minusTwo, 0, 0}));
  EXPECT_EQ(result(a.plusScalarPrincipal(T(1))), (std::vector<T>{2, 0, 0, 5, 0, 0}));
  EXPECT_EQ(result(a.minusScalarPrincipal(T(1))), (std::vector<T>{0, 0, 0, 3, 0, 0}));
  a.addToAll(T(3));
  a.subtractFromAll(T(1));
  a.addToPrincipal(T(10));
  a.subtractFromPrincipal(T(2));
  EXPECT_EQ(slots(a), slots(make<T>(2, 2, {11, 4, 5, 14})));
  a.setToZero();
  EXPECT_EQ(slots(a), slots(make<T>(2, 2, {0, 0, 0, 0})));
  Matrix<T> c = make<T>(3, 3);
  c.setToIdentity();
  EXPECT_EQ(slots(c), slots(make<T>(3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1})));
  EXPECT_EQ(slots(Matrix<T>::identity(3)), slots(c - Matrix<T>(3, 3)));
  // Products, transpose and extrema (the first occurrence wins).
  const Matrix<T> p = make<T>(2, 3, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(result(p * make<T>(3, 2, {7, 8, 9, 10, 11, 12})),
            (std::vector<T>{58, 64, 139, 154, 0, 0}));
  const Vector<T> pv = p * vec<T>({1, 2, 3});
  EXPECT_EQ(slots(pv), slots(vec<T>({14, 32})));
  Matrix<T> pt(3, 2);
  Matrix<T>(p).transpose(pt);
  EXPECT_EQ(slots(pt), slots(Matrix<T>(p).transpose()));
  EXPECT_EQ(result(pt), (std::vector<T>{1, 4, 2, 5, 3, 6}));
  T value;
  UInt32 row, col;
  make<T>(2, 3, {3, 3, 3, 3, 1, 1}).min(value, row, col);
  EXPECT_EQ(std::vector<UInt32>({UInt32(value), row, col}), std::vector<UInt32>({1, 1, 1}));
  make<T>(2, 3, {2, 2, 5, 2, 5, 2}).max(value, row, col);
  EXPECT_EQ(std::vector<UInt32>({UInt32(value), row, col}), std::vector<UInt32>({5, 0, 2}));
  EXPECT_TRUE(p.isSquare() == false && c.isSquare());
}

// Kept asymmetries of the comparisons: == takes the absolute value of the left operand only,
// almostEqual takes |tol| and forms unsigned differences without an absolute value.
TEST(MatrixComparison, KeptAsymmetries) {
  Matrix<double> a = make<double>(2, 2, {-3, 1, 2, 4}), b = make<double>(2, 2, {3, 1, 2, 4});
  EXPECT_TRUE(a == b && !(a != b));
  EXPECT_TRUE(!(b == a) && b != a);
  a(1, 1) = b(1, 1) = NaN;
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(make<unsigned long>(1, 2, {7, 8}) == make<unsigned long>(1, 3, {7, 8, 9}));
  EXPECT_TRUE(make<double>(1, 2, {1, 2}).almostEqual(make<double>(1, 2, {1, 2.5}), -0.5));
  EXPECT_FALSE(make<double>(1, 2, {1, 2}).almostEqual(make<double>(1, 2, {1, 2.5}), 0.4));
  EXPECT_TRUE(make<unsigned int>(1, 1, {4}).almostEqual(make<unsigned int>(1, 1, {3}), 1.0));
  EXPECT_FALSE(make<unsigned int>(1, 1, {3}).almostEqual(make<unsigned int>(1, 1, {4}), 1.0));
}

Eigen::MatrixXd toEigen(const Matrix<double>& m) {
  Eigen::MatrixXd e(m.rows(), m.columns());
  for (UInt32 i = 0; i < m.rows(); ++i)
    for (UInt32 j = 0; j < m.columns(); ++j) e(i, j) = m(i, j);
  return e;
}
Matrix<double> randomMatrix(std::mt19937_64& rng, UInt32 nr, UInt32 nc) {
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  Matrix<double> m(nr, nc);
  for (UInt32 i = 0; i < nr; ++i)
    for (UInt32 j = 0; j < nc; ++j) m(i, j) = value(rng);
  return m;
}
double conditionNumber(const Eigen::MatrixXd& e) {
  const Eigen::VectorXd s = Eigen::JacobiSVD<Eigen::MatrixXd>(e).singularValues();
  return s(0) / s(s.size() - 1);
}
// Largest element difference relative to the largest element of the reference, and the
// storage beyond the result's elements left as the constructor made it.
double relativeError(const Matrix<double>& m, const Eigen::MatrixXd& reference) {
  for (UInt32 k = m.rows() * m.columns(); k < kSlots; ++k) EXPECT_EQ(slots(m)[k], 0.0) << k;
  return (toEigen(m) - reference).cwiseAbs().maxCoeff() / reference.cwiseAbs().maxCoeff();
}

// Random matrices of every shape: products, transpose, inverse, determinant (its sign for
// the closed forms of orders 1 to 3) and pseudo-inverses agree with Eigen, errors in units of
// condition number x size x machine epsilon.
TEST(MatrixDouble, AgreesWithEigenOnEveryShape) {
  std::mt19937_64 rng(2024);
  const double epsilon = std::numeric_limits<double>::epsilon();
  double worstProduct = 0, worstInverse = 0, worstDet = 0, worstPseudo = 0;
  for (UInt32 m = 1; m <= Max_Matrix_Dimension; ++m) {
    for (UInt32 n = 1; n <= Max_Matrix_Dimension; ++n) {
      Matrix<double> a = randomMatrix(rng, m, n), b = randomMatrix(rng, n, 1 + m % 14);
      const Eigen::MatrixXd e = toEigen(a);
      worstProduct = std::max(worstProduct, relativeError(a * b, e * toEigen(b)));
      EXPECT_EQ(toEigen(a.transpose()), e.transpose());
      const double c = conditionNumber(e);
      Matrix<double> out(n, m);
      if (m == n) {
        ASSERT_TRUE(a.inv(out)) << n;
        worstInverse = std::max(worstInverse, relativeError(out, e.inverse()) / (c * n * epsilon));
        const double det = a.det(), expected = e.determinant();
        worstDet = std::max(worstDet, std::abs(std::abs(det) - std::abs(expected)) /
                                          std::abs(expected) / (c * n * epsilon));
        EXPECT_TRUE(n > 3 || (det > 0) == (expected > 0)) << n;
        for (auto pseudo : {&Matrix<double>::lpinv, &Matrix<double>::rpinv}) {
          Matrix<double> square(n, n);
          ASSERT_TRUE((a.*pseudo)(square));  // handed to inv
          EXPECT_EQ(slots(square), slots(out));
        }
      } else if (m > 3 || n > m) {  // lpinv of 2 x 1, 3 x 1 and 3 x 2 fails, see below
        ASSERT_TRUE(m > n ? a.lpinv(out) : a.rpinv(out)) << m << " x " << n;
        const Eigen::MatrixXd expected = e.completeOrthogonalDecomposition().pseudoInverse();
        worstPseudo =
            std::max(worstPseudo, relativeError(out, expected) / (c * c * m * n * epsilon));
      }
    }
  }
  EXPECT_LT(worstProduct, 1e-14);
  EXPECT_LT(worstInverse, 4.0);
  EXPECT_LT(worstDet, 4.0);
  EXPECT_LT(worstPseudo, 4.0);
}

Matrix<double> diagonal(std::initializer_list<double> values) {
  Matrix<double> m(values.size(), values.size());
  UInt32 i = 0;
  for (double v : values) m(i, i) = v, ++i;
  return m;
}
// inv, lpinv or rpinv of a fails and every slot of an nr x nc output keeps its value.
void expectFailsUntouched(Matrix<double> a, Bool (Matrix<double>::*inverse)(Matrix<double>&),
                          UInt32 nr, UInt32 nc) {
  Matrix<double> out(nr, nc);
  for (UInt32 k = 0; k < kSlots; ++k) static_cast<double*>(out)[k] = 1000.0 + k;
  const std::vector<double> before = slots(out);
  EXPECT_FALSE((a.*inverse)(out)) << a.rows() << " x " << a.columns() << " into " << nr << " x "
                                  << nc;
  EXPECT_EQ(slots(out), before);
  EXPECT_EQ(std::make_pair(out.rows(), out.columns()), std::make_pair(nr, nc));
}

// The failures: the tolerance table (the 1 x 1 reciprocal and the closed forms fail at
// |d| = _eps, the LU branch of inv passes a pivot product of exactly _eps, that of the
// pseudo-inverses fails it), singular and non-finite matrices, and shapes that do not fit.
TEST(MatrixDouble, FailuresLeaveTheOutputUntouched) {
  const auto inv = &Matrix<double>::inv, lpinv = &Matrix<double>::lpinv,
             rpinv = &Matrix<double>::rpinv;
  ASSERT_EQ(0.0 + 6e-6 * 6e-6 + 8e-6 * 8e-6, 1e-10);
  expectFailsUntouched(diagonal({1e-10}), inv, 1, 1);
  expectFailsUntouched(diagonal({1e-10, 1}), inv, 2, 2);
  expectFailsUntouched(diagonal({1, 1, 1e-10}), inv, 3, 3);
  expectFailsUntouched(diagonal({1, 1, 1, 0.99e-10}), inv, 4, 4);
  expectFailsUntouched(diagonal({0.99e-10, 1, 1, 1, 1}), inv, 5, 5);        // every pivot counts
  expectFailsUntouched(diagonal({1e100, 1e100, 1e100, 1e100}), inv, 4, 4);  // overflow
  expectFailsUntouched(make<double>(1, 2, {6e-6, 8e-6}), rpinv, 2, 1);
  Matrix<double> wide =
      make<double>(4, 5, {1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 6e-6, 8e-6});
  expectFailsUntouched(wide, rpinv, 5, 4);
  expectFailsUntouched(wide.transpose(), lpinv, 4, 5);
  for (Matrix<double> a : {diagonal({2e-10}), diagonal({1.01e-10, 1}), diagonal({1, 1, 1.01e-10}),
                           diagonal({1, 1, 1, 1e-10})}) {
    for (auto f : {inv, lpinv, rpinv}) {
      Matrix<double> out(a.rows(), a.rows());
      EXPECT_TRUE((a.*f)(out)) << a.rows();
    }
  }
  Matrix<double> column(2, 1), rightInverse(5, 4), leftInverse(4, 5);
  EXPECT_TRUE(make<double>(1, 2, {6e-6, 8.1e-6}).rpinv(column));
  wide(3, 4) = 8.1e-6;
  EXPECT_TRUE(wide.rpinv(rightInverse));
  EXPECT_TRUE(wide.transpose().lpinv(leftInverse));
  // lpinv picks the inverse of A^T A by A's row count: 2 x 1, 3 x 1 and 3 x 2 fail. Kept so.
  expectFailsUntouched(make<double>(2, 1, {1, 2}), lpinv, 1, 2);
  expectFailsUntouched(make<double>(3, 2, {1, 0, 0, 1, 1, 1}), lpinv, 2, 3);
  std::mt19937_64 rng(11);
  for (UInt32 n = 1; n <= Max_Matrix_Dimension; ++n) {
    expectFailsUntouched(Matrix<double>(n, n), inv, n, n);
    if (n == 1) continue;
    Matrix<double> a = randomMatrix(rng, n, n);
    for (UInt32 j = 0; j < n; ++j) a(n - 1, j) = 3.0 * a(0, j);  // dependent rows
    expectFailsUntouched(a, inv, n, n);
    if (n < Max_Matrix_Dimension) {
      Matrix<double> tall = randomMatrix(rng, n + 1, n);
      for (UInt32 i = 0; i <= n; ++i) tall(i, n - 1) = -2.0 * tall(i, 0);  // dependent columns
      expectFailsUntouched(tall, lpinv, n, n + 1);
      expectFailsUntouched(tall.transpose(), rpinv, n + 1, n);
    }
    for (double bad : {NaN, Inf, -Inf}) {
      Matrix<double> b = Matrix<double>::identity(n);
      b(n / 2, n - 1) = bad;
      if (n >= 4) expectFailsUntouched(b, inv, n, n);  // the closed forms test |det| only
    }
  }
  Matrix<double> square = randomMatrix(rng, 4, 4), tall = randomMatrix(rng, 5, 3);
  for (auto f : {inv, lpinv, rpinv}) expectFailsUntouched(square, f, 4, 5);
  expectFailsUntouched(tall, inv, 3, 3);
  expectFailsUntouched(tall, lpinv, 5, 3);
  expectFailsUntouched(tall, rpinv, 3, 5);
}

// For orders 4 and above the determinant is the product of the pivots, a row exchange not
// flipping its sign (required as it is); the pivot is the last row within _eps of the
// largest, which shows in that sign.
TEST(MatrixDouble, PivotRuleAndDeterminantSign) {
  Matrix<double> swapped = make<double>(4, 4, {0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}),
                 out(4, 4);
  EXPECT_EQ(swapped.det(), 1.0);
  ASSERT_TRUE(swapped.inv(out));
  EXPECT_EQ(toEigen(out), toEigen(swapped));
  EXPECT_EQ(make<double>(3, 3, {0, 1, 0, 1, 0, 0, 0, 0, 1}).det(), -1.0);
  for (double below : {0.0, 0.5e-10, 2e-10}) {
    Matrix<double> a = Matrix<double>::identity(4);
    a(3, 0) = 1.0 - below;
    EXPECT_NEAR(a.det(), below < 1e-10 ? -1.0 : 1.0, 1e-9) << below;
  }
  EXPECT_EQ(Matrix<double>(2, 3).det(), 0.0);
  Matrix<unsigned int> two = make<unsigned int>(1, 1, {2}), twoOut(1, 1);
  ASSERT_TRUE(two.inv(twoOut));
  EXPECT_EQ(twoOut(0, 0), 0u);  // integer division
  EXPECT_EQ(make<unsigned long>(3, 3, {2, 0, 0, 0, 3, 0, 0, 0, 4}).det(), 24ul);
  EXPECT_EQ(Matrix<unsigned long>::identity(6).det(), 0ul);  // unsigned pivot test wraps
  Matrix<float> f = make<float>(4, 4, {4, 1, 0, 0, 1, 4, 1, 0, 0, 1, 4, 1, 0, 0, 1, 4}), fOut(4, 4);
  ASSERT_TRUE(f.inv(fOut));
  EXPECT_TRUE((f * fOut).almostEqual(Matrix<float>::identity(4), 1e-6));
}

// The Jacobian's own members copy, negate and return exactly rows x columns elements and
// leave the storage beyond them as it was.
TEST(Jacobian, MembersKeepToTheirShape) {
  for (UInt8 nr = 1; nr <= 6; ++nr) {
    for (UInt8 nc = 1; nc <= 7; ++nc) {
      Jacobian j(nr, nc), target(nr, nc);
      Matrix<double> m(nr, nc);
      for (UInt32 k = 0; k < kSlots; ++k) {
        static_cast<double*>(j)[k] = k + 1.0;
        static_cast<double*>(m)[k] = -(k + 1.0);
        static_cast<double*>(target)[k] = 0.5;
      }
      // r holds sign x (k + 1) in its used slots k, and beyond[k] in the others.
      const auto expectSlots = [&](const Matrix<double>& r, double sign,
                                   std::vector<double> beyond) {
        const std::vector<double> s = slots(r);
        for (UInt32 k = 0; k < kSlots; ++k) {
          const double expected = k < UInt32(nr * nc) ? sign * (k + 1.0) : beyond[k];
          ASSERT_EQ(s[k], expected) << k;
          ASSERT_EQ(std::signbit(s[k]), std::signbit(expected)) << k;
        }
      };
      target = m;
      expectSlots(target, -1, std::vector<double>(kSlots, 0.5));
      target = j;
      expectSlots(target, 1, std::vector<double>(kSlots, 0.5));
      expectSlots(-j, -1, std::vector<double>(kSlots, 0.0));
      expectSlots(j * Matrix<double>(nc, 3), 1, slots(j));  // the left operand, whole
      expectSlots(Jacobian(j), 1, slots(j));
    }
  }
  Jacobian j(6, 6);
  EXPECT_TRUE(std::signbit((-j)(2, 3)));  // 0.0 becomes -0.0
  EXPECT_TRUE(std::has_virtual_destructor<Jacobian>::value);
}

}  // namespace
