// Times the library's kinematics beside KDL's own chain solvers on the same arm, in one
// process, and closes with a table of each operation's median time per call and its
// speed-up over the KDL counterpart.
//
// Every operation cycles through the same pre-generated joint positions of the sample
// arm and the poses they reach, so no input is built inside a timed loop.
#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainiksolverpos_nr_jl.hpp>
#include <kdl/chainiksolvervel_pinv.hpp>
#include <kdl/chainjnttojacdotsolver.hpp>
#include <kdl/chainjnttojacsolver.hpp>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "fk_ik_so.h"
#include "fk_solver_pos_tarvin2_6dof.h"
#include "ik_solver_pos_tarvin2_6dof.h"
#include "jacobian.h"
#include "robot.h"
#include "test_support.h"

namespace {

// Inputs are cycled through with a mask: the count is a power of two.
const UInt32 kSamples = 1024;
// Distance of the reference (and of KDL's seed) from the answer, per joint.
const double kSeedOffset = 0.1;

// The tool of every timed call, its angles non-zero so that its frame costs what it may.
const Tool kTool = {0.01, -0.02, 0.15, 0.1, -0.2, 0.3};

// Everything the timed loops read, built once: the arm in both forms, joint positions
// away from the singular configurations, references 0.1 rad away from them, and the
// TCP poses they reach.
struct Workload {
  Workload()
      : records(test_support::makeRecords(test_support::kSampleArm)),
        chain(6, &records),
        fk(&chain),
        ik(&chain),
        kdl(test_support::kdlChain(records)),
        robot(records) {
    init(test_support::kSampleArm);
    kdl.addSegment(KDL::Segment(KDL::Joint(KDL::Joint::None), test_support::toolFrame(kTool)));
    std::mt19937_64 rng(8);
    std::uniform_real_distribution<double> angle(-Pi, Pi);
    std::bernoulli_distribution up;
    while (jnt.size() < kSamples) {
      MathVector q(6), r(6);
      for (UInt32 i = 0; i < 6; ++i) {
        q(i) = angle(rng);
        r(i) = q(i) + (up(rng) ? kSeedOffset : -kSeedOffset);
      }
      // Keep the elbow and the wrist clear of their stretched and folded positions.
      if (std::abs(std::sin(q(2))) < 0.1 || std::abs(std::sin(q(4))) < 0.1) continue;
      KDL::Frame flange;
      fk.jntPosToFlangePos(q, flange);
      const KDL::Frame tcp = flange * test_support::toolFrame(kTool);
      std::array<double, 6> pose = {tcp.p.x(), tcp.p.y(), tcp.p.z(), 0, 0, 0};
      tcp.M.GetRPY(pose[3], pose[4], pose[5]);
      jnt.push_back(q);
      ref.push_back(r);
      MathVector poseVector(6);
      poseVector = pose.data();
      poseVectors.push_back(poseVector);
      jntArrays.push_back({q(0), q(1), q(2), q(3), q(4), q(5)});
      refArrays.push_back({r(0), r(1), r(2), r(3), r(4), r(5)});
      flanges.push_back(flange);
      tcps.push_back(tcp);
      poses.push_back(pose);
      KDL::JntArray kq(6), kr(6);
      for (UInt32 i = 0; i < 6; ++i) {
        kq(i) = q(i);
        kr(i) = r(i);
      }
      kdlJnt.push_back(kq);
      kdlSeed.push_back(kr);
    }
  }

  std::vector<MDH> records;
  Chain_MDH4 chain;
  FkSolverPos_Tarvin2_6Dof fk;
  IkSolverPos_Tarvin2_6Dof ik;
  KDL::Chain kdl;  // the arm with the tool as a last, fixed segment
  std::vector<MathVector> jnt, ref;
  std::vector<KDL::Frame> flanges, tcps;
  std::vector<std::array<double, 6>> poses, jntArrays, refArrays;
  std::vector<MathVector> poseVectors;
  Robot robot;
  std::vector<KDL::JntArray> kdlJnt, kdlSeed;
};

Workload& workload() {
  static Workload w;
  return w;
}

const Float64 kToolArray[6] = {kTool.x, kTool.y, kTool.z, kTool.rx, kTool.ry, kTool.rz};

void cFunctionFk(benchmark::State& state) {
  Workload& w = workload();
  Float64 tcp[6];
  UInt32 k = 0;
  for (auto _ : state) {
    jntPosToTcpPos(w.jntArrays[k++ & (kSamples - 1)].data(), kToolArray, tcp);
    benchmark::DoNotOptimize(tcp);
  }
}

void robotFk(benchmark::State& state) {
  Workload& w = workload();
  MathVector tcp(6);
  UInt32 k = 0;
  for (auto _ : state) {
    w.robot.jntPosToTcpPos(w.jnt[k++ & (kSamples - 1)], kTool, tcp);
    benchmark::DoNotOptimize(tcp);
  }
}

void cFunctionIk(benchmark::State& state) {
  Workload& w = workload();
  Float64 q[6];
  double successes = 0;
  UInt32 k = 0;
  for (auto _ : state) {
    const UInt32 s = k++ & (kSamples - 1);
    successes += tcpPosToJntPos(w.poses[s].data(), kToolArray, w.refArrays[s].data(), q) == 0;
    benchmark::DoNotOptimize(q);
  }
  state.counters["success"] = benchmark::Counter(successes, benchmark::Counter::kAvgIterations);
}

void robotIk(benchmark::State& state) {
  Workload& w = workload();
  MathVector q(6);
  double successes = 0;
  UInt32 k = 0;
  for (auto _ : state) {
    const UInt32 s = k++ & (kSamples - 1);
    successes += w.robot.tcpPosToJntPos(w.poseVectors[s], kTool, w.ref[s], q) == 0;
    benchmark::DoNotOptimize(q);
  }
  state.counters["success"] = benchmark::Counter(successes, benchmark::Counter::kAvgIterations);
}

void fkSolverPosFlange(benchmark::State& state) {
  Workload& w = workload();
  KDL::Frame flange;
  UInt32 k = 0;
  for (auto _ : state) {
    w.fk.jntPosToFlangePos(w.jnt[k++ & (kSamples - 1)], flange);
    benchmark::DoNotOptimize(flange);
  }
}

void fkSolverPosJacobians(benchmark::State& state) {
  Workload& w = workload();
  MathJacobian jacobian(6, 6);
  UInt32 k = 0;
  for (auto _ : state) {
    w.fk.jntPosToJacobians(w.jnt[k++ & (kSamples - 1)], kTool, jacobian);
    benchmark::DoNotOptimize(jacobian);
  }
}

// The joint velocity is the reference position, as in KDL's row below.
void fkSolverPosJacobiansDot(benchmark::State& state) {
  Workload& w = workload();
  MathJacobian jacobian(6, 6), jacobianDot(6, 6);
  UInt32 k = 0;
  for (auto _ : state) {
    const UInt32 s = k++ & (kSamples - 1);
    w.fk.jntPosToJacobiansDot(w.jnt[s], w.ref[s], kTool, jacobian, jacobianDot);
    benchmark::DoNotOptimize(jacobian);
    benchmark::DoNotOptimize(jacobianDot);
  }
}

void ikSolverPosFlange(benchmark::State& state) {
  Workload& w = workload();
  MathVector q(6);
  const Int32 mode = -1;
  double successes = 0;
  UInt32 k = 0;
  for (auto _ : state) {
    const UInt32 s = k++ & (kSamples - 1);
    successes += w.ik.flangePosToJntPos(w.flanges[s], w.ref[s], q, mode, 0.0) == 0;
    benchmark::DoNotOptimize(q);
  }
  state.counters["success"] = benchmark::Counter(successes, benchmark::Counter::kAvgIterations);
}

void kdlFkRecursive(benchmark::State& state) {
  Workload& w = workload();
  KDL::ChainFkSolverPos_recursive solver(w.kdl);
  KDL::Frame tcp;
  double rpy[3];
  UInt32 k = 0;
  for (auto _ : state) {
    solver.JntToCart(w.kdlJnt[k++ & (kSamples - 1)], tcp);
    tcp.M.GetRPY(rpy[0], rpy[1], rpy[2]);
    benchmark::DoNotOptimize(tcp);
    benchmark::DoNotOptimize(rpy);
  }
}

void kdlJacobian(benchmark::State& state) {
  Workload& w = workload();
  KDL::ChainJntToJacSolver solver(w.kdl);
  KDL::Jacobian jacobian(6);
  UInt32 k = 0;
  for (auto _ : state) {
    solver.JntToJac(w.kdlJnt[k++ & (kSamples - 1)], jacobian);
    benchmark::DoNotOptimize(jacobian.data.data());
  }
}

void kdlJacobianDot(benchmark::State& state) {
  Workload& w = workload();
  KDL::ChainJntToJacDotSolver solver(w.kdl);
  KDL::Jacobian jacobianDot(6);
  std::vector<KDL::JntArrayVel> inputs;
  for (UInt32 k = 0; k < kSamples; ++k) inputs.emplace_back(w.kdlJnt[k], w.kdlSeed[k]);
  UInt32 k = 0;
  for (auto _ : state) {
    solver.JntToJacDot(inputs[k++ & (kSamples - 1)], jacobianDot);
    benchmark::DoNotOptimize(jacobianDot.data.data());
  }
}

void kdlIkNrJl(benchmark::State& state) {
  Workload& w = workload();
  KDL::JntArray qMin(6), qMax(6);
  for (UInt32 i = 0; i < 6; ++i) {
    qMin(i) = -2 * Pi;
    qMax(i) = 2 * Pi;
  }
  KDL::ChainFkSolverPos_recursive fk(w.kdl);
  KDL::ChainIkSolverVel_pinv vel(w.kdl);
  KDL::ChainIkSolverPos_NR_JL solver(w.kdl, qMin, qMax, fk, vel);
  KDL::JntArray q(6);
  double successes = 0;
  UInt32 k = 0;
  for (auto _ : state) {
    const UInt32 s = k++ & (kSamples - 1);
    successes += solver.CartToJnt(w.kdlSeed[s], w.tcps[s], q) >= 0;
    benchmark::DoNotOptimize(q.data.data());
  }
  state.counters["success"] = benchmark::Counter(successes, benchmark::Counter::kAvgIterations);
}

// One timed operation, and the KDL operation that does the same work (empty for KDL's
// own rows).
struct Operation {
  const char* name;
  void (*run)(benchmark::State&);
  const char* peer;
};

const Operation kOperations[] = {
    {"fk/C jntPosToTcpPos", cFunctionFk, "fk/KDL recursive+GetRPY"},
    {"fk/Robot jntPosToTcpPos", robotFk, "fk/KDL recursive+GetRPY"},
    {"fk/FkSolverPos flange", fkSolverPosFlange, "fk/KDL recursive+GetRPY"},
    {"fk/KDL recursive+GetRPY", kdlFkRecursive, ""},
    {"jacobian/FkSolverPos jntPosToJacobians", fkSolverPosJacobians,
     "jacobian/KDL ChainJntToJacSolver"},
    {"jacobian/KDL ChainJntToJacSolver", kdlJacobian, ""},
    {"jacobianDot/FkSolverPos jntPosToJacobiansDot", fkSolverPosJacobiansDot,
     "jacobianDot/KDL ChainJntToJacDotSolver"},
    {"jacobianDot/KDL ChainJntToJacDotSolver", kdlJacobianDot, ""},
    {"ik/C tcpPosToJntPos", cFunctionIk, "ik/KDL NR_JL"},
    {"ik/Robot tcpPosToJntPos", robotIk, "ik/KDL NR_JL"},
    {"ik/IkSolverPos flangePosToJntPos", ikSolverPosFlange, "ik/KDL NR_JL"},
    {"ik/KDL NR_JL", kdlIkNrJl, ""},
};

// The console output, plus each operation's median CPU time and success share.
class TableReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "median") continue;
      Median& median = medians_[run.run_name.function_name];
      median.nanoseconds = run.GetAdjustedCPUTime();
      const auto success = run.counters.find("success");
      median.success = success == run.counters.end() ? -1.0 : success->second.value;
    }
  }

  void printTable() const {
    std::printf("\n%-46s %12s %10s  %s\n", "operation", "median ns", "success", "KDL / this");
    for (const Operation& op : kOperations) {
      const auto median = medians_.find(op.name);
      if (median == medians_.end()) continue;
      std::printf("%-46s %12.1f", op.name, median->second.nanoseconds);
      if (median->second.success >= 0) {
        std::printf(" %9.1f%%", 100.0 * median->second.success);
      } else {
        std::printf(" %10s", "");
      }
      const auto peer = medians_.find(op.peer);
      if (peer != medians_.end()) {
        std::printf("  %6.1f x (%s)", peer->second.nanoseconds / median->second.nanoseconds,
                    op.peer);
      }
      std::printf("\n");
    }
  }

 private:
  struct Median {
    double nanoseconds;
    double success;
  };
  std::map<std::string, Median> medians_;
};

}  // namespace

int main(int argc, char** argv) {
  workload();
  for (const Operation& op : kOperations) {
    benchmark::RegisterBenchmark(op.name, op.run)
        ->Unit(benchmark::kNanosecond)
        ->MinTime(0.2)
        ->Repetitions(9)
        ->ReportAggregatesOnly(true);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.printTable();
  benchmark::Shutdown();
  return 0;
}
