// Every assertion report of the library, once: the call that breaks the precondition, the
// function text and condition the report must carry, and the file and line where they are
// part of the interface. The containers' rows are listed for each element type, whose name
// the report spells as the compiler does.
#include <functional>

#include "fk_solver_pos_tarvin2_6dof.h"
#include "ik_solver_pos_tarvin2_6dof.h"
#include "jacobian.h"
#include "matrix.h"
#include "robot.h"
#include "test_support.h"

namespace {

struct Row {
  std::function<void()> call;
  std::string function, condition, file = "";
  int line = 0;
};

template <typename T>
struct Spelling;
#define FK_IK_SPELLING(T, text)               \
  template <>                                 \
  struct Spelling<T> {                        \
    static constexpr const char* name = text; \
  };
FK_IK_SPELLING(bool, "bool")
FK_IK_SPELLING(short, "short int")
FK_IK_SPELLING(int, "int")
FK_IK_SPELLING(long, "long int")
FK_IK_SPELLING(unsigned int, "unsigned int")
FK_IK_SPELLING(unsigned long, "long unsigned int")
FK_IK_SPELLING(float, "float")
FK_IK_SPELLING(double, "double")

template <typename T>
void vectorRows(std::vector<Row>& rows) {
  const std::string with = " [with T = " + std::string(Spelling<T>::name);
  const std::string u32 = "; UInt32 = unsigned int]", same = "_n == other.size()";
  const auto a = std::make_shared<Vector<T>>(3);
  const auto b = std::make_shared<Vector<T>>(4);
  const std::vector<Row> typed = {
      {[] { Vector<T>(1).resize(15); },
       "Void Vector<T>::resize(UInt32)" + with + "; Void = void" + u32,
       "n <= Max_Vector_Dimension"},
      {[] { Vector<T>(15); }, "Vector<T>::Vector(UInt32)" + with + u32,
       "n <= Max_Vector_Dimension"},
      {[a] { (*a)(3) = T(1); }, "T& Vector<T>::operator()(const UInt32&)" + with + u32, "id < _n"},
      {[] { (void)static_cast<const Vector<T>&>(Vector<T>(0u))(0); },
       "T Vector<T>::operator()(const UInt32&) const" + with + u32, "id < _n"},
      {[a, b] { a->almostEqual(*b, 1.0); },
       "Bool Vector<T>::almostEqual(const Vector<T>&, Float64)" + with +
           "; Bool = bool; Float64 = double]",
       same},
      {[a, b] { (void)(*a == *b); },
       "Bool Vector<T>::operator==(const Vector<T>&)" + with + "; Bool = bool]", same},
      {[a, b] { (void)(*a != *b); },
       "Bool Vector<T>::operator!=(const Vector<T>&)" + with + "; Bool = bool]", same},
      {[a, b] { *a + *b; }, "Vector<T1> Vector<T>::operator+(const Vector<T>&) const" + with + "]",
       same},
      {[a, b] { *a - *b; }, "Vector<T1> Vector<T>::operator-(const Vector<T>&) const" + with + "]",
       same},
      {[a, b] { a->elementMultiply(*b); },
       "Vector<T1> Vector<T>::elementMultiply(const Vector<T>&) const" + with + "]", same},
      {[a, b] { a->dot(*b); }, "T Vector<T>::dot(const Vector<T>&) const" + with + "]", same},
      {[a, b] { a->project(*b); },
       "Vector<T1> Vector<T>::project(const Vector<T>&) const" + with + "]", same}};
  rows.insert(rows.end(), typed.begin(), typed.end());
}

template <typename T>
void matrixRows(std::vector<Row>& rows) {
  const std::string with = " [with T = " + std::string(Spelling<T>::name);
  const std::string u32 = "; UInt32 = unsigned int]", voidU32 = "; Void = void" + u32;
  const std::string rowBound = "nr > 0 && nr <= Max_Matrix_Dimension",
                    columnBound = "nc > 0 && nc <= Max_Matrix_Dimension", square = "_nr == _nc";
  const std::string construct = "Matrix<T>::Matrix(const UInt32&, const UInt32&)" + with + u32;
  const std::string resize =
      "Void Matrix<T>::resize(const UInt32&, const UInt32&)" + with + voidU32;
  const auto wide = std::make_shared<Matrix<T>>(2, 3);
  const std::vector<Row> typed = {
      {[] { Matrix<T>(0, 3); }, construct, rowBound},
      {[] { Matrix<T>(15, 1); }, construct, rowBound},
      {[] { Matrix<T>::zero(1, 15); }, construct, columnBound},
      {[wide] { wide->resize(15, 2); }, resize, rowBound},
      {[wide] { wide->resize(2, 0); }, resize, columnBound},
      {[wide] { (*wide)(2, 3) = T(1); },
       "T& Matrix<T>::operator()(const UInt32&, const UInt32&)" + with + u32, "i < _nr || j < _nc"},
      {[wide] { (void)static_cast<const Matrix<T>&> (*wide)(7, 3); },
       "T Matrix<T>::operator()(const UInt32&, const UInt32&) const" + with + u32,
       "i < _nr || j < _nc"},
      {[wide] { wide->setToIdentity(); },
       "Void Matrix<T>::setToIdentity()" + with + "; Void = void]",
       "_nr > 0 && _nc > 0 && _nr == _nc"},
      {[wide] { wide->addToPrincipal(T(1)); },
       "Void Matrix<T>::addToPrincipal(const T&)" + with + "; Void = void]", square},
      {[wide] { wide->subtractFromPrincipal(T(1)); },
       "Void Matrix<T>::subtractFromPrincipal(const T&)" + with + "; Void = void]", square},
      {[wide] { wide->plusScalarPrincipal(T(1)); },
       "Matrix<T> Matrix<T>::plusScalarPrincipal(const T&) const" + with + "]", square},
      {[wide] { wide->minusScalarPrincipal(T(1)); },
       "Matrix<T> Matrix<T>::minusScalarPrincipal(const T&) const" + with + "]", square},
      {[wide] { *wide* Matrix<T>(2, 3); },
       "Matrix<T> Matrix<T>::operator*(const Matrix<T>&) const" + with + "]",
       "_nc == other.rows()"},
      {[wide] {
         Matrix<T> r(2, 3);
         wide->transpose(r);
       },
       "Void Matrix<T>::transpose(Matrix<T>&)" + with + "; Void = void]",
       "_nr == r.columns() && _nc == r.rows()"},
      // The vector product has no check of its own: the vector's index assertion fires.
      {[wide] { *wide* Vector<T>(2); }, "T Vector<T>::operator()(const UInt32&) const" + with + u32,
       "id < _n"}};
  rows.insert(rows.end(), typed.begin(), typed.end());
}

// An arm whose chain can be given another joint count after construction.
struct Arm {
  Arm() : records(test_support::makeRecords(test_support::kSampleArm)), chain(6, &records) {}
  std::vector<MDH> records;
  Chain_MDH4 chain;
};

std::vector<Row> kinematicsRows() {
  const auto arm = std::make_shared<Arm>();
  const auto fk = std::make_shared<FkSolverPos_Tarvin2_6Dof>(&arm->chain);
  const auto ik = std::make_shared<IkSolverPos_Tarvin2_6Dof>(&arm->chain);
  const auto robot = std::make_shared<Robot>(arm->records);
  const Tool tool{0, 0, 0, 0, 0, 0};
  const MathVector five(5), six(6), seven(7);
  const std::string chainCount = "dof == 6 && pMDH4Param->size() == 6",
                    chainConstructor = "Chain_MDH4::Chain_MDH4(UInt32, const std::vector<MDH>*)";
  const std::string whole = "Void FkSolverPos::jntPosToFlangePos(const MathVector&, KDL::Frame&)",
                    segment =
                        "Void FkSolverPos::jntPosToFlangePos(const MathVector&, const Int32&, "
                        "KDL::Frame&)",
                    frames = "Void FkSolverPos::jntPosToFlangePos(const MathVector&, KDL::Frame*)",
                    size = "_chainMDH4->_dof == jntPos.size()";
  const std::string jac =
      "Void FkSolverPos::jntPosToJacobians(const MathVector&, const Tool&, MathJacobian&)";
  const std::string dot =
      "Void FkSolverPos::jntPosToJacobiansDot(const MathVector&, const MathVector&, const Tool&, "
      "MathJacobian&, MathJacobian&)";
  const std::string getMode = "Int32 Chain_MDH4::getMode_6dof(const MathVector&, Int32&, Bool)";
  const std::string ikCall =
      "virtual Int32 IkSolverPos_Tarvin2_6Dof::flangePosToJntPos(const KDL::Frame&, const "
      "MathVector&, MathVector&, const Int32&, const Float64&)";
  const std::string robotInverse =
      "Int32 Robot::tcpPosToJntPos(const MathVector&, const Tool&, const MathVector&, MathVector&)";
  const std::string jacobian = "Jacobian::Jacobian(const UInt8&, const UInt8&)",
                    rowsEqual = "this->rows() == other.rows()",
                    columnsEqual = "this->columns() == other.columns()",
                    assignMatrix = "Void Jacobian::operator=(const Matrix<double>&)",
                    assignJacobian = "Void Jacobian::operator=(const Jacobian&)";
  // Jacobians of the shapes named in each row: good, few rows, few columns.
  const auto j = [](UInt8 nr, UInt8 nc) { return std::make_shared<Jacobian>(nr, nc); };
  const auto good = j(6, 6), fewRows = j(3, 6), fewColumns = j(6, 5);
  KDL::Frame frame;
  return {
      {[] {
         std::vector<MDH> r(5);
         Chain_MDH4(6, &r);
       },
       chainConstructor, chainCount},
      {[] {
         std::vector<MDH> r(7);
         Chain_MDH4(7, &r);
       },
       chainConstructor, chainCount},
      {[=] {
         Int32 mode;
         arm->chain.getMode_6dof(five, mode, true);
       },
       getMode, "_dof == 6 && jntPos.size() == 6", "chain_mdh4.cpp", 21},
      {[=] {
         arm->chain._dof = 5;
         FkSolverPos_Tarvin2_6Dof{&arm->chain};
       },
       "FkSolverPos_Tarvin2_6Dof::FkSolverPos_Tarvin2_6Dof(Chain_MDH4*)", "chainMDH4->_dof == 6"},
      {[=] {
         arm->chain._dof = 5;
         IkSolverPos_Tarvin2_6Dof{&arm->chain};
       },
       "IkSolverPos_Tarvin2_6Dof::IkSolverPos_Tarvin2_6Dof(Chain_MDH4*)", "chainMDH4->_dof == 6",
       "ik_solver_pos_tarvin2_6dof.cpp", 5},
      {[=]() mutable { fk->jntPosToFlangePos(five, frame); }, whole, size},
      {[=]() mutable { fk->jntPosToFlangePos(five, 2, frame); }, segment, size},
      {[=]() mutable { fk->jntPosToFlangePos(six, -1, frame); }, segment,
       "segmenId >= 0 || segmenId < _chainMDH4->_dof"},
      // Id 7 passes the id test and runs into the joint vector's index at i = 6.
      {[=]() mutable { fk->jntPosToFlangePos(six, 7, frame); },
       "T Vector<T>::operator()(const UInt32&) const [with T = double; UInt32 = unsigned int]",
       "id < _n"},
      {[=] {
         KDL::Frame all[Max_Chain_Dof];
         fk->jntPosToFlangePos(five, all);
       },
       frames, size},
      {[=] { fk->jntPosToJacobians(five, tool, *good); }, jac, size},
      {[=] { fk->jntPosToJacobians(six, tool, *fewRows); }, jac, "velJacobian.rows() == 6"},
      {[=] { fk->jntPosToJacobians(six, tool, *fewColumns); }, jac,
       "velJacobian.columns() == _chainMDH4->_dof"},
      {[=] { fk->jntPosToJacobiansDot(five, six, tool, *good, *good); }, dot, size},
      {[=] { fk->jntPosToJacobiansDot(six, five, tool, *good, *good); }, dot,
       "_chainMDH4->_dof == jntVel.size()"},
      {[=] { fk->jntPosToJacobiansDot(six, six, tool, *fewRows, *good); }, dot,
       "velJacobian.rows() == 6"},
      {[=] { fk->jntPosToJacobiansDot(six, six, tool, *fewColumns, *good); }, dot,
       "velJacobian.columns() == _chainMDH4->_dof"},
      {[=] { fk->jntPosToJacobiansDot(six, six, tool, *good, *fewRows); }, dot,
       "velJacobianDot.rows() == 6"},
      {[=] { fk->jntPosToJacobiansDot(six, six, tool, *good, *fewColumns); }, dot,
       "velJacobianDot.columns() == _chainMDH4->_dof"},
      {[=]() mutable {
         ik->flangePosToJntPos(frame, seven, *std::make_shared<MathVector>(6), -1, 0.0);
       },
       ikCall, "jntPosRef.size() == 6", "ik_solver_pos_tarvin2_6dof.cpp", 12},
      {[=] {
         MathVector out(6);
         robot->jntPosToTcpPos(five, tool, out);
       },
       "Void Robot::jntPosToTcpPos(const MathVector&, const Tool&, MathVector&)",
       "_chainMDH4->_dof == jntPosIn.size()"},
      {[=] {
         MathVector out(6);
         robot->tcpPosToJntPos(five, tool, six, out);
       },
       robotInverse, "tcpPosIn.size() == 6"},
      {[=] {
         MathVector out(6);
         robot->tcpPosToJntPos(six, tool, seven, out);
       },
       robotInverse, "_chainMDH4->_dof == jntPosRef.size()"},
      {[=]() mutable { robot->vectorToKdlFrame(seven, frame); },
       "Void Robot::vectorToKdlFrame(const MathVector&, KDL::Frame&)", "vecIn.size() == 6"},
      // The Jacobian checks the matrix's bounds first, then its own.
      {[] { Jacobian(0, 6); },
       "Matrix<T>::Matrix(const UInt32&, const UInt32&) [with T = double; UInt32 = unsigned int]",
       "nr > 0 && nr <= Max_Matrix_Dimension"},
      {[] { Jacobian(7, 8); }, jacobian, "nr > 0 && nr <= 6"},
      {[] { Jacobian(6, 8); }, jacobian, "nc > 0 && nc <= 7"},
      {[=] { *good = Matrix<double>(5, 5); }, assignMatrix, rowsEqual},
      {[=] { *good = Matrix<double>(6, 5); }, assignMatrix, columnsEqual},
      {[=] { *good = *j(5, 5); }, assignJacobian, rowsEqual},
      {[=] { *good = *fewColumns; }, assignJacobian, columnsEqual},
      // The products form the matrix product, whose shape check fires.
      {[=] { *good* Matrix<double>(5, 6); },
       "Matrix<T> Matrix<T>::operator*(const Matrix<T>&) const [with T = double]",
       "_nc == other.rows()"},
  };
}

TEST(AssertionReports, EveryPreconditionAbortsWithItsReport) {
  std::vector<Row> rows = kinematicsRows();
  vectorRows<bool>(rows);
  vectorRows<short>(rows);
  vectorRows<int>(rows);
  vectorRows<long>(rows);
  vectorRows<unsigned int>(rows);
  vectorRows<unsigned long>(rows);
  vectorRows<float>(rows);
  vectorRows<double>(rows);
  matrixRows<unsigned int>(rows);
  matrixRows<unsigned long>(rows);
  matrixRows<float>(rows);
  matrixRows<double>(rows);
  for (const Row& row : rows) {
    EXPECT_DEATH(row.call(),
                 test_support::assertionReport(row.function, row.condition, row.file, row.line))
        << row.function << " / " << row.condition;
  }
}

}  // namespace
