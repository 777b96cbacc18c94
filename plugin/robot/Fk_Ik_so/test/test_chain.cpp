// MDH records and the chain that copies them.
#include "chain_mdh4.h"
#include "test_support.h"

using test_support::assertionReport;

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

}  // namespace
