// The containers against exact wide arithmetic and Eigen; no member touches unused storage.
#include <Eigen/Dense>
#include <cmath>
#include <limits>
#include <random>
#include <type_traits>

#include "jacobian.h"
#include "matrix.h"
#include "test_support.h"

namespace {

const double NaN = std::numeric_limits<double>::quiet_NaN();
const UInt32 kSlots = Max_Matrix_Dimension * Max_Matrix_Dimension;

// Slots from ... to of the storage, in use or not.
template <typename T>
std::vector<T> slots(const Vector<T>& v, UInt32 from = 0, UInt32 to = Max_Vector_Dimension) {
  return std::vector<T>(static_cast<const T*>(v) + from, static_cast<const T*>(v) + to);
}
template <typename T>
std::vector<T> slots(const Matrix<T>& m, UInt32 to = kSlots) {
  return std::vector<T>(static_cast<const T*>(m), static_cast<const T*>(m) + to);
}
// A vector of values; an nr x nc matrix whose first slots hold values and slot k else k + 1.
template <typename T>
Vector<T> vec(std::initializer_list<T> values) {
  Vector<T> v(static_cast<UInt32>(values.size()));
  std::copy(values.begin(), values.end(), static_cast<T*>(v));
  return v;
}
template <typename T>
Matrix<T> make(UInt32 nr, UInt32 nc, std::initializer_list<T> values = {}) {
  Matrix<T> m(nr, nc);
  for (UInt32 k = 0; k < kSlots; ++k) static_cast<T*>(m)[k] = T(k + 1);
  std::copy(values.begin(), values.end(), static_cast<T*>(m));
  return m;
}
// -9 ... 9 for signed and floating-point types, 0 ... 9 unsigned, 0 or 1 for bool.
template <typename T>
T smallElement(std::mt19937_64& rng, bool nonZero = false) {
  const int high = std::is_same<T, bool>::value ? 1 : 9;
  std::uniform_int_distribution<int> draw(std::is_signed<T>::value ? -high : 0, high);
  int x = draw(rng);
  while (nonZero && x == 0) x = draw(rng);
  return static_cast<T>(x);
}
// n small elements, with small elements stored beyond n too.
template <typename T>
Vector<T> smallVector(std::mt19937_64& rng, UInt32 n) {
  Vector<T> v(Max_Vector_Dimension);
  for (UInt32 i = 0; i < Max_Vector_Dimension; ++i) v(i) = smallElement<T>(rng);
  v.resize(n);
  return v;
}

template <typename T>
class VectorOfEveryType : public ::testing::Test {};
using ElementTypes =
    ::testing::Types<bool, short, int, long, unsigned int, unsigned long, float, double>;
TYPED_TEST_SUITE(VectorOfEveryType, ElementTypes);

TYPED_TEST(VectorOfEveryType, StorageKeepsWhatIsNotInUse) {
  using T = TypeParam;
  const std::vector<T> zeros(Max_Vector_Dimension, T(0));
  for (UInt32 n = 0; n <= Max_Vector_Dimension; ++n)
    EXPECT_TRUE(slots(Vector<T>(n)) == zeros && Vector<T>::zero(n).size() == n);
  T values[Max_Vector_Dimension];  // the pointer constructors read nothing
  for (UInt32 i = 0; i < Max_Vector_Dimension; ++i) values[i] = T(i + 1);
  for (const Vector<T>& v : {Vector<T>(static_cast<const T*>(values)), Vector<T>(values)})
    EXPECT_TRUE(v.size() == 0u && slots(v) == zeros);
  // resize keeps stored values; the array assignment reads the current size; setToZero and
  // fill write only the used elements; assignment takes the source's size.
  std::mt19937_64 rng(1);
  Vector<T> v = smallVector<T>(rng, Max_Vector_Dimension), a(6);
  std::vector<T> expected = slots(v);
  v.resize(5), v = static_cast<const T*>(values), v.resize(3), v.setToZero(), v.resize(2);
  v.fill(7), v.resize(Max_Vector_Dimension);
  const T changed[5] = {static_cast<T>(7), static_cast<T>(7), T(0), values[3], values[4]};
  std::copy(changed, changed + 5, expected.begin());
  EXPECT_EQ(slots(v), expected);
  a = v, v.resize(2), a = v;
  EXPECT_EQ(a.size(), 2u);
  a.resize(Max_Vector_Dimension);
  EXPECT_EQ(slots(a), expected);
}

// Exact wide arithmetic on small operands, converted to T, is T's own arithmetic.
TYPED_TEST(VectorOfEveryType, ArithmeticIsExactArithmeticConvertedToT) {
  using T = TypeParam;
  using W = std::conditional_t<std::is_floating_point<T>::value, double, long long>;
  std::mt19937_64 rng(20240607);
  for (UInt32 n = 0; n <= Max_Vector_Dimension; ++n) {
    for (int draw = 0; draw < test_support::caseCount(20); ++draw) {
      const Vector<T> a = smallVector<T>(rng, n), b = smallVector<T>(rng, n);
      const std::vector<T> aSlots = slots(a), bSlots = slots(b);
      const T s = smallElement<T>(rng), d = smallElement<T>(rng, true), norm = a.norm();
      Vector<T> unit(a), added(a), subtracted(a);  // in place: the used elements only
      unit.normalize(), added.addToAll(s), subtracted.subtractFromAll(s);
      W dot = 0, squares = 0;
      const Vector<T> r[] = {
          a + b, a - b,   a.elementMultiply(b),    a.plusScalar(s), a.minusScalar(s), a * s,
          a / d, a.abs(), Vector<T>(n).project(b), added,           subtracted,       unit};
      for (UInt32 i = 0; i < Max_Vector_Dimension; ++i) {  // new results are zero beyond n
        const W x = aSlots[i], y = bSlots[i], ws = s, k = i < n ? 1 : 0,
                z = norm > T(0) ? x / W(norm) : 0;
        dot += k * x * y, squares += k * x * x;
        const W expected[] = {k * (x + y),        k * (x - y),          k * x * y,
                              k * (x + ws),       k * (x - ws),         k * ws * x,
                              k * (x / W(d)),     k * (x < 0 ? -x : x), 0,
                              i < n ? x + ws : x, i < n ? x - ws : x,   i < n ? z : x};
        for (UInt32 j = 0; j < 12; ++j)
          EXPECT_TRUE(r[j].size() == n && slots(r[j])[i] == static_cast<T>(expected[j])) << i << j;
      }
      EXPECT_TRUE(a.dot(b) == static_cast<T>(dot) && slots(a) == aSlots && slots(b) == bSlots);
      EXPECT_EQ(norm, static_cast<T>(std::sqrt(static_cast<double>(squares))));
      UInt32 lo = 0, hi = 0, absLo = 0, absHi = 0, loAt, hiAt;  // the first of equal extrema
      for (UInt32 i = 1; i < n; ++i) {
        lo = a(i) < a(lo) ? i : lo, hi = a(hi) < a(i) ? i : hi;
        absLo = a.abs()(i) < a.abs()(absLo) ? i : absLo;
        absHi = a.abs()(absHi) < a.abs()(i) ? i : absHi;
      }
      T low, high;
      if (n > 0) a.min(low, loAt), a.max(high, hiAt);
      EXPECT_TRUE(n == 0 || (low == a(lo) && loAt == lo && a.min() == low && a.minIndex() == lo &&
                             high == a(hi) && hiAt == hi && a.max() == high && a.maxIndex() == hi));
      EXPECT_TRUE(n == 0 || (a.minAbs() == a.abs()(absLo) && a.minAbsIndex() == T(absLo) &&
                             a.maxAbs() == a.abs()(absHi) && a.masAbsIndex() == T(absHi)));
    }
  }
}

// The difference is formed in T: for the unsigned types a smaller minus a larger one wraps.
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
      EXPECT_TRUE(!(a == b) && a != b && a.almostEqual(b, 1.0) && a.almostEqual(b, -1.0)) << k;
      EXPECT_TRUE(!a.almostEqual(b, 0.99) && b.almostEqual(a, 1.0) == !wraps) << k;
    }
  }
}

// Results beyond the type's range are x86-64's truncating conversions, with no undefined
// behaviour for the sanitizer build: abs, norms of wrapped squares, normalize and project.
TEST(VectorPerType, OutOfRangeResultsAreTheTruncatingInstructions) {
  const int intMin = std::numeric_limits<int>::min(), intMax = std::numeric_limits<int>::max();
  const long longMin = std::numeric_limits<long>::min(), longMax = std::numeric_limits<long>::max();
  const unsigned long top = std::numeric_limits<unsigned long>::max();
  EXPECT_EQ(slots(vec<int>({intMin, -intMax, 3}).abs(), 0, 3),
            (std::vector<int>{intMin, intMax, 3}));
  EXPECT_EQ(slots(vec<long>({longMin, longMax - 511, -(longMax - 512)}).abs(), 0, 3),
            (std::vector<long>{longMin, longMin, longMax - 1023}));
  EXPECT_EQ(slots(vec<unsigned long>({top - 1023, top, top - 1024, (1UL << 63) - 512}).abs(), 0, 4),
            (std::vector<unsigned long>{0, 0, top - 2047, 1UL << 63}));
  EXPECT_TRUE(vec<int>({46341}).norm() == intMin && vec<long>({3037000500L}).norm() == longMin);
  EXPECT_TRUE(vec<short>({182}).norm() == 0 && vec<unsigned long>({top}).norm() == 1UL);
  EXPECT_EQ(vec<int>({intMin}).maxAbs(), intMin);
  for (Vector<int> v : {vec<int>({46341, 0}), vec<int>({-46341, 3})}) {
    EXPECT_EQ(v.project(vec<int>({1, 1})).size(), 2u);
    v.normalize();
    EXPECT_EQ(slots(v, 0, 2), (std::vector<int>{0, 0}));
  }
  Vector<short> s = vec<short>({182});
  s.normalize();
  EXPECT_EQ(s(0), 0);
}

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
      const MathVector projection = a.project(b);  // the typed test projects zero vectors only
      const Eigen::VectorXd eProjection = eb * (ea.dot(eb) / eb.squaredNorm());
      for (UInt32 i = 0; i < n; ++i)
        EXPECT_NEAR(projection(i), eProjection(i), 1e-14 * (ea.norm() + 1.0));
    }
  }
}

template <typename T>
class MatrixOfEveryType : public ::testing::Test {};
using MatrixTypes = ::testing::Types<unsigned int, unsigned long, float, double>;
TYPED_TEST_SUITE(MatrixOfEveryType, MatrixTypes);

// Every member works on the first rows x columns slots, the column count as stride; new
// results are zero beyond.
TYPED_TEST(MatrixOfEveryType, MembersWorkOnTheUsedSlots) {
  using T = TypeParam;
  T values[2] = {T(1), T(2)};  // the pointer constructors copy the element count, still 0
  for (const Matrix<T>& m : {Matrix<T>(static_cast<const T*>(values)), Matrix<T>(values)})
    EXPECT_TRUE(slots(m) == std::vector<T>(kSlots, T(0)) && m.rows() + m.columns() == 0u);
  EXPECT_EQ(slots(Matrix<T>(14, 14)), std::vector<T>(kSlots, T(0)));
  Matrix<T> m = make<T>(3, 2, {1, 2, 3, 4, 5, 6}), pt(3, 2), c = make<T>(3, 3);
  m.resize(2, 3);  // the index guard fails only when both indices are out of range
  EXPECT_TRUE(m(0, 2) == T(3) && m(1, 0) == T(4) && static_cast<const Matrix<T>&>(m)(5, 0) == 16);
  Matrix<T> a = make<T>(2, 2);
  const Matrix<T> b = make<T>(3, 3, {10, 11, 12, 13, 14, 15, 16, 17, 18});
  a = b;  // the target's own elements and shape; a copy is whole
  EXPECT_TRUE(slots(a) == slots(make<T>(2, 2, {10, 11, 12, 13})) &&
              slots(Matrix<T>(b)) == slots(b) && a.rows() == 2u);
  a = make<T>(2, 2, {1, 2, 3, 4});
  const Matrix<T> p = make<T>(2, 3, {1, 2, 3, 4, 5, 6});
  Matrix<T>(p).transpose(pt);
  EXPECT_TRUE(slots(pt) == slots(Matrix<T>(p).transpose()) && !p.isSquare());
  const T m2 = T(0) - T(2);
  for (const auto& r : std::vector<std::pair<Matrix<T>, std::vector<T>>>{
           {a + b, {11, 13, 15, 17, 0, 0}},
           {b - a, {9, 9, 9, 9, 9, 9}},
           {a.elementMultiply(b), {10, 22, 36, 52, 0, 0}},
           {a.plusScalar(T(2)), {3, 4, 5, 6, 0, 0}},
           {a.minusScalar(T(2)), {m2, m2, m2, m2, 0, 0}},
           {a.plusScalarPrincipal(T(1)), {2, 0, 0, 5, 0, 0}},
           {a.minusScalarPrincipal(T(1)), {0, 0, 0, 3, 0, 0}},
           {p * make<T>(3, 2, {7, 8, 9, 10, 11, 12}), {58, 64, 139, 154, 0, 0}},
           {pt, {1, 4, 2, 5, 3, 6}}})
    EXPECT_EQ(slots(r.first, 6), r.second);
  EXPECT_EQ(slots(p * vec<T>({1, 2, 3})), slots(vec<T>({14, 32})));
  a.addToAll(T(3)), a.subtractFromAll(T(1)), a.addToPrincipal(T(10)), a.subtractFromPrincipal(T(2));
  EXPECT_EQ(slots(a), slots(make<T>(2, 2, {11, 4, 5, 14})));
  a.setToZero(), c.setToIdentity();
  EXPECT_EQ(slots(a), slots(make<T>(2, 2, {0, 0, 0, 0})));
  EXPECT_EQ(slots(c), slots(make<T>(3, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1})));
  EXPECT_EQ(slots(Matrix<T>::identity(3)), slots(c - Matrix<T>(3, 3)));
  T value;  // extrema: the first occurrence wins
  UInt32 row, col;
  make<T>(2, 3, {3, 3, 3, 3, 1, 1}).min(value, row, col);
  EXPECT_TRUE(value == T(1) && row == 1 && col == 1);
  make<T>(2, 3, {2, 2, 5, 2, 5, 2}).max(value, row, col);
  EXPECT_TRUE(value == T(5) && row == 0 && col == 2);
}

Eigen::MatrixXd toEigen(const Matrix<double>& m) {
  Eigen::MatrixXd e(m.columns(), m.rows());  // row-major storage read as the transpose
  std::copy(static_cast<const double*>(m), static_cast<const double*>(m) + e.size(), e.data());
  return e.transpose();
}
Matrix<double> randomMatrix(std::mt19937_64& rng, UInt32 nr, UInt32 nc) {
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  Matrix<double> m(nr, nc);
  for (UInt32 k = 0; k < nr * nc; ++k) static_cast<double*>(m)[k] = value(rng);
  return m;
}
// Largest element difference relative to the reference's largest; zero beyond the elements.
double relativeError(const Matrix<double>& m, const Eigen::MatrixXd& reference) {
  for (UInt32 k = m.rows() * m.columns(); k < kSlots; ++k) EXPECT_EQ(slots(m)[k], 0.0) << k;
  return (toEigen(m) - reference).cwiseAbs().maxCoeff() / reference.cwiseAbs().maxCoeff();
}

// Every shape: products, transpose, inverse, determinant and pseudo-inverses against Eigen,
// errors in units of condition number (squared for pseudo-inverses) x size x epsilon.
TEST(MatrixDouble, AgreesWithEigenOnEveryShape) {
  std::mt19937_64 rng(2024);
  double worstProduct = 0, worstInverse = 0, worstDet = 0, worstPseudo = 0;
  for (UInt32 m = 1; m <= Max_Matrix_Dimension; ++m) {
    for (UInt32 n = 1; n <= Max_Matrix_Dimension; ++n) {
      Matrix<double> a = randomMatrix(rng, m, n), b = randomMatrix(rng, n, 1 + m % 14), out(n, m);
      const Eigen::MatrixXd e = toEigen(a);
      const Eigen::VectorXd s = Eigen::JacobiSVD<Eigen::MatrixXd>(e).singularValues();
      const double c = s(0) / s(s.size() - 1), unit = c * std::numeric_limits<double>::epsilon();
      worstProduct = std::max(worstProduct, relativeError(a * b, e * toEigen(b)));
      EXPECT_EQ(toEigen(a.transpose()), e.transpose());
      if (m == n) {
        ASSERT_TRUE(a.inv(out)) << n;
        const double det = a.det(), expected = e.determinant();
        worstInverse = std::max(worstInverse, relativeError(out, e.inverse()) / (unit * n));
        worstDet = std::max(worstDet, std::abs(std::abs(det) - std::abs(expected)) /
                                          std::abs(expected) / (unit * n));
        EXPECT_TRUE(n > 3 || (det > 0) == (expected > 0)) << n;
        for (auto pseudo : {&Matrix<double>::lpinv, &Matrix<double>::rpinv}) {
          Matrix<double> square(n, n);
          EXPECT_TRUE((a.*pseudo)(square) && slots(square) == slots(out));  // handed to inv
        }
      } else if (m > 3 || n > m) {  // lpinv of 2 x 1, 3 x 1 and 3 x 2 fails, kept so
        ASSERT_TRUE(m > n ? a.lpinv(out) : a.rpinv(out)) << m << " x " << n;
        const Eigen::MatrixXd expected = e.completeOrthogonalDecomposition().pseudoInverse();
        worstPseudo = std::max(worstPseudo, relativeError(out, expected) / (unit * c * m * n));
      }
    }
  }
  EXPECT_TRUE(worstProduct < 1e-14 && worstInverse < 4.0 && worstDet < 4.0 && worstPseudo < 4.0)
      << worstProduct << " " << worstInverse << " " << worstDet << " " << worstPseudo;
}

using Inverse = Bool (Matrix<double>::*)(Matrix<double>&);
// The inverse of a fails and every slot of an nr x nc output keeps its value.
void expectFailsUntouched(Matrix<double> a, Inverse inverse, UInt32 nr, UInt32 nc) {
  Matrix<double> out(nr, nc);
  for (UInt32 k = 0; k < kSlots; ++k) static_cast<double*>(out)[k] = 1000.0 + k;
  const std::vector<double> before = slots(out);
  EXPECT_FALSE((a.*inverse)(out)) << a.rows() << " x " << a.columns() << " into " << nr;
  EXPECT_TRUE(slots(out) == before && out.rows() == nr && out.columns() == nc);
}

// The tolerance table (closed forms fail at |d| = _eps, inv's LU passes a pivot product of
// _eps, the pseudo-inverses' fails it), singular, overflowing and non-finite matrices, shapes
// that do not fit, and lpinv of 2 x 1 and 3 x 2 (the inverse picked by A's row count).
TEST(MatrixDouble, FailuresLeaveTheOutputUntouched) {
  const Inverse inv = &Matrix<double>::inv, lpinv = &Matrix<double>::lpinv,
                rpinv = &Matrix<double>::rpinv;
  const auto diagonal = [](std::initializer_list<double> values) {
    Matrix<double> m(values.size(), values.size());
    for (UInt32 i = 0; i < values.size(); ++i) m(i, i) = values.begin()[i];
    return m;
  };
  ASSERT_EQ(0.0 + 6e-6 * 6e-6 + 8e-6 * 8e-6, 1e-10);
  Matrix<double> wide =
      make<double>(4, 5, {1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 6e-6, 8e-6});
  std::mt19937_64 rng(11);
  const Matrix<double> square = randomMatrix(rng, 4, 4), tall = randomMatrix(rng, 5, 3);
  for (const Matrix<double>& a : {diagonal({1e-10}), diagonal({1e-10, 1}), diagonal({1, 1, 1e-10}),
                                  diagonal({1, 1, 1, 0.99e-10}), diagonal({0.99e-10, 1, 1, 1, 1}),
                                  diagonal({1e100, 1e100, 1e100, 1e100})})
    expectFailsUntouched(a, inv, a.rows(), a.rows());
  expectFailsUntouched(make<double>(1, 2, {6e-6, 8e-6}), rpinv, 2, 1);
  expectFailsUntouched(wide, rpinv, 5, 4);
  expectFailsUntouched(wide.transpose(), lpinv, 4, 5);
  expectFailsUntouched(make<double>(2, 1, {1, 2}), lpinv, 1, 2);
  expectFailsUntouched(make<double>(3, 2, {1, 0, 0, 1, 1, 1}), lpinv, 2, 3);
  for (Inverse f : {inv, lpinv, rpinv}) expectFailsUntouched(square, f, 4, 5);
  expectFailsUntouched(tall, inv, 3, 3), expectFailsUntouched(tall, lpinv, 5, 3);
  expectFailsUntouched(tall, rpinv, 3, 5);
  for (Matrix<double> a : {diagonal({2e-10}), diagonal({1.01e-10, 1}), diagonal({1, 1, 1.01e-10}),
                           diagonal({1, 1, 1, 1e-10})}) {
    for (Inverse f : {inv, lpinv, rpinv}) {
      Matrix<double> out(a);
      EXPECT_TRUE((a.*f)(out)) << a.rows();
    }
  }
  Matrix<double> column(2, 1), rightInverse(5, 4), leftInverse(4, 5);
  wide(3, 4) = 8.1e-6;
  EXPECT_TRUE(make<double>(1, 2, {6e-6, 8.1e-6}).rpinv(column) && wide.rpinv(rightInverse) &&
              wide.transpose().lpinv(leftInverse));
  for (UInt32 n = 1; n <= Max_Matrix_Dimension; ++n) {
    Matrix<double> a = randomMatrix(rng, n, n), b = Matrix<double>::identity(n),
                   t = randomMatrix(rng, std::min(n + 1, Max_Matrix_Dimension), n);
    for (UInt32 j = 0; j < n; ++j) a(n - 1, j) = 3.0 * a(0, j);          // dependent rows
    for (UInt32 i = 0; i < t.rows(); ++i) t(i, n - 1) = -2.0 * t(i, 0);  // dependent columns
    if (n > 1) expectFailsUntouched(a, inv, n, n);
    if (n > 1 && n < Max_Matrix_Dimension) expectFailsUntouched(t, lpinv, n, n + 1);
    if (n > 1 && n < Max_Matrix_Dimension) expectFailsUntouched(t.transpose(), rpinv, n + 1, n);
    for (double bad : {NaN, HUGE_VAL, -HUGE_VAL}) {  // the closed forms test |det| only
      b(n / 2, n - 1) = bad;
      if (n >= 4) expectFailsUntouched(b, inv, n, n);
    }
  }
}

// The Jacobian's members copy, negate and return rows x columns elements, the rest untouched.
TEST(Jacobian, MembersKeepToTheirShape) {
  for (UInt8 nr = 1; nr <= 6; ++nr) {
    for (UInt8 nc = 1; nc <= 7; ++nc) {
      Jacobian j(nr, nc), target(nr, nc);
      Matrix<double> m(nr, nc);
      double *pj = j, *pm = m, *pt = target;
      for (UInt32 k = 0; k < kSlots; ++k) pj[k] = k + 1.0, pm[k] = -(k + 1.0), pt[k] = 0.5;
      // r holds sign x (k + 1) in its used slots k, and beyond[k] in the others.
      const auto expectSlots = [&](const Matrix<double>& r, double sign,
                                   std::vector<double> beyond) {
        for (UInt32 k = 0; k < kSlots; ++k) {
          const double expected = k < UInt32(nr * nc) ? sign * (k + 1.0) : beyond[k];
          ASSERT_TRUE(slots(r)[k] == expected &&
                      std::signbit(slots(r)[k]) == std::signbit(expected))
              << k;
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
  EXPECT_TRUE(std::signbit((-Jacobian(6, 6))(2, 3)));  // 0.0 becomes -0.0
  EXPECT_TRUE(std::has_virtual_destructor<Jacobian>::value);
}

}  // namespace
