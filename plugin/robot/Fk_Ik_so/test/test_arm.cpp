// Any arm's forward kinematics and Jacobians against KDL's chain solvers built from the
// same joints, standard rows against modified rows, and dJ/dt against differences of J.
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainjnttojacsolver.hpp>

#include "arm_test_support.h"
#include "test_support.h"

namespace {

using namespace arm_test;

// Every named layout and random arms of both conventions, under random joints (beyond
// +-pi) and tools: frames and Jacobian against KDL's, dJ/dt against central differences.
TEST(ArmKinematics, MatchesKdlChainAndDifferences) {
  std::vector<NamedArm> arms = namedArms();
  std::mt19937_64 rng(5);
  for (int k = 0; k < 4; ++k) {
    arms.push_back({"random " + std::to_string(k),
                    randomArm(rng, k % 2 ? RowConvention::Standard : RowConvention::Modified),
                    ArmFamily::General, ArmFamily::General});
  }
  std::uniform_real_distribution<double> angle(-M_PI, M_PI), length(-0.3, 0.3);
  const double h = 1e-6;
  for (const NamedArm& named : arms) {
    const ArmDescription& d = named.arm.description();
    const KDL::Chain chain = kdlChain(d);
    KDL::ChainFkSolverPos_recursive kdl(chain);
    KDL::ChainJntToJacSolver kdlJacobian(chain);
    const double scale = named.arm.size() + fk_ik::length(d.base.p) + 1;
    for (int k = 0; k < test_support::caseCount(200); ++k) {
      SCOPED_TRACE(named.name + " case " + std::to_string(k));
      double q[6], qd[6], ahead[6], behind[6];
      randomJoints(rng, 2 * M_PI, q);
      randomJoints(rng, 2, qd);
      const KDL::Frame tool =
          frame(angle(rng), angle(rng), angle(rng), length(rng), length(rng), length(rng));
      const KDL::JntArray joints = jntArray(q);
      KDL::Frame expected, flange, tcp, frames[7];
      ASSERT_GE(kdl.JntToCart(joints, expected), 0);
      named.arm.flangeFrame(q, flange);
      named.arm.tcpFrame(q, tool, tcp);
      named.arm.jointFrames(q, frames);
      ASSERT_LT(frameDistance(flange, expected, scale), 1e-12);
      ASSERT_LT(frameDistance(frames[6], expected, scale), 1e-12);
      ASSERT_LT(frameDistance(tcp, expected * tool, scale), 1e-12);
      // Joint i's frame: the end of KDL's first i + 1 segments, its z axis on the joint's axis.
      for (int i = 0; i < 6; ++i) {
        KDL::Frame segment;
        kdl.JntToCart(joints, segment, i + 1);
        const KDL::Vector axis = segment.M * fk_ik::unitVector(d.axis[i]);
        ASSERT_LT(fk_ik::length(frames[i].M.UnitZ() - axis), 1e-12) << "joint " << i;
        ASSERT_LT(fk_ik::length(frames[i].p - segment.p) / scale, 1e-12) << "joint " << i;
      }
      KDL::Jacobian expectedJ(6);
      ASSERT_GE(kdlJacobian.JntToJac(joints, expectedJ), 0);
      expectedJ.changeRefPoint(flange.M * tool.p);
      fk_ik::ArmJacobian j, jDot, jAhead, jBehind, jAlone;
      named.arm.jacobian(q, tool, jAlone);
      ASSERT_LT((jAlone - expectedJ.data).cwiseAbs().maxCoeff(), 1e-12 * (named.arm.size() + 1));
      for (int i = 0; i < 6; ++i) ahead[i] = q[i] + h * qd[i], behind[i] = q[i] - h * qd[i];
      named.arm.jacobianDot(q, qd, tool, j, jDot);
      named.arm.jacobian(ahead, tool, jAhead);
      named.arm.jacobian(behind, tool, jBehind);
      ASSERT_EQ((j - jAlone).cwiseAbs().maxCoeff(), 0);
      const fk_ik::ArmJacobian differences = (jAhead - jBehind) / (2 * h);
      ASSERT_LT((jDot - differences).cwiseAbs().maxCoeff(), 1e-7 * (named.arm.size() + 1));
    }
  }
}

// Rows of either convention against the plain product of their link frames (KDL's DH and
// DH_Craig1989), with joint senses, base and flange.
TEST(ArmForwardKinematics, RowsOfBothConventionsGiveTheLinkProduct) {
  std::mt19937_64 rng(13);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI);
  for (int a = 0; a < test_support::caseCount(50); ++a) {
    const bool standard = a % 2;
    double rows[6][4], signs[6], q[6];
    for (auto& row : rows)
      for (double& value : row) value = angle(rng);
    for (double& sign : signs) sign = angle(rng) < 0 ? -1 : 1;
    const KDL::Frame base = frame(angle(rng), angle(rng), angle(rng), 0.3, 0.5, -0.2);
    const KDL::Frame flange = frame(angle(rng), angle(rng), angle(rng), 0.1, 0, 0.2);
    const Arm arm = build(describe(
        rows, standard ? RowConvention::Standard : RowConvention::Modified, signs, base, flange));
    for (int k = 0; k < 20; ++k) {
      randomJoints(rng, 2 * M_PI, q);
      KDL::Frame expected = base, reached;
      for (int i = 0; i < 6; ++i) {
        const double* r = rows[i];
        const double theta = r[3] + signs[i] * q[i];
        expected = expected * (standard ? KDL::Frame::DH(r[0], r[1], r[2], theta)
                                        : KDL::Frame::DH_Craig1989(r[0], r[1], r[2], theta));
      }
      arm.flangeFrame(q, reached);
      ASSERT_LT(frameDistance(reached, expected * flange, arm.size() + 2), 1e-12) << "arm " << a;
    }
  }
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
