// Velocity Jacobian of the TCP and its time derivative, against KDL's own Jacobian
// solver on the same arm and against finite differences of the forward kinematics.
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainjnttojacsolver.hpp>
#include <kdl/jacobian.hpp>
#include <kdl/jntarray.hpp>

#include "fk_solver_pos_tarvin2_6dof.h"
#include "test_support.h"

using test_support::assertionReport;
using test_support::randomTool;
using test_support::randomVector;
using test_support::toolFrame;

namespace {

// One random arm with the library's solver and the same arm as a KDL::Chain.
struct Arm {
  explicit Arm(std::mt19937_64& rng)
      : records(test_support::randomArm(rng)),
        chain(6, &records),
        solver(&chain),
        kdl(test_support::kdlChain(records)),
        kdlSplit(test_support::kdlChainSplit(records)) {}

  KDL::Vector tcpPosition(const MathVector& q, const Tool& tool) {
    KDL::Frame flange;
    solver.jntPosToFlangePos(q, flange);
    return (flange * toolFrame(tool)).p;
  }

  // Joint k's frame relative to the base, from KDL's own forward solver.
  KDL::Frame jointFrame(const MathVector& q, int k) {
    KDL::JntArray kq(6);
    for (unsigned i = 0; i < 6; ++i) kq(i) = q(i);
    KDL::Frame f;
    KDL::ChainFkSolverPos_recursive(kdlSplit).JntToCart(kq, f, 2 * k + 2);
    return f;
  }

  std::vector<MDH> records;
  Chain_MDH4 chain;
  FkSolverPos_Tarvin2_6Dof solver;
  KDL::Chain kdl, kdlSplit;
};

double maxDifference(const Matrix<double>& a, const Matrix<double>& b) {
  double d = 0.0;
  for (UInt32 i = 0; i < a.rows(); ++i)
    for (UInt32 j = 0; j < a.columns(); ++j) d = std::max(d, std::abs(a(i, j) - b(i, j)));
  return d;
}

KDL::Vector column(const Matrix<double>& m, UInt32 j, UInt32 firstRow) {
  return KDL::Vector(m(firstRow, j), m(firstRow + 1, j), m(firstRow + 2, j));
}

// Random arms, tools and joint positions: the Jacobian equals KDL's chain Jacobian
// moved to the TCP, its linear rows equal central differences of the TCP position, the
// derivative member returns the same Jacobian, and the derivative's angular rows equal
// central differences of the Jacobian's angular rows along the joint velocity.
TEST(FkJacobians, AgreeWithKdlAndFiniteDifferences) {
  std::mt19937_64 rng(4242);
  const double h = 1e-6;
  double worstKdl = 0.0, worstLinear = 0.0, worstAngularDot = 0.0;
  for (int arm = 0; arm < test_support::caseCount(100); ++arm) {
    Arm a(rng);
    KDL::ChainJntToJacSolver kdlSolver(a.kdl);
    KDL::ChainFkSolverPos_recursive kdlFk(a.kdl);
    for (int k = 0; k < 5; ++k) {
      const MathVector q = randomVector(rng, 2 * M_PI), qDot = randomVector(rng, 2.0);
      const Tool tool = randomTool(rng);
      MathJacobian j(6, 6), jFromDot(6, 6), jDot(6, 6);
      a.solver.jntPosToJacobians(q, tool, j);
      a.solver.jntPosToJacobiansDot(q, qDot, tool, jFromDot, jDot);
      ASSERT_EQ(maxDifference(j, jFromDot), 0.0);

      KDL::JntArray kq(6);
      for (unsigned i = 0; i < 6; ++i) kq(i) = q(i);
      KDL::Jacobian kj(6);
      KDL::Frame flange;
      ASSERT_EQ(kdlSolver.JntToJac(kq, kj), 0);
      ASSERT_EQ(kdlFk.JntToCart(kq, flange), 0);
      kj.changeRefPoint(flange.M * toolFrame(tool).p);
      for (unsigned r = 0; r < 6; ++r)
        for (unsigned c = 0; c < 6; ++c)
          worstKdl = std::max(worstKdl, std::abs(j(r, c) - kj(r, c)));

      MathVector plus = q, minus = q;
      MathJacobian jPlus(6, 6), jMinus(6, 6);
      for (UInt32 i = 0; i < 6; ++i) {
        plus(i) += h, minus(i) -= h;
        const KDL::Vector v = (a.tcpPosition(plus, tool) - a.tcpPosition(minus, tool)) / (2 * h);
        worstLinear = std::max(worstLinear, (v - column(j, i, 0)).Norm());
        plus(i) = minus(i) = q(i);
      }
      for (UInt32 i = 0; i < 6; ++i) plus(i) += h * qDot(i), minus(i) -= h * qDot(i);
      a.solver.jntPosToJacobians(plus, tool, jPlus);
      a.solver.jntPosToJacobians(minus, tool, jMinus);
      for (UInt32 i = 0; i < 6; ++i) {
        const KDL::Vector zDot = (column(jPlus, i, 3) - column(jMinus, i, 3)) / (2 * h);
        worstAngularDot = std::max(worstAngularDot, (zDot - column(jDot, i, 3)).Norm());
      }
    }
  }
  EXPECT_LT(worstKdl, 1e-12);
  EXPECT_LT(worstLinear, 1e-8);
  EXPECT_LT(worstAngularDot, 1e-8);
}

// With the identity tool the TCP is the flange origin, which lies on the last axis.
TEST(FkJacobians, IdentityToolPutsTheTcpOnTheLastAxis) {
  std::mt19937_64 rng(9);
  Arm a(rng);
  const MathVector q = randomVector(rng, M_PI);
  MathJacobian j(6, 6);
  a.solver.jntPosToJacobians(q, Tool{0, 0, 0, 0, 0, 0}, j);
  EXPECT_LT(column(j, 5, 0).Norm(), 1e-15);
  EXPECT_LT((column(j, 5, 3) - a.jointFrame(q, 5).M.UnitZ()).Norm(), 1e-15);
}

TEST(FkJacobiansDot, ZeroJointVelocityGivesZero) {
  std::mt19937_64 rng(10);
  Arm a(rng);
  MathJacobian j(6, 6), jDot(6, 6);
  jDot.addToAll(7.0);
  a.solver.jntPosToJacobiansDot(randomVector(rng, M_PI), MathVector(6), randomTool(rng), j, jDot);
  EXPECT_EQ(maxDifference(jDot, MathJacobian(6, 6)), 0.0);
}

// Only the last joint moving: w_k = 0 for k < n, so column k holds z_k x (w_n x r_n),
// where r_n is the tool's translation in flange coordinates; the last column is zero.
TEST(FkJacobiansDot, OnlyTheLastJointMoving) {
  std::mt19937_64 rng(11);
  Arm a(rng);
  const MathVector q = randomVector(rng, M_PI);
  MathVector qDot(6);
  qDot(5) = 1.5;
  const Tool tool = randomTool(rng);
  MathJacobian j(6, 6), jDot(6, 6);
  a.solver.jntPosToJacobiansDot(q, qDot, tool, j, jDot);
  const KDL::Vector wn = qDot(5) * a.jointFrame(q, 5).M.UnitZ();
  const KDL::Vector rn(tool.x, tool.y, tool.z);
  for (UInt32 k = 0; k < 5; ++k) {
    const KDL::Vector zk = a.jointFrame(q, k).M.UnitZ();
    EXPECT_LT((column(jDot, k, 0) - zk * (wn * rn)).Norm(), 1e-12) << k;
    EXPECT_EQ(column(jDot, k, 3).Norm(), 0.0);
  }
  EXPECT_LT(column(jDot, 5, 0).Norm() + column(jDot, 5, 3).Norm(), 1e-15);
}

// Only the first joint moving: w_k = w_n = w for every k. The joint-frame offsets r_k
// and r_n enter unrotated, as the derivative is required to combine them.
TEST(FkJacobiansDot, OnlyTheFirstJointMovingCombinesJointFrameOffsets) {
  std::mt19937_64 rng(12);
  Arm a(rng);
  const MathVector q = randomVector(rng, M_PI);
  MathVector qDot(6);
  qDot(0) = -0.7;
  const Tool tool = randomTool(rng);
  MathJacobian j(6, 6), jDot(6, 6);
  a.solver.jntPosToJacobiansDot(q, qDot, tool, j, jDot);
  const KDL::Vector tcp = a.tcpPosition(q, tool);
  const KDL::Vector w = qDot(0) * a.jointFrame(q, 0).M.UnitZ();
  const KDL::Vector rn = a.jointFrame(q, 5).Inverse(tcp);
  for (UInt32 k = 0; k < 6; ++k) {
    const KDL::Frame fk = a.jointFrame(q, k);
    const KDL::Vector zk = fk.M.UnitZ(), rk = fk.Inverse(tcp), zDot = w * zk;
    EXPECT_LT((column(jDot, k, 0) - (zDot * rk + zk * (w * rn - w * rk))).Norm(), 1e-12) << k;
    EXPECT_LT((column(jDot, k, 3) - zDot).Norm(), 1e-15) << k;
  }
}

// Each assertion in its order: the inputs break that condition and every later one.
TEST(FkJacobiansAssertions, ReportsInTheirOrder) {
  std::vector<MDH> records(6);
  Chain_MDH4 chain(6, &records);
  FkSolverPos_Tarvin2_6Dof solver(&chain);
  const Tool tool{0, 0, 0, 0, 0, 0};
  MathVector six(6), five(5);
  MathJacobian good(6, 6), fewRows(3, 5), fewColumns(6, 5);
  const std::string jacobians =
      "Void FkSolverPos::jntPosToJacobians(const MathVector&, const Tool&, MathJacobian&)";
  const std::string dot =
      "Void FkSolverPos::jntPosToJacobiansDot(const MathVector&, const MathVector&, const Tool&, "
      "MathJacobian&, MathJacobian&)";
  const std::string position = "_chainMDH4->_dof == jntPos.size()";
  EXPECT_DEATH(solver.jntPosToJacobians(five, tool, fewRows), assertionReport(jacobians, position));
  EXPECT_DEATH(solver.jntPosToJacobians(six, tool, fewRows),
               assertionReport(jacobians, "velJacobian.rows() == 6"));
  EXPECT_DEATH(solver.jntPosToJacobians(six, tool, fewColumns),
               assertionReport(jacobians, "velJacobian.columns() == _chainMDH4->_dof"));

  EXPECT_DEATH(solver.jntPosToJacobiansDot(five, five, tool, fewRows, fewRows),
               assertionReport(dot, position));
  EXPECT_DEATH(solver.jntPosToJacobiansDot(six, five, tool, fewRows, fewRows),
               assertionReport(dot, "_chainMDH4->_dof == jntVel.size()"));
  EXPECT_DEATH(solver.jntPosToJacobiansDot(six, six, tool, fewRows, fewRows),
               assertionReport(dot, "velJacobian.rows() == 6"));
  EXPECT_DEATH(solver.jntPosToJacobiansDot(six, six, tool, fewColumns, fewRows),
               assertionReport(dot, "velJacobian.columns() == _chainMDH4->_dof"));
  EXPECT_DEATH(solver.jntPosToJacobiansDot(six, six, tool, good, fewRows),
               assertionReport(dot, "velJacobianDot.rows() == 6"));
  EXPECT_DEATH(solver.jntPosToJacobiansDot(six, six, tool, good, fewColumns),
               assertionReport(dot, "velJacobianDot.columns() == _chainMDH4->_dof"));
}

}  // namespace
