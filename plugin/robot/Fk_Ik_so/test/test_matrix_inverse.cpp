// Matrix inverse, pseudo-inverses and determinant against Eigen, the tolerance table
// and the failure paths, which leave the output untouched.
#include <Eigen/Dense>
#include <cmath>
#include <limits>

#include "matrix.h"
#include "test_support.h"

namespace {

const UInt32 kSlots = Max_Matrix_Dimension * Max_Matrix_Dimension;
const double kMachineEpsilon = std::numeric_limits<double>::epsilon();

typedef Bool (Matrix<double>::*Inverse)(Matrix<double>&);

template <typename T>
Matrix<T> fromRows(UInt32 nr, UInt32 nc, std::initializer_list<T> values) {
  Matrix<T> m(nr, nc);
  std::copy(values.begin(), values.end(), static_cast<T*>(m));
  return m;
}

// An n x n diagonal matrix.
Matrix<double> diagonal(std::initializer_list<double> values) {
  const UInt32 n = static_cast<UInt32>(values.size());
  Matrix<double> m(n, n);
  UInt32 i = 0;
  for (double v : values) m(i, i) = v, ++i;
  return m;
}

std::vector<double> slots(const Matrix<double>& m) {
  const double* p = m;
  return std::vector<double>(p, p + kSlots);
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

// Largest element difference relative to the largest element of the reference.
double relativeError(const Matrix<double>& m, const Eigen::MatrixXd& reference) {
  return (toEigen(m) - reference).cwiseAbs().maxCoeff() / reference.cwiseAbs().maxCoeff();
}

// All 196 slots of out hold a pattern no inverse produces.
Matrix<double> sentinel(UInt32 nr, UInt32 nc) {
  Matrix<double> out(nr, nc);
  for (UInt32 k = 0; k < kSlots; ++k) static_cast<double*>(out)[k] = 1000.0 + k;
  return out;
}

// The inverse fails and every slot of out keeps its value.
void expectFailsUntouched(Matrix<double> a, Inverse inverse, UInt32 outRows, UInt32 outColumns) {
  Matrix<double> out = sentinel(outRows, outColumns);
  EXPECT_FALSE((a.*inverse)(out)) << a.rows() << " x " << a.columns();
  const double* p = out;
  for (UInt32 k = 0; k < kSlots; ++k) ASSERT_EQ(p[k], 1000.0 + k) << "slot " << k;
  EXPECT_EQ(out.rows(), outRows);
  EXPECT_EQ(out.columns(), outColumns);
}

// Random matrices of every order: the inverse agrees with Eigen's to a tolerance
// scaled by the condition number, the determinant in magnitude, and for orders 1 to 3
// (the closed forms) in sign too.
TEST(MatrixInverse, AgreesWithEigenOnEveryOrder) {
  std::mt19937_64 rng(2024);
  const int perOrder = test_support::caseCount(20);
  double worstInverse = 0.0, worstDet = 0.0;
  for (UInt32 n = 1; n <= Max_Matrix_Dimension; ++n) {
    for (int trial = 0; trial < perOrder; ++trial) {
      Matrix<double> a = randomMatrix(rng, n, n);
      const Eigen::MatrixXd e = toEigen(a);
      const double scale = conditionNumber(e) * n * kMachineEpsilon;
      Matrix<double> out(n, n);
      ASSERT_TRUE(a.inv(out)) << "order " << n;
      worstInverse = std::max(worstInverse, relativeError(out, e.inverse()) / scale);
      for (Inverse pseudo : {&Matrix<double>::lpinv, &Matrix<double>::rpinv}) {
        Matrix<double> square(n, n);
        ASSERT_TRUE((a.*pseudo)(square));
        EXPECT_EQ(slots(square), slots(out));  // a square matrix is handed to inv
      }
      const double det = a.det(), expected = e.determinant();
      worstDet = std::max(
          worstDet, std::abs(std::abs(det) - std::abs(expected)) / std::abs(expected) / scale);
      if (n <= 3) {
        EXPECT_EQ(det > 0, expected > 0) << "order " << n;
      }
    }
  }
  // Errors in units of condition number x order x machine epsilon.
  EXPECT_LT(worstInverse, 4.0);
  EXPECT_LT(worstDet, 4.0);
}

// Every rectangular shape the pseudo-inverses accept: m > n for lpinv (2 x 1, 3 x 1 and
// 3 x 2 always fail, see below), m < n for rpinv. Tolerance scaled by the condition
// number of the normal matrix.
TEST(MatrixInverse, PseudoInversesAgreeWithEigen) {
  std::mt19937_64 rng(77);
  double worst = 0.0;
  int shapes = 0;
  for (UInt32 m = 1; m <= Max_Matrix_Dimension; ++m) {
    for (UInt32 n = 1; n <= Max_Matrix_Dimension; ++n) {
      if (m == n || (m <= 3 && n < m)) continue;
      ++shapes;
      Matrix<double> a = randomMatrix(rng, m, n);
      const Eigen::MatrixXd e = toEigen(a);
      Matrix<double> out(n, m);
      ASSERT_TRUE(m > n ? a.lpinv(out) : a.rpinv(out)) << m << " x " << n;
      const double c = conditionNumber(e);
      const Eigen::MatrixXd expected = e.completeOrthogonalDecomposition().pseudoInverse();
      worst = std::max(worst, relativeError(out, expected) / (c * c * m * n * kMachineEpsilon));
      // The other side does not accept the shape.
      Matrix<double> untouched = sentinel(n, m);
      EXPECT_FALSE(m > n ? a.rpinv(untouched) : a.lpinv(untouched));
    }
  }
  EXPECT_EQ(shapes, 179);
  EXPECT_LT(worst, 4.0);
}

TEST(MatrixInverse, PinnedResults) {
  Matrix<double> out1(1, 1), out2(2, 2);
  Matrix<double> two = fromRows<double>(1, 1, {2});
  ASSERT_TRUE(two.inv(out1));
  EXPECT_EQ(out1(0, 0), 0.5);
  Matrix<double> a = fromRows<double>(2, 2, {4, 7, 2, 6});
  ASSERT_TRUE(a.inv(out2));
  EXPECT_TRUE(out2.almostEqual(fromRows<double>(2, 2, {0.6, -0.7, -0.2, 0.4}), 1e-15));
  EXPECT_EQ(a.det(), 10.0);
  EXPECT_EQ(fromRows<double>(1, 1, {-3.5}).det(), -3.5);
  EXPECT_EQ(Matrix<double>(2, 3).det(), 0.0);

  // A 4 x 2 matrix with independent columns: X A = I.
  Matrix<double> tall = fromRows<double>(4, 2, {1, 2, 0, 1, 3, -1, 2, 2}), x(2, 4);
  ASSERT_TRUE(tall.lpinv(x));
  EXPECT_TRUE((x * tall).almostEqual(Matrix<double>::identity(2), 1e-14));
}

// For orders 4 and above the determinant is the product of the pivots: a row exchange
// does not flip its sign. Required as it is.
TEST(MatrixInverse, DeterminantOfARowExchangeIsPositive) {
  Matrix<double> swapped = fromRows<double>(4, 4, {0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1});
  EXPECT_EQ(swapped.det(), 1.0);
  EXPECT_EQ(toEigen(swapped).determinant(), -1.0);
  Matrix<double> out(4, 4);
  ASSERT_TRUE(swapped.inv(out));
  EXPECT_EQ(slots(out), slots(swapped));
  // Orders 2 and 3 use the closed forms, which keep the sign.
  EXPECT_EQ(fromRows<double>(2, 2, {0, 1, 1, 0}).det(), -1.0);
  EXPECT_EQ(fromRows<double>(3, 3, {0, 1, 0, 1, 0, 0, 0, 0, 1}).det(), -1.0);
}

// The pivot of a column is the last row whose |t| lies within _eps of the largest seen:
// a tie, or a later row just below the maximum, wins and is exchanged with the first,
// which shows in the sign of the determinant (+1 for this unit lower triangle).
TEST(MatrixInverse, PivotIsTheLastRowWithinToleranceOfTheMaximum) {
  for (double below : {0.0, 0.5e-10, 2e-10}) {
    Matrix<double> a = Matrix<double>::identity(4), out(4, 4);
    a(3, 0) = 1.0 - below;
    EXPECT_NEAR(a.det(), below < 1e-10 ? -1.0 : 1.0, 1e-9) << below;
    ASSERT_TRUE(a.inv(out));
    EXPECT_LT(relativeError(out, toEigen(a).inverse()), 1e-15);
  }
}

// lpinv chooses the inverse of A^T A by A's row count: for 2 x 1, 3 x 1 and 3 x 2 the
// closed form of order m reads the n x n product as a larger block, whose remaining
// slots are zero, and fails even for independent columns. Kept so.
TEST(MatrixInverse, LeftPseudoInverseOfTheSmallTallShapesFails) {
  expectFailsUntouched(fromRows<double>(2, 1, {1, 2}), &Matrix<double>::lpinv, 1, 2);
  expectFailsUntouched(fromRows<double>(3, 1, {1, 2, 3}), &Matrix<double>::lpinv, 1, 3);
  expectFailsUntouched(fromRows<double>(3, 2, {1, 0, 0, 1, 1, 1}), &Matrix<double>::lpinv, 2, 3);
  // Their transposes go through rpinv, which dispatches on the order of A A^T.
  Matrix<double> wide = fromRows<double>(2, 3, {1, 0, 1, 0, 1, 1}), out(3, 2);
  ASSERT_TRUE(wide.rpinv(out));
  EXPECT_TRUE((wide * out).almostEqual(Matrix<double>::identity(2), 1e-15));
}

// The tolerance table: the 1 x 1 reciprocal and the closed forms fail at |d| = _eps,
// the LU branch of inv passes a pivot product of exactly _eps, that of the
// pseudo-inverses fails it. 0 + (6e-6)^2 + (8e-6)^2 is exactly 1e-10 in double.
TEST(MatrixInverse, ToleranceBoundaries) {
  const Inverse inv = &Matrix<double>::inv, lpinv = &Matrix<double>::lpinv,
                rpinv = &Matrix<double>::rpinv;
  ASSERT_EQ(0.0 + 6e-6 * 6e-6 + 8e-6 * 8e-6, 1e-10);
  expectFailsUntouched(diagonal({1e-10}), inv, 1, 1);
  expectFailsUntouched(diagonal({1e-10, 1}), inv, 2, 2);
  expectFailsUntouched(diagonal({1, 1, 1e-10}), inv, 3, 3);
  expectFailsUntouched(diagonal({1, 1, 1, 0.99e-10}), inv, 4, 4);
  expectFailsUntouched(fromRows<double>(1, 2, {6e-6, 8e-6}), rpinv, 2, 1);

  Matrix<double> wide =
      fromRows<double>(4, 5, {1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 6e-6, 8e-6});
  expectFailsUntouched(wide, rpinv, 5, 4);
  expectFailsUntouched(wide.transpose(), lpinv, 4, 5);

  for (Matrix<double> a : {diagonal({2e-10}), diagonal({1.01e-10, 1}), diagonal({1, 1, 1.01e-10}),
                           diagonal({1, 1, 1, 1e-10})}) {
    for (Inverse f : {inv, lpinv, rpinv}) {
      Matrix<double> out(a.rows(), a.rows());
      EXPECT_TRUE((a.*f)(out)) << a.rows();
    }
  }
  Matrix<double> reciprocal = fromRows<double>(1, 2, {6e-6, 8.1e-6}), column(2, 1);
  EXPECT_TRUE(reciprocal.rpinv(column));
  wide(3, 4) = 8.1e-6;
  Matrix<double> rightInverse(5, 4), tall = wide.transpose(), leftInverse(4, 5);
  EXPECT_TRUE(wide.rpinv(rightInverse));
  EXPECT_TRUE(tall.lpinv(leftInverse));
}

// Singular and nearly singular matrices of every order, and the same for the
// pseudo-inverses with dependent columns (lpinv) or rows (rpinv).
TEST(MatrixInverse, SingularMatricesLeaveTheOutputUntouched) {
  std::mt19937_64 rng(11);
  for (UInt32 n = 1; n <= Max_Matrix_Dimension; ++n) {
    expectFailsUntouched(Matrix<double>(n, n), &Matrix<double>::inv, n, n);
    if (n == 1) continue;
    Matrix<double> a = randomMatrix(rng, n, n);
    for (UInt32 j = 0; j < n; ++j) a(n - 1, j) = 3.0 * a(0, j);  // dependent rows
    expectFailsUntouched(a, &Matrix<double>::inv, n, n);
    a(n - 1, 0) += 1e-14;  // nearly singular: still within the tolerance
    expectFailsUntouched(a, &Matrix<double>::inv, n, n);
  }
  for (UInt32 m = 4; m <= Max_Matrix_Dimension; ++m) {
    for (UInt32 n = 2; n < m; ++n) {
      Matrix<double> tall = randomMatrix(rng, m, n);
      for (UInt32 i = 0; i < m; ++i) tall(i, n - 1) = -2.0 * tall(i, 0);
      expectFailsUntouched(tall, &Matrix<double>::lpinv, n, m);
      expectFailsUntouched(tall.transpose(), &Matrix<double>::rpinv, m, n);
    }
  }
}

// A NaN, an infinity or an overflowing pivot product fails the LU branches.
TEST(MatrixInverse, NonFiniteProductsLeaveTheOutputUntouched) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  std::mt19937_64 rng(5);
  for (double bad : {nan, inf, -inf}) {
    Matrix<double> a = Matrix<double>::identity(5);
    a(2, 3) = bad;
    expectFailsUntouched(a, &Matrix<double>::inv, 5, 5);
    Matrix<double> tall = randomMatrix(rng, 6, 4);
    tall(5, 1) = bad;
    expectFailsUntouched(tall, &Matrix<double>::lpinv, 4, 6);
    expectFailsUntouched(tall.transpose(), &Matrix<double>::rpinv, 6, 4);
  }
  expectFailsUntouched(diagonal({nan}), &Matrix<double>::inv, 1, 1);
  expectFailsUntouched(diagonal({1e100, 1e100, 1e100, 1e100}), &Matrix<double>::inv, 4, 4);
  expectFailsUntouched(diagonal({1e-100, 1e-100, 1e-100, 1e-100, 1e-100}), &Matrix<double>::inv, 5,
                       5);
  // The closed forms test the magnitude of the determinant only: a NaN determinant
  // passes and fills the output with NaN, as they are written.
  for (Matrix<double> a : {diagonal({nan, 1}), diagonal({1, nan, 1})}) {
    Matrix<double> out(a.rows(), a.rows());
    EXPECT_TRUE(a.inv(out));
    EXPECT_TRUE(std::isnan(out(0, 0)));
  }
}

TEST(MatrixInverse, ShapeMismatchesLeaveTheOutputUntouched) {
  std::mt19937_64 rng(3);
  const Inverse inv = &Matrix<double>::inv, lpinv = &Matrix<double>::lpinv,
                rpinv = &Matrix<double>::rpinv;
  Matrix<double> square = randomMatrix(rng, 4, 4), tall = randomMatrix(rng, 5, 3);
  for (Inverse f : {inv, lpinv, rpinv}) {
    expectFailsUntouched(square, f, 3, 3);
    expectFailsUntouched(square, f, 4, 5);
  }
  expectFailsUntouched(tall, inv, 3, 3);
  expectFailsUntouched(tall, inv, 3, 5);
  expectFailsUntouched(tall, lpinv, 5, 3);
  expectFailsUntouched(tall, lpinv, 3, 4);
  expectFailsUntouched(tall, rpinv, 3, 5);
  expectFailsUntouched(tall.transpose(), lpinv, 5, 3);
  expectFailsUntouched(tall.transpose(), rpinv, 3, 5);
}

// The other instantiations run the same steps in their own arithmetic.
TEST(MatrixInverse, IntegralAndFloatInstantiations) {
  Matrix<unsigned int> one = fromRows<unsigned int>(1, 1, {1}), out(1, 1);
  ASSERT_TRUE(one.inv(out));
  EXPECT_EQ(out(0, 0), 1u);
  Matrix<unsigned int> two = fromRows<unsigned int>(1, 1, {2});
  ASSERT_TRUE(two.inv(out));
  EXPECT_EQ(out(0, 0), 0u);  // integer division
  out(0, 0) = 9;
  EXPECT_FALSE(Matrix<unsigned int>(1, 1).inv(out));
  EXPECT_EQ(out(0, 0), 9u);

  EXPECT_EQ(fromRows<unsigned long>(2, 2, {2, 1, 1, 1}).det(), 1ul);
  EXPECT_EQ(fromRows<unsigned long>(3, 3, {2, 0, 0, 0, 3, 0, 0, 0, 4}).det(), 24ul);
  // From order 4 the pivot test best - |t| > 0 wraps in unsigned arithmetic, so the
  // last zero row of a column wins the pivot: a zero pivot, which gives a zero
  // product instead of a trap.
  EXPECT_EQ(Matrix<unsigned long>::identity(6).det(), 0ul);
  Matrix<unsigned int> zero(5, 5), zeroOut(5, 5);
  EXPECT_EQ(zero.det(), 0u);
  EXPECT_FALSE(zero.inv(zeroOut));

  Matrix<float> f = fromRows<float>(4, 4, {4, 1, 0, 0, 1, 4, 1, 0, 0, 1, 4, 1, 0, 0, 1, 4}),
                fOut(4, 4);
  ASSERT_TRUE(f.inv(fOut));
  EXPECT_TRUE((f * fOut).almostEqual(Matrix<float>::identity(4), 1e-6));
  EXPECT_NEAR(f.det(), 209.0f, 1e-4f);
}

}  // namespace
