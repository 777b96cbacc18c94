#include "simd_trig.h"

// The vector path needs x86-64 and GCC. clang (14) cannot make these calls: with a target
// attribute it passes the 256-bit arguments in memory, not in the AVX registers the vector
// math library reads. FK_IK_VECTOR_MATH=0 (the build option) switches the path off anywhere.
#if !defined(FK_IK_VECTOR_MATH)
#define FK_IK_VECTOR_MATH 1
#endif
#if FK_IK_VECTOR_MATH && defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__)
#define FK_IK_SO_VECTOR_PATH 1
#else
#define FK_IK_SO_VECTOR_PATH 0
#endif

#if FK_IK_SO_VECTOR_PATH
#include <dlfcn.h>
#include <immintrin.h>

// dlopen and dlsym moved from libdl into libc in glibc 2.34 under a new symbol version;
// binding to their first version keeps the library loadable on older glibc, where they
// come from libdl (linked for that reason).
#if defined(__GLIBC__)
__asm__(".symver dlopen,dlopen@GLIBC_2.2.5");
__asm__(".symver dlsym,dlsym@GLIBC_2.2.5");
#endif

namespace {

// glibc's vector math library, four doubles per call in AVX registers. The addresses are
// kept untyped here: a function type with 256-bit vectors may only be spelled where AVX
// is enabled, that is inside the functions below.
struct VectorLibrary {
  void* sin = nullptr;
  void* cos = nullptr;
  void* atan2 = nullptr;
  Bool found = false;
};

// Looked up once, while the library is loaded. The AVX2 variants need AVX2 and FMA; the
// library (libmvec.so.1) is on every glibc since 2.22, its atan2 since 2.35. Anything
// missing leaves libm in charge. The handle is kept for the life of the process.
const VectorLibrary vectorLibrary = [] {
  VectorLibrary v;
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2") == 0 || __builtin_cpu_supports("fma") == 0) return v;
  void* const handle = dlopen("libmvec.so.1", RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) return v;
  v.sin = dlsym(handle, "_ZGVdN4v_sin");
  v.cos = dlsym(handle, "_ZGVdN4v_cos");
  v.atan2 = dlsym(handle, "_ZGVdN4vv_atan2");
  v.found = v.sin != nullptr && v.cos != nullptr && v.atan2 != nullptr;
  return v;
}();

// The four lanes gathered element by element: the callers have just written them one
// by one, and a wide load of such fresh narrow stores waits until they reach the cache.
// The empty asm statements keep the compiler from merging the narrow loads again.
__attribute__((target("avx2"))) inline __m256d lanes(const Float64* x) {
  Float64 v0 = x[0], v1 = x[1], v2 = x[2], v3 = x[3];
  asm("" : "+x"(v0), "+x"(v1), "+x"(v2), "+x"(v3));
  return _mm256_set_pd(v3, v2, v1, v0);
}

__attribute__((target("avx2"))) inline __m256d call(void* f, __m256d x) {
  return reinterpret_cast<__m256d (*)(__m256d)>(f)(x);
}

__attribute__((target("avx2"))) inline __m256d call(void* f, __m256d y, __m256d x) {
  return reinterpret_cast<__m256d (*)(__m256d, __m256d)>(f)(y, x);
}

}  // namespace

#if defined(FK_IK_LIBM_SWITCH)
// Only in the agreement test's own build of these sources: lets it force the libm path, and
// change the vector results (v, of arguments x and y) as a less accurate library might.
Bool simdTrigLibmOnly = false;
Void (*simdTrigAfterCall)(Float64* v, const Float64* x, const Float64* y) = nullptr;

inline Void afterCall(Float64* v, const Float64* x, const Float64* y = nullptr) {
  if (simdTrigAfterCall != nullptr) simdTrigAfterCall(v, x, y);
}
#else
inline Void afterCall(Float64*, const Float64*, const Float64* = nullptr) {}
#endif

// MXCSR bits 6 to 15: denormals-are-zero, the six exception masks, the rounding control
// and flush-to-zero. 0x1F80 is the state a process starts in.
Bool VectorTrig::usable() {
#if defined(FK_IK_LIBM_SWITCH)
  if (simdTrigLibmOnly) return false;
#endif
  return vectorLibrary.found && (__builtin_ia32_stmxcsr() & 0xFFC0u) == 0x1F80u;
}

__attribute__((target("avx2"))) Void VectorTrig::sinCos4(const Float64* x, Float64* s, Float64* c) {
  const __m256d v = lanes(x);
  _mm256_storeu_pd(s, call(vectorLibrary.sin, v));
  _mm256_storeu_pd(c, call(vectorLibrary.cos, v));
  afterCall(s, x);
  afterCall(c, x, s);
}

__attribute__((target("avx2"))) Void VectorTrig::sin4(const Float64* x, Float64* s) {
  _mm256_storeu_pd(s, call(vectorLibrary.sin, lanes(x)));
  afterCall(s, x);
}

__attribute__((target("avx2"))) Void VectorTrig::atan2x4(const Float64* y, const Float64* x,
                                                         Float64* out) {
  _mm256_storeu_pd(out, call(vectorLibrary.atan2, lanes(y), lanes(x)));
  afterCall(out, y, x);
}

#else

// No vector path in this build: never usable, and the functions, never reached, are libm's.
Bool VectorTrig::usable() {
  return false;
}

Void VectorTrig::sinCos4(const Float64* x, Float64* s, Float64* c) {
  LibmTrig::sinCos4(x, s, c);
}

Void VectorTrig::sin4(const Float64* x, Float64* s) {
  LibmTrig::sin4(x, s);
}

Void VectorTrig::atan2x4(const Float64* y, const Float64* x, Float64* out) {
  LibmTrig::atan2x4(y, x, out);
}

#endif
