// Sines, cosines and arc tangents of four doubles at a time, for the inverse solver's
// candidates and the facade's pose frames.
//
// Two sets of the same three functions:
//   LibmTrig    libm's scalar functions, one lane at a time: the reference answer;
//   VectorTrig  glibc's vector math library (AVX2, four lanes per call), within a few
//               units in the last place of libm's results, not equal to them.
// The vector library is looked up when the library is loaded, and only on a processor
// with AVX2 and FMA; the library is not linked against it, so it loads on any glibc and
// any processor. Where the target has no such path (another architecture, another
// compiler, or the build option FK_IK_VECTOR_MATH off) VectorTrig is never usable.
#ifndef FK_IK_SO_SIMD_TRIG_H
#define FK_IK_SO_SIMD_TRIG_H

#include <cmath>

#include "fk_ik_types.h"

struct LibmTrig {
  static constexpr Bool fast = false;
  // s[i] = sin(x[i]) and c[i] = cos(x[i]), i = 0 ... 3.
  static Void sinCos4(const Float64* x, Float64* s, Float64* c) {
    for (int i = 0; i < 4; ++i) {
      s[i] = std::sin(x[i]);
      c[i] = std::cos(x[i]);
    }
  }
  // s[i] = sin(x[i]), i = 0 ... 3.
  static Void sin4(const Float64* x, Float64* s) {
    for (int i = 0; i < 4; ++i) s[i] = std::sin(x[i]);
  }
  // out[i] = atan2(y[i], x[i]), i = 0 ... 3.
  static Void atan2x4(const Float64* y, const Float64* x, Float64* out) {
    for (int i = 0; i < 4; ++i) out[i] = std::atan2(y[i], x[i]);
  }
};

struct VectorTrig {
  static constexpr Bool fast = true;
  // True when a call may take the vector functions: they were found at load time, and
  // the floating-point control state is the default one (round to nearest, no flushing
  // of subnormal numbers, every exception masked). Their accuracy holds only there; a
  // host that changed the state gets libm. Costs about a nanosecond: call it once per
  // computation, not per function.
  static Bool usable();
  // The same three functions as LibmTrig's; only to be called after usable() said yes.
  static Void sinCos4(const Float64* x, Float64* s, Float64* c);
  static Void sin4(const Float64* x, Float64* s);
  static Void atan2x4(const Float64* y, const Float64* x, Float64* out);
};

#endif  // FK_IK_SO_SIMD_TRIG_H
