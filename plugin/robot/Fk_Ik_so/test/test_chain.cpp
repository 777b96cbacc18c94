// MDH records and the chain that copies them.
#include "chain_mdh4.h"
#include "test_support.h"

using test_support::assertionReport;
using test_support::joints;

namespace {

const char* const kChainConstructor = "Chain_MDH4::Chain_MDH4(UInt32, const std::vector<MDH>*)";
const char* const kChainCondition = "dof == 6 && pMDH4Param->size() == 6";

void expectZero(const MDH& r) {
  EXPECT_EQ(r.a, 0.0);
  EXPECT_EQ(r.alpha, 0.0);
  EXPECT_EQ(r.d, 0.0);
  EXPECT_EQ(r.theta, 0.0);
}

TEST(Chain, DefaultRecordIsZero) {
  expectZero(MDH());
}

TEST(Chain, CopiesSixRecordsAndKeepsTheSeventhZero) {
  std::mt19937_64 rng(7);
  std::vector<MDH> records = test_support::randomArm(rng);
  Chain_MDH4 chain(6, &records);
  const std::vector<MDH> original = records;
  for (MDH& r : records) r.a = r.alpha = r.d = r.theta = 99.0;  // the chain holds copies

  EXPECT_EQ(chain._dof, 6u);
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(chain._mdhParam[i].a, original[i].a);
    EXPECT_EQ(chain._mdhParam[i].alpha, original[i].alpha);
    EXPECT_EQ(chain._mdhParam[i].d, original[i].d);
    EXPECT_EQ(chain._mdhParam[i].theta, original[i].theta);
  }
  expectZero(chain._mdhParam[6]);
}

TEST(Chain, AllZeroRecords) {
  std::vector<MDH> records(6);
  Chain_MDH4 chain(6, &records);
  EXPECT_EQ(chain._dof, 6u);
  for (const MDH& r : chain._mdhParam) expectZero(r);
}

TEST(ChainAssertions, RequiresExactlySixJointsAndRecords) {
  const std::string report = assertionReport(kChainConstructor, kChainCondition);
  std::vector<MDH> five(5), six(6), seven(7);
  EXPECT_DEATH(Chain_MDH4(6, &five), report);
  EXPECT_DEATH(Chain_MDH4(6, &seven), report);
  EXPECT_DEATH(Chain_MDH4(7, &seven), report);
  EXPECT_DEATH(Chain_MDH4(5, &six), report);
}

// Configuration mode of a joint position.

const char* const kGetMode = "Int32 Chain_MDH4::getMode_6dof(const MathVector&, Int32&, Bool)";

// A chain whose shoulder quantity is a2 sin(q1) + a3 sin(q1 + q2) + d4 sin(q3 - q1 - q2).
Chain_MDH4 shoulderChain(double a2, double a3, double d4) {
  std::vector<MDH> records(6);
  records[2].a = a2;
  records[3].a = a3;
  records[4].d = d4;
  return Chain_MDH4(6, &records);
}

struct ModeResult {
  Int32 code;
  Int32 mode;
};

ModeResult modeOf(Chain_MDH4& chain, const MathVector& q, bool check) {
  ModeResult r{-1, -1};
  r.code = chain.getMode_6dof(q, r.mode, check);
  return r;
}

TEST(ChainMode, AllJointsAtZeroAreShoulderSingularFirst) {
  std::mt19937_64 rng(11);
  std::vector<MDH> records = test_support::randomArm(rng);
  Chain_MDH4 chain(6, &records);
  const MathVector zero(6);
  const ModeResult checked = modeOf(chain, zero, true), unchecked = modeOf(chain, zero, false);
  EXPECT_EQ(checked.code, 2);
  EXPECT_EQ(checked.mode, 0);
  EXPECT_EQ(unchecked.code, 0);
  EXPECT_EQ(unchecked.mode, 7);  // a quantity of exactly 0 sets its bit
}

TEST(ChainMode, BitsFollowTheSignsOfTheThreeQuantities) {
  Chain_MDH4 chain = shoulderChain(0.4, 0.3, 0.0);
  const double h = M_PI / 2;
  // shoulder = 0.4 + 0.3 sin(pi) > 0, elbow = wrist = 1.
  EXPECT_EQ(modeOf(chain, joints(0, h, h, 0, h, 0), true).mode, 0);
  EXPECT_EQ(modeOf(chain, joints(0, h, -h, 0, -h, 0), true).mode, 3);
  EXPECT_EQ(modeOf(chain, joints(0, -h, h, 0, h, 0), true).mode, 4);
  EXPECT_EQ(modeOf(chain, joints(0, -h, -h, 0, -h, 0), true).mode, 7);
  // Joints 0 and 5 play no part.
  EXPECT_EQ(modeOf(chain, joints(2.5, h, -h, 0, h, -1.0), true).mode, 2);
}

// Over random arms and joints the bits agree with the three quantities written out
// directly; q3 and the d of record 4 enter the shoulder quantity, joints 0 and 5 nothing.
TEST(ChainMode, AgreesWithTheQuantitiesOnRandomArms) {
  std::mt19937_64 rng(12);
  std::uniform_real_distribution<double> angle(-2 * M_PI, 2 * M_PI);
  const int arms = test_support::caseCount(200);
  for (int arm = 0; arm < arms; ++arm) {
    std::vector<MDH> records = test_support::randomArm(rng);
    Chain_MDH4 chain(6, &records);
    for (int k = 0; k < 20; ++k) {
      const MathVector q =
          joints(angle(rng), angle(rng), angle(rng), angle(rng), angle(rng), angle(rng));
      const double shoulder = records[2].a * std::sin(q(1)) + records[3].a * std::sin(q(1) + q(2)) +
                              records[4].d * std::sin(q(3) - q(1) - q(2));
      const double quantities[3] = {shoulder, std::sin(q(2)), std::sin(q(4))};
      const int bits[3] = {4, 2, 1};
      const ModeResult checked = modeOf(chain, q, true), unchecked = modeOf(chain, q, false);
      ASSERT_EQ(unchecked.code, 0);
      int firstSingular = 0;
      for (int b = 2; b >= 0; --b) {
        if (std::abs(quantities[b]) < 1e-6) firstSingular = b + 2;
        // Near zero the rounding of either formula may decide the bit.
        if (std::abs(quantities[b]) > 1e-9) {
          EXPECT_EQ((unchecked.mode & bits[b]) != 0, quantities[b] < 0);
        }
      }
      EXPECT_EQ(checked.code, firstSingular);
      EXPECT_EQ(checked.mode, checked.code == 0 ? unchecked.mode : 0);

      MathVector moved = q;
      moved(0) += 1.0;
      moved(5) -= 2.0;
      EXPECT_EQ(modeOf(chain, moved, false).mode, unchecked.mode);
    }
  }
}

// Singular means a magnitude strictly below 1e-6: exactly 1e-6 (either sign) is not.
TEST(ChainMode, SingularThresholdIsStrict) {
  const double h = M_PI / 2;
  const double exact = 1.0000000000001666e-06;  // the angle whose sine is exactly 1e-6
  ASSERT_EQ(std::sin(exact), 1e-6);
  ASSERT_EQ(std::sin(h), 1.0);

  // Shoulder: a2 sin(pi/2) alone.
  Chain_MDH4 exactShoulder = shoulderChain(1e-6, 0, 0),
             negativeShoulder = shoulderChain(-1e-6, 0, 0),
             smallShoulder = shoulderChain(9.9e-7, 0, 0);
  const MathVector bent = joints(0, h, h, 0, h, 0);
  EXPECT_EQ(modeOf(exactShoulder, bent, true).code, 0);
  const ModeResult negative = modeOf(negativeShoulder, bent, true);
  EXPECT_EQ(negative.code, 0);
  EXPECT_EQ(negative.mode, 4);
  EXPECT_EQ(modeOf(smallShoulder, bent, true).code, 2);

  Chain_MDH4 chain = shoulderChain(0.5, 0.3, 0);  // shoulder quantity clear of 0 below
  EXPECT_EQ(modeOf(chain, joints(0, h, exact, 0, h, 0), true).code, 0);
  const ModeResult elbowNegative = modeOf(chain, joints(0, h, -exact, 0, h, 0), true);
  EXPECT_EQ(elbowNegative.code, 0);
  EXPECT_EQ(elbowNegative.mode, 2);
  EXPECT_EQ(modeOf(chain, joints(0, h, 9.9e-7, 0, h, 0), true).code, 3);
  EXPECT_EQ(modeOf(chain, joints(0, h, M_PI, 0, h, 0), true).code, 3);  // sin(pi) ~ 1.2e-16
  EXPECT_EQ(modeOf(chain, joints(0, h, h, 0, exact, 0), true).code, 0);
  const ModeResult wristNegative = modeOf(chain, joints(0, h, h, 0, -exact, 0), true);
  EXPECT_EQ(wristNegative.code, 0);
  EXPECT_EQ(wristNegative.mode, 1);
  EXPECT_EQ(modeOf(chain, joints(0, h, h, 0, -9.9e-7, 0), true).code, 4);
}

TEST(ChainMode, SingularTestsRunShoulderElbowWrist) {
  Chain_MDH4 chain = shoulderChain(0.5, 0.5, 0.2);
  EXPECT_EQ(modeOf(chain, joints(0, 1.0, 0, 1.0, 0, 0), true).code, 3);
  EXPECT_EQ(modeOf(chain, joints(0, 1.0, 0.5, 1.5, 0, 0), true).code, 4);
}

// The shoulder quantity is summed as (a2 sin q1 + sin(q2 + q1) a3) + sin(q3 + (-q1 - q2)) d4.
// For these values that sum is 1.0000000000287557e-06, not singular, while the same terms
// in the order a2 sin q1 + a3 sin(q1 + q2) + d4 sin(q3 - q1 - q2) give 9.999999999177334e-07.
TEST(ChainMode, ShoulderQuantityIsSummedInItsOwnOrder) {
  const double a2 = 0.225, a3 = 0.892, d4 = -0.8616698311333904;
  const double q1 = -0.164, q2 = 1.313, q3 = 2.273;
  const double otherOrder =
      a2 * std::sin(q1) + a3 * std::sin(q1 + q2) + d4 * std::sin(q3 - q1 - q2);
  ASSERT_LT(otherOrder, 1e-6);
  Chain_MDH4 chain = shoulderChain(a2, a3, d4);
  const ModeResult r = modeOf(chain, joints(0, q1, q2, q3, 1.0, 0), true);
  EXPECT_EQ(r.code, 0);
  EXPECT_EQ(r.mode, 0);
}

TEST(ChainMode, NotANumberPassesTheTestsAndSetsItsBits) {
  Chain_MDH4 chain = shoulderChain(0.5, 0.5, 0.2);
  const double nan = std::nan("");
  const ModeResult elbow = modeOf(chain, joints(0, 1.0, nan, 1.0, 1.0, 0), true);
  EXPECT_EQ(elbow.code, 0);
  EXPECT_EQ(elbow.mode, 6);  // q2 enters the shoulder quantity as well
  const ModeResult wrist = modeOf(chain, joints(0, 1.0, 1.0, 1.0, nan, 0), true);
  EXPECT_EQ(wrist.code, 0);
  EXPECT_EQ(wrist.mode, 1);
  EXPECT_EQ(modeOf(chain, joints(nan, 1.0, 1.0, nan, 1.0, nan), true).mode, 4);
}

TEST(ChainModeAssertions, RequiresSixJointsInChainAndVector) {
  std::vector<MDH> records(6);
  Chain_MDH4 chain(6, &records);
  MathVector five(5), six(6), seven(7);
  Int32 mode = 0;
  const std::string report = test_support::assertionReportAt("chain_mdh4.cpp", 21, kGetMode,
                                                             "_dof == 6 && jntPos.size() == 6");
  EXPECT_DEATH(chain.getMode_6dof(five, mode, true), report);
  EXPECT_DEATH(chain.getMode_6dof(seven, mode, false), report);
  chain._dof = 5;
  EXPECT_DEATH(chain.getMode_6dof(six, mode, true), report);
}

}  // namespace
