// Times the library's kinematics beside KDL's own chain solvers on the same arm, in one
// process (bench_designed.h, bench_arm.h), and closes with a table of each operation's
// median time per call, its ratio to the operation's floor (bench_floors.h) and its
// speed-up over the KDL counterpart, any arm's every-solution rows against the designed
// eight candidates, then the throughput of the exported functions on one and two threads.
// Every operation cycles through pre-generated inputs, so no input is built inside a
// timed loop.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "bench_arm.h"
#include "bench_designed.h"
#include "bench_floors.h"

namespace {

// One timed operation, the KDL operation that does the same work (empty for KDL's own
// rows) and its floor (none for KDL's rows and for the floors themselves).
struct Operation {
  const char* name;
  void (*run)(benchmark::State&);
  const char* peer;
  const Floor* floor;
};

const Operation kOperations[] = {
    {"fk/C jntPosToTcpPos", cFunctionFk, "fk/KDL recursive+GetRPY", &kForwardPoseFloor},
    {"fk/Robot jntPosToTcpPos", robotFk, "fk/KDL recursive+GetRPY", &kForwardPoseFloor},
    {"fk/FkSolverPos flange", fkSolverPosFlange, "", &kJointsFloor},
    // Any arm: the last column is the designed call's time over this one's.
    {"fk/Arm flangeFrame", armFlange, "fk/FkSolverPos flange", &kJointsFloor},
    {"fk/C armJntPosToTcpPos", armCTcpPos, "fk/C jntPosToTcpPos", &kForwardPoseFloor},
    {"fk/KDL recursive+GetRPY", kdlFkRecursive, "", &kForwardPoseFloor},
    {"jacobian/FkSolverPos jntPosToJacobians", fkSolverPosJacobians,
     "jacobian/KDL ChainJntToJacSolver", &kJointsFloor},
    {"jacobian/KDL ChainJntToJacSolver", kdlJacobian, "", &kJointsFloor},
    {"jacobian/Arm jacobian", armJacobian, "jacobian/KDL ChainJntToJacSolver", &kJointsFloor},
    {"jacobianDot/FkSolverPos jntPosToJacobiansDot", fkSolverPosJacobiansDot,
     "jacobianDot/KDL ChainJntToJacDotSolver", &kJointsFloor},
    {"jacobianDot/KDL ChainJntToJacDotSolver", kdlJacobianDot, "", &kJointsFloor},
    {"jacobianDot/Arm jacobianDot", armJacobianDot, "jacobianDot/KDL ChainJntToJacDotSolver",
     &kJointsFloor},
    {"ik/C tcpPosToJntPos", cFunctionIk, "ik/KDL NR_JL", &kInverseFloor},
    {"ik/Robot tcpPosToJntPos", robotIk, "ik/KDL NR_JL", &kInverseFloor},
    {"ik/IkSolverPos flangePosToJntPos", ikSolverPosFlange, "ik/KDL NR_JL", &kInverseFlangeFloor},
    {"ik/KDL NR_JL", kdlIkNrJl, "", nullptr},
    // Every solution: the last column is the designed eight candidates' time over this one's.
    {"ik all/IkSolverPos flangePosToAllJntPos", designedAllCandidates, "", nullptr},
    {"ik all/armIkAll, designed form", armIkAllDirect, "ik all/IkSolverPos flangePosToAllJntPos",
     nullptr},
    {"ik all/armIkAll, spherical wrist", armIkAllSphericalWrist,
     "ik all/IkSolverPos flangePosToAllJntPos", nullptr},
    {"ik all/armIkAll, refined (1e-3 rad off)", armIkAllRefined,
     "ik all/IkSolverPos flangePosToAllJntPos", nullptr},
    {"ik all/armIkAll, general (elimination)", armIkAllGeneral,
     "ik all/IkSolverPos flangePosToAllJntPos", nullptr},
    {"ik all/armIkByElimination, 1e-3 rad off", armIkByEliminationNear,
     "ik all/IkSolverPos flangePosToAllJntPos", nullptr},
};
const char* const kDesignedAll = "ik all/IkSolverPos flangePosToAllJntPos";

const Floor* const kFloors[] = {&kForwardPoseFloor, &kJointsFloor, &kInverseFloor,
                                &kInverseFlangeFloor};

std::string backToBackName(const Floor& f) {
  return std::string(f.name) + " back to back";
}
std::string chainedName(const Floor& f) {
  return std::string(f.name) + " chained";
}

// The console output, plus each operation's median CPU time and success share, and the
// throughput rows' calls per second.
class TableReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Aggregate || run.aggregate_name != "median") continue;
      const std::string& name = run.run_name.function_name;
      if (name.rfind("throughput/", 0) == 0) {
        const auto rate = run.counters.find("items_per_second");
        if (rate != run.counters.end()) throughput_[{name, run.threads}] = rate->second.value;
        continue;
      }
      Median& median = medians_[name];
      median.nanoseconds = run.GetAdjustedCPUTime();
      const auto success = run.counters.find("success");
      median.success = success == run.counters.end() ? -1.0 : success->second.value;
    }
  }

  void printTable() const {
    std::printf("\nfour-lane calls: %s\n", fourLane().vector ? "glibc's vector math library (AVX2)"
                                                             : "libm, one lane at a time");
    std::printf("\n%-48s %12s %12s\n", "floor", "back to back", "chained");
    for (const Floor* f : kFloors) {
      const auto a = medians_.find(backToBackName(*f));
      const auto b = medians_.find(chainedName(*f));
      if (a == medians_.end() || b == medians_.end()) continue;
      std::printf("%-48s %12.1f %12.1f\n", f->name, a->second.nanoseconds, b->second.nanoseconds);
    }
    std::printf("\n%-46s %10s %8s %8s %10s  %s\n", "operation", "median ns", "floor ns", "x floor",
                "success", "KDL / this");
    for (const Operation& op : kOperations) {
      const auto median = medians_.find(op.name);
      if (median == medians_.end()) continue;
      std::printf("%-46s %10.1f", op.name, median->second.nanoseconds);
      const auto floor = op.floor ? medians_.find(chainedName(*op.floor)) : medians_.end();
      if (floor != medians_.end()) {
        std::printf(" %8.1f %8.2f", floor->second.nanoseconds,
                    median->second.nanoseconds / floor->second.nanoseconds);
      } else {
        std::printf(" %8s %8s", "", "");
      }
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
    // Any arm's every solution against the designed eight candidates of the same run.
    const auto designed = medians_.find(kDesignedAll);
    if (designed != medians_.end()) {
      std::printf("\n%-46s %10s\n", "every solution", "x designed");
      for (const Operation& op : kOperations) {
        const auto median = medians_.find(op.name);
        if (median == medians_.end() || std::string(op.peer) != kDesignedAll) continue;
        std::printf("%-46s %10.1f\n", op.name,
                    median->second.nanoseconds / designed->second.nanoseconds);
      }
    }
    std::printf("\n%-46s %14s %14s\n", "throughput (calls/s)", "1 thread", "2 threads");
    for (const char* name : {"throughput/C jntPosToTcpPos", "throughput/C tcpPosToJntPos"}) {
      const auto one = throughput_.find({name, 1});
      const auto two = throughput_.find({name, 2});
      if (one == throughput_.end() || two == throughput_.end()) continue;
      std::printf("%-46s %14.3g %14.3g\n", name, one->second, two->second);
    }
  }

 private:
  struct Median {
    double nanoseconds;
    double success;
  };
  std::map<std::string, Median> medians_;
  std::map<std::pair<std::string, int>, double> throughput_;
};

}  // namespace

int main(int argc, char** argv) {
  workload();
  fourLane();
  for (const Floor* f : kFloors) {
    for (const bool chained : {false, true}) {
      benchmark::RegisterBenchmark((chained ? chainedName(*f) : backToBackName(*f)).c_str(),
                                   chained ? floorRun<true> : floorRun<false>, f)
          ->Unit(benchmark::kNanosecond)
          ->MinTime(0.2)
          ->Repetitions(9)
          ->ReportAggregatesOnly(true);
    }
  }
  for (const Operation& op : kOperations) {
    benchmark::RegisterBenchmark(op.name, op.run)
        ->Unit(benchmark::kNanosecond)
        ->MinTime(0.2)
        ->Repetitions(9)
        ->ReportAggregatesOnly(true);
  }
  for (const auto& t : {std::make_pair("throughput/C jntPosToTcpPos", throughputFk),
                        std::make_pair("throughput/C tcpPosToJntPos", throughputIk)}) {
    benchmark::RegisterBenchmark(t.first, t.second)
        ->Unit(benchmark::kNanosecond)
        ->MinTime(0.2)
        ->Repetitions(5)
        ->ReportAggregatesOnly(true)
        ->UseRealTime()
        ->Threads(1)
        ->Threads(2);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.printTable();
  printGeneralCompleteness();
  benchmark::Shutdown();
  return 0;
}
