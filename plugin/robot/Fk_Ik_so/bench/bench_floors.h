// The floors of the timed operations: the transcendental calls an operation cannot avoid,
// grouped in levels as its data flow orders them (the calls of a level wait on the level
// before and not on each other), timed back to back (every call independent) and chained
// (each level on the one before); the chained time is the floor. The four-lane calls are
// glibc's vector math library where the processor has AVX2 and FMA, as the library takes
// them, else libm four times.
#ifndef FK_IK_SO_BENCH_FLOORS_H
#define FK_IK_SO_BENCH_FLOORS_H

#include <benchmark/benchmark.h>

#include <vector>

// The four-lane functions as the library finds them: glibc's vector math library on a
// processor with AVX2 and FMA, else libm one lane at a time.
struct FourLane {
  FourLane();
  void* sin = nullptr;
  void* cos = nullptr;
  void* atan2 = nullptr;
  bool vector = false;
};
const FourLane& fourLane();

// One level of a floor: how many calls of each kind, each on four lanes (four-lane floors)
// or on one value (scalar floors).
struct Level {
  int sinCos;
  int sin;
  int atan2;
  int sqrt;
};

// A floor: its name, its calls and whether they are four-lane calls.
struct Floor {
  const char* name;
  std::vector<Level> levels;
  bool fourLanes;
};

// The forward pose with a tool, the flange frames and Jacobians, the C inverse and the
// solver's flange inverse.
extern const Floor kForwardPoseFloor;
extern const Floor kJointsFloor;
extern const Floor kInverseFloor;
extern const Floor kInverseFlangeFloor;

// One floor's calls per iteration, over the workload's joint positions.
template <bool Chained>
void floorRun(benchmark::State& state, const Floor* floor);

#endif  // FK_IK_SO_BENCH_FLOORS_H
