#include "bench_arm.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "arm.h"
#include "arm_ik.h"
#include "fk_ik_arm.h"
#include "host_support.h"
#include "ik_solver_pos_tarvin2_6dof.h"
#include "test_support.h"

namespace {

const unsigned kSamples = 1024;  // a power of two: inputs are cycled through with a mask
const double kTool[6] = {0.01, -0.02, 0.15, 0.1, -0.2, 0.3};
const unsigned kGeneralArms = 16;

struct ArmWorkload {
  ArmWorkload() {
    const double signs[6] = {1, -1, 1, 1, -1, 1};
    const double base[4][4] = {{-1, 0, 0, 0.2}, {0, -1, 0, -0.1}, {0, 0, 1, 0.05}, {0, 0, 0, 1}};
    const double flange[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0.1}, {0, 0, 0, 1}};
    armCreateFromRows(host_support::SampleArm, FK_IK_MODIFIED_ROWS, signs, base, flange, nullptr,
                      nullptr, &handle, nullptr, 0);
    fk_ik::ArmDescription description;
    fk_ik::ArmDescription::fromRows(
        host_support::SampleArm, fk_ik::RowConvention::Modified, signs,
        KDL::Frame(KDL::Rotation::RotZ(M_PI), KDL::Vector(0.2, -0.1, 0.05)),
        KDL::Frame(KDL::Vector(0, 0, 0.1)), description, nullptr);
    fk_ik::Arm::build(description, arm, nullptr);
    tool = KDL::Frame(KDL::Rotation::RPY(kTool[3], kTool[4], kTool[5]),
                      KDL::Vector(kTool[0], kTool[1], kTool[2]));
    // A spherical wrist behind a shoulder offset (standard rows), and the sample arm with
    // axis 3 tilted 1e-3 rad.
    const double wristRows[6][4] = {{0.15, -M_PI / 2, 0.45, 0}, {0.6, 0, 0, -M_PI / 2},
                                    {0.12, -M_PI / 2, 0, 0},    {0, M_PI / 2, 0.64, 0},
                                    {0, -M_PI / 2, 0, 0},       {0, 0, 0.1, 0}};
    fk_ik::ArmDescription other;
    fk_ik::ArmDescription::fromRows(wristRows, fk_ik::RowConvention::Standard, nullptr,
                                    KDL::Frame::Identity(), KDL::Frame::Identity(), other, nullptr);
    fk_ik::Arm::build(other, wrist, nullptr);
    description.joint[2] = description.joint[2] * KDL::Frame(KDL::Rotation::RotX(1e-3));
    fk_ik::Arm::build(description, calibrated, nullptr);
    std::mt19937_64 rng(8);
    std::uniform_real_distribution<double> angle(-M_PI, M_PI);
    // Arms no closed form covers: every parameter random (standard rows, lengths in [-1, 1],
    // angles in [-pi, pi]), the poses cycling through them.
    std::uniform_real_distribution<double> length(-1, 1);
    generals.resize(kGeneralArms);
    for (fk_ik::Arm& general : generals) {
      double rows[6][4];
      for (auto& row : rows) {
        row[0] = length(rng);
        row[1] = angle(rng);
        row[2] = length(rng);
        row[3] = angle(rng);
      }
      fk_ik::ArmDescription random;
      fk_ik::ArmDescription::fromRows(rows, fk_ik::RowConvention::Standard, nullptr,
                                      KDL::Frame::Identity(), KDL::Frame::Identity(), random,
                                      nullptr);
      fk_ik::Arm::build(random, general, nullptr);
    }
    joints.resize(kSamples);
    velocities.resize(kSamples);
    for (unsigned k = 0; k < kSamples; ++k) {
      for (int i = 0; i < 6; ++i) {
        joints[k][i] = angle(rng);
        velocities[k][i] = angle(rng);
      }
      KDL::Frame f;
      arm.flangeFrame(joints[k].data(), f);
      flanges.push_back(f);
      wrist.flangeFrame(joints[k].data(), f);
      wristFlanges.push_back(f);
      calibrated.flangeFrame(joints[k].data(), f);
      calibratedFlanges.push_back(f);
      generals[k % kGeneralArms].flangeFrame(joints[k].data(), f);
      generalFlanges.push_back(f);
    }
  }
  FkIkArm* handle = nullptr;
  fk_ik::Arm arm, wrist, calibrated;
  std::vector<fk_ik::Arm> generals;
  std::vector<KDL::Frame> flanges, wristFlanges, calibratedFlanges, generalFlanges;
  KDL::Frame tool;
  std::vector<std::array<double, 6>> joints, velocities;
};

ArmWorkload& workload() {
  static ArmWorkload w;
  return w;
}

}  // namespace

void armFlange(benchmark::State& state) {
  ArmWorkload& w = workload();
  KDL::Frame flange;
  unsigned k = 0;
  for (auto _ : state) {
    w.arm.flangeFrame(w.joints[k++ & (kSamples - 1)].data(), flange);
    benchmark::DoNotOptimize(flange);
  }
}

void armCTcpPos(benchmark::State& state) {
  ArmWorkload& w = workload();
  double tcp[6];
  unsigned k = 0;
  for (auto _ : state) {
    armJntPosToTcpPos(w.handle, w.joints[k++ & (kSamples - 1)].data(), kTool, tcp);
    benchmark::DoNotOptimize(tcp);
  }
}

void armJacobian(benchmark::State& state) {
  ArmWorkload& w = workload();
  fk_ik::ArmJacobian jacobian;
  unsigned k = 0;
  for (auto _ : state) {
    w.arm.jacobian(w.joints[k++ & (kSamples - 1)].data(), w.tool, jacobian);
    benchmark::DoNotOptimize(jacobian);
  }
}

void armJacobianDot(benchmark::State& state) {
  ArmWorkload& w = workload();
  fk_ik::ArmJacobian jacobian, jacobianDot;
  unsigned k = 0;
  for (auto _ : state) {
    const unsigned s = k++ & (kSamples - 1);
    w.arm.jacobianDot(w.joints[s].data(), w.velocities[s].data(), w.tool, jacobian, jacobianDot);
    benchmark::DoNotOptimize(jacobian);
    benchmark::DoNotOptimize(jacobianDot);
  }
}

void designedAllCandidates(benchmark::State& state) {
  ArmWorkload& w = workload();
  const std::vector<MDH> records = test_support::makeRecords(w.arm.mdh().rows);
  Chain_MDH4 chain(6, &records);
  IkSolverPos_Tarvin2_6Dof solver(&chain);
  const MathVector ref = test_support::joints(0, 0, 0, 0, 0, 0);
  std::vector<KDL::Frame> poses;
  for (const KDL::Frame& f : w.flanges) {
    poses.push_back(w.arm.mdh().base.Inverse() * f * w.arm.mdh().flange.Inverse());
  }
  IkSolutions all;
  unsigned k = 0;
  for (auto _ : state) {
    solver.flangePosToAllJntPos(poses[k++ & (kSamples - 1)], ref, all);
    benchmark::DoNotOptimize(all);
  }
}

namespace {

typedef Int32 (*Inverse)(const fk_ik::Arm&, const KDL::Frame&, const KDL::Frame&,
                         fk_ik::ArmIkSolutions&);

// The arm of pose k: one arm, or the general arms in turn.
void ikAll(benchmark::State& state, const fk_ik::Arm* arms, unsigned armCount,
           const std::vector<KDL::Frame>& poses, Inverse inverse = fk_ik::armIkAll) {
  fk_ik::ArmIkSolutions all;
  unsigned k = 0;
  double solutions = 0;
  for (auto _ : state) {
    const unsigned s = k++ & (kSamples - 1);
    inverse(arms[s % armCount], poses[s], KDL::Frame::Identity(), all);
    solutions += all.count;
    benchmark::DoNotOptimize(all);
  }
  state.counters["solutions"] = benchmark::Counter(solutions, benchmark::Counter::kAvgIterations);
}

}  // namespace

void armIkAllDirect(benchmark::State& state) {
  ikAll(state, &workload().arm, 1, workload().flanges);
}
void armIkAllSphericalWrist(benchmark::State& state) {
  ikAll(state, &workload().wrist, 1, workload().wristFlanges);
}
void armIkAllRefined(benchmark::State& state) {
  ikAll(state, &workload().calibrated, 1, workload().calibratedFlanges);
}
void armIkAllGeneral(benchmark::State& state) {
  ikAll(state, workload().generals.data(), kGeneralArms, workload().generalFlanges);
}
void armIkByEliminationNear(benchmark::State& state) {
  ikAll(state, &workload().calibrated, 1, workload().calibratedFlanges, fk_ik::armIkByElimination);
}

void printGeneralCompleteness() {
  const ArmWorkload& w = workload();
  int found = 0, counts[fk_ik::Ik_Max_Solutions + 1] = {};
  for (unsigned k = 0; k < kSamples; ++k) {
    fk_ik::ArmIkSolutions all;
    fk_ik::armIkAll(w.generals[k % kGeneralArms], w.generalFlanges[k], KDL::Frame::Identity(), all);
    ++counts[all.count];
    for (int s = 0; s < all.count; ++s) {
      double apart = 0;
      for (int i = 0; i < 6; ++i) {
        apart = std::fmax(apart, std::fabs(std::remainder(all.q[s][i] - w.joints[k][i], 2 * M_PI)));
      }
      if (apart < 1e-9) {
        ++found;
        break;
      }
    }
  }
  std::printf(
      "\ngeneral arms (%u, every parameter random): producing joints among the solutions "
      "in %d of %u poses\nsolution counts:",
      kGeneralArms, found, kSamples);
  for (int c = 0; c <= fk_ik::Ik_Max_Solutions; ++c) {
    if (counts[c] > 0) std::printf(" %d: %d", c, counts[c]);
  }
  std::printf("\n");
}
