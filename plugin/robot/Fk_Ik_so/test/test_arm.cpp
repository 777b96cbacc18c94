// Any arm's forward kinematics and Jacobians against KDL's chain solvers built from the
// same joints, modified and standard rows of one arm against each other, and dJ/dt
// against differences of J.
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainjnttojacsolver.hpp>

#include "arm_test_support.h"
#include "fk_solver_pos_tarvin2_6dof.h"
#include "test_support.h"

namespace {

using namespace arm_test;

// Every named layout and random arms of both conventions, each under random joints
// (beyond +-pi) and tools.
std::vector<NamedArm> armsUnderTest() {
  std::vector<NamedArm> arms = namedArms();
  std::mt19937_64 rng(5);
  for (int k = 0; k < 4; ++k) {
    const RowConvention convention = k % 2 ? RowConvention::Standard : RowConvention::Modified;
    arms.push_back({"random " + std::to_string(k), randomArm(rng, convention), ArmFamily::General,
                    ArmFamily::General});
  }
  return arms;
}

TEST(ArmForwardKinematics, MatchesKdlChainOfTheSameJoints) {
  std::mt19937_64 rng(11);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI), length(-0.3, 0.3);
  for (const NamedArm& named : armsUnderTest()) {
    const ArmDescription& d = named.arm.description();
    const KDL::Chain chain = kdlChain(d);
    KDL::ChainFkSolverPos_recursive kdl(chain);
    const double scale = named.arm.size() + fk_ik::length(d.base.p) + 1;
    for (int k = 0; k < test_support::caseCount(300); ++k) {
      double q[6];
      randomJoints(rng, 2 * M_PI, q);
      const KDL::Frame tool =
          frame(angle(rng), angle(rng), angle(rng), length(rng), 0, length(rng));
      KDL::JntArray joints(6);
      for (int i = 0; i < 6; ++i) joints(i) = q[i];
      KDL::Frame expected, flange, tcp, frames[7];
      ASSERT_GE(kdl.JntToCart(joints, expected), 0);
      named.arm.flangeFrame(q, flange);
      named.arm.tcpFrame(q, tool, tcp);
      named.arm.jointFrames(q, frames);
      ASSERT_LT(frameDistance(flange, expected, scale), 1e-12) << named.name << " case " << k;
      ASSERT_LT(frameDistance(frames[6], expected, scale), 1e-12) << named.name;
      ASSERT_LT(frameDistance(tcp, expected * tool, scale), 1e-12) << named.name;
      // Joint i's frame: the end of KDL's first i + 1 segments, its z axis on the joint's axis.
      for (int i = 0; i < 6; ++i) {
        KDL::Frame segment;
        kdl.JntToCart(joints, segment, i + 1);
        const KDL::Vector axis = segment.M * fk_ik::unitVector(d.axis[i]);
        ASSERT_LT(fk_ik::length(frames[i].M.UnitZ() - axis), 1e-12) << named.name << " joint " << i;
        ASSERT_LT(fk_ik::length(frames[i].p - segment.p) / scale, 1e-12) << named.name;
      }
    }
  }
}

// Standard row i and the modified rows of the same arm: the standard row's a and alpha
// move to the next modified row, the last pair into the flange.
TEST(ArmForwardKinematics, StandardAndModifiedRowsOfOneArmAgree) {
  std::mt19937_64 rng(13);
  std::uniform_real_distribution<double> length(-1, 1), angle(-M_PI, M_PI);
  for (int a = 0; a < test_support::caseCount(50); ++a) {
    double standard[6][4], modified[6][4], signs[6];
    for (int i = 0; i < 6; ++i) {
      standard[i][0] = length(rng);
      standard[i][1] = angle(rng);
      standard[i][2] = length(rng);
      standard[i][3] = angle(rng);
      signs[i] = angle(rng) < 0 ? -1 : 1;
    }
    for (int i = 0; i < 6; ++i) {
      modified[i][0] = i ? standard[i - 1][0] : 0;
      modified[i][1] = i ? standard[i - 1][1] : 0;
      modified[i][2] = standard[i][2];
      modified[i][3] = standard[i][3];
    }
    const KDL::Frame base = frame(angle(rng), angle(rng), angle(rng), length(rng), 0.5, 0);
    const KDL::Frame flange = frame(angle(rng), angle(rng), angle(rng), 0, 0, length(rng));
    const KDL::Frame lastLink = KDL::Frame(KDL::Vector(standard[5][0], 0, 0)) *
                                KDL::Frame(KDL::Rotation::RotX(standard[5][1]));
    const Arm fromStandard =
        build(describe(standard, RowConvention::Standard, signs, base, flange));
    const Arm fromModified =
        build(describe(modified, RowConvention::Modified, signs, base, lastLink * flange));
    for (int k = 0; k < 20; ++k) {
      double q[6];
      randomJoints(rng, M_PI, q);
      KDL::Frame s, m;
      fromStandard.flangeFrame(q, s);
      fromModified.flangeFrame(q, m);
      ASSERT_LT(frameDistance(s, m, fromStandard.size() + 1), 1e-12) << "arm " << a;
    }
  }
}

TEST(ArmJacobian, MatchesKdlJacobianAtTheToolCentrePoint) {
  std::mt19937_64 rng(17);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI), length(-0.3, 0.3);
  for (const NamedArm& named : armsUnderTest()) {
    const KDL::Chain chain = kdlChain(named.arm.description());
    KDL::ChainJntToJacSolver kdl(chain);
    for (int k = 0; k < test_support::caseCount(100); ++k) {
      double q[6];
      randomJoints(rng, M_PI, q);
      const KDL::Frame tool =
          frame(angle(rng), angle(rng), angle(rng), length(rng), length(rng), 0);
      KDL::JntArray joints(6);
      for (int i = 0; i < 6; ++i) joints(i) = q[i];
      KDL::Jacobian expected(6);
      ASSERT_GE(kdl.JntToJac(joints, expected), 0);
      KDL::Frame flange;
      named.arm.flangeFrame(q, flange);
      expected.changeRefPoint(flange.M * tool.p);
      fk_ik::ArmJacobian jacobian;
      named.arm.jacobian(q, tool, jacobian);
      ASSERT_LT((jacobian - expected.data).cwiseAbs().maxCoeff(), 1e-12 * (named.arm.size() + 1))
          << named.name << " case " << k;
    }
  }
}

// dJ/dt against central differences of J along the joint velocity; the Jacobian returned
// beside it is the Jacobian's own.
TEST(ArmJacobian, DerivativeIsTheTimeDerivative) {
  std::mt19937_64 rng(19);
  const KDL::Frame tool = frame(0.2, -0.4, 1.0, 0.03, -0.02, 0.12);
  const double h = 1e-6;
  for (const NamedArm& named : armsUnderTest()) {
    for (int k = 0; k < test_support::caseCount(50); ++k) {
      double q[6], qd[6], ahead[6], behind[6];
      randomJoints(rng, M_PI, q);
      randomJoints(rng, 2, qd);
      for (int i = 0; i < 6; ++i) {
        ahead[i] = q[i] + h * qd[i];
        behind[i] = q[i] - h * qd[i];
      }
      fk_ik::ArmJacobian j, jDot, jAhead, jBehind, jAlone;
      named.arm.jacobianDot(q, qd, tool, j, jDot);
      named.arm.jacobian(q, tool, jAlone);
      named.arm.jacobian(ahead, tool, jAhead);
      named.arm.jacobian(behind, tool, jBehind);
      ASSERT_EQ((j - jAlone).cwiseAbs().maxCoeff(), 0) << named.name;
      const fk_ik::ArmJacobian differences = (jAhead - jBehind) / (2 * h);
      ASSERT_LT((jDot - differences).cwiseAbs().maxCoeff(), 1e-7 * (named.arm.size() + 1))
          << named.name << " case " << k;
    }
  }
}

// The designed jntPosToJacobiansDot keeps its own linear rows (joint-frame offsets, not
// rotated into the base frame): its angular rows are dJ/dt's, its linear rows are not.
TEST(ArmJacobian, DesignedDerivativeSharesOnlyTheAngularRows) {
  std::vector<MDH> records = test_support::makeRecords(kParallelMiddleRows);
  Chain_MDH4 chain(6, &records);
  FkSolverPos_Tarvin2_6Dof designed(&chain);
  const Arm arm = build(describe(kParallelMiddleRows, RowConvention::Modified));
  const Tool tool = {0.01, 0.02, 0.1, 0.1, 0.2, 0.3};
  MathVector q = test_support::joints(0.3, -1.2, 1.5, -0.4, 1.1, 0.2);
  MathVector qd = test_support::joints(0.5, -0.3, 0.8, 1.1, -0.7, 0.9);
  MathJacobian j(6, 6), jDot(6, 6);
  designed.jntPosToJacobiansDot(q, qd, tool, j, jDot);
  fk_ik::ArmJacobian armJ, armJDot;
  arm.jacobianDot(&q(0), &qd(0), test_support::toolFrame(tool), armJ, armJDot);
  double angular = 0, linear = 0;
  for (UInt32 c = 0; c < 6; ++c) {
    for (UInt32 r = 0; r < 6; ++r) {
      EXPECT_NEAR(j(r, c), armJ(r, c), 1e-12);
      (r < 3 ? linear : angular) =
          std::fmax(r < 3 ? linear : angular, std::fabs(jDot(r, c) - armJDot(r, c)));
    }
  }
  EXPECT_LT(angular, 1e-12);
  EXPECT_GT(linear, 1e-3);
}

TEST(ArmForwardKinematics, NonFiniteJointsGiveNonFiniteFramesOnly) {
  const Arm arm = namedArms()[0].arm;
  for (double bad : {NAN, INFINITY, -INFINITY}) {
    for (int i = 0; i < 6; ++i) {
      double q[6] = {0.1, 0.2, 0.3, 0.4, 0.5, 0.6};
      q[i] = bad;
      KDL::Frame flange;
      arm.flangeFrame(q, flange);
      EXPECT_TRUE(std::isnan(flange.M(0, 0)) || std::isnan(flange.p.x())) << i;
    }
  }
}

}  // namespace
