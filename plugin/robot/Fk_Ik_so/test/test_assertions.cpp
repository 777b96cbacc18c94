// Every assertion report of the library, once: the call that breaks the precondition, the
// function text and condition the report must carry, and the file and line where fixed. The
// containers' rows repeat for each element type, spelled as the compiler spells it.
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
void vectorRows(std::vector<Row>& rows, const std::string& spelling) {
  const std::string t = " [with T = " + spelling, u = "; UInt32 = unsigned int]",
                    b = "; Bool = bool", same = "_n == other.size()", arg = "(const Vector<T>&)",
                    c = " const" + t + "]";
  const auto a = std::make_shared<Vector<T>>(3), o = std::make_shared<Vector<T>>(4);
  rows.insert(
      rows.end(),
      {{[] { Vector<T>(1).resize(15); }, "Void Vector<T>::resize(UInt32)" + t + "; Void = void" + u,
        "n <= Max_Vector_Dimension"},
       {[] { Vector<T>(15); }, "Vector<T>::Vector(UInt32)" + t + u, "n <= Max_Vector_Dimension"},
       {[a] { (*a)(3) = T(1); }, "T& Vector<T>::operator()(const UInt32&)" + t + u, "id < _n"},
       {[] { (void)static_cast<const Vector<T>&>(Vector<T>(0u))(0); },
        "T Vector<T>::operator()(const UInt32&) const" + t + u, "id < _n"},
       {[a, o] { a->almostEqual(*o, 1.0); },
        "Bool Vector<T>::almostEqual(const Vector<T>&, Float64)" + t + b + "; Float64 = double]",
        same},
       {[a, o] { (void)(*a == *o); }, "Bool Vector<T>::operator==" + arg + t + b + "]", same},
       {[a, o] { (void)(*a != *o); }, "Bool Vector<T>::operator!=" + arg + t + b + "]", same},
       {[a, o] { *a + *o; }, "Vector<T1> Vector<T>::operator+" + arg + c, same},
       {[a, o] { *a - *o; }, "Vector<T1> Vector<T>::operator-" + arg + c, same},
       {[a, o] { a->elementMultiply(*o); }, "Vector<T1> Vector<T>::elementMultiply" + arg + c,
        same},
       {[a, o] { a->dot(*o); }, "T Vector<T>::dot" + arg + c, same},
       {[a, o] { a->project(*o); }, "Vector<T1> Vector<T>::project" + arg + c, same}});
}

template <typename T>
void matrixRows(std::vector<Row>& rows, const std::string& spelling) {
  const std::string t = " [with T = " + spelling, u = "; UInt32 = unsigned int]",
                    c = " const" + t + "]", v = t + "; Void = void]",
                    rowBound = "nr > 0 && nr <= Max_Matrix_Dimension",
                    columnBound = "nc > 0 && nc <= Max_Matrix_Dimension", square = "_nr == _nc",
                    index = "(const UInt32&, const UInt32&)", at = "i < _nr || j < _nc",
                    make = "Matrix<T>::Matrix" + index + t + u,
                    resize = "Void Matrix<T>::resize" + index + t + "; Void = void" + u;
  const auto w = std::make_shared<Matrix<T>>(2, 3);
  rows.insert(
      rows.end(),
      {{[] { Matrix<T>(0, 3); }, make, rowBound},
       {[] { Matrix<T>(15, 1); }, make, rowBound},
       {[] { Matrix<T>::zero(1, 15); }, make, columnBound},
       {[w] { w->resize(15, 2); }, resize, rowBound},
       {[w] { w->resize(2, 0); }, resize, columnBound},
       {[w] { (*w)(2, 3) = T(1); }, "T& Matrix<T>::operator()" + index + t + u, at},
       {[w] { (void)static_cast<const Matrix<T>&> (*w)(7, 3); },
        "T Matrix<T>::operator()" + index + " const" + t + u, at},
       {[w] { w->setToIdentity(); }, "Void Matrix<T>::setToIdentity()" + v,
        "_nr > 0 && _nc > 0 && _nr == _nc"},
       {[w] { w->addToPrincipal(T(1)); }, "Void Matrix<T>::addToPrincipal(const T&)" + v, square},
       {[w] { w->subtractFromPrincipal(T(1)); },
        "Void Matrix<T>::subtractFromPrincipal(const T&)" + v, square},
       {[w] { w->plusScalarPrincipal(T(1)); },
        "Matrix<T> Matrix<T>::plusScalarPrincipal(const T&)" + c, square},
       {[w] { w->minusScalarPrincipal(T(1)); },
        "Matrix<T> Matrix<T>::minusScalarPrincipal(const T&)" + c, square},
       {[w] { *w* Matrix<T>(2, 3); }, "Matrix<T> Matrix<T>::operator*(const Matrix<T>&)" + c,
        "_nc == other.rows()"},
       {[w] { w->transpose(*std::make_unique<Matrix<T>>(2, 3)); },
        "Void Matrix<T>::transpose(Matrix<T>&)" + v, "_nr == r.columns() && _nc == r.rows()"},
       // The vector product has no check of its own: the vector's index assertion fires.
       {[w] { *w* Vector<T>(2); }, "T Vector<T>::operator()(const UInt32&) const" + t + u,
        "id < _n"}});
}

std::vector<Row> kinematicsRows() {
  // An arm whose chain can be given another joint count after construction.
  struct Arm {
    std::vector<MDH> records = test_support::makeRecords(test_support::kSampleArm);
    Chain_MDH4 chain{6, &records};
  };
  const auto arm = std::make_shared<Arm>();
  const auto fk = std::make_shared<FkSolverPos_Tarvin2_6Dof>(&arm->chain);
  const auto ik = std::make_shared<IkSolverPos_Tarvin2_6Dof>(&arm->chain);
  const auto robot = std::make_shared<Robot>(arm->records);
  const Tool tool{0, 0, 0, 0, 0, 0};
  const MathVector five(5), six(6), seven(7);
  const auto out = std::make_shared<MathVector>(6);
  const auto frame = std::make_shared<KDL::Frame>();
  const std::string
      fkPos = "Void FkSolverPos::jntPosToFlangePos(const MathVector&, ",
      size = "_chainMDH4->_dof == jntPos.size()",
      chainCount = "dof == 6 && pMDH4Param->size() == 6",
      chain = "Chain_MDH4::Chain_MDH4(UInt32, const std::vector<MDH>*)",
      whole = fkPos + "KDL::Frame&)", segment = fkPos + "const Int32&, KDL::Frame&)",
      jac = "Void FkSolverPos::jntPosToJacobians(const MathVector&, const Tool&, MathJacobian&)",
      dot =
          "Void FkSolverPos::jntPosToJacobiansDot(const MathVector&, const MathVector&, "
          "const Tool&, MathJacobian&, MathJacobian&)",
      inverse =
          "Int32 Robot::tcpPosToJntPos(const MathVector&, const Tool&, const "
          "MathVector&, MathVector&)",
      jacobian = "Jacobian::Jacobian(const UInt8&, const UInt8&)",
      rowsEqual = "this->rows() == other.rows()",
      columnsEqual = "this->columns() == other.columns()",
      fromMatrix = "Void Jacobian::operator=(const Matrix<double>&)",
      fromJacobian = "Void Jacobian::operator=(const Jacobian&)", solver = "(Chain_MDH4*)",
      dof6 = "chainMDH4->_dof == 6", vel = "velJacobian.", velDot = "velJacobianDot.",
      six_ = "rows() == 6", columns = "columns() == _chainMDH4->_dof";
  // Jacobians of the shapes named in each row: good, few rows, few columns.
  const auto j = [](UInt8 nr, UInt8 nc) { return std::make_shared<Jacobian>(nr, nc); };
  const auto good = j(6, 6), fewRows = j(3, 6), fewColumns = j(6, 5);
  return {
      {[] { Chain_MDH4(6, &*std::make_unique<std::vector<MDH>>(5)); }, chain, chainCount},
      {[] { Chain_MDH4(7, &*std::make_unique<std::vector<MDH>>(7)); }, chain, chainCount},
      {[=] { arm->chain.getMode_6dof(five, *std::make_unique<Int32>(), true); },
       "Int32 Chain_MDH4::getMode_6dof(const MathVector&, Int32&, Bool)",
       "_dof == 6 && jntPos.size() == 6", "chain_mdh4.cpp", 21},
      {[=] { arm->chain._dof = 5, FkSolverPos_Tarvin2_6Dof{&arm->chain}; },
       "FkSolverPos_Tarvin2_6Dof::FkSolverPos_Tarvin2_6Dof" + solver, dof6},
      {[=] { arm->chain._dof = 5, IkSolverPos_Tarvin2_6Dof{&arm->chain}; },
       "IkSolverPos_Tarvin2_6Dof::IkSolverPos_Tarvin2_6Dof" + solver, dof6,
       "ik_solver_pos_tarvin2_6dof.cpp", 5},
      {[=] { fk->jntPosToFlangePos(five, *frame); }, whole, size},
      {[=] { fk->jntPosToFlangePos(five, 2, *frame); }, segment, size},
      {[=] { fk->jntPosToFlangePos(six, -1, *frame); }, segment,
       "segmenId >= 0 || segmenId < _chainMDH4->_dof"},
      // Id 7 passes the id test and runs into the joint vector's index at i = 6.
      {[=] { fk->jntPosToFlangePos(six, 7, *frame); },
       "T Vector<T>::operator()(const UInt32&) const [with T = double; UInt32 = unsigned int]",
       "id < _n"},
      {[=] { fk->jntPosToFlangePos(five, std::make_unique<KDL::Frame[]>(Max_Chain_Dof).get()); },
       fkPos + "KDL::Frame*)", size},
      {[=] { fk->jntPosToJacobians(five, tool, *good); }, jac, size},
      {[=] { fk->jntPosToJacobians(six, tool, *fewRows); }, jac, vel + six_},
      {[=] { fk->jntPosToJacobians(six, tool, *fewColumns); }, jac, vel + columns},
      {[=] { fk->jntPosToJacobiansDot(five, six, tool, *good, *good); }, dot, size},
      {[=] { fk->jntPosToJacobiansDot(six, five, tool, *good, *good); }, dot,
       "_chainMDH4->_dof == jntVel.size()"},
      {[=] { fk->jntPosToJacobiansDot(six, six, tool, *fewRows, *good); }, dot, vel + six_},
      {[=] { fk->jntPosToJacobiansDot(six, six, tool, *fewColumns, *good); }, dot, vel + columns},
      {[=] { fk->jntPosToJacobiansDot(six, six, tool, *good, *fewRows); }, dot, velDot + six_},
      {[=] { fk->jntPosToJacobiansDot(six, six, tool, *good, *fewColumns); }, dot,
       velDot + columns},
      {[=] { ik->flangePosToJntPos(*frame, seven, *out, -1, 0.0); },
       "virtual Int32 IkSolverPos_Tarvin2_6Dof::flangePosToJntPos(const KDL::Frame&, const "
       "MathVector&, MathVector&, const Int32&, const Float64&)",
       "jntPosRef.size() == 6", "ik_solver_pos_tarvin2_6dof.cpp", 12},
      {[=] { robot->jntPosToTcpPos(five, tool, *out); },
       "Void Robot::jntPosToTcpPos(const MathVector&, const Tool&, MathVector&)",
       "_chainMDH4->_dof == jntPosIn.size()"},
      {[=] { robot->tcpPosToJntPos(five, tool, six, *out); }, inverse, "tcpPosIn.size() == 6"},
      {[=] { robot->tcpPosToJntPos(six, tool, seven, *out); }, inverse,
       "_chainMDH4->_dof == jntPosRef.size()"},
      {[=] { robot->vectorToKdlFrame(seven, *frame); },
       "Void Robot::vectorToKdlFrame(const MathVector&, KDL::Frame&)", "vecIn.size() == 6"},
      // The Jacobian checks the matrix's bounds first, then its own.
      {[] { Jacobian(0, 6); },
       "Matrix<T>::Matrix(const UInt32&, const UInt32&) [with T = double; UInt32 = unsigned int]",
       "nr > 0 && nr <= Max_Matrix_Dimension"},
      {[] { Jacobian(7, 8); }, jacobian, "nr > 0 && nr <= 6"},
      {[] { Jacobian(6, 8); }, jacobian, "nc > 0 && nc <= 7"},
      {[=] { *good = Matrix<double>(5, 5); }, fromMatrix, rowsEqual},
      {[=] { *good = Matrix<double>(6, 5); }, fromMatrix, columnsEqual},
      {[=] { *good = *j(5, 5); }, fromJacobian, rowsEqual},
      {[=] { *good = *fewColumns; }, fromJacobian, columnsEqual},
      // The products form the matrix product, whose shape check fires.
      {[=] { *good* Matrix<double>(5, 6); },
       "Matrix<T> Matrix<T>::operator*(const Matrix<T>&) const [with T = double]",
       "_nc == other.rows()"},
  };
}

TEST(AssertionReports, EveryPreconditionAbortsWithItsReport) {
  std::vector<Row> rows = kinematicsRows();
  vectorRows<bool>(rows, "bool"), vectorRows<short>(rows, "short int"),
      vectorRows<int>(rows, "int"), vectorRows<long>(rows, "long int"),
      vectorRows<unsigned int>(rows, "unsigned int"),
      vectorRows<unsigned long>(rows, "long unsigned int"), vectorRows<float>(rows, "float"),
      vectorRows<double>(rows, "double"), matrixRows<unsigned int>(rows, "unsigned int"),
      matrixRows<unsigned long>(rows, "long unsigned int"), matrixRows<float>(rows, "float"),
      matrixRows<double>(rows, "double");
  for (const Row& row : rows)
    EXPECT_DEATH(row.call(),
                 test_support::assertionReport(row.function, row.condition, row.file, row.line))
        << row.function << " / " << row.condition;
}

}  // namespace
