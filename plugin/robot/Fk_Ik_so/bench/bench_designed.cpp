#include "bench_designed.h"

#include <cmath>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainiksolverpos_nr_jl.hpp>
#include <kdl/chainiksolvervel_pinv.hpp>
#include <kdl/chainjnttojacdotsolver.hpp>
#include <kdl/chainjnttojacsolver.hpp>
#include <random>

#include "fk_ik_so.h"
#include "jacobian.h"

Workload::Workload()
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

Workload& workload() {
  static Workload w;
  return w;
}

namespace {

const Float64 kToolArray[6] = {kTool.x, kTool.y, kTool.z, kTool.rx, kTool.ry, kTool.rz};

}  // namespace

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
