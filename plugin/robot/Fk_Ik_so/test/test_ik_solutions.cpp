// Every inverse solution: the eight candidates, the one in a chosen mode, the nearest one
// with and without joint limits, and the arm-form check. Property checks over named
// families of random chain-form arms and joint positions (fixed seeds), through the
// solver, the Robot facade and the C functions at once, with the single-answer inverse
// and brute force over whole-turn variants as oracles.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>

#include "host_support.h"
#include "robot.h"
#include "test_support.h"

namespace {

const double kTwoPi = 2 * M_PI;
const double kNan = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

// One request: an arm, the joints that produce the target, a tool and a reference.
struct Case {
  std::vector<MDH> arm;
  MathVector q, ref;
  Tool tool;
};

// Named families: the ways the solver's cases differ.
enum class Family { Generic, BeyondPi, NearWristSingular, StretchedElbow, SampleArm };
const Family kFamilies[] = {Family::Generic, Family::BeyondPi, Family::NearWristSingular,
                            Family::StretchedElbow, Family::SampleArm};
const char* const kFamilyNames[] = {"generic", "beyond pi", "near wrist singular",
                                    "stretched elbow", "sample arm"};

Case makeCase(Family family, std::mt19937_64& rng) {
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  std::bernoulli_distribution coin(0.5);
  Case c;
  c.arm = family == Family::SampleArm ? test_support::makeRecords(test_support::kSampleArm)
                                      : test_support::randomSixAxisArm(rng);
  c.q = test_support::randomVector(rng, family == Family::BeyondPi ? 3 * M_PI : M_PI);
  // 3 to 6 degrees from the wrist's and the elbow's singular positions.
  const double nearSingular =
      (coin(rng) ? M_PI : 0.0) + (coin(rng) ? 1 : -1) * (3 + 3 * std::fabs(unit(rng))) * M_PI / 180;
  if (family == Family::NearWristSingular) c.q(4) = nearSingular;
  if (family == Family::StretchedElbow) c.q(2) = nearSingular;
  c.tool = test_support::randomTool(rng);
  c.ref = c.q;
  for (UInt32 j = 0; j < 6; ++j)
    c.ref(j) += family == Family::BeyondPi ? 4 * unit(rng) : 0.1 * unit(rng);
  return c;
}

double maxDifference(const double* a, const MathVector& b) {
  double d = 0.0;
  for (UInt32 j = 0; j < 6; ++j) d = std::fmax(d, std::fabs(a[j] - b(j)));
  return d;
}
double maxDifference(const MathVector& a, const MathVector& b) {
  double values[6];
  for (UInt32 j = 0; j < 6; ++j) values[j] = a(j);
  return maxDifference(values, b);
}

// Everything a property looks at for one case.
struct Solved {
  explicit Solved(const Case& c) : robot(c.arm), chain(6, &c.arm), pose(6) {
    robot.jntPosToTcpPos(c.q, c.tool, pose);
  }
  // Distance of the TCP frame of joints q from the target's frame.
  double miss(const double* q, const Tool& tool) {
    MathVector joints(6), reached(6);
    joints = q;
    robot.jntPosToTcpPos(joints, tool, reached);
    double a[6], b[6];
    for (UInt32 j = 0; j < 6; ++j) a[j] = reached(j), b[j] = pose(j);
    return host_support::poseDistance(a, b);
  }
  Robot robot;
  Chain_MDH4 chain;
  MathVector pose;
};

// Joints clear of every singular test of the solver: the 1e-6 quantities, and q2 and q4
// at least 2 degrees from 0 and pi.
bool clearOfSingularTests(Chain_MDH4& chain, const MathVector& q) {
  Int32 m;
  const double margin = std::sin(2 * M_PI / 180);
  return chain.getMode_6dof(q, m, true) == 0 && std::fabs(std::sin(q(2))) > margin &&
         std::fabs(std::sin(q(4))) > margin;
}

const int kCasesPerFamily = test_support::caseCount(600);

TEST(AllCandidates, ReachThePoseCoverTheJointsAndHoldTheSingleAnswer) {
  std::mt19937_64 rng(131);
  for (Family family : kFamilies) {
    SCOPED_TRACE(kFamilyNames[static_cast<int>(family)]);
    int covered = 0, clear = 0;
    for (int n = 0; n < kCasesPerFamily; ++n) {
      const Case c = makeCase(family, rng);
      Solved s(c);
      IkSolutions all;
      const Int32 code = s.robot.tcpPosToAllJntPos(s.pose, c.tool, c.ref, all);
      ASSERT_TRUE(code == 0 || code == 2 || code == 6) << code;

      // The C function answers the same, bit for bit.
      double arm[6][4], tool[6] = {c.tool.x, c.tool.y, c.tool.z, c.tool.rx, c.tool.ry, c.tool.rz};
      for (int i = 0; i < 6; ++i) {
        const MDH& r = c.arm[i];
        arm[i][0] = r.a, arm[i][1] = r.alpha, arm[i][2] = r.d, arm[i][3] = r.theta;
      }
      init(arm);
      double pose[6], ref[6], jnt[8][6];
      Int32 modes[8], status[8];
      for (UInt32 j = 0; j < 6; ++j) pose[j] = s.pose(j), ref[j] = c.ref(j);
      ASSERT_EQ(tcpPosToAllJntPos(pose, tool, ref, jnt, modes, status), code);
      ASSERT_EQ(std::memcmp(jnt, all.jntPos, sizeof jnt), 0);
      ASSERT_EQ(std::memcmp(modes, all.mode, sizeof modes), 0);
      ASSERT_EQ(std::memcmp(status, all.status, sizeof status), 0);

      bool producerFound = false;
      for (int k = 0; k < 8; ++k) {
        const double* q = all.jntPos[k];
        ASSERT_TRUE(code == 0 || all.status[k] == code);
        if (all.status[k] == 7) {
          EXPECT_EQ(all.mode[k], 0);
        }
        if (all.status[k] != 0) {
          for (int j = 0; j < 6; ++j) ASSERT_EQ(q[j], 0.0);
          continue;
        }
        EXPECT_LE(s.miss(q, c.tool), 1e-9) << "candidate " << k;
        MathVector joints(6);
        joints = q;
        Int32 m = -1;
        EXPECT_EQ(s.chain.getMode_6dof(joints, m, true), 0);
        EXPECT_EQ(m, all.mode[k]);
        // Within pi of the reference, the turn it is moved into.
        EXPECT_LE(maxDifference(q, c.ref), M_PI + 1e-12);
        bool sameJoints = true;
        for (UInt32 j = 0; j < 6; ++j) {
          sameJoints = sameJoints && std::fabs(std::remainder(q[j] - c.q(j), kTwoPi)) < 1e-7;
        }
        producerFound = producerFound || sameJoints;
      }
      // Clear of every singular test, the producing joints are among the candidates.
      if (code == 0 && clearOfSingularTests(s.chain, c.q)) {
        ++clear;
        covered += producerFound;
        EXPECT_TRUE(producerFound) << "case " << n;
      }

      // The single answer in every mode, as the statuses explain it.
      for (Int32 mode = 0; mode < 8; ++mode) {
        MathVector single(6);
        const Int32 singleCode = s.robot.tcpPosToJntPosInMode(s.pose, c.tool, c.ref, mode, single);
        if (code != 0) {
          EXPECT_EQ(singleCode, code);
          continue;
        }
        int last = -1;  // the last candidate of the mode that is not out of reach
        bool shoulderSingular = false, solvedInMode = false;
        for (int k = 0; k < 8; ++k) {
          if (all.status[k] != 7 && all.mode[k] == mode) last = k;
          shoulderSingular = shoulderSingular || all.status[k] == 2;
          solvedInMode = solvedInMode || (all.status[k] == 0 && all.mode[k] == mode);
        }
        if (singleCode == 0) {
          ASSERT_GE(last, 0);
          EXPECT_EQ(all.status[last], 0);
          EXPECT_EQ(std::memcmp(&single(0), all.jntPos[last], 6 * sizeof(double)), 0);
          EXPECT_FALSE(shoulderSingular);
        } else if (singleCode == 7) {
          EXPECT_FALSE(solvedInMode);
          EXPECT_FALSE(shoulderSingular);
        } else {
          bool explained = false;
          for (int k = 0; k < 8; ++k) explained = explained || all.status[k] == singleCode;
          EXPECT_TRUE(explained) << "code " << singleCode << " in mode " << mode;
        }
      }
    }
    // Most cases of every family are clear of the singular tests.
    EXPECT_GT(clear, kCasesPerFamily / 2);
    EXPECT_EQ(covered, clear);
  }
}

// Brute force: the smallest largest-joint-difference over every solved candidate and
// every whole-turn variant within the limits (turns -8 ... 8 cover the limits used here);
// infinity when none fits.
double bruteForceNearest(const IkSolutions& all, const MathVector& ref, const double* lower,
                         const double* upper) {
  double best = kInf;
  for (int k = 0; k < 8; ++k) {
    if (all.status[k] != 0) continue;
    double score = 0.0;
    for (int j = 0; j < 6; ++j) {
      double joint = kInf;
      for (int turn = -8; turn <= 8; ++turn) {
        const double v = all.jntPos[k][j] + kTwoPi * turn;
        if (v >= lower[j] && v <= upper[j]) joint = std::fmin(joint, std::fabs(v - ref(j)));
      }
      score = std::fmax(score, joint);
    }
    best = std::fmin(best, score);
  }
  return best;
}

TEST(Nearest, NeverFartherThanTheSingleAnswerAndExactlyTheBruteForceWithinLimits) {
  std::mt19937_64 rng(132);
  std::uniform_real_distribution<double> start(-1.5 * M_PI, 0.3), width(1.5, 2.5 * M_PI);
  const double none[6] = {-kInf, -kInf, -kInf, -kInf, -kInf, -kInf};
  const double all6[6] = {kInf, kInf, kInf, kInf, kInf, kInf};
  for (Family family : kFamilies) {
    SCOPED_TRACE(kFamilyNames[static_cast<int>(family)]);
    int withinLimits = 0, outside = 0;
    for (int n = 0; n < kCasesPerFamily; ++n) {
      const Case c = makeCase(family, rng);
      Solved s(c);
      IkSolutions all;
      const Int32 allCode = s.robot.tcpPosToAllJntPos(s.pose, c.tool, c.ref, all);

      MathVector nearest(6), single(6);
      const Int32 code = s.robot.tcpPosToNearestJntPos(s.pose, c.tool, c.ref, nearest);
      const double unlimited = bruteForceNearest(all, c.ref, none, all6);
      if (allCode != 0) {
        EXPECT_EQ(code, allCode);
        continue;
      }
      EXPECT_EQ(code == 0, unlimited < kInf);
      if (code != 0) {
        // None solved: the first singular candidate's status, else 7.
        int expected = 7;
        for (int k = 7; k >= 0; --k) expected = all.status[k] != 7 ? all.status[k] : expected;
        EXPECT_EQ(code, expected);
        continue;
      }
      EXPECT_LE(s.miss(&nearest(0), c.tool), 1e-9);
      EXPECT_EQ(maxDifference(nearest, c.ref), unlimited);
      if (s.robot.tcpPosToJntPos(s.pose, c.tool, c.ref, single) == 0) {
        EXPECT_LE(maxDifference(nearest, c.ref), maxDifference(single, c.ref));
      }
      // Clear producing joints are a candidate: the answer is at most as far.
      if (clearOfSingularTests(s.chain, c.q)) {
        EXPECT_LE(maxDifference(nearest, c.ref), maxDifference(c.q, c.ref) + 1e-9);
      }

      // Random limits near the reference, not always around it, some too tight for any
      // variant.
      double lower[6], upper[6];
      for (UInt32 j = 0; j < 6; ++j) {
        lower[j] = c.ref(j) + start(rng);
        upper[j] = lower[j] + width(rng);
      }
      MathVector limited(6);
      const Int32 limitedCode =
          s.robot.tcpPosToNearestJntPos(s.pose, c.tool, c.ref, limited, lower, upper);
      const double brute = bruteForceNearest(all, c.ref, lower, upper);
      ASSERT_TRUE(limitedCode == 0 || limitedCode == 7) << limitedCode;
      EXPECT_EQ(limitedCode == 7, brute == kInf);
      if (limitedCode != 0) {
        ++outside;
        continue;
      }
      ++withinLimits;
      EXPECT_EQ(maxDifference(limited, c.ref), brute);
      EXPECT_LE(s.miss(&limited(0), c.tool), 1e-9);
      for (UInt32 j = 0; j < 6; ++j) {
        EXPECT_GE(limited(j), lower[j]);
        EXPECT_LE(limited(j), upper[j]);
      }
    }
    // The limits leave both outcomes common.
    EXPECT_GT(withinLimits, kCasesPerFamily / 10);
    EXPECT_GT(outside, kCasesPerFamily / 10);
  }
}

TEST(Nearest, LimitsThatAreNoLimitsOrInvalid) {
  Robot robot(test_support::makeRecords(test_support::kSampleArm));
  const MathVector q = test_support::joints(0.3, 1.0, 1.4, 0.5, 0.8, -0.4);
  const Tool tool{0.01, -0.02, 0.05, 0.1, -0.2, 0.3};
  MathVector pose(6), free(6), out(6);
  robot.jntPosToTcpPos(q, tool, pose);
  ASSERT_EQ(robot.tcpPosToNearestJntPos(pose, tool, q, free), 0);
  const double wide = 1e300;
  struct Row {
    double lower, upper;
    Int32 code;
  };
  // Applied to joint 3; the others are free.
  const double q3 = free(3);
  const Row rows[] = {{-kInf, kInf, 0},  {-wide, wide, 0},      {q3, q3, 0},      {0.7, 0.7, 7},
                      {0.6, 0.4, 8},     {kNan, 1.0, 8},        {0.0, kNan, 8},   {kInf, kInf, 7},
                      {-kInf, -kInf, 7}, {-wide, -wide + 1, 7}, {1e7, 1e7 + 7, 7}};
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.lower << " ... " << row.upper);
    double lower[6] = {-kInf, -kInf, -kInf, -kInf, -kInf, -kInf};
    double upper[6] = {kInf, kInf, kInf, kInf, kInf, kInf};
    lower[3] = row.lower;
    upper[3] = row.upper;
    out.fill(7);
    const Int32 code = robot.tcpPosToNearestJntPos(pose, tool, q, out, lower, upper);
    EXPECT_EQ(code, row.code);
    if (code == 0) {
      EXPECT_EQ(std::memcmp(&out(0), &free(0), 6 * sizeof(double)), 0);
    }
  }
  // One null side is no limit on that side.
  const double upperOnly[6] = {1, 2, 3, 4, 5, 6};
  EXPECT_EQ(robot.tcpPosToNearestJntPos(pose, tool, q, out, nullptr, upperOnly), 0);
}

TEST(ArmForm, AcceptsChainFormArmsAndNamesEachBrokenParameter) {
  std::mt19937_64 rng(133);
  std::vector<std::vector<MDH>> arms = {test_support::makeRecords(test_support::kSampleArm)};
  for (int n = 0; n < 50; ++n) arms.push_back(test_support::randomSixAxisArm(rng));
  for (const std::vector<MDH>& arm : arms) {
    ASSERT_EQ(Chain_MDH4::checkArmForm(arm.data()), 0);
    // Twists up to whole turns and 1e-10 rad, zero lengths up to 1e-10, are the form.
    std::vector<MDH> near = arm;
    for (MDH& r : near) {
      r.alpha += (r.alpha > 0 ? -kTwoPi : 2 * kTwoPi) + 1e-10;
      if (std::fabs(r.a) < 1e-9) r.a = -1e-10;
    }
    EXPECT_EQ(Chain_MDH4::checkArmForm(near.data()), 0);
    // Every single parameter broken in each way that breaks it.
    for (int record = 0; record < 6; ++record) {
      for (int field = 0; field < 4; ++field) {
        const bool armLink = record == 2 || record == 3;
        std::vector<double> breaking = {kNan, kInf, -kInf};
        if (field == 0) breaking.push_back(armLink ? 0.0 : 0.01);
        if (field == 0 && armLink) breaking.push_back(1e-10);
        if (field == 1) breaking.push_back(arm[record].alpha + M_PI / 180);
        if (field == 1) breaking.push_back(arm[record].alpha * 180 / M_PI + 1e-3);
        for (double value : breaking) {
          std::vector<MDH> broken = arm;
          double* fields[4] = {&broken[record].a, &broken[record].alpha, &broken[record].d,
                               &broken[record].theta};
          *fields[field] = value;
          EXPECT_EQ(Chain_MDH4::checkArmForm(broken.data()), 4 * record + field + 1)
              << "record " << record << " field " << field << " = " << value;
        }
      }
    }
  }
  // The C function reads rows of a, alpha, d, theta.
  double rows[6][4];
  std::memcpy(rows, test_support::kSampleArm, sizeof rows);
  EXPECT_EQ(checkArmForm(rows), 0);
  rows[4][1] = 90.0;  // a twist in degrees
  EXPECT_EQ(checkArmForm(rows), 4 * 4 + 1 + 1);
}

// The new C functions before any init: code 1, nothing written. True when they hold.
bool answerOneBeforeInit() {
  const double zero[6] = {}, limits[6] = {};
  double out[6] = {5, 5, 5, 5, 5, 5}, jnt[8][6] = {};
  Int32 mode[8] = {5}, status[8] = {5};
  const bool ones = tcpPosToJntPosInMode(zero, zero, zero, 0, out) == 1 &&
                    tcpPosToAllJntPos(zero, zero, zero, jnt, mode, status) == 1 &&
                    tcpPosToNearestJntPos(zero, zero, zero, limits, limits, out) == 1;
  return ones && out[0] == 5 && out[5] == 5 && jnt[0][0] == 0 && mode[0] == 5 && status[0] == 5;
}

// In a process of its own, started afresh, where no test has called init.
TEST(CFunctions, BeforeInitReturnOneAndWriteNothing) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(std::exit(answerOneBeforeInit() ? 0 : 1), testing::ExitedWithCode(0), "");
}

TEST(CFunctions, FailuresWriteZerosAndModeFollowsTheSingleAnswer) {
  init(test_support::kSampleArm);
  const double q[6] = {0.3, 1.0, 1.4, 0.5, 0.8, -0.4}, tool[6] = {0, 0, 0.05, 0, 0, 0};
  double pose[6], out[6], single[6];
  ASSERT_EQ(jntPosToTcpPos(q, tool, pose), 0);
  ASSERT_EQ(tcpPosToJntPos(pose, tool, q, single), 0);
  EXPECT_EQ(tcpPosToJntPosInMode(pose, tool, q, -1, out), 0);
  EXPECT_TRUE(host_support::sameBits(out, single));
  for (Int32 mode : {-2, 8}) {
    std::fill(out, out + 6, 5.0);
    EXPECT_EQ(tcpPosToJntPosInMode(pose, tool, q, mode, out), 5);
    EXPECT_TRUE(host_support::allZero(out));
  }
  const double far[6] = {5, 0, 0, 0, 0, 0}, lower[6] = {1, 0, 0, 0, 0, 0};
  std::fill(out, out + 6, 5.0);
  EXPECT_EQ(tcpPosToNearestJntPos(far, tool, q, nullptr, nullptr, out), 7);
  EXPECT_TRUE(host_support::allZero(out));
  std::fill(out, out + 6, 5.0);
  EXPECT_EQ(tcpPosToNearestJntPos(pose, tool, q, lower, q, out), 8);
  EXPECT_TRUE(host_support::allZero(out));
}

// The new members keep the size preconditions of the single-answer inverse, named in their
// own reports.
TEST(Assertions, SizesOfPoseAndReference) {
  Robot robot(test_support::makeRecords(test_support::kSampleArm));
  std::vector<MDH> records = test_support::makeRecords(test_support::kSampleArm);
  Chain_MDH4 chain(6, &records);
  IkSolverPos_Tarvin2_6Dof ik(&chain);
  MathVector six(6), five(5), out(6);
  IkSolutions all;
  const Tool tool{};
  const KDL::Frame pose;
  const std::string inMode =
      "Int32 Robot::tcpPosToJntPosInMode(const MathVector&, const Tool&, const MathVector&, "
      "const Int32&, MathVector&)";
  const std::string allRobot =
      "Int32 Robot::tcpPosToAllJntPos(const MathVector&, const Tool&, const MathVector&, "
      "IkSolutions&)";
  const std::string nearestRobot =
      "Int32 Robot::tcpPosToNearestJntPos(const MathVector&, const Tool&, const MathVector&, "
      "MathVector&, const Float64*, const Float64*)";
  using test_support::assertionReport;
  EXPECT_DEATH(robot.tcpPosToJntPosInMode(five, tool, six, 0, out),
               assertionReport(inMode, "tcpPosIn.size() == 6"));
  EXPECT_DEATH(robot.tcpPosToAllJntPos(six, tool, five, all),
               assertionReport(allRobot, "_chainMDH4->_dof == jntPosRef.size()"));
  EXPECT_DEATH(robot.tcpPosToNearestJntPos(six, tool, five, out),
               assertionReport(nearestRobot, "_chainMDH4->_dof == jntPosRef.size()"));
  EXPECT_DEATH(ik.flangePosToAllJntPos(pose, five, all),
               assertionReport("Int32 IkSolverPos_Tarvin2_6Dof::flangePosToAllJntPos(const "
                               "KDL::Frame&, const MathVector&, IkSolutions&)",
                               "jntPosRef.size() == 6"));
  EXPECT_DEATH(ik.flangePosToNearestJntPos(pose, five, out),
               assertionReport("Int32 IkSolverPos_Tarvin2_6Dof::flangePosToNearestJntPos(const "
                               "KDL::Frame&, const MathVector&, MathVector&, const Float64*, "
                               "const Float64*)",
                               "jntPosRef.size() == 6"));
}

}  // namespace
