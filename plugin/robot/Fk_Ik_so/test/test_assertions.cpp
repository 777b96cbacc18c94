// Every assertion report once: the breaking call, the report's function text and condition, and
// the file and line where fixed; container rows repeat per element type, spelled as GCC does.
#include <functional>

#include "robot.h"  // and with it both solvers, the Jacobian and the containers
#include "test_support.h"

double ndebugClientElement(UInt32 id);
void ndebugClientJacobian(UInt8 nr);

namespace {

struct Row {
  std::function<void()> call;
  std::string function, condition, file = "";
  int line = 0;
};

template <typename T>
void matrixRows(std::vector<Row>& rows, const std::string& t, const std::string& u) {
  const std::string VM = "Void Matrix<T>::", MM = "Matrix<T> Matrix<T>::", c = " const" + t + "]",
                    v = t + "; Void = void]", s = "(const T&)",
                    rowBound = "nr > 0 && nr <= Max_Matrix_Dimension", square = "_nr == _nc",
                    id = "_nr > 0 && _nc > 0 && " + square,
                    columnBound = "nc > 0 && nc <= Max_Matrix_Dimension", at = "i < _nr || j < _nc",
                    ij = "(const UInt32&, const UInt32&)", make = "Matrix<T>::Matrix" + ij + t + u,
                    resize = VM + "resize" + ij + t + "; Void = void" + u;
  const auto w = std::make_shared<Matrix<T>>(2, 3);
  rows.insert(
      rows.end(),
      {{[] { Matrix<T>(0, 3); }, make, rowBound},
       {[] { Matrix<T>(15, 1); }, make, rowBound},
       {[] { Matrix<T>::zero(1, 15); }, make, columnBound},
       {[w] { w->resize(15, 2); }, resize, rowBound},
       {[w] { w->resize(2, 0); }, resize, columnBound},
       {[w] { (*w)(2, 3) = T(1); }, "T& Matrix<T>::operator()" + ij + t + u, at},
       {[w] { (void)static_cast<const Matrix<T>&> (*w)(7, 3); },
        "T Matrix<T>::operator()" + ij + " const" + t + u, at},
       {[w] { w->setToIdentity(); }, VM + "setToIdentity()" + v, id},
       {[w] { w->addToPrincipal(T(1)); }, VM + "addToPrincipal" + s + v, square},
       {[w] { w->subtractFromPrincipal(T(1)); }, VM + "subtractFromPrincipal" + s + v, square},
       {[w] { w->plusScalarPrincipal(T(1)); }, MM + "plusScalarPrincipal" + s + c, square},
       {[w] { w->minusScalarPrincipal(T(1)); }, MM + "minusScalarPrincipal" + s + c, square},
       {[w] { *w* Matrix<T>(2, 3); }, MM + "operator*(const Matrix<T>&)" + c,
        "_nc == other.rows()"},
       {[w] { w->transpose(*std::make_unique<Matrix<T>>(2, 3)); }, VM + "transpose(Matrix<T>&)" + v,
        "_nr == r.columns() && _nc == r.rows()"},
       // The vector product has no check of its own: the vector's index assertion fires.
       {[w] { *w* Vector<T>(2); }, "T Vector<T>::operator()(const UInt32&) const" + t + u,
        "id < _n"}});
}

template <typename T>
void rowsOf(std::vector<Row>& rows, const std::string& spelling) {
  const std::string t = " [with T = " + spelling, u = "; UInt32 = unsigned int]",
                    V = "Vector<T>::", b = "; Bool = bool", same = "_n == other.size()",
                    o = "(const Vector<T>&)", c = o + " const" + t + "]",
                    bound = "n <= Max_Vector_Dimension", vv = "; Void = void", B = "Bool " + V;
  const auto x = std::make_shared<Vector<T>>(3), y = std::make_shared<Vector<T>>(4);
  rows.insert(
      rows.end(),
      {{[] { Vector<T>(1).resize(15); }, "Void " + V + "resize(UInt32)" + t + vv + u, bound},
       {[] { Vector<T>(15); }, V + "Vector(UInt32)" + t + u, bound},
       {[x] { (*x)(3) = T(1); }, "T& " + V + "operator()(const UInt32&)" + t + u, "id < _n"},
       {[] { (void)static_cast<const Vector<T>&>(Vector<T>(0u))(0); },
        "T " + V + "operator()(const UInt32&) const" + t + u, "id < _n"},
       {[x, y] { x->almostEqual(*y, 1.0); },
        B + "almostEqual(const Vector<T>&, Float64)" + t + b + "; Float64 = double]", same},
       {[x, y] { (void)(*x == *y); }, B + "operator==" + o + t + b + "]", same},
       {[x, y] { (void)(*x != *y); }, B + "operator!=" + o + t + b + "]", same},
       {[x, y] { *x + *y; }, "Vector<T1> " + V + "operator+" + c, same},
       {[x, y] { *x - *y; }, "Vector<T1> " + V + "operator-" + c, same},
       {[x, y] { x->elementMultiply(*y); }, "Vector<T1> " + V + "elementMultiply" + c, same},
       {[x, y] { x->dot(*y); }, "T " + V + "dot" + c, same},
       {[x, y] { x->project(*y); }, "Vector<T1> " + V + "project" + c, same}});
  if constexpr (std::is_floating_point<T>::value ||
                (std::is_unsigned<T>::value && !std::is_same<T, bool>::value))
    matrixRows<T>(rows, t, u);
}

std::vector<Row> kinematicsRows() {
  struct Arm {  // its chain can be given another joint count after construction
    std::vector<MDH> records = test_support::makeRecords(host_support::SampleArm);
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
  using S = const std::string;
  S m = "(const MathVector&, ", fkPos = "Void FkSolverPos::jntPosToFlangePos" + m;
  S jacobians = "Void FkSolverPos::jntPosToJacobians", size = "_chainMDH4->_dof == jntPos.size()";
  S jac = jacobians + m + "const Tool&, MathJacobian&)", vel = "velJacobian.", six_ = "rows() == 6";
  S dot = jacobians + "Dot" + m + "const MathVector&, const Tool&, MathJacobian&, MathJacobian&)";
  S inverse = "Int32 Robot::tcpPosToJntPos" + m + "const Tool&, const MathVector&, MathVector&)";
  S chain = "Chain_MDH4::Chain_MDH4(UInt32, const std::vector<MDH>*)", solver = "(Chain_MDH4*)";
  S chainCount = "dof == 6 && pMDH4Param->size() == 6", dof6 = "chainMDH4->_dof == 6";
  S columns = "columns() == _chainMDH4->_dof", velDot = "velJacobianDot.";
  S rowsEq = "this->rows() == other.rows()", colsEq = "this->columns() == other.columns()";
  S jacobian = "Jacobian::Jacobian(const UInt8&, const UInt8&)";
  S fromMatrix = "Void Jacobian::operator=(const Matrix<double>&)";
  S fromJacobian = "Void Jacobian::operator=(const Jacobian&)";
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
      {[=] { fk->jntPosToFlangePos(five, *frame); }, fkPos + "KDL::Frame&)", size},
      {[=] { fk->jntPosToFlangePos(five, 2, *frame); }, fkPos + "const Int32&, KDL::Frame&)", size},
      {[=] { fk->jntPosToFlangePos(six, -1, *frame); }, fkPos + "const Int32&, KDL::Frame&)",
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
      // The newer inverse members check their sizes alike.
      {[=] { ik->flangePosToAllJntPos(*frame, seven, *std::make_unique<IkSolutions>()); },
       "Int32 IkSolverPos_Tarvin2_6Dof::flangePosToAllJntPos(const KDL::Frame&, const "
       "MathVector&, IkSolutions&)",
       "jntPosRef.size() == 6"},
      {[=] { ik->flangePosToNearestJntPos(*frame, seven, *out); },
       "Int32 IkSolverPos_Tarvin2_6Dof::flangePosToNearestJntPos(const KDL::Frame&, const "
       "MathVector&, MathVector&, const Float64*, const Float64*)",
       "jntPosRef.size() == 6"},
      {[=] { robot->tcpPosToJntPosInMode(five, tool, six, -1, *out); },
       "Int32 Robot::tcpPosToJntPosInMode" + m +
           "const Tool&, const MathVector&, const Int32&, "
           "MathVector&)",
       "tcpPosIn.size() == 6"},
      {[=] { robot->tcpPosToAllJntPos(six, tool, seven, *std::make_unique<IkSolutions>()); },
       "Int32 Robot::tcpPosToAllJntPos" + m + "const Tool&, const MathVector&, IkSolutions&)",
       "_chainMDH4->_dof == jntPosRef.size()"},
      {[=] { robot->tcpPosToNearestJntPos(six, tool, seven, *out); },
       "Int32 Robot::tcpPosToNearestJntPos" + m +
           "const Tool&, const MathVector&, MathVector&, "
           "const Float64*, const Float64*)",
       "_chainMDH4->_dof == jntPosRef.size()"},
      {[=] { robot->vectorToKdlFrame(seven, *frame); },
       "Void Robot::vectorToKdlFrame(const MathVector&, KDL::Frame&)", "vecIn.size() == 6"},
      // The Jacobian checks the matrix's bounds first, then its own.
      {[] { Jacobian(0, 6); },
       "Matrix<T>::Matrix(const UInt32&, const UInt32&) [with T = double; UInt32 = unsigned int]",
       "nr > 0 && nr <= Max_Matrix_Dimension"},
      {[] { Jacobian(7, 8); }, jacobian, "nr > 0 && nr <= 6"},
      {[] { Jacobian(6, 8); }, jacobian, "nc > 0 && nc <= 7"},
      // The same inline checks in a client compiled with NDEBUG (ndebug_client.cpp).
      {[] { ndebugClientJacobian(7); }, jacobian, "nr > 0 && nr <= 6"},
      {[] { ndebugClientElement(2); },
       "T& Vector<T>::operator()(const UInt32&) [with T = double; UInt32 = unsigned int]",
       "id < _n"},
      {[=] { *good = Matrix<double>(5, 5); }, fromMatrix, rowsEq},
      {[=] { *good = Matrix<double>(6, 5); }, fromMatrix, colsEq},
      {[=] { *good = *j(5, 5); }, fromJacobian, rowsEq},
      {[=] { *good = *fewColumns; }, fromJacobian, colsEq},
      // The products form the matrix product, whose shape check fires.
      {[=] { *good* Matrix<double>(5, 6); },
       "Matrix<T> Matrix<T>::operator*(const Matrix<T>&) const [with T = double]",
       "_nc == other.rows()"},
  };
}

TEST(AssertionReports, EveryPreconditionAbortsWithItsReport) {
  std::vector<Row> r = kinematicsRows();
  rowsOf<bool>(r, "bool"), rowsOf<short>(r, "short int"), rowsOf<int>(r, "int"),
      rowsOf<long>(r, "long int"), rowsOf<unsigned int>(r, "unsigned int"),
      rowsOf<unsigned long>(r, "long unsigned int"), rowsOf<float>(r, "float"),
      rowsOf<double>(r, "double");
  for (const Row& row : r)
    EXPECT_DEATH(row.call(),
                 test_support::assertionReport(row.function, row.condition, row.file, row.line));
}

}  // namespace
