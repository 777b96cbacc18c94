// Sines, cosines and arc tangents of four doubles at a time, for the inverse solver's
// candidates. On a processor with AVX2 they come from glibc's vector math library, four
// lanes per call, within a few units in the last place of libm's scalar functions; on
// any other processor from libm one lane at a time. The choice is made once, when the
// library is loaded.
#ifndef FK_IK_SO_SIMD_TRIG_H
#define FK_IK_SO_SIMD_TRIG_H

#include "fk_ik_types.h"

// s[i] = sin(x[i]) and c[i] = cos(x[i]), i = 0 ... 3.
Void sinCos4(const Float64* x, Float64* s, Float64* c);
// s[i] = sin(x[i]), i = 0 ... 3.
Void sin4(const Float64* x, Float64* s);
// out[i] = atan2(y[i], x[i]), i = 0 ... 3.
Void atan2x4(const Float64* y, const Float64* x, Float64* out);

#endif  // FK_IK_SO_SIMD_TRIG_H
