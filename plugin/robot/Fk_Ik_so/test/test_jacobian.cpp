// The Jacobian matrix: bounds, assignments, negation and the two products.
#include <cmath>
#include <type_traits>

#include "jacobian.h"
#include "test_support.h"

using test_support::assertionReport;

namespace {

const UInt32 kSlots = Max_Matrix_Dimension * Max_Matrix_Dimension;
const char* const kConstructor = "Jacobian::Jacobian(const UInt8&, const UInt8&)";
const char* const kAssignMatrix = "Void Jacobian::operator=(const Matrix<double>&)";
const char* const kAssignJacobian = "Void Jacobian::operator=(const Jacobian&)";
const char* const kRowsEqual = "this->rows() == other.rows()";
const char* const kColumnsEqual = "this->columns() == other.columns()";
const char* const kMatrixConstructor =
    "Matrix<T>::Matrix(const UInt32&, const UInt32&) [with T = double; UInt32 = unsigned int]";

// Element (i, j) holds 10 i + j + 1.
template <typename M>
void fillCounting(M& m) {
  for (UInt32 i = 0; i < m.rows(); ++i)
    for (UInt32 j = 0; j < m.columns(); ++j) m(i, j) = 10.0 * i + j + 1;
}

template <typename M>
void expectSameElements(const M& a, const Matrix<double>& b) {
  ASSERT_EQ(a.rows(), b.rows());
  ASSERT_EQ(a.columns(), b.columns());
  for (UInt32 i = 0; i < a.rows(); ++i)
    for (UInt32 j = 0; j < a.columns(); ++j) EXPECT_EQ(a(i, j), b(i, j)) << i << ", " << j;
}

TEST(Jacobian, IsAPolymorphicMatrixWithAVirtualDestructorOnly) {
  EXPECT_TRUE((std::is_base_of<Matrix<double>, Jacobian>::value));
  EXPECT_TRUE(std::has_virtual_destructor<Jacobian>::value);
  EXPECT_FALSE(std::is_polymorphic<Matrix<double>>::value);
  EXPECT_TRUE((std::is_same<MathJacobian, Jacobian>::value));
  EXPECT_EQ(sizeof(Jacobian), sizeof(void*) + sizeof(Matrix<double>));
}

// A Jacobian deleted through a pointer to Jacobian runs the most derived destructor.
TEST(Jacobian, DeleteThroughAPointerRunsTheVirtualDestructor) {
  static bool destroyed = false;
  struct Watched : Jacobian {
    Watched() : Jacobian(6, 6) {}
    ~Watched() override { destroyed = true; }
  };
  Jacobian* j = new Watched;
  delete j;
  EXPECT_TRUE(destroyed);
}

TEST(Jacobian, ConstructionWithinTheBounds) {
  for (UInt8 nr = 1; nr <= 6; ++nr) {
    for (UInt8 nc = 1; nc <= 7; ++nc) {
      const Jacobian j(nr, nc);
      EXPECT_EQ(j.rows(), nr);
      EXPECT_EQ(j.columns(), nc);
      const double* p = j;
      for (UInt32 k = 0; k < kSlots; ++k) ASSERT_EQ(p[k], 0.0);
    }
  }
}

TEST(Jacobian, CopyTakesTheWholeStorage) {
  Jacobian j(6, 6);
  fillCounting(j);
  static_cast<double*>(j)[150] = 4.5;  // beyond the 36 elements
  const Jacobian copy(j);
  EXPECT_EQ(copy.rows(), 6u);
  EXPECT_EQ(static_cast<const double*>(copy)[150], 4.5);
  expectSameElements(copy, j);
}

TEST(Jacobian, AssignmentsCopyEveryElement) {
  Jacobian j(6, 4), k(6, 4);
  Matrix<double> m(6, 4);
  fillCounting(m);
  j = m;
  expectSameElements(j, m);
  fillCounting(k);
  k(5, 3) = -1.0;
  j = k;
  expectSameElements(j, k);
}

TEST(Jacobian, NegationFlipsEverySignAndLeavesTheOperand) {
  Jacobian j(6, 6);
  j(0, 0) = 1.0;
  const Jacobian n = -j;
  EXPECT_EQ(n.rows(), 6u);
  EXPECT_EQ(n.columns(), 6u);
  EXPECT_EQ(n(0, 0), -1.0);
  for (UInt32 i = 0; i < 6; ++i) {
    for (UInt32 k = 0; k < 6; ++k) {
      if (i == 0 && k == 0) continue;
      EXPECT_EQ(n(i, k), 0.0);
      EXPECT_TRUE(std::signbit(n(i, k))) << i << ", " << k;
    }
  }
  EXPECT_EQ(j(0, 0), 1.0);
  EXPECT_FALSE(std::signbit(j(1, 1)));
}

// Both products form the matrix product for its shape check and return the left
// operand unchanged: kept so.
TEST(Jacobian, ProductsReturnTheLeftOperand) {
  Jacobian j(6, 6), k(6, 6);
  fillCounting(j);
  fillCounting(k);
  expectSameElements(j * k, j);
  Matrix<double> m(6, 3);
  fillCounting(m);
  const Jacobian jm = j * m;
  EXPECT_EQ(jm.columns(), 6u);
  expectSameElements(jm, j);
  expectSameElements(j, k);  // j itself is unchanged too
}

TEST(JacobianAssertions, ConstructorChecksTheMatrixBoundsFirst) {
  EXPECT_DEATH(Jacobian(7, 6), assertionReport(kConstructor, "nr > 0 && nr <= 6"));
  EXPECT_DEATH(Jacobian(6, 8), assertionReport(kConstructor, "nc > 0 && nc <= 7"));
  EXPECT_DEATH(Jacobian(7, 8), assertionReport(kConstructor, "nr > 0 && nr <= 6"));
  EXPECT_DEATH(Jacobian(0, 6),
               assertionReport(kMatrixConstructor, "nr > 0 && nr <= Max_Matrix_Dimension"));
  EXPECT_DEATH(Jacobian(6, 15),
               assertionReport(kMatrixConstructor, "nc > 0 && nc <= Max_Matrix_Dimension"));
  // Negation rebuilds the shape through the constructor: a Jacobian widened by the
  // base's resize beyond its bounds aborts there.
  EXPECT_DEATH(
      {
        Jacobian j(6, 6);
        j.resize(6, 9);
        -j;
      },
      assertionReport(kConstructor, "nc > 0 && nc <= 7"));
}

TEST(JacobianAssertions, AssignmentsCheckRowsThenColumns) {
  Jacobian j(6, 6);
  const Matrix<double> fewerColumns(6, 5), fewerRows(5, 6), neither(5, 5);
  EXPECT_DEATH(j = fewerColumns, assertionReport(kAssignMatrix, kColumnsEqual));
  EXPECT_DEATH(j = fewerRows, assertionReport(kAssignMatrix, kRowsEqual));
  EXPECT_DEATH(j = neither, assertionReport(kAssignMatrix, kRowsEqual));
  const Jacobian narrow(6, 5), short_(5, 6), small(5, 5);
  EXPECT_DEATH(j = narrow, assertionReport(kAssignJacobian, kColumnsEqual));
  EXPECT_DEATH(j = short_, assertionReport(kAssignJacobian, kRowsEqual));
  EXPECT_DEATH(j = small, assertionReport(kAssignJacobian, kRowsEqual));
}

TEST(JacobianAssertions, ProductsAbortInTheMatrixProduct) {
  const std::string product =
      assertionReport("Matrix<T> Matrix<T>::operator*(const Matrix<T>&) const [with T = double]",
                      "_nc == other.rows()");
  Jacobian j(6, 6), k(5, 6);
  const Matrix<double> m(5, 6);
  EXPECT_DEATH(j * m, product);
  EXPECT_DEATH(j * k, product);
}

}  // namespace
