// Times the library's kinematics beside KDL's own chain solvers on the same arm, in one
// process, and closes with a table of each operation's median time per call, its ratio to
// the operation's floor and its speed-up over the KDL counterpart, then the throughput of
// the exported functions on one and two threads.
//
// The floor of an operation is the cost of the transcendental calls it cannot avoid, timed
// in the same run: the bare libm calls (sincos, atan2, sqrt) of the forward kinematics and
// the four-lane calls of the inverse (glibc's vector math library where the processor has
// AVX2 and FMA, as the library takes it, else libm four times). The calls are grouped in
// levels as the operation's data flow orders them: the calls of a level wait on the level
// before and not on each other. Each floor is timed twice: every call independent (back to
// back) and levels chained; the chained time is the floor.
//
// Every operation cycles through the same pre-generated joint positions of the sample
// arm and the poses they reach, so no input is built inside a timed loop.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#include <immintrin.h>
#endif

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

#include "bench_arm.h"
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
      : records(test_support::makeRecords(host_support::SampleArm)),
        chain(6, &records),
        fk(&chain),
        ik(&chain),
        kdl(test_support::kdlChain(records)),
        robot(records) {
    init(host_support::SampleArm);
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

// The floors.

// The four-lane functions as the library finds them: glibc's vector math library on a
// processor with AVX2 and FMA, else libm one lane at a time.
struct FourLane {
  FourLane() {
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2") == 0 || __builtin_cpu_supports("fma") == 0) return;
    void* const handle = dlopen("libmvec.so.1", RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) return;
    sin = dlsym(handle, "_ZGVdN4v_sin");
    cos = dlsym(handle, "_ZGVdN4v_cos");
    atan2 = dlsym(handle, "_ZGVdN4vv_atan2");
    vector = sin != nullptr && cos != nullptr && atan2 != nullptr;
#endif
  }
  void* sin = nullptr;
  void* cos = nullptr;
  void* atan2 = nullptr;
  bool vector = false;
};

const FourLane& fourLane() {
  static const FourLane f;
  return f;
}

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
// The lanes gathered one by one, as the library does: a wide load of freshly written narrow
// stores would wait for them to reach the cache.
__attribute__((target("avx2"))) inline __m256d lanes(const double* x) {
  double v0 = x[0], v1 = x[1], v2 = x[2], v3 = x[3];
  asm("" : "+x"(v0), "+x"(v1), "+x"(v2), "+x"(v3));
  return _mm256_set_pd(v3, v2, v1, v0);
}
__attribute__((target("avx2"))) void vectorSinCos4(const double* x, double* s, double* c) {
  const __m256d v = lanes(x);
  _mm256_storeu_pd(s, reinterpret_cast<__m256d (*)(__m256d)>(fourLane().sin)(v));
  _mm256_storeu_pd(c, reinterpret_cast<__m256d (*)(__m256d)>(fourLane().cos)(v));
}
__attribute__((target("avx2"))) void vectorSin4(const double* x, double* s) {
  _mm256_storeu_pd(s, reinterpret_cast<__m256d (*)(__m256d)>(fourLane().sin)(lanes(x)));
}
__attribute__((target("avx2"))) void vectorAtan2x4(const double* y, const double* x, double* out) {
  _mm256_storeu_pd(
      out, reinterpret_cast<__m256d (*)(__m256d, __m256d)>(fourLane().atan2)(lanes(y), lanes(x)));
}
#endif

void sinCos4(const double* x, double* s, double* c) {
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
  if (fourLane().vector) return vectorSinCos4(x, s, c);
#endif
  for (int i = 0; i < 4; ++i) {
    s[i] = std::sin(x[i]);
    c[i] = std::cos(x[i]);
  }
}

void sin4(const double* x, double* s) {
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
  if (fourLane().vector) return vectorSin4(x, s);
#endif
  for (int i = 0; i < 4; ++i) s[i] = std::sin(x[i]);
}

void atan2x4(const double* y, const double* x, double* out) {
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
  if (fourLane().vector) return vectorAtan2x4(y, x, out);
#endif
  for (int i = 0; i < 4; ++i) out[i] = std::atan2(y[i], x[i]);
}

// One level of a floor: how many calls of each kind, each on four lanes (four-lane floors)
// or on one value (scalar floors).
struct Level {
  int sinCos;
  int sin;
  int atan2;
  int sqrt;
};

// Runs the calls of the levels once. Inputs are angles of a sample (a few radians). With
// chained true every call of a level takes its arguments from the first result of the level
// before (plus the sample, so that they stay angles); else all take the sample's.
template <bool FourLanes>
double runLevels(const std::vector<Level>& levels, const double* sample, bool chained) {
  double carry[4] = {0, 0, 0, 0}, sink = 0;
  for (const Level& level : levels) {
    double x[4], y[4], out[4] = {0, 0, 0, 0}, other[4];
    for (int i = 0; i < 4; ++i) {
      x[i] = sample[i] + (chained ? carry[i] : 0.0);
      y[i] = sample[i + 1] + 0.5;
    }
    bool first = true;
    auto take = [&](const double* result) {
      for (int i = 0; i < 4; ++i) (first ? out : other)[i] = result[i];
      if (!first) sink += other[0];
      first = false;
    };
    // Each call of a level gets arguments of its own (the lanes shifted by 0.1 per call), so
    // that no two calls can be merged.
    double s[4] = {0, 0, 0, 0}, c[4] = {0, 0, 0, 0}, a[4];
    int call = 0;
    auto shifted = [&]() {
      for (int i = 0; i < 4; ++i) a[i] = x[i] + 0.1 * call;
      ++call;
      return a;
    };
    for (int n = 0; n < level.sqrt; ++n) {
      const double* v = shifted();
      for (int i = 0; i < (FourLanes ? 1 : 4); ++i) s[i] = std::sqrt(std::fabs(v[i]) + 1.0);
      take(s);
    }
    for (int n = 0; n < level.sinCos; ++n) {
      const double* v = shifted();
      if (FourLanes) {
        sinCos4(v, s, c);
      } else {
        s[0] = std::sin(v[0]);
        c[0] = std::cos(v[0]);
      }
      s[0] += c[0];
      take(s);
    }
    for (int n = 0; n < level.sin; ++n) {
      const double* v = shifted();
      if (FourLanes) {
        sin4(v, s);
      } else {
        s[0] = std::sin(v[0]);
      }
      take(s);
    }
    for (int n = 0; n < level.atan2; ++n) {
      const double* v = shifted();
      if (FourLanes) {
        atan2x4(y, v, s);
      } else {
        s[0] = std::atan2(y[0], v[0]);
      }
      take(s);
    }
    for (int i = 0; i < 4; ++i) carry[i] = out[i];
  }
  return sink + carry[0];
}

// A floor: its name, its calls and whether they are four-lane calls.
struct Floor {
  const char* name;
  std::vector<Level> levels;
  bool fourLanes;
};

// The forward pose with a tool: a sine and cosine per joint and per tool angle, then
// GetRPY's arc tangents (its pitch after a square root).
const Floor kForwardPoseFloor = {
    "floor/fk pose: 9 sincos, sqrt, 3 atan2", {{9, 0, 0, 0}, {0, 0, 2, 1}, {0, 0, 1, 0}}, false};
// The flange frames and the Jacobians, which need the TCP's origin only: the joints' sines
// and cosines, none of the tool's.
const Floor kJointsFloor = {"floor/flange, jacobians: 6 sincos", {{6, 0, 0, 0}}, false};
// The inverse: the pose's and the tool's angles with the reference's five sines, then the
// chain of joint 0, joints 4 and 5, the planar arm and the candidates' mode sines, with the
// square roots of L, 1 - x^2 and D in between.
const std::vector<Level> kInverseLevels = {{0, 0, 0, 1}, {0, 0, 1, 0}, {1, 0, 0, 0}, {0, 0, 0, 2},
                                           {0, 0, 2, 0}, {1, 0, 0, 0}, {1, 0, 0, 0}, {0, 0, 2, 0},
                                           {0, 0, 0, 4}, {0, 0, 2, 0}, {2, 0, 0, 0}, {0, 0, 2, 0},
                                           {0, 6, 0, 0}};
Floor inverseFloor(bool withPoseAndTool) {
  Floor f = {withPoseAndTool ? "floor/ik C: four-lane chain of 13 levels"
                             : "floor/ik flange: four-lane chain of 13 levels",
             kInverseLevels, true};
  f.levels.front() = {withPoseAndTool ? 2 : 0, 2, 0, 1};
  return f;
}
const Floor kInverseFloor = inverseFloor(true);
const Floor kInverseFlangeFloor = inverseFloor(false);

template <bool Chained>
void floorRun(benchmark::State& state, const Floor* floor) {
  Workload& w = workload();
  UInt32 k = 0;
  double sink = 0;
  for (auto _ : state) {
    const double* sample = w.jntArrays[k++ & (kSamples - 1)].data();
    sink += floor->fourLanes ? runLevels<true>(floor->levels, sample, Chained)
                             : runLevels<false>(floor->levels, sample, Chained);
  }
  benchmark::DoNotOptimize(sink);
}

// Throughput of the exported functions: calls per second over all threads.
void throughputFk(benchmark::State& state) {
  Workload& w = workload();
  Float64 tcp[6];
  UInt32 k = static_cast<UInt32>(state.thread_index()) * 97;
  for (auto _ : state) {
    jntPosToTcpPos(w.jntArrays[k++ & (kSamples - 1)].data(), kToolArray, tcp);
    benchmark::DoNotOptimize(tcp);
  }
  state.SetItemsProcessed(state.iterations());
}

void throughputIk(benchmark::State& state) {
  Workload& w = workload();
  Float64 q[6];
  UInt32 k = static_cast<UInt32>(state.thread_index()) * 97;
  for (auto _ : state) {
    const UInt32 s = k++ & (kSamples - 1);
    tcpPosToJntPos(w.poses[s].data(), kToolArray, w.refArrays[s].data(), q);
    benchmark::DoNotOptimize(q);
  }
  state.SetItemsProcessed(state.iterations());
}

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
