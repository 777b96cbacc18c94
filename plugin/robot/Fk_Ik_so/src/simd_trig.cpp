#include "simd_trig.h"

#include <immintrin.h>

#include <cmath>

// clang (14) cannot make these calls: it refuses them as they stand, and with a target
// attribute on the declarations it passes the 256-bit arguments in memory, not in the AVX
// registers the vector math library reads (atan2x4 then gets wrong lanes). Its builds,
// such as the fuzz build, take the scalar path.
#if defined(__clang__)
#define FK_IK_SO_VECTOR_MATH 0
#else
#define FK_IK_SO_VECTOR_MATH 1
#endif

#if FK_IK_SO_VECTOR_MATH
// glibc's vector math library, four doubles per call in AVX registers.
extern "C" __m256d _ZGVdN4v_sin(__m256d x);
extern "C" __m256d _ZGVdN4v_cos(__m256d x);
extern "C" __m256d _ZGVdN4vv_atan2(__m256d y, __m256d x);

namespace {

const bool hasAvx2 = [] {
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") != 0;
}();

// The four lanes gathered element by element: the callers have just written them one
// by one, and a wide load of such fresh narrow stores waits until they reach the cache.
// The empty asm statements keep the compiler from merging the narrow loads again.
__attribute__((target("avx2"))) inline __m256d lanes(const Float64* x) {
  Float64 v0 = x[0], v1 = x[1], v2 = x[2], v3 = x[3];
  asm("" : "+x"(v0), "+x"(v1), "+x"(v2), "+x"(v3));
  return _mm256_set_pd(v3, v2, v1, v0);
}

__attribute__((target("avx2"))) Void sinCos4Avx2(const Float64* x, Float64* s, Float64* c) {
  const __m256d v = lanes(x);
  _mm256_storeu_pd(s, _ZGVdN4v_sin(v));
  _mm256_storeu_pd(c, _ZGVdN4v_cos(v));
}

__attribute__((target("avx2"))) Void sin4Avx2(const Float64* x, Float64* s) {
  _mm256_storeu_pd(s, _ZGVdN4v_sin(lanes(x)));
}

__attribute__((target("avx2"))) Void atan2x4Avx2(const Float64* y, const Float64* x, Float64* out) {
  _mm256_storeu_pd(out, _ZGVdN4vv_atan2(lanes(y), lanes(x)));
}

}  // namespace
#endif

Void sinCos4(const Float64* x, Float64* s, Float64* c) {
#if FK_IK_SO_VECTOR_MATH
  if (hasAvx2) return sinCos4Avx2(x, s, c);
#endif
  for (int i = 0; i < 4; ++i) {
    s[i] = std::sin(x[i]);
    c[i] = std::cos(x[i]);
  }
}

Void sin4(const Float64* x, Float64* s) {
#if FK_IK_SO_VECTOR_MATH
  if (hasAvx2) return sin4Avx2(x, s);
#endif
  for (int i = 0; i < 4; ++i) s[i] = std::sin(x[i]);
}

Void atan2x4(const Float64* y, const Float64* x, Float64* out) {
#if FK_IK_SO_VECTOR_MATH
  if (hasAvx2) return atan2x4Avx2(y, x, out);
#endif
  for (int i = 0; i < 4; ++i) out[i] = std::atan2(y[i], x[i]);
}
