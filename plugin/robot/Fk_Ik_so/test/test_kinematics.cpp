// The chain, its configuration mode and the forward kinematics against KDL and differences.
#include <cstring>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainjnttojacsolver.hpp>
#include <kdl/jntarray.hpp>
#include <new>

#include "fk_solver_pos_tarvin2_6dof.h"
#include "test_support.h"

using namespace test_support;

namespace {

// Built in memory filled with garbage, so that nothing passes by fresh zeros.
struct GarbageChain {
  explicit GarbageChain(const std::vector<MDH>& records)
      : chain(new (std::memset(storage, 0xAB, sizeof storage)) Chain_MDH4(6, &records)) {}
  ~GarbageChain() { chain->~Chain_MDH4(); }
  alignas(Chain_MDH4) unsigned char storage[sizeof(Chain_MDH4)];
  Chain_MDH4* chain;
};

bool sameBits(const KDL::Frame& a, const KDL::Frame& b) {
  return std::memcmp(&a, &b, sizeof(KDL::Frame)) == 0;  // twelve doubles, no padding
}

KDL::Vector column(const Matrix<double>& m, UInt32 j, UInt32 firstRow) {
  return KDL::Vector(m(firstRow, j), m(firstRow + 1, j), m(firstRow + 2, j));
}

// Random arms (half with a twist changed after construction), joints, tools, velocities: frames
// are DH_Craig1989 products bit for bit, the Jacobian KDL's at the TCP and central differences;
// dJ's angular rows by central differences, linear rows from r_k, r_n unrotated as required.
TEST(ForwardKinematics, FramesAndJacobiansAgreeWithKdlAndCentralDifferences) {
  std::mt19937_64 rng(20261121);
  const MDH zero;
  const double h = 1e-6;
  double worst = 0, worstKdl = 0, worstLinear = 0, worstAngularDot = 0, worstLinearDot = 0;
  KDL::Frame flange, segments[Max_Chain_Dof], partial, oracle, frames[6], plusFrame, minusFrame;
  for (int arm = 0; arm < caseCount(300); ++arm) {
    std::vector<MDH> records = randomArm(rng);
    GarbageChain garbage(records);
    Chain_MDH4& chain = *garbage.chain;
    ASSERT_EQ(chain._dof, 6u);
    for (int i = 0; i < 7; ++i)
      ASSERT_EQ(std::memcmp(&chain._mdhParam[i], i < 6 ? &records[i] : &zero, sizeof(MDH)), 0) << i;
    if (arm % 2 == 1) chain._mdhParam[arm % 6].alpha += 0.25, records[arm % 6].alpha += 0.25;
    FkSolverPos_Tarvin2_6Dof solver(&chain);
    const KDL::Chain kdl = kdlChain(records);
    KDL::ChainFkSolverPos_recursive kdlFk(kdl);
    KDL::ChainJntToJacSolver kdlJacobian(kdl);
    KDL::JntArray kq(6);
    for (int k = 0; k < 10; ++k) {
      const MathVector q = randomVector(rng, 4 * M_PI);
      for (unsigned i = 0; i < 6; ++i) kq(i) = q(i);
      KDL::Frame expected = KDL::Frame::Identity();
      solver.jntPosToFlangePos(q, flange), solver.jntPosToFlangePos(q, segments);
      for (Int32 i = 0; i < 6; ++i) {
        solver.jntPosToFlangePos(q, i, partial);
        ASSERT_TRUE(sameBits(partial, expected)) << "arm " << arm << ", segment id " << i;
        const MDH& r = chain._mdhParam[i];
        const KDL::Frame segment = KDL::Frame::DH_Craig1989(r.a, r.alpha, r.d, r.theta + q(i));
        ASSERT_TRUE(sameBits(segments[i], i == 0 ? segment : segments[i - 1] * segment)) << i;
        expected = expected * segment;
      }
      solver.jntPosToFlangePos(q, 6, partial);
      ASSERT_TRUE(sameBits(flange, expected) && sameBits(partial, expected)) << "arm " << arm;
      KDL::Jacobian kj(6);
      ASSERT_EQ(kdlFk.JntToCart(kq, oracle) + kdlJacobian.JntToJac(kq, kj), 0);
      worst = std::max(worst, host_support::distance(flange, oracle));
      const MathVector qDot = k % 5 > 1 ? randomVector(rng, 2) : joints(0, 0, 0, 0, 0, k % 5 == 0);
      const Tool tool = randomTool(rng);
      const KDL::Frame toolFrame = test_support::toolFrame(tool);
      MathJacobian j(6, 6), jFromDot(6, 6), jDot(6, 6), jPlus(6, 6), jMinus(6, 6);
      jFromDot.addToAll(7.0), jDot.addToAll(7.0);
      solver.jntPosToJacobians(q, tool, j);
      solver.jntPosToJacobiansDot(q, qDot, tool, jFromDot, jDot);
      ASSERT_EQ(std::memcmp(static_cast<double*>(j), static_cast<double*>(jFromDot), 288), 0);
      kj.changeRefPoint(oracle.M * toolFrame.p);
      for (unsigned e = 0; e < 36; ++e)
        worstKdl = std::max(worstKdl, std::abs(j(e / 6, e % 6) - kj(e / 6, e % 6)));
      MathVector plus = q, minus = q;
      KDL::Vector w[6], z[6], r[6];
      for (UInt32 i = 0; i < 6; ++i) {  // central differences of the TCP; joint frames from KDL
        plus(i) += h, minus(i) -= h;
        solver.jntPosToFlangePos(plus, plusFrame), solver.jntPosToFlangePos(minus, minusFrame);
        const KDL::Vector linear = (plusFrame * toolFrame.p - minusFrame * toolFrame.p) / (2 * h);
        worstLinear = std::max(worstLinear, (linear - column(j, i, 0)).Norm());
        plus(i) = minus(i) = q(i);
        ASSERT_EQ(kdlFk.JntToCart(kq, frames[i], 2 * i + 2), 0);
        z[i] = frames[i].M.UnitZ();
        r[i] = frames[i].Inverse(oracle * toolFrame.p);
        w[i] = (i == 0 ? KDL::Vector::Zero() : w[i - 1]) + qDot(i) * z[i];
      }
      for (UInt32 i = 0; i < 6; ++i) plus(i) += h * qDot(i), minus(i) -= h * qDot(i);
      solver.jntPosToJacobians(plus, tool, jPlus), solver.jntPosToJacobians(minus, tool, jMinus);
      for (UInt32 i = 0; i < 6; ++i) {
        const KDL::Vector zDot = (column(jPlus, i, 3) - column(jMinus, i, 3)) / (2 * h);
        worstAngularDot = std::max(worstAngularDot, (zDot - column(jDot, i, 3)).Norm());
        const KDL::Vector a = (w[i] * z[i]) * r[i] + z[i] * (w[5] * r[5] - w[i] * r[i]);
        worstLinearDot = std::max(worstLinearDot, (a - column(jDot, i, 0)).Norm());
      }
    }
  }
  EXPECT_TRUE(worst < 1e-12 && worstKdl < 1e-12 && worstLinear < 1e-8 && worstAngularDot < 1e-8 &&
              worstLinearDot < 1e-12)
      << worst << " " << worstKdl << " " << worstLinear << " " << worstAngularDot << " "
      << worstLinearDot;
  std::vector<MDH> zeros(6);  // all parameters zero: every joint turns about the base's z axis
  Chain_MDH4 flat(6, &zeros);
  FkSolverPos_Tarvin2_6Dof(&flat).jntPosToFlangePos(joints(0.1, -0.4, 0.3, 0.2, 0.5, -0.6), flange);
  EXPECT_LT(host_support::distance(flange, KDL::Frame(KDL::Rotation::RotZ(0.1))), 1e-15);
}

// The mode bits follow the signs of the three quantities, summed in the library's order (q3 and d4
// in the shoulder's; joints 0, 5 nothing); check reports the first below 1e-6 (NaN passes), mode 0.
TEST(ConfigurationMode, FollowsTheThreeQuantities) {
  std::mt19937_64 rng(12);
  const double exact = 1.0000000000001666e-06, h = M_PI / 2;  // sin(exact) is exactly 1e-6
  for (int arm = 0; arm < caseCount(200); ++arm) {
    std::vector<MDH> records = randomArm(rng);
    if (arm == 0) records[2].a = 0.225, records[3].a = 0.892, records[4].d = -0.8616698311333904;
    if (arm == 1) records.assign(6, MDH()), records[2].a = 0.4, records[3].a = 0.3;
    GarbageChain garbage(records);
    for (int k = 0; k < 30; ++k) {
      // Families at the thresholds: exactly +-1e-6, just below, exactly 0, NaN, all zero.
      MathVector q = randomVector(rng, 2 * M_PI);
      if (k % 10 == 1) q(2) = (k % 4 == 1 ? 1 : -1) * exact;
      if (k % 10 == 2) q(4) = (k % 4 == 2 ? 1 : -1) * exact;
      if (k % 10 == 3) q(2 + 2 * (k % 2)) = 9.9e-7;
      if (k % 10 == 4) q(2) = M_PI;
      if (k % 10 == 5) q(1 + k % 4) = std::nan("");
      if (k % 10 == 6) q = MathVector(6);
      if (arm == 0) q = joints(0, -0.164, 1.313, 2.273, 1.0, 0);  // 1e-6 + 2.9e-17 as summed
      if (arm == 1 && k == 0) q = joints(0, h, -h, 0, -h, 0);     // mode 3 by hand
      const double shoulder =
          std::sin(q(3) + ((-q(1)) - q(2))) * records[4].d +
          (records[2].a * std::sin(q(1)) + std::sin(q(2) + q(1)) * records[3].a);
      const double quantities[3] = {shoulder, std::sin(q(2)), std::sin(q(4))};
      Int32 expectedMode = 0, expectedCode = 0, mode = -1, checkedMode = -1;
      for (int b = 0; b < 3; ++b) {
        if (!(quantities[b] > 0)) expectedMode |= 4 >> b;
        if (expectedCode == 0 && std::abs(quantities[b]) < 1e-6) expectedCode = b + 2;
      }
      ASSERT_EQ(garbage.chain->getMode_6dof(q, mode, false), 0);
      EXPECT_EQ(mode, expectedMode) << arm << " " << k;
      EXPECT_EQ(garbage.chain->getMode_6dof(q, checkedMode, true), expectedCode) << arm << " " << k;
      EXPECT_EQ(checkedMode, expectedCode == 0 ? expectedMode : 0);
      EXPECT_TRUE(arm != 1 || k != 0 || (mode == 3 && checkedMode == 3));
    }
  }
}

}  // namespace
