#include "bench_floors.h"

#include <dlfcn.h>
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#include <immintrin.h>
#endif

#include <cmath>

#include "bench_designed.h"

FourLane::FourLane() {
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

const FourLane& fourLane() {
  static const FourLane f;
  return f;
}

namespace {

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
}  // namespace

// The forward pose with a tool: a sine and cosine per joint and per tool angle, then
// GetRPY's arc tangents (its pitch after a square root).
const Floor kForwardPoseFloor = {
    "floor/fk pose: 9 sincos, sqrt, 3 atan2", {{9, 0, 0, 0}, {0, 0, 2, 1}, {0, 0, 1, 0}}, false};
// The flange frames and the Jacobians, which need the TCP's origin only: the joints' sines
// and cosines, none of the tool's.
const Floor kJointsFloor = {"floor/flange, jacobians: 6 sincos", {{6, 0, 0, 0}}, false};
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

template void floorRun<false>(benchmark::State& state, const Floor* floor);
template void floorRun<true>(benchmark::State& state, const Floor* floor);
