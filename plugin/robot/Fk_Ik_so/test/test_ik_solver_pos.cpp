// The inverse solver's round trips and boundaries (also ASan's way into its stack arrays).
#include "fk_solver_pos_tarvin2_6dof.h"
#include "ik_solver_pos_tarvin2_6dof.h"
#include "test_support.h"

using test_support::joints;

namespace {

const double kLimit = 0.017453292519943295;  // 1 degree: the elbow and wrist limit

struct Arm {
  explicit Arm(const std::vector<MDH>& r)
      : records(r), chain(6, &records), fk(&chain), ik(&chain) {}

  KDL::Frame flange(const MathVector& q) { return fk.jntPosToFlangePos(q, frame), frame; }
  // L of the offset cylinder: wrist centre's squared distance from axis 0 less the offset's.
  double cylinderL(const MathVector& q) {
    KDL::Frame frames[Max_Chain_Dof];
    fk.jntPosToFlangePos(q, frames);
    const double e = records[1].d + records[2].d - records[3].d;
    return frames[4].p.x() * frames[4].p.x() + frames[4].p.y() * frames[4].p.y() - e * e;
  }
  // Through the base class into three sentinels: six elements back, sentinels on failure.
  Int32 solve(const KDL::Frame& pose, const MathVector& ref, Int32 m, MathVector* into = nullptr) {
    MathVector out(6);
    out.fill(-77);
    out.resize(3);
    const Int32 code = static_cast<IkSolverPos&>(ik).flangePosToJntPos(pose, ref, out, m, 0);
    EXPECT_EQ(out.size(), 6u);
    for (UInt32 j = 0; code != 0 && j < 6; ++j) EXPECT_EQ(out(j), -77.0);
    if (into != nullptr) *into = out;
    return code;
  }
  std::vector<MDH> records;
  Chain_MDH4 chain;
  FkSolverPos_Tarvin2_6Dof fk;
  IkSolverPos_Tarvin2_6Dof ik;
  KDL::Frame frame;
};

// The theta offset puts the straight wrist at q4 = -pi/2, clear of the mode's 0 and pi: the
// inverse reaches the pose to 1e-7 (an angle from its cosine) in the reference's mode.
TEST(InverseSolver, StraightWristsAwayFromTheModeSingularity) {
  std::mt19937_64 rng(20261122);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI);
  int solved = 0, failed = 0;
  for (int a = 0; a < test_support::caseCount(200); ++a) {
    std::vector<MDH> records = test_support::randomSixAxisArm(rng);
    records[4].theta = M_PI / 2;
    Arm arm(records);
    for (int k = 0; k < 5; ++k) {
      const MathVector q =
          joints(angle(rng), angle(rng), angle(rng), angle(rng), -M_PI / 2, angle(rng));
      MathVector answer;
      const Int32 code = arm.solve(arm.flange(q), q, -1, &answer);
      ++(code == 0 ? solved : failed);
      Int32 m = -1, refMode = -1;
      EXPECT_TRUE(code != 0 || (arm.chain.getMode_6dof(answer, m, false) == 0 &&
                                arm.chain.getMode_6dof(q, refMode, false) == 0 && m == refMode));
      EXPECT_TRUE(code != 0 || host_support::distance(arm.flange(answer), arm.flange(q)) < 1e-7);
    }
  }
  EXPECT_GT(solved, failed * 3) << failed;
}

// d[5] = 0 puts the wrist centre at the flange, an offset e = d[1] makes the cylinder |e|.
TEST(InverseSolver, CylinderShoulderLimitAndSingularCandidates) {
  std::vector<MDH> records = test_support::makeRecords(host_support::SampleArm);
  records[3].d = records[5].d = 0, records[1].d = 1.25;
  Arm offset(records);
  const MathVector q = joints(0.3, -0.7, 1.1, 0.4, -1.2, 0.8);
  const KDL::Rotation rotation = offset.flange(q).M;
  // L = 0.75^2 + 1^2 - 1.25^2 is exactly 0: on the cylinder; just outside it 0 < L < 1e-4.
  EXPECT_EQ(offset.solve(KDL::Frame(rotation, KDL::Vector(-0.75, 1.0, 0.3)), q, -1), 6);
  EXPECT_EQ(offset.solve(KDL::Frame(rotation, KDL::Vector(0, 0, 0.3)), q, 3), 6);
  EXPECT_EQ(offset.solve(KDL::Frame(rotation, KDL::Vector(-0.75, 1.00001, 0.3)), q, -1), 2);
  records[1].d = 0;  // no offset: L is the squared distance from the axis, 1e-4 passes
  Arm axis(records);
  const KDL::Frame reachable = axis.flange(joints(0.0, -0.3, 1.2, 0.5, 0.8, 0.2));
  MathVector answer;
  const KDL::Frame atLimit(reachable.M, KDL::Vector(-0.01, 0, reachable.p.z()));
  ASSERT_EQ(axis.solve(atLimit, q, 0, &answer), 0);
  EXPECT_LT(host_support::distance(axis.flange(answer), atLimit), 1e-9);
  const KDL::Vector inside(std::nextafter(-0.01, 0.0), 0, reachable.p.z());
  EXPECT_EQ(axis.solve(KDL::Frame(reachable.M, inside), q, 0), 2);
  // One singular candidate ends the call in any mode; theta offsets keep the pose itself clear.
  const double q3 = 0.2 + std::asin(-0.3922 * std::sin(0.2) / 0.0997);  // shoulder quantity 0
  const MathVector singular[] = {joints(0.3, 0.0, 0.2, q3, 1.0, 0.8),   // codes 2, 3, 4
                                 joints(0.3, -0.7, 0.0, 0.4, -1.2, 0.8),
                                 joints(0.3, -0.7, 1.1, 0.4, 0.0, 0.8)};
  for (int c = 0; c < 3; ++c) {
    std::vector<MDH> r = test_support::makeRecords(host_support::SampleArm);
    r[c == 2 ? 4 : c + 1].theta = 0.6;
    Arm arm(r);
    ASSERT_GT(arm.cylinderL(singular[c]), 1e-2);
    for (Int32 m = -1; m < 8; ++m) EXPECT_EQ(arm.solve(arm.flange(singular[c]), q, m), c + 2);
    EXPECT_EQ(arm.solve(arm.flange(q), singular[c], -1), c + 2);  // a singular reference
  }
}

// Turn counts change at odd multiples of pi: the turn of the reference's q4 decides whether
// the 1 degree wrist test sees the aligned q4 at -pi or pi, or a turn further on.
TEST(InverseSolver, TurnCountsChangeAtOddMultiplesOfPi) {
  Arm arm(test_support::makeRecords(host_support::SampleArm));
  for (const double side : {1.0, -1.0}) {  // q4 half a degree inside pi, or inside -pi
    const MathVector q = joints(0.3, -0.7, 1.1, 0.4, side * (M_PI - kLimit / 2), 0.8);
    Int32 mode = -1;
    ASSERT_EQ(arm.chain.getMode_6dof(q, mode, true), 0);
    MathVector ref = q;
    for (const double apart : {-1e-7, 1e-7}) {  // turn -1 or 1, then -2 or 2
      ref(4) = -side * (3 * M_PI + apart);
      EXPECT_EQ(arm.solve(arm.flange(q), ref, mode), apart < 0 ? 4 : 0) << side << " " << apart;
    }
  }
}

}  // namespace
