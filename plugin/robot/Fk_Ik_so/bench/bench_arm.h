// The timed calls of arms of any six revolute joints, registered by bench_kinematics.cpp
// beside the designed solvers' so that their ratios come from one run.
#ifndef FK_IK_SO_BENCH_ARM_H
#define FK_IK_SO_BENCH_ARM_H

#include <benchmark/benchmark.h>

// The sample arm as any arm (joint senses, a turned base and a flange frame): its flange,
// the tool centre point through the C handle, the Jacobian and dJ/dt.
void armFlange(benchmark::State& state);
void armCTcpPos(benchmark::State& state);
void armJacobian(benchmark::State& state);
void armJacobianDot(benchmark::State& state);
// Every inverse solution: the designed solver's eight candidates of the sample arm, and any
// arm's inverse of the same arm (its own closed form), of a spherical-wrist arm, and of the
// sample arm with one axis 1e-3 rad off (the idealised arm's candidates refined). Each
// cycles through the poses of the pre-generated joints.
void designedAllCandidates(benchmark::State& state);
void armIkAllDirect(benchmark::State& state);
void armIkAllSphericalWrist(benchmark::State& state);
void armIkAllRefined(benchmark::State& state);
// Elimination: arms with every parameter random (sixteen, in turn), and the 1e-3 rad arm
// unrefined.
void armIkAllGeneral(benchmark::State& state);
void armIkByEliminationNear(benchmark::State& state);
// How often the general arms' producing joints are among their solutions, and the
// solution counts, over the same poses.
void printGeneralCompleteness();

#endif  // FK_IK_SO_BENCH_ARM_H
