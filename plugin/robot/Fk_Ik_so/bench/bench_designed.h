// The designed library's timed calls and KDL's counterparts on the same sample arm, over
// one workload built before any timing: the arm in both forms, joint positions away from
// the singular configurations, references 0.1 rad away from them, and the TCP poses they
// reach.
#ifndef FK_IK_SO_BENCH_DESIGNED_H
#define FK_IK_SO_BENCH_DESIGNED_H

#include <benchmark/benchmark.h>

#include <array>
#include <kdl/chain.hpp>
#include <kdl/jntarray.hpp>
#include <vector>

#include "fk_solver_pos_tarvin2_6dof.h"
#include "ik_solver_pos_tarvin2_6dof.h"
#include "robot.h"
#include "test_support.h"

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
  Workload();

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

Workload& workload();

// The exported C functions and the Robot facade (pose vectors with a tool), the solvers'
// flange calls and Jacobians, and KDL's recursive forward kinematics, Jacobian solvers and
// NR_JL inverse; then the C functions' throughput over all threads.
void cFunctionFk(benchmark::State& state);
void robotFk(benchmark::State& state);
void cFunctionIk(benchmark::State& state);
void robotIk(benchmark::State& state);
void fkSolverPosFlange(benchmark::State& state);
void fkSolverPosJacobians(benchmark::State& state);
void fkSolverPosJacobiansDot(benchmark::State& state);
void ikSolverPosFlange(benchmark::State& state);
void kdlFkRecursive(benchmark::State& state);
void kdlJacobian(benchmark::State& state);
void kdlJacobianDot(benchmark::State& state);
void kdlIkNrJl(benchmark::State& state);
void throughputFk(benchmark::State& state);
void throughputIk(benchmark::State& state);

#endif  // FK_IK_SO_BENCH_DESIGNED_H
