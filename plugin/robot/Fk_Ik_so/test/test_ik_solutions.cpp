// All inverse solutions, the nearest one, the arm-form check: properties over named families.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "robot.h"
#include "test_support.h"

namespace {

const double kTwoPi = 2 * M_PI, kInf = INFINITY, kNan = NAN;

double maxDifference(const double* a, const MathVector& b) {
  return test_support::largestDifference(a, static_cast<const double*>(b));
}

// Families 0 ... 4: generic, beyond pi, near wrist singular, stretched elbow, sample arm; limits
// random (both outcomes common), then on one joint none, huge, exact, empty or invalid.
TEST(AllCandidatesAndNearest, OverTheFamilies) {
  std::mt19937_64 rng(131);
  std::uniform_real_distribution<double> unit(-1.0, 1.0), start(-1.5 * M_PI, 0.3),
      width(1.5, 2.5 * M_PI);
  const int cases = test_support::caseCount(600);
  for (int f = 0; f < 5; ++f) {
    SCOPED_TRACE(f);
    int clear = 0, within = 0, outside = 0;
    for (int n = 0; n < cases; ++n) {
      std::vector<MDH> arm = f == 4 ? test_support::makeRecords(host_support::SampleArm)
                                    : test_support::randomSixAxisArm(rng);
      MathVector q = test_support::randomVector(rng, f == 1 ? 3 * M_PI : M_PI), pose(6);
      if (f == 2 || f == 3)  // 3 to 6 degrees from the wrist's and the elbow's singular positions
        q(f == 2 ? 4 : 2) = (unit(rng) > 0 ? M_PI : 0.0) +
                            (unit(rng) > 0 ? 3 : -3) * (1 + std::fabs(unit(rng))) * M_PI / 180;
      const Tool tool = test_support::randomTool(rng);
      MathVector ref = q, single(6), nearest(6), limited(6), reached(6), joints(6);
      for (UInt32 j = 0; j < 6; ++j) ref(j) += f == 1 ? 4 * unit(rng) : 0.1 * unit(rng);
      if (f == 0 && n % 2) ref(0) += 2.5;  // joint 0, shared by four candidates, decides: ties
      Robot robot(arm);
      Chain_MDH4 chain(6, &arm);
      robot.jntPosToTcpPos(q, tool, pose);
      const auto miss = [&](const double* x) {
        joints = x;
        robot.jntPosToTcpPos(joints, tool, reached);
        return host_support::poseDistance(&reached(0), &pose(0));
      };
      IkSolutions all;
      const Int32 code = robot.tcpPosToAllJntPos(pose, tool, ref, all);
      ASSERT_TRUE(code == 0 || code == 2 || code == 6) << code;
      bool producerFound = false;
      for (int k = 0; k < 8; ++k) {
        const double* x = all.jntPos[k];
        ASSERT_TRUE(code == 0 || all.status[k] == code);
        EXPECT_TRUE(all.status[k] != 7 || all.mode[k] == 0);
        for (int j = 0; j < 6; ++j) ASSERT_TRUE(all.status[k] == 0 || x[j] == 0.0);
        if (all.status[k] != 0) continue;
        EXPECT_LE(miss(x), 1e-9);
        Int32 m = -1;  // x is left in joints
        EXPECT_TRUE(chain.getMode_6dof(joints, m, true) == 0 && m == all.mode[k]) << m;
        EXPECT_LE(maxDifference(x, ref), M_PI + 1e-12);  // in the reference's turns
        int same = 0;
        for (UInt32 j = 0; j < 6; ++j)
          same += std::fabs(std::remainder(x[j] - q(j), kTwoPi)) < 1e-7;
        producerFound |= same == 6;
      }
      Int32 m;  // clear of every singular test: the 1e-6 quantities, q2 and q4 2 degrees from 0, pi
      const bool clearCase =
          code == 0 && chain.getMode_6dof(q, m, true) == 0 &&
          std::fmin(std::fabs(std::sin(q(2))), std::fabs(std::sin(q(4)))) > std::sin(M_PI / 90);
      clear += clearCase;
      EXPECT_TRUE(!clearCase || producerFound) << n;
      Int32 refMode = -1;  // mode -1 answers in the reference's mode, or its singular code
      const Int32 refCode = chain.getMode_6dof(ref, refMode, true);
      MathVector inRefMode(6), reference(6);
      const Int32 referenceCode = robot.tcpPosToJntPos(pose, tool, ref, reference);
      const Int32 inRefModeCode = robot.tcpPosToJntPosInMode(pose, tool, ref, refMode, inRefMode);
      EXPECT_EQ(referenceCode, code != 0 ? code : refCode != 0 ? refCode : inRefModeCode);
      EXPECT_TRUE(referenceCode != 0 || !std::memcmp(&reference(0), &inRefMode(0), 48));
      for (Int32 mode = 0; mode < 8; ++mode) {
        const Int32 singleCode = robot.tcpPosToJntPosInMode(pose, tool, ref, mode, single);
        EXPECT_TRUE(code == 0 || singleCode == code);
        if (code != 0) continue;
        int last = -1;  // the last candidate of the mode that is not out of reach
        bool shoulderSingular = false, solvedInMode = false, explained = false;
        for (int k = 0; k < 8; ++k) {
          if (all.status[k] != 7 && all.mode[k] == mode) last = k;
          shoulderSingular |= all.status[k] == 2;
          solvedInMode |= all.status[k] == 0 && all.mode[k] == mode;
          explained |= all.status[k] == singleCode;
        }
        ASSERT_TRUE(singleCode != 0 || (last >= 0 && all.status[last] == 0 &&
                                        !std::memcmp(&single(0), all.jntPos[last], 48)));
        EXPECT_TRUE(singleCode == 0 || singleCode == 7 ? !shoulderSingular : explained)
            << singleCode;
        EXPECT_TRUE(singleCode != 7 || !solvedInMode);
      }

      const Int32 nearCode = robot.tcpPosToNearestJntPos(pose, tool, ref, nearest);
      int expected = code != 0 ? code : std::count(all.status, all.status + 8, 0) > 0 ? 0 : 7;
      for (int k = 0; expected == 7 && k < 8; ++k) expected = all.status[k];  // first singular
      EXPECT_EQ(nearCode, expected);
      if (nearCode != 0) continue;
      const double nearestDifference = maxDifference(&nearest(0), ref);
      EXPECT_LE(miss(&nearest(0)), 1e-9);
      const auto score = [&](const double* x) {  // with no limits
        double s = 0.0;
        for (UInt32 i = 0; i < 6; ++i)
          s = std::fmax(s, std::fabs(std::remainder(x[i] - ref(i), kTwoPi)));
        return s;
      };
      int first = 0;  // ties go to the lowest candidate index
      while (first < 7 &&
             (all.status[first] != 0 || score(all.jntPos[first]) > nearestDifference + 1e-12))
        ++first;
      for (UInt32 i = 0; i < 6; ++i)
        EXPECT_LT(std::fabs(std::remainder(nearest(i) - all.jntPos[first][i], kTwoPi)), 1e-9)
            << first;
      EXPECT_LE(nearestDifference, referenceCode == 0 ? maxDifference(&reference(0), ref) : kInf);
      const int j = n % 6;
      const double rows[][2] = {
          {0, 0},       {-kInf, kInf},  {-1e300, 1e300},      {nearest(j), nearest(j)},
          {kInf, kInf}, {-kInf, -kInf}, {-1e300, -1e300 + 1}, {1e7, 1e7 + 7},
          {0.6, 0.4},   {kNan, 1.0},    {0.0, kNan}};
      for (const auto& row : rows) {
        const bool random = &row == &rows[0];
        double lower[6], upper[6], brute = kInf;
        for (UInt32 i = 0; i < 6; ++i)
          lower[i] = random ? ref(i) + start(rng) : -kInf,
          upper[i] = random ? lower[i] + width(rng) : kInf;
        if (!random) lower[j] = row[0], upper[j] = row[1];
        for (int k = 0; k < 8; ++k) {  // every solved candidate's variants, turns -8 ... 8
          double joint[6] = {kInf, kInf, kInf, kInf, kInf, kInf};
          for (int t = 0; t < 6 * 17; ++t) {
            const int i = t / 17;
            const double v = all.jntPos[k][i] + kTwoPi * (t % 17 - 8);
            if (v >= lower[i] && v <= upper[i])
              joint[i] = std::fmin(joint[i], std::fabs(v - ref(i)));
          }
          if (all.status[k] == 0) brute = std::fmin(brute, *std::max_element(joint, joint + 6));
        }
        const bool none = &row == &rows[1];  // a null side is no limit on that side
        const Int32 limitedCode =
            robot.tcpPosToNearestJntPos(pose, tool, ref, limited, none ? nullptr : lower, upper);
        ASSERT_EQ(limitedCode, lower[j] <= upper[j] ? (brute < kInf ? 0 : 7) : 8)
            << row[0] << " " << row[1];
        if (random) ++(limitedCode == 0 ? within : outside);
        EXPECT_TRUE(!none || brute == nearestDifference);
        if (limitedCode != 0) continue;
        EXPECT_EQ(maxDifference(&limited(0), ref), brute);
        EXPECT_LE(miss(&limited(0)), 1e-9);
        for (UInt32 i = 0; i < 6; ++i)
          EXPECT_TRUE(limited(i) >= lower[i] && limited(i) <= upper[i]);
      }
    }
    EXPECT_TRUE(clear > cases / 2 && within > cases / 10 && outside > cases / 10)
        << clear << " " << within << " " << outside;
  }
}

// None solved, an elbow-singular candidate before wrist-singular ones: the first names the code.
TEST(AllCandidatesAndNearest, FirstSingularCandidateWhenNoneIsSolved) {
  Robot robot(test_support::makeRecords(host_support::SampleArm));
  const Tool tool = {0, 0, 0, 0, 0, 0};
  const MathVector q = test_support::joints(0.9862595002681678, 1.1642981254276554, 1e-7,
                                            1.164254385766025, 3e-7, 0.2788527927285642);
  MathVector pose(6), nearest(6);
  robot.jntPosToTcpPos(q, tool, pose);
  IkSolutions all;
  ASSERT_EQ(robot.tcpPosToAllJntPos(pose, tool, q, all), 0);
  EXPECT_EQ(std::vector<Int32>(all.status, all.status + 8),
            (std::vector<Int32>{3, 3, 7, 7, 4, 4, 7, 7}));
  EXPECT_EQ(robot.tcpPosToNearestJntPos(pose, tool, q, nearest), 3);
}

TEST(ArmForm, AcceptsChainFormArmsAndNamesEachBrokenParameter) {
  std::mt19937_64 rng(133);
  for (int n = 0; n <= 50; ++n) {
    const std::vector<MDH> arm = n == 0 ? test_support::makeRecords(host_support::SampleArm)
                                        : test_support::randomSixAxisArm(rng);
    ASSERT_EQ(Chain_MDH4::checkArmForm(arm.data()), 0);
    std::vector<MDH> near = arm;  // twists up to whole turns and 1e-10, zero lengths to 1e-10
    for (MDH& r : near)
      r.alpha += (r.alpha > 0 ? -kTwoPi : 2 * kTwoPi) + 1e-10, r.a = r.a == 0 ? -1e-10 : r.a;
    EXPECT_EQ(Chain_MDH4::checkArmForm(near.data()), 0);
    for (int p = 0; p < 24; ++p) {  // every parameter broken in each way that breaks it
      const int record = p / 4, field = p % 4;
      const bool link = record == 2 || record == 3, a = field == 0, alpha = field == 1;
      const double twist = arm[record].alpha, length = a ? (link ? 0.0 : 0.01) : kNan;
      const double tiny = a && link ? 1e-10 : kNan, off = alpha ? twist + M_PI / 180 : kNan;
      for (double value :
           {kNan, kInf, -kInf, length, tiny, off, alpha ? twist * 180 / M_PI + 1e-3 : kNan}) {
        std::vector<MDH> broken = arm;
        MDH& r = broken[record];
        *(field == 0 ? &r.a : field == 1 ? &r.alpha : field == 2 ? &r.d : &r.theta) = value;
        EXPECT_EQ(Chain_MDH4::checkArmForm(broken.data()), p + 1) << p << " = " << value;
      }
    }
  }
}

}  // namespace
