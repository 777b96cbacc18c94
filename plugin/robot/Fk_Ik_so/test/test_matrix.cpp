// Matrix<T> storage, access and arithmetic over the four element types, with Eigen as
// the oracle of the products.
#include <Eigen/Dense>
#include <cmath>
#include <functional>
#include <limits>

#include "matrix.h"
#include "test_support.h"
#include "vector_test_support.h"

using test_support::assertionReport;
using test_support::TypeName;

namespace {

const UInt32 kSlots = Max_Matrix_Dimension * Max_Matrix_Dimension;

// All 196 slots, whatever the shape.
template <typename T>
std::vector<T> slots(const Matrix<T>& m) {
  const T* p = m;
  return std::vector<T>(p, p + kSlots);
}

// An nr x nc matrix whose first slots hold values; with no values, slot k holds k + 1
// (slots beyond the shape too).
template <typename T>
Matrix<T> make(UInt32 nr, UInt32 nc, std::initializer_list<T> values = {}) {
  Matrix<T> m(nr, nc);
  T* p = m;
  for (UInt32 k = 0; k < kSlots; ++k) p[k] = values.size() == 0 ? T(k + 1) : T(0);
  std::copy(values.begin(), values.end(), p);
  return m;
}

template <typename T>
class MatrixStorage : public ::testing::Test {};
using ElementTypes = ::testing::Types<unsigned int, unsigned long, float, double>;
TYPED_TEST_SUITE(MatrixStorage, ElementTypes);

TYPED_TEST(MatrixStorage, ConstructionResizeAndAssignment) {
  using T = TypeParam;
  const Matrix<T> full(14, 14);
  EXPECT_EQ(slots(full), std::vector<T>(kSlots, T(0)));
  // The pointer constructors copy the element count, which is still 0.
  T values[2] = {T(1), T(2)};
  for (const Matrix<T>& m : {Matrix<T>(static_cast<const T*>(values)), Matrix<T>(values),
                             Matrix<T>(static_cast<const T*>(nullptr))}) {
    EXPECT_EQ(m.rows() + m.columns(), 0u);
    EXPECT_EQ(slots(m), std::vector<T>(kSlots, T(0)));
  }

  Matrix<T> m = make<T>(3, 2, {1, 2, 3, 4, 5, 6});
  m.resize(2, 3);  // the slots are reread with the new stride
  EXPECT_EQ(m(0, 2), T(3));
  EXPECT_EQ(m(1, 0), T(4));

  // Assignment copies the target's own elements from the same slots and keeps the
  // target's shape; a copy takes the whole object.
  Matrix<T> a = make<T>(2, 2);
  const Matrix<T> b = make<T>(3, 3, {10, 11, 12, 13, 14, 15, 16, 17, 18});
  a = b;
  EXPECT_EQ(a.rows(), 2u);
  EXPECT_EQ(a(1, 0), T(12));
  EXPECT_EQ(a(1, 1), T(13));
  EXPECT_EQ(slots(a)[4], T(5));
  const Matrix<T> copy(b);
  EXPECT_EQ(copy.rows(), 3u);
  EXPECT_EQ(slots(copy), slots(b));
}

// The index guard fails only when both indices are out of range.
TYPED_TEST(MatrixStorage, IndexGuardPassesWhenOneIndexIsInRange) {
  using T = TypeParam;
  Matrix<T> m = make<T>(3, 3);
  const Matrix<T>& view = m;
  EXPECT_EQ(view(5, 0), T(16));  // slot 15
  EXPECT_EQ(view(0, 5), T(6));   // slot 5
  m(4, 1) = T(99);               // slot 13
  EXPECT_EQ(slots(m)[13], T(99));
}

TYPED_TEST(MatrixStorage, ElementWiseAndDiagonalOperations) {
  using T = TypeParam;
  Matrix<T> a = make<T>(2, 2, {1, 2, 3, 4});
  const Matrix<T> b = make<T>(3, 3);  // other's shape is not checked: slots 0 ... 3
  EXPECT_EQ(slots(a + b), slots(make<T>(2, 2, {2, 4, 6, 8})));
  EXPECT_EQ(slots(b - a), slots(make<T>(3, 3, {0, 0, 0, 0, 5, 6, 7, 8, 9})));
  EXPECT_EQ(slots(a.elementMultiply(b)), slots(make<T>(2, 2, {1, 4, 9, 16})));
  a.addToAll(T(3));
  a.subtractFromAll(T(1));
  a.addToPrincipal(T(10));
  a.subtractFromPrincipal(T(2));
  EXPECT_EQ(slots(a), slots(make<T>(2, 2, {11, 4, 5, 14})));

  Matrix<T> c = make<T>(3, 3);
  c.setToIdentity();  // clears the first nine slots only
  const std::vector<T> s = slots(c);
  EXPECT_EQ(std::vector<T>(s.begin(), s.begin() + 10),
            (std::vector<T>{1, 0, 0, 0, 1, 0, 0, 0, 1, 10}));
}

// minusScalar subtracts from a zero result and the principal-diagonal forms drop the
// off-diagonal elements: both kept so.
TYPED_TEST(MatrixStorage, ScalarOperationsKeepTheirAsymmetries) {
  using T = TypeParam;
  const Matrix<T> a = make<T>(2, 2, {5, 5, 5, 5});
  const T minusTwo = T(0) - T(2);  // wraps for the unsigned types
  EXPECT_EQ(slots(a.plusScalar(T(2))), slots(make<T>(2, 2, {7, 7, 7, 7})));
  EXPECT_EQ(slots(a.minusScalar(T(2))),
            slots(make<T>(2, 2, {minusTwo, minusTwo, minusTwo, minusTwo})));
  EXPECT_EQ(slots(a.plusScalarPrincipal(T(1))), slots(make<T>(2, 2, {6, 0, 0, 6})));
  EXPECT_EQ(slots(a.minusScalarPrincipal(T(1))), slots(make<T>(2, 2, {4, 0, 0, 4})));
}

TYPED_TEST(MatrixStorage, ProductsTransposeAndExtrema) {
  using T = TypeParam;
  Matrix<T> a = make<T>(2, 3, {1, 2, 3, 4, 5, 6});
  const Matrix<T> ab = a * make<T>(3, 2, {7, 8, 9, 10, 11, 12});
  EXPECT_EQ(ab.columns(), 2u);
  EXPECT_EQ(slots(ab), slots(make<T>(2, 2, {58, 64, 139, 154})));
  Vector<T> v(3);
  v(0) = T(1), v(1) = T(2), v(2) = T(3);
  const Vector<T> av = a * v;
  EXPECT_EQ(av.size(), 2u);
  EXPECT_EQ(av(1), T(32));
  Matrix<T> at(3, 2);
  a.transpose(at);
  EXPECT_EQ(slots(at), slots(make<T>(3, 2, {1, 4, 2, 5, 3, 6})));
  EXPECT_EQ(slots(a.transpose()), slots(at));

  // The first occurrence wins; row and column come from the slot index.
  T value;
  UInt32 row, col;
  make<T>(2, 2, {1, 0, 0, 2}).min(value, row, col);
  EXPECT_EQ(std::vector<UInt32>({UInt32(value), row, col}), std::vector<UInt32>({0, 0, 1}));
  make<T>(2, 3, {2, 2, 2, 2, 2, 2}).max(value, row, col);
  EXPECT_EQ(std::vector<UInt32>({UInt32(value), row, col}), std::vector<UInt32>({2, 0, 0}));
  make<T>(2, 3, {3, 3, 3, 3, 3, 1}).min(value, row, col);
  EXPECT_EQ(std::vector<UInt32>({UInt32(value), row, col}), std::vector<UInt32>({1, 1, 2}));
}

TEST(MatrixComparison, KeptAsymmetries) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  // operator== takes the absolute value of the left operand only: kept so.
  Matrix<double> a = make<double>(2, 2, {-3, 1, 2, 4}), b = make<double>(2, 2, {3, 1, 2, 4});
  EXPECT_TRUE(a == b);
  EXPECT_FALSE(a != b);
  EXPECT_FALSE(b == a);
  EXPECT_TRUE(b != a);
  a(1, 1) = b(1, 1) = nan;
  EXPECT_FALSE(a == b);
  Matrix<unsigned long> u = make<unsigned long>(1, 2, {7, 8});
  EXPECT_TRUE(u == make<unsigned long>(1, 3, {7, 8, 9}));  // this matrix's elements only
  EXPECT_TRUE(u != make<unsigned long>(1, 2, {7, 9}));

  // almostEqual takes |tol|; unsigned differences wrap without an absolute value.
  Matrix<double> c = make<double>(1, 2, {1.0, 2.0});
  EXPECT_TRUE(c.almostEqual(make<double>(1, 2, {1.0, 2.5}), -0.5));
  EXPECT_FALSE(c.almostEqual(make<double>(1, 2, {1.0, 2.5}), 0.4));
  Matrix<unsigned int> small = make<unsigned int>(1, 1, {3}), large = make<unsigned int>(1, 1, {4});
  EXPECT_TRUE(large.almostEqual(small, 1.0));
  EXPECT_FALSE(small.almostEqual(large, 1.0));

  // A NaN in slot 0 is never replaced, a later one never taken.
  double value;
  UInt32 row, col;
  make<double>(1, 3, {nan, -5.0, 5.0}).min(value, row, col);
  EXPECT_TRUE(std::isnan(value));
  make<double>(1, 3, {1.0, nan, 5.0}).max(value, row, col);
  EXPECT_EQ(col, 2u);
}

// Random double matrices of every shape: products and transpose agree with Eigen.
TEST(MatrixProduct, AgreesWithEigen) {
  std::mt19937_64 rng(515);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  std::uniform_int_distribution<UInt32> dimension(1, Max_Matrix_Dimension);
  double worst = 0.0;
  for (int trial = 0; trial < test_support::caseCount(300); ++trial) {
    const UInt32 m = dimension(rng), k = dimension(rng), n = dimension(rng);
    Matrix<double> a(m, k), b(k, n);
    MathVector v(k);
    Eigen::MatrixXd ea(m, k), eb(k, n);
    Eigen::VectorXd ev(k);
    for (UInt32 i = 0; i < k; ++i) {
      for (UInt32 r = 0; r < m; ++r) ea(r, i) = a(r, i) = value(rng);
      for (UInt32 c = 0; c < n; ++c) eb(i, c) = b(i, c) = value(rng);
      ev(i) = v(i) = value(rng);
    }
    const Matrix<double> ab = a * b, at = a.transpose();
    const MathVector av = a * v;
    const Eigen::MatrixXd eab = ea * eb;
    const Eigen::VectorXd eav = ea * ev;
    ASSERT_EQ(ab.rows() * 100 + ab.columns(), m * 100 + n);
    for (UInt32 r = 0; r < m; ++r) {
      for (UInt32 c = 0; c < n; ++c) worst = std::max(worst, std::abs(ab(r, c) - eab(r, c)));
      for (UInt32 c = 0; c < k; ++c) ASSERT_EQ(at(c, r), a(r, c));
      worst = std::max(worst, std::abs(av(r) - eav(r)));
    }
  }
  EXPECT_LT(worst, 1e-14);
}

// Every assertion of the matrix, the report naming the instantiation's types.
template <typename T>
class MatrixAssertions : public ::testing::Test {};
TYPED_TEST_SUITE(MatrixAssertions, ElementTypes);

TYPED_TEST(MatrixAssertions, ReportsNameTheFunctionAndCondition) {
  using T = TypeParam;
  const std::string type = TypeName<T>::value;
  const auto with = [&](const std::string& signature, const std::string& typedefs) {
    return signature + " [with T = " + type + typedefs + "]";
  };
  const std::string construct =
      with("Matrix<T>::Matrix(const UInt32&, const UInt32&)", "; UInt32 = unsigned int");
  const std::string resize = with("Void Matrix<T>::resize(const UInt32&, const UInt32&)",
                                  "; Void = void; UInt32 = unsigned int");
  const std::string rowBound = "nr > 0 && nr <= Max_Matrix_Dimension";
  const std::string columnBound = "nc > 0 && nc <= Max_Matrix_Dimension";
  const std::string identity = with("Void Matrix<T>::setToIdentity()", "; Void = void");
  const std::string identityCondition = "_nr > 0 && _nc > 0 && _nr == _nc";
  Matrix<T> wide(2, 3), sameShape(2, 3);
  const Matrix<T>& constWide = wide;

  const std::vector<std::tuple<std::function<void()>, std::string, std::string>> cases = {
      {[] { Matrix<T>(0, 3); }, construct, rowBound},
      {[] { Matrix<T>(15, 1); }, construct, rowBound},
      {[] { Matrix<T>(3, 0); }, construct, columnBound},
      {[] { Matrix<T>::identity(15); }, construct, rowBound},
      {[] { Matrix<T>::zero(1, 15); }, construct, columnBound},
      {[&] { wide.resize(15, 2); }, resize, rowBound},
      {[&] { wide.resize(2, 0); }, resize, columnBound},
      {[&] { wide(2, 3) = T(1); },
       with("T& Matrix<T>::operator()(const UInt32&, const UInt32&)", "; UInt32 = unsigned int"),
       "i < _nr || j < _nc"},
      {[&] { (void)constWide(7, 3); },
       with("T Matrix<T>::operator()(const UInt32&, const UInt32&) const",
            "; UInt32 = unsigned int"),
       "i < _nr || j < _nc"},
      {[&] { wide.setToIdentity(); }, identity, identityCondition},
      {[] { Matrix<T>(static_cast<T*>(nullptr)).setToIdentity(); }, identity, identityCondition},
      {[&] { wide.addToPrincipal(T(1)); },
       with("Void Matrix<T>::addToPrincipal(const T&)", "; Void = void"), "_nr == _nc"},
      {[&] { wide.subtractFromPrincipal(T(1)); },
       with("Void Matrix<T>::subtractFromPrincipal(const T&)", "; Void = void"), "_nr == _nc"},
      {[&] { constWide.plusScalarPrincipal(T(1)); },
       with("Matrix<T> Matrix<T>::plusScalarPrincipal(const T&) const", ""), "_nr == _nc"},
      {[&] { constWide.minusScalarPrincipal(T(1)); },
       with("Matrix<T> Matrix<T>::minusScalarPrincipal(const T&) const", ""), "_nr == _nc"},
      {[&] { constWide* sameShape; },
       with("Matrix<T> Matrix<T>::operator*(const Matrix<T>&) const", ""), "_nc == other.rows()"},
      {[&] { wide.transpose(sameShape); },
       with("Void Matrix<T>::transpose(Matrix<T>&)", "; Void = void"),
       "_nr == r.columns() && _nc == r.rows()"},
      // The vector product has no check of its own: the vector's index assertion fires.
      {[&] { constWide* Vector<T>(2); },
       "T Vector<T>::operator()(const UInt32&) const [with T = " + type +
           "; UInt32 = unsigned int]",
       "id < _n"},
  };
  for (const auto& [statement, function, condition] : cases) {
    EXPECT_DEATH(statement(), assertionReport(function, condition));
  }
}

}  // namespace
