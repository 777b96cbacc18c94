// Forward kinematics of the chain against KDL's own recursive chain solver.
#include <cstring>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/jntarray.hpp>

#include "fk_solver_pos_tarvin2_6dof.h"
#include "test_support.h"

using test_support::assertionReport;
using test_support::frameDistance;

namespace {

const char* const kWholeChain =
    "Void FkSolverPos::jntPosToFlangePos(const MathVector&, KDL::Frame&)";
const char* const kOneSegment =
    "Void FkSolverPos::jntPosToFlangePos(const MathVector&, const Int32&, KDL::Frame&)";
const char* const kAllSegments =
    "Void FkSolverPos::jntPosToFlangePos(const MathVector&, KDL::Frame*)";
const char* const kSizeCondition = "_chainMDH4->_dof == jntPos.size()";

// Random arms and joint positions, joints beyond +-pi included: every overload agrees
// with KDL::ChainFkSolverPos_recursive on the same arm built as a KDL::Chain.
TEST(FkSolverPos, AgreesWithKdlOnRandomArms) {
  std::mt19937_64 rng(20261121);
  const int arms = test_support::caseCount(500);
  const int positionsPerArm = 10;
  double worst = 0.0;
  for (int arm = 0; arm < arms; ++arm) {
    const std::vector<MDH> records = test_support::randomArm(rng);
    Chain_MDH4 chain(6, &records);
    FkSolverPos_Tarvin2_6Dof solver(&chain);
    const KDL::Chain kdl = test_support::kdlChain(records);
    const KDL::Chain kdlSplit = test_support::kdlChainSplit(records);
    KDL::ChainFkSolverPos_recursive kdlSolver(kdl), kdlSplitSolver(kdlSplit);

    for (int k = 0; k < positionsPerArm; ++k) {
      const MathVector q = test_support::randomVector(rng, 2 * M_PI);
      KDL::JntArray kq(6);
      for (unsigned i = 0; i < 6; ++i) kq(i) = q(i);

      KDL::Frame flange, segments[Max_Chain_Dof], expected;
      solver.jntPosToFlangePos(q, flange);
      solver.jntPosToFlangePos(q, segments);
      ASSERT_EQ(kdlSolver.JntToCart(kq, expected), 0);
      worst = std::max(worst, frameDistance(flange, expected));
      worst = std::max(worst, frameDistance(segments[5], expected));

      for (Int32 id = 0; id <= 6; ++id) {
        KDL::Frame partial, kdlPartial;
        solver.jntPosToFlangePos(q, id, partial);
        ASSERT_EQ(kdlSplitSolver.JntToCart(kq, kdlPartial, 2 * id), 0);
        worst = std::max(worst, frameDistance(partial, kdlPartial));
        if (id > 0) worst = std::max(worst, frameDistance(segments[id - 1], kdlPartial));
      }
    }
  }
  EXPECT_LT(worst, 1e-12);
}

// True when the two frames hold the same bits, element by element.
bool sameBits(const KDL::Frame& a, const KDL::Frame& b) {
  return std::memcmp(a.p.data, b.p.data, sizeof(a.p.data)) == 0 &&
         std::memcmp(a.M.data, b.M.data, sizeof(a.M.data)) == 0;
}

// The solver builds each segment's frame from the chain's stored twist sine and cosine
// and multiplies frames inline: the frames are still exactly those of KDL's
// DH_Craig1989 and KDL's frame product, bit for bit, also for a twist changed in the
// chain after it was built (read afresh, not from the stored values).
TEST(FkSolverPos, FramesAreBitForBitKdlDhCraigProducts) {
  std::mt19937_64 rng(1989);
  for (int arm = 0; arm < test_support::caseCount(200); ++arm) {
    const std::vector<MDH> records = test_support::randomArm(rng);
    Chain_MDH4 chain(6, &records);
    if (arm % 2 == 1) chain._mdhParam[arm % 6].alpha += 0.25;
    FkSolverPos_Tarvin2_6Dof solver(&chain);
    for (int k = 0; k < 10; ++k) {
      const MathVector q = test_support::randomVector(rng, 4 * M_PI);
      KDL::Frame flange, segments[Max_Chain_Dof];
      solver.jntPosToFlangePos(q, flange);
      solver.jntPosToFlangePos(q, segments);
      KDL::Frame expected = KDL::Frame::Identity();
      for (UInt32 i = 0; i < 6; ++i) {
        const MDH& r = chain._mdhParam[i];
        const KDL::Frame segment = KDL::Frame::DH_Craig1989(r.a, r.alpha, r.d, r.theta + q(i));
        ASSERT_TRUE(sameBits(segments[i], i == 0 ? segment : segments[i - 1] * segment))
            << "arm " << arm << ", segment " << i;
        expected = expected * segment;
      }
      ASSERT_TRUE(sameBits(flange, expected)) << "arm " << arm;
    }
  }
}

TEST(FkSolverPos, ThetaOffsetAndJointPositionAdd) {
  std::vector<MDH> records(6);
  records[2].theta = 0.5;
  Chain_MDH4 chain(6, &records);
  FkSolverPos_Tarvin2_6Dof solver(&chain);
  MathVector q(6);
  q(2) = 0.25;
  KDL::Frame flange;
  solver.jntPosToFlangePos(q, flange);
  EXPECT_LT(frameDistance(flange, KDL::Frame(KDL::Rotation::RotZ(0.75))), 1e-15);
}

// With every parameter zero each joint turns the flange about the common z axis, so
// the flange turns by the sum of the joint positions; at zero joints it is the identity.
TEST(FkSolverPos, AllZeroArmTurnsAboutZByTheJointSum) {
  std::vector<MDH> records(6);
  Chain_MDH4 chain(6, &records);
  FkSolverPos_Tarvin2_6Dof solver(&chain);
  MathVector q(6);
  KDL::Frame flange, segments[Max_Chain_Dof];
  solver.jntPosToFlangePos(q, flange);
  EXPECT_EQ(frameDistance(flange, KDL::Frame::Identity()), 0.0);
  solver.jntPosToFlangePos(q, segments);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(frameDistance(segments[i], KDL::Frame::Identity()), 0.0);

  const double values[6] = {0.1, -0.4, 0.3, 0.2, 0.5, -0.6};
  q = values;
  solver.jntPosToFlangePos(q, flange);
  EXPECT_LT(frameDistance(flange, KDL::Frame(KDL::Rotation::RotZ(0.1))), 1e-15);
}

TEST(FkSolverPos, SegmentIdsAboveTheChainPassTheIdTest) {
  std::mt19937_64 rng(3);
  const std::vector<MDH> records = test_support::randomArm(rng);
  Chain_MDH4 chain(6, &records);
  FkSolverPos_Tarvin2_6Dof solver(&chain);
  const MathVector q = test_support::randomVector(rng, M_PI);
  KDL::Frame whole, six, first, segments[Max_Chain_Dof];
  solver.jntPosToFlangePos(q, whole);
  solver.jntPosToFlangePos(q, 6, six);
  solver.jntPosToFlangePos(q, segments);
  solver.jntPosToFlangePos(q, 1, first);
  EXPECT_EQ(frameDistance(whole, six), 0.0);
  EXPECT_EQ(frameDistance(first, KDL::Frame::DH_Craig1989(records[0].a, records[0].alpha,
                                                          records[0].d, records[0].theta + q(0))),
            0.0);
  EXPECT_EQ(frameDistance(segments[0], first), 0.0);
  // Id 7 passes the id test, reaches the seventh (zero) record and stops at the joint
  // vector's own index assertion; so does any larger id.
  for (Int32 id : {7, 8, 1000}) {
    EXPECT_DEATH(
        {
          KDL::Frame f;
          solver.jntPosToFlangePos(q, id, f);
        },
        assertionReport("T Vector<T>::operator()(const UInt32&) const [with T = double; UInt32 = "
                        "unsigned int]",
                        "id < _n"));
  }
}

TEST(FkSolverPosAssertions, ReportsNameTheOverloadAndCondition) {
  std::vector<MDH> records(6);
  Chain_MDH4 chain(6, &records);
  FkSolverPos_Tarvin2_6Dof solver(&chain);
  MathVector five(5), six(6);
  KDL::Frame out, frames[Max_Chain_Dof];
  EXPECT_DEATH(solver.jntPosToFlangePos(five, out), assertionReport(kWholeChain, kSizeCondition));
  EXPECT_DEATH(solver.jntPosToFlangePos(five, 2, out),
               assertionReport(kOneSegment, kSizeCondition));
  EXPECT_DEATH(solver.jntPosToFlangePos(five, frames),
               assertionReport(kAllSegments, kSizeCondition));
  for (Int32 id : {-1, -1000}) {
    EXPECT_DEATH(solver.jntPosToFlangePos(six, id, out),
                 assertionReport(kOneSegment, "segmenId >= 0 || segmenId < _chainMDH4->_dof"));
  }
}

TEST(FkSolverPosAssertions, SixAxisSolverNeedsSixJoints) {
  std::vector<MDH> records(6);
  Chain_MDH4 chain(6, &records);
  chain._dof = 5;
  EXPECT_DEATH(FkSolverPos_Tarvin2_6Dof{&chain},
               assertionReport("FkSolverPos_Tarvin2_6Dof::FkSolverPos_Tarvin2_6Dof(Chain_MDH4*)",
                               "chainMDH4->_dof == 6"));
}

}  // namespace
