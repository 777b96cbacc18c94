// The chain, its configuration mode and the forward kinematics: frames bit for bit KDL's
// DH_Craig1989 products and equal to KDL's chain solver, Jacobians against KDL's chain
// Jacobian and central differences, over general arms and joints beyond +-pi.
#include <cstring>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainjnttojacsolver.hpp>
#include <kdl/jntarray.hpp>
#include <new>

#include "fk_solver_pos_tarvin2_6dof.h"
#include "test_support.h"

using test_support::frameDistance;
using test_support::joints;
using test_support::randomVector;

namespace {

// Built in memory filled with garbage, so that nothing passes by fresh zeros.
struct GarbageChain {
  explicit GarbageChain(const std::vector<MDH>& records) {
    std::memset(storage, 0xAB, sizeof storage);
    chain = new (storage) Chain_MDH4(6, &records);
  }
  ~GarbageChain() { chain->~Chain_MDH4(); }
  alignas(Chain_MDH4) unsigned char storage[sizeof(Chain_MDH4)];
  Chain_MDH4* chain;
};

bool sameBits(const KDL::Frame& a, const KDL::Frame& b) {
  return std::memcmp(a.p.data, b.p.data, sizeof(a.p.data)) == 0 &&
         std::memcmp(a.M.data, b.M.data, sizeof(a.M.data)) == 0;
}

KDL::JntArray kdlJoints(const MathVector& q) {
  KDL::JntArray kq(6);
  for (unsigned i = 0; i < 6; ++i) kq(i) = q(i);
  return kq;
}

// The chain copies six records and keeps the seventh zero; the overloads of the forward
// kinematics are the products of DH_Craig1989(a, alpha, d, theta + q) bit for bit (also for a
// twist changed after construction) and agree with KDL's chain solver on the same arm.
TEST(ForwardKinematics, FramesAreKdlProductsOnGeneralArms) {
  std::mt19937_64 rng(20261121);
  double worst = 0.0;
  for (int arm = 0; arm < test_support::caseCount(300); ++arm) {
    std::vector<MDH> records = test_support::randomArm(rng);
    GarbageChain garbage(records);
    Chain_MDH4& chain = *garbage.chain;
    ASSERT_EQ(chain._dof, 6u);
    for (int i = 0; i < 7; ++i) {
      const MDH expected = i < 6 ? records[i] : MDH();
      ASSERT_EQ(std::memcmp(&chain._mdhParam[i], &expected, sizeof(MDH)), 0) << i;
    }
    if (arm % 2 == 1) chain._mdhParam[arm % 6].alpha += 0.25;
    FkSolverPos_Tarvin2_6Dof solver(&chain);
    const KDL::Chain kdlChain = test_support::kdlChain(records);
    KDL::ChainFkSolverPos_recursive kdl(kdlChain);
    for (int k = 0; k < 10; ++k) {
      const MathVector q = randomVector(rng, 4 * M_PI);
      KDL::Frame flange, segments[Max_Chain_Dof], expected = KDL::Frame::Identity(), partial;
      solver.jntPosToFlangePos(q, flange);
      solver.jntPosToFlangePos(q, segments);
      for (Int32 i = 0; i <= 6; ++i) {
        solver.jntPosToFlangePos(q, i, partial);
        ASSERT_TRUE(sameBits(partial, expected)) << "arm " << arm << ", segment id " << i;
        if (i == 6) break;
        const MDH& r = chain._mdhParam[i];
        const KDL::Frame segment = KDL::Frame::DH_Craig1989(r.a, r.alpha, r.d, r.theta + q(i));
        expected = expected * segment;
        ASSERT_TRUE(sameBits(segments[i], i == 0 ? segment : segments[i - 1] * segment)) << i;
      }
      ASSERT_TRUE(sameBits(flange, expected)) << "arm " << arm;
      if (arm % 2 == 0) {
        KDL::Frame oracle;
        ASSERT_EQ(kdl.JntToCart(kdlJoints(q), oracle), 0);
        worst = std::max(worst, frameDistance(flange, oracle));
      }
    }
  }
  EXPECT_LT(worst, 1e-12);
  // All parameters zero: every joint turns about the base's z axis.
  std::vector<MDH> zero(6);
  Chain_MDH4 chain(6, &zero);
  KDL::Frame flange;
  FkSolverPos_Tarvin2_6Dof(&chain).jntPosToFlangePos(joints(0.1, -0.4, 0.3, 0.2, 0.5, -0.6),
                                                     flange);
  EXPECT_LT(frameDistance(flange, KDL::Frame(KDL::Rotation::RotZ(0.1))), 1e-15);
}

KDL::Vector column(const Matrix<double>& m, UInt32 j, UInt32 firstRow) {
  return KDL::Vector(m(firstRow, j), m(firstRow + 1, j), m(firstRow + 2, j));
}

// Random arms, tools, joints and joint velocities: the Jacobian is KDL's chain Jacobian moved
// to the TCP, its linear rows are central differences of the TCP position, the derivative
// member gives the same Jacobian, its angular rows are central differences of the Jacobian's
// angular rows along the joint velocity and its linear rows combine the joint-frame offsets
// r_k, r_n with base-frame axes and angular velocities unrotated, as required.
TEST(ForwardKinematics, JacobiansAgreeWithKdlAndCentralDifferences) {
  std::mt19937_64 rng(4242);
  const double h = 1e-6;
  double worstKdl = 0, worstLinear = 0, worstAngularDot = 0, worstLinearDot = 0;
  for (int arm = 0; arm < test_support::caseCount(100); ++arm) {
    const std::vector<MDH> records = test_support::randomArm(rng);
    GarbageChain garbage(records);
    FkSolverPos_Tarvin2_6Dof solver(garbage.chain);
    const KDL::Chain kdl = test_support::kdlChain(records);
    KDL::ChainJntToJacSolver kdlJacobian(kdl);
    KDL::ChainFkSolverPos_recursive kdlFk(kdl);
    for (int k = 0; k < 5; ++k) {
      const MathVector q = randomVector(rng, 2 * M_PI);
      MathVector qDot = randomVector(rng, 2.0);
      if (k == 0) qDot = joints(0, 0, 0, 0, 0, 1.0);  // the last joint alone
      if (k == 1) qDot = MathVector(6);
      const Tool tool = test_support::randomTool(rng);
      const KDL::Frame toolFrame = test_support::toolFrame(tool);
      MathJacobian j(6, 6), jFromDot(6, 6), jDot(6, 6);
      jFromDot.addToAll(7.0), jDot.addToAll(7.0);
      solver.jntPosToJacobians(q, tool, j);
      solver.jntPosToJacobiansDot(q, qDot, tool, jFromDot, jDot);
      ASSERT_EQ(
          std::memcmp(static_cast<double*>(j), static_cast<double*>(jFromDot), 36 * sizeof(double)),
          0);
      KDL::Jacobian kj(6);
      KDL::Frame flange, frames[6];
      ASSERT_EQ(kdlJacobian.JntToJac(kdlJoints(q), kj), 0);
      ASSERT_EQ(kdlFk.JntToCart(kdlJoints(q), flange), 0);
      kj.changeRefPoint(flange.M * toolFrame.p);
      for (unsigned r = 0; r < 6; ++r)
        for (unsigned c = 0; c < 6; ++c)
          worstKdl = std::max(worstKdl, std::abs(j(r, c) - kj(r, c)));
      // Central differences of the TCP position, and of the Jacobian along the velocity.
      const auto tcp = [&](const MathVector& x) {
        KDL::Frame f;
        solver.jntPosToFlangePos(x, f);
        return (f * toolFrame).p;
      };
      MathVector plus = q, minus = q;
      for (UInt32 i = 0; i < 6; ++i) {
        plus(i) += h, minus(i) -= h;
        worstLinear =
            std::max(worstLinear, ((tcp(plus) - tcp(minus)) / (2 * h) - column(j, i, 0)).Norm());
        plus(i) = minus(i) = q(i);
      }
      for (UInt32 i = 0; i < 6; ++i) plus(i) += h * qDot(i), minus(i) -= h * qDot(i);
      MathJacobian jPlus(6, 6), jMinus(6, 6);
      solver.jntPosToJacobians(plus, tool, jPlus);
      solver.jntPosToJacobians(minus, tool, jMinus);
      // The joint frames from KDL, and the derivative's linear rows from them.
      KDL::Vector w[6], z[6], r[6];
      for (UInt32 i = 0; i < 6; ++i) {
        ASSERT_EQ(kdlFk.JntToCart(kdlJoints(q), frames[i], 2 * i + 2), 0);
        z[i] = frames[i].M.UnitZ();
        r[i] = frames[i].Inverse(flange * toolFrame.p);
        w[i] = (i == 0 ? KDL::Vector::Zero() : w[i - 1]) + qDot(i) * z[i];
      }
      for (UInt32 i = 0; i < 6; ++i) {
        const KDL::Vector zDot = (column(jPlus, i, 3) - column(jMinus, i, 3)) / (2 * h);
        worstAngularDot = std::max(worstAngularDot, (zDot - column(jDot, i, 3)).Norm());
        const KDL::Vector a = (w[i] * z[i]) * r[i] + z[i] * (w[5] * r[5] - w[i] * r[i]);
        worstLinearDot = std::max(worstLinearDot, (a - column(jDot, i, 0)).Norm());
      }
    }
  }
  EXPECT_LT(worstKdl, 1e-12);
  EXPECT_LT(worstLinear, 1e-8);
  EXPECT_LT(worstAngularDot, 1e-8);
  EXPECT_LT(worstLinearDot, 1e-12);
}

// The mode bits follow the signs of the three quantities, written out here in the order the
// library sums them (q3 and record 4's d enter the shoulder quantity; joints 0 and 5 nothing);
// with check, the first quantity below 1e-6 in magnitude (strictly; not-a-number passes) is
// reported as 2, 3 or 4 with the mode left at 0.
TEST(ConfigurationMode, FollowsTheThreeQuantities) {
  std::mt19937_64 rng(12);
  std::uniform_real_distribution<double> angle(-2 * M_PI, 2 * M_PI);
  const double exact = 1.0000000000001666e-06, h = M_PI / 2;  // sin(exact) is exactly 1e-6
  const double nan = std::nan("");
  for (int arm = 0; arm < test_support::caseCount(200); ++arm) {
    std::vector<MDH> records = test_support::randomArm(rng);
    if (arm == 0) records[2].a = 0.225, records[3].a = 0.892, records[4].d = -0.8616698311333904;
    GarbageChain garbage(records);
    for (int k = 0; k < 30; ++k) {
      MathVector q = joints(angle(rng), angle(rng), angle(rng), angle(rng), angle(rng), angle(rng));
      // Families at the thresholds: a quantity of exactly +-1e-6, one just below, exactly 0,
      // not a number, and the all-zero position.
      const int family = k % 10;
      if (family == 1) q(2) = (k % 4 == 1 ? 1 : -1) * exact;
      if (family == 2) q(4) = (k % 4 == 2 ? 1 : -1) * exact;
      if (family == 3) q(2 + 2 * (k % 2)) = 9.9e-7;
      if (family == 4) q(2) = M_PI;
      if (family == 5) q(1 + k % 4) = nan;
      if (family == 6) q = MathVector(6);
      if (arm == 0) q = joints(0, -0.164, 1.313, 2.273, 1.0, 0);  // 1e-6 + 2.9e-17 as summed
      double t = records[2].a * std::sin(q(1));
      t = t + std::sin(q(2) + q(1)) * records[3].a;
      const double shoulder = std::sin(q(3) + ((-q(1)) - q(2))) * records[4].d + t;
      const double quantities[3] = {shoulder, std::sin(q(2)), std::sin(q(4))};
      Int32 expectedMode = 0, expectedCode = 0;
      for (int b = 0; b < 3; ++b) {
        if (!(quantities[b] > 0)) expectedMode |= 4 >> b;
        if (expectedCode == 0 && std::abs(quantities[b]) < 1e-6) expectedCode = b + 2;
      }
      Int32 mode = -1, checkedMode = -1;
      ASSERT_EQ(garbage.chain->getMode_6dof(q, mode, false), 0);
      EXPECT_EQ(mode, expectedMode) << arm << " " << k;
      EXPECT_EQ(garbage.chain->getMode_6dof(q, checkedMode, true), expectedCode) << arm << " " << k;
      EXPECT_EQ(checkedMode, expectedCode == 0 ? expectedMode : 0);
    }
  }
  std::vector<MDH> records(6);
  records[2].a = 0.4, records[3].a = 0.3;
  Chain_MDH4 chain(6, &records);
  Int32 mode = -1;
  EXPECT_EQ(chain.getMode_6dof(joints(0, h, -h, 0, -h, 0), mode, true), 0);
  EXPECT_EQ(mode, 3);
}

}  // namespace
