// Each arm's layout and solver, its equivalent modified rows and designed form, the C
// handles and the refusals.
#include <cstring>

#include "arm_handle.h"
#include "arm_test_support.h"
#include "fk_ik_so.h"
#include "test_support.h"

namespace {

using namespace arm_test;

// Each arm's layout as built; through a handle, its route's solver name (cut to the host's
// buffer), Jacobians, layout and form as the arm's. Each route a name of its own.
TEST(ArmLayout, NamesTheLayoutAndSolverOfEachArm) {
  const double q[6] = {0.3, -1.2, 1.5, -0.4, 1.1, 0.2}, tool[6] = {0.01, 0, 0.1, 0, 0.2, 0};
  for (int r = 0; r <= static_cast<int>(fk_ik::InverseRoute::Elimination); ++r) {
    const std::string name = fk_ik::inverseRouteName(fk_ik::InverseRoute(r));
    EXPECT_FALSE(name.empty());
    for (int other = 0; other < r; ++other)
      EXPECT_NE(name, fk_ik::inverseRouteName(fk_ik::InverseRoute(other)));
  }
  for (const NamedArm& named : namedArms()) {
    SCOPED_TRACE(named.name);
    const fk_ik::ArmLayout& layout = named.arm.layout();
    EXPECT_EQ(layout.family, named.family) << layout.text();
    EXPECT_EQ(layout.nearFamily, named.nearFamily) << layout.text();
    EXPECT_NE(layout.text().find(std::string("family: ") + fk_ik::familyName(named.family)),
              std::string::npos);
    const std::string expected = fk_ik::inverseRouteName(named.arm.inversePlan().route);
    FkIkArm* handle = fk_ik::newArmHandle(named.arm);
    char name[80], cut[6];
    ASSERT_EQ(armInverseSolver(handle, name, sizeof name), 0);
    EXPECT_EQ(std::string(name), expected);
    ASSERT_EQ(armInverseSolver(handle, cut, sizeof cut), 0);
    EXPECT_EQ(std::string(cut), expected.substr(0, 5));
    EXPECT_EQ(armInverseSolver(handle, nullptr, 0), 0);
    double jacobian[6][6], jacobianDot[6][6], same[6][6];
    ASSERT_EQ(armJacobianDot(handle, q, q, tool, jacobian, jacobianDot), 0);
    ASSERT_EQ(armJacobian(handle, q, tool, same), 0);
    fk_ik::ArmJacobian j;
    named.arm.jacobian(q, host_support::poseFrame(tool), j);
    for (int e = 0; e < 36; ++e) ASSERT_EQ(jacobian[e / 6][e % 6], j(e / 6, e % 6));
    EXPECT_EQ(0, std::memcmp(jacobian, same, sizeof same));
    Int32 family, designed;
    char text[16];
    ASSERT_EQ(armLayout(handle, &family, 0, 0, 0, text, sizeof text), 0);
    EXPECT_EQ(family, static_cast<Int32>(layout.family));
    EXPECT_EQ(std::string(text), layout.text().substr(0, 15));
    ASSERT_EQ(armMdh(handle, 0, 0, 0, 0, &designed), 0);
    EXPECT_EQ(designed, named.family == ArmFamily::DesignedChain);
    armDestroy(handle);
  }
  char name[8];
  EXPECT_EQ(armInverseSolver(nullptr, name, sizeof name), FK_IK_ARM_INVALID);
}

// Off the layout by what was put in (3.1416 for pi, the calibrated axis by 1e-3 rad).
TEST(ArmLayout, MeasuresHowFarANearArmIsOff) {
  const std::vector<NamedArm> arms = namedArms();
  const fk_ik::ArmLayout& rounded = arms[1].arm.layout();
  EXPECT_NEAR(rounded.nearDeviation, 3.1416 - M_PI, 1e-9);
  const fk_ik::ArmLayout& calibrated = arms[2].arm.layout();
  EXPECT_NEAR(calibrated.nearDeviation, 1e-3, 1e-9);
  EXPECT_NEAR(calibrated.pair[1].angle, 1e-3, 1e-12);
  EXPECT_TRUE(calibrated.pair[1].nearParallel && !calibrated.pair[1].parallel);
  EXPECT_EQ(calibrated.nearParallelTriple, 1);
  EXPECT_EQ(calibrated.parallelTriple, -1);
  const fk_ik::ArmLayout& exact = arms[0].arm.layout();
  EXPECT_LT(exact.nearDeviation, 1e-15);
  EXPECT_EQ(exact.parallelTriple, 1);
  EXPECT_NEAR(exact.pair[2].distance, 0.3922, 1e-15);
  EXPECT_NEAR(exact.pair[0].angle, M_PI / 2, 1e-15);
  EXPECT_LT(arms[3].arm.layout().wristDistance, 1e-15);
  EXPECT_TRUE(std::isinf(arms[3].arm.layout().baseDistance));
}

// The equivalent rows, signs, base and flange rebuild every arm; arms of the designed form
// under any senses, offsets, base and flange are recognised, and their rows, senses, flange
// (as the tool) and base drive the designed functions to the same pose.
TEST(ArmMdh, RowsRebuildEveryArmAndDriveTheDesignedFunctions) {
  std::vector<NamedArm> arms = namedArms();
  std::mt19937_64 rng(23);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI), length(-0.5, 0.5);
  for (int k = 0; k < test_support::caseCount(20); ++k) {
    arms.push_back({"random",
                    randomArm(rng, k % 2 ? RowConvention::Standard : RowConvention::Modified),
                    ArmFamily::General, ArmFamily::General});
    const std::vector<MDH> records = test_support::randomSixAxisArm(rng);
    double rows[6][4], signs[6];
    for (int i = 0; i < 6; ++i) {
      const MDH& r = records[i];
      rows[i][0] = r.a, rows[i][1] = r.alpha, rows[i][2] = r.d, rows[i][3] = r.theta;
      signs[i] = angle(rng) < 0 ? -1 : 1;
    }
    arms.push_back({"designed form",
                    build(describe(rows, RowConvention::Modified, signs,
                                   frame(angle(rng), angle(rng), angle(rng), length(rng), 0, 1),
                                   frame(angle(rng), angle(rng), angle(rng), 0, length(rng), 0.1))),
                    ArmFamily::DesignedChain, ArmFamily::DesignedChain});
  }
  // Axes 1 and 2 on one line, the base tilted: the first normal's direction is free.
  double coincident[6][4];
  std::copy(&kThreeParallelRows[0][0], &kThreeParallelRows[0][0] + 24, &coincident[0][0]);
  coincident[1][0] = coincident[1][1] = 0;
  const KDL::Frame tilted = frame(0.3, 0.5, 0.7, 0, 0, 0);
  arms.push_back({"coincident",
                  build(describe(coincident, RowConvention::Modified, nullptr, tilted)),
                  ArmFamily::General, ArmFamily::General});
  for (const NamedArm& named : arms) {
    SCOPED_TRACE(named.name);
    const fk_ik::ArmMdh& mdh = named.arm.mdh();
    const bool designed = named.family == ArmFamily::DesignedChain;
    EXPECT_LT(mdh.deviation, 1e-13);
    for (double value : mdh.rows[0]) EXPECT_EQ(value, 0);
    ASSERT_EQ(mdh.designedForm, designed);
    EXPECT_EQ(checkArmForm(mdh.rows) == 0, designed);
    EXPECT_EQ(named.arm.layout().family == ArmFamily::DesignedChain, designed);
    const Arm rebuilt =
        build(describe(mdh.rows, RowConvention::Modified, mdh.signs, mdh.base, mdh.flange));
    const double scale = named.arm.size() + fk_ik::length(named.arm.description().base.p);
    double tool[6] = {mdh.flange.p.x(), mdh.flange.p.y(), mdh.flange.p.z()};
    mdh.flange.M.GetRPY(tool[3], tool[4], tool[5]);
    if (designed) init(mdh.rows);
    for (int c = 0; c < 50; ++c) {
      double q[6], senseQ[6], pose[6];
      randomJoints(rng, 2 * M_PI, q);
      KDL::Frame original, again;
      named.arm.flangeFrame(q, original);
      rebuilt.flangeFrame(q, again);
      ASSERT_LT(frameDistance(original, again, scale), 1e-12);
      if (!designed) continue;
      for (int i = 0; i < 6; ++i) senseQ[i] = mdh.signs[i] * q[i];
      ASSERT_EQ(jntPosToTcpPos(senseQ, tool, pose), 0);
      ASSERT_LT(
          frameDistance(mdh.base * host_support::poseFrame(pose), original, named.arm.size() + 1),
          1e-12);
    }
  }
}

// Each refused description, through the C function that builds a handle from rows.
TEST(ArmHandles, RefuseEachFaultWithItsMessage) {
  const double identity[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  const double scaled[4][4] = {{1.001, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  const double mirrored[4][4] = {{-1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  const double lifted[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 1, 1}};
  const double nanMatrix[4][4] = {{1, 0, 0, NAN}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  const double half[6] = {1, 1, 0.5, 1, 1, 1}, low[6] = {-1, -1, -1, 2, -1, -1};
  const double nanLimits[6] = {0, NAN, 0, 0, 0, 0}, ones[6] = {1, 1, 1, 1, 1, 1};
  double nanRows[6][4], hugeRows[6][4];
  std::copy(&kParallelMiddleRows[0][0], &kParallelMiddleRows[0][0] + 24, &nanRows[0][0]);
  std::copy(&kParallelMiddleRows[0][0], &kParallelMiddleRows[0][0] + 24, &hugeRows[0][0]);
  nanRows[4][1] = NAN;
  hugeRows[2][2] = INFINITY;
  struct Row {
    const char *fault, *message;
    const double (*rows)[4] = kParallelMiddleRows;
    int convention = 0;
    const double *signs = nullptr, (*base)[4] = nullptr, (*flange)[4] = nullptr;
    const double *lower = nullptr, *upper = nullptr;
  } table[] = {
      {"convention", "convention is 2", kParallelMiddleRows, 2},
      {"sign", "sign of joint 3 is 0.5", kParallelMiddleRows, 0, half},
      {"twist", "joint 5 frame: a rotation element is not finite", nanRows},
      {"offset", "joint 4 frame: a translation element is not finite", hugeRows, 1},
      {"scaled base", "base frame: the rotation is not orthonormal", kParallelMiddleRows, 0, 0,
       scaled},
      {"bottom row", "flange frame: the bottom row", kParallelMiddleRows, 0, 0, identity, lifted},
      {"mirror", "flange frame: the rotation is a reflection", kParallelMiddleRows, 0, 0, 0,
       mirrored},
      {"not finite", "base frame: a translation", kParallelMiddleRows, 1, 0, nanMatrix},
      {"limit order", "joint 4 limits: lower 2", kParallelMiddleRows, 0, 0, 0, 0, low, ones},
      {"limit NaN", "joint 2 limits: lower nan", kParallelMiddleRows, 0, 0, 0, 0, nanLimits},
  };
  for (const Row& row : table) {
    FkIkArm* arm = reinterpret_cast<FkIkArm*>(&table);
    char message[200] = "unchanged";
    EXPECT_EQ(armCreateFromRows(row.rows, row.convention, row.signs, row.base, row.flange,
                                row.lower, row.upper, &arm, message, sizeof message),
              FK_IK_ARM_INVALID)
        << row.fault;
    EXPECT_EQ(arm, nullptr) << row.fault;
    EXPECT_NE(std::string(message).find(row.message), std::string::npos)
        << row.fault << ": " << message;
  }
  // An axis of zero length comes from descriptions other than rows.
  ArmDescription zeroAxis;
  zeroAxis.axis[5] = KDL::Vector(0, 0, 1e-320) * 0.0;
  Arm arm;
  std::string message;
  EXPECT_EQ(Arm::build(zeroAxis, arm, &message), fk_ik::Arm_Invalid);
  EXPECT_EQ(message, "joint 6 axis: of zero length");
}

// Handles from rows keep their arms and limits apart, refuse a null handle, and cut a
// message to the host's buffer.
TEST(ArmHandles, HoldSeveralArmsAtOnce) {
  FkIkArm *first = nullptr, *second = nullptr;
  const double lower[6] = {-1, -2, -3, -4, -5, -6}, upper[6] = {1, 2, 3, 4, 5, 6};
  ASSERT_EQ(armCreateFromRows(kParallelMiddleRows, FK_IK_MODIFIED_ROWS, 0, 0, 0, lower, upper,
                              &first, 0, 0),
            0);
  ASSERT_EQ(
      armCreateFromRows(kSphericalWristRows, FK_IK_STANDARD_ROWS, 0, 0, 0, 0, 0, &second, 0, 0), 0);
  const Arm expected[2] = {build(describe(kParallelMiddleRows, RowConvention::Modified)),
                           build(describe(kSphericalWristRows, RowConvention::Standard))};
  const double q[6] = {0.3, -1.2, 1.5, -0.4, 1.1, 0.2}, tool[6] = {0.01, 0, 0.1, 0, 0.2, 0};
  FkIkArm* handles[2] = {first, second};
  for (int h = 0; h < 2; ++h) {
    double pose[6];
    ASSERT_EQ(armJntPosToTcpPos(handles[h], q, tool, pose), 0);
    KDL::Frame tcp;
    expected[h].tcpFrame(q, host_support::poseFrame(tool), tcp);
    EXPECT_LT(frameDistance(host_support::poseFrame(pose), tcp, 1), 1e-15) << h;
  }
  double low[6], high[6];
  ASSERT_EQ(armLimits(first, low, high), 0);
  EXPECT_EQ(low[5], -6);
  EXPECT_EQ(high[1], 2);
  ASSERT_EQ(armLimits(second, low, high), 0);
  EXPECT_TRUE(std::isinf(low[0]) && std::isinf(high[0]));
  armDestroy(first);
  armDestroy(second);
  armDestroy(nullptr);
  double pose[6], j[6][6], rows[6][4];
  Int32 family;
  EXPECT_EQ(armJntPosToTcpPos(nullptr, q, tool, pose), FK_IK_ARM_INVALID);
  EXPECT_EQ(armJacobian(nullptr, q, tool, j), FK_IK_ARM_INVALID);
  EXPECT_EQ(armJacobianDot(nullptr, q, q, tool, j, j), FK_IK_ARM_INVALID);
  EXPECT_EQ(armLimits(nullptr, low, high), FK_IK_ARM_INVALID);
  EXPECT_EQ(armLayout(nullptr, &family, 0, 0, 0, 0, 0), FK_IK_ARM_INVALID);
  EXPECT_EQ(armMdh(nullptr, rows, 0, 0, 0, 0), FK_IK_ARM_INVALID);
  char cut[8];
  FkIkArm* none;
  const double bad[6] = {3, 1, 1, 1, 1, 1};
  EXPECT_EQ(armCreateFromRows(kParallelMiddleRows, 0, bad, 0, 0, 0, 0, &none, cut, sizeof cut), 9);
  EXPECT_EQ(std::string(cut), "the sig");
}

}  // namespace
