// The inverse on the vector path against the same sources forced onto libm (simdTrigLibmOnly)
// over knife-edge and random families, and under each rounding mode against round-to-nearest.
#include <dlfcn.h>

#include <cfenv>
#include <cstdint>
#include <map>

#include "fk_ik_so.h"
#include "test_support.h"

extern Bool simdTrigLibmOnly;
extern Void (*simdTrigAfterCall)(Float64* v, const Float64* x, const Float64* y);

using test_support::largestDifference;

namespace {

// Moves each vector result by up to noiseUlps ulps, by a function of the arguments alone.
int noiseUlps = 0;
void addNoise(Float64* v, const Float64* x, const Float64* y) {
  for (int i = 0; i < 4; ++i) {
    std::uint64_t bits[2] = {0, 0}, h = 0;
    std::memcpy(&bits[0], &x[i], 8);
    if (y != nullptr) std::memcpy(&bits[1], &y[i], 8);
    for (const std::uint64_t b : bits) h = (h ^ b) * 0x9E3779B97F4A7C15ull;
    const int steps = static_cast<int>((h >> 33) % (2 * noiseUlps + 1)) - noiseUlps;
    for (int k = 0; k < std::abs(steps); ++k)
      v[i] = std::nextafter(v[i], steps > 0 ? INFINITY : -INFINITY);
  }
}

struct Request {
  double pose[6], tool[6], ref[6];
};

struct Answer {
  int code, allCode, status[8], mode[8];
  double q[6], all[8][6];
};

// Loads a chain-form arm with lengths a[2], a[3], d[0 ... 5] and theta offsets t.
void load(double a2, double a3, const double* d, const double* t) {
  const double arm[6][4] = {{0, 0, d[0], t[0]},        {0, -M_PI / 2, d[1], t[1]},
                            {a2, 0, d[2], t[2]},       {a3, M_PI, d[3], t[3]},
                            {0, M_PI / 2, d[4], t[4]}, {0, M_PI / 2, d[5], t[5]}};
  init(arm);
}

// Whether this build on this machine has the vector path: the library's own conditions.
bool vectorPathExpected() {
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && \
    (!defined(FK_IK_VECTOR_MATH) || FK_IK_VECTOR_MATH)
  __builtin_cpu_init();
  void* const handle = dlopen("libmvec.so.1", RTLD_NOW | RTLD_LOCAL);
  return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") && handle != nullptr &&
         dlsym(handle, "_ZGVdN4vv_atan2") != nullptr;
#else
  return false;
#endif
}

// Codes, statuses, modes equal; joints within 1e-9 (to the bit on exact inputs), the single
// answer one of the rows; other rounding modes within 1e-12 where well conditioned.
TEST(IkLibmAgreement, VectorPathAgainstLibmAndRoundingModes) {
  std::map<std::string, int> solved, count;
  int differing = 0;  // answers off libm's in the last places: the vector path was taken
  const auto check = [&](const std::string& family, const Request& r, bool exact, bool rounding) {
    Answer fast{}, libm{};
    for (Answer* a : {&fast, &libm}) {
      simdTrigLibmOnly = a == &libm;
      a->code = tcpPosToJntPos(r.pose, r.tool, r.ref, a->q);
      a->allCode = tcpPosToAllJntPos(r.pose, r.tool, r.ref, a->all, a->mode, a->status);
    }
    simdTrigLibmOnly = false;
    const std::string where = family + " request " + std::to_string(count[family]++);
    ASSERT_TRUE(fast.code == libm.code && fast.allCode == libm.allCode &&
                !std::memcmp(fast.status, libm.status, sizeof fast.status) &&
                !std::memcmp(fast.mode, libm.mode, sizeof fast.mode))
        << where;
    bool inAll = false;
    for (int k = 0; k < 8; ++k) {
      ASSERT_LE(largestDifference(fast.all[k], libm.all[k]), 1e-9) << where;
      ASSERT_TRUE(!exact || host_support::sameBits(fast.all[k], libm.all[k])) << where;
      inAll = inAll || (fast.status[k] == 0 && host_support::sameBits(fast.q, fast.all[k]));
    }
    ASSERT_TRUE(fast.code != 0 || inAll) << where;
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
      if (!rounding) break;
      double other[6] = {0};
      std::fesetround(mode);
      const int otherCode = tcpPosToJntPos(r.pose, r.tool, r.ref, other);
      std::fesetround(FE_TONEAREST);
      ASSERT_TRUE(otherCode == fast.code && largestDifference(other, fast.q) <= 1e-12)
          << where << " rounding " << mode;
    }
    if (fast.code != 0) return;
    ++solved[family];
    differing += !host_support::sameBits(fast.q, libm.q);
    ASSERT_LE(largestDifference(fast.q, libm.q), 1e-9) << where;
    ASSERT_TRUE(!exact || host_support::sameBits(fast.q, libm.q)) << where;
  };

  std::mt19937_64 rng(16);
  std::uniform_int_distribution<int> step(-2, 2), pick(0, 5), quarter(-2, 2), coin(0, 1);
  std::uniform_real_distribution<double> angle(-M_PI, M_PI), nudge(-0.1, 0.1), z(-0.5, 0.8);
  const double h = M_PI / 2, s = std::asin(1e-6), deg = 0.017453292519943295;  // 1 degree
  const double offsets[][6] = {{0, 0, 0, 0, 0, 0}, {0, -h, 0, -h, 0, 0}, {h, h, -h, 0, h, -h}};
  const double d[][6] = {{0.1625, 0, 0, 0.1333, 0.0997, 0.0996}, {0.2, 0.05, 0, 0.11, 0.09, 0.08}};
  const double piValues[4] = {M_PI, -M_PI, 3 * M_PI, -3 * M_PI};
  const double tools[2][6] = {{0.01, -0.02, 0.15, M_PI / 2, 0.0, -M_PI / 2}, {0, 0, 0, 0, 0, 0}};
  // Knife edges of joint 2 (or 4 too, and moved by up to two ulps, from the second on), and of
  // the reference's element where values are given.
  const std::vector<double> edgeQ[3] = {
      {0.0, M_PI},
      {s, -s, M_PI - s, s - M_PI},
      {deg, -deg, M_PI - deg, M_PI + deg, -M_PI + deg, -M_PI - deg}};
  const std::vector<double> edgeRef[3] = {{0.3, -0.3}, {s, -s}, {}};
  const char* const names[5] = {"home-like", "references at +-pi", "full stretch",
                                "quantities at 1e-6", "joints at 1 degree"};
  // Twice: as they are, then with every vector result moved by up to two ulps.
  for (const int noise : {0, 2}) {
    noiseUlps = noise;
    simdTrigAfterCall = noise ? addNoise : nullptr;
    const std::string noisy = noise ? ", noisy" : "";
    // Decimal lengths, theta offsets 0 or +-pi/2; the last two arms in millimetres.
    for (int a = 0; a < 8; ++a) {
      const int arm = a % 6;
      const double scale = a < 6 ? 1.0 : 1000.0;
      const double a2 = scale * (arm % 2 ? 0.5 : 0.425), a3 = scale * (arm % 2 ? -0.45 : 0.3922);
      double ds[6];
      for (int j = 0; j < 6; ++j) ds[j] = scale * d[arm % 2][j];
      load(a2, a3, ds, offsets[arm / 2]);
      const std::string tag = " (arm " + std::to_string(a) + ")" + noisy;
      // Joints at multiples of pi/2, the reference the joints or +-pi, +-3 pi; then the edges.
      for (int kind = 0; kind < 5; ++kind) {
        const int edge = kind < 2 ? 0 : kind - 2, wrist = kind > 2;
        for (int n = 0; n < (kind < 2 ? 600 : 300); ++n) {
          Request r;
          double q[6];
          for (double& v : q) v = kind < 2 ? quarter(rng) * h : angle(rng);
          const auto at = [&](const std::vector<double>& v) {  // moved by up to two ulps
            double x = v[pick(rng) % v.size()];
            for (int i = 0, k = wrist ? step(rng) : 0; i < std::abs(k); ++i)
              x = std::nextafter(x, k > 0 ? INFINITY : -INFINITY);
            return x;
          };
          if (kind >= 2) q[wrist && pick(rng) >= 3 ? 4 : 2] = at(edgeQ[edge]);
          if (kind == 3 && n % 3 == 0) {  // the shoulder quantity at +-1e-6 instead
            const double c = -a2 * std::sin(q[1]) / a3 + 0.1 * nudge(rng);
            if (std::fabs(c) >= 1) continue;
            q[2] = std::asin(c) - q[1];
            const double t = a2 * std::sin(q[1]) + a3 * std::sin(q[2] + q[1]);
            q[3] = std::asin(((n % 2 ? 1e-6 : -1e-6) - t) / ds[4]) + q[1] + q[2];
          }
          std::memcpy(r.tool, (kind < 2 ? coin(rng) : n % 2) ? tools[1] : tools[0], sizeof r.tool);
          jntPosToTcpPos(q, r.tool, r.pose);
          for (int j = 0; j < 6; ++j)
            r.ref[j] = kind == 1 && coin(rng) ? piValues[pick(rng) % 4]
                                              : q[j] + (kind < 2 ? 0.0 : nudge(rng));
          if (kind >= 2 && !edgeRef[edge].empty())
            r.ref[wrist && pick(rng) >= 3 ? 4 : 2] = at(edgeRef[edge]);
          check(names[kind] + tag, r, kind < 2, false);
        }
      }
      // Identity orientation, the wrist centre at |e| (L = 0) or sqrt(e^2 + 1e-4) from axis 0.
      const double e = ds[1] + ds[2] - ds[3];
      for (int n = 0; n < 300; ++n) {
        Request r{};
        const double radius = n % 2 ? std::fabs(e) : std::sqrt(e * e + 1e-4);
        const double beta = n % 4 < 2 ? (n % 8) * (M_PI / 4) : angle(rng);
        r.pose[0] = radius * std::cos(beta), r.pose[1] = radius * std::sin(beta);
        r.pose[2] = scale * z(rng) + ds[5];
        for (double& v : r.ref) v = angle(rng);
        check("wrist centres on the cylinder" + tag, r, false, false);
      }
    }
    // Random arms of sane proportions, joints, tools and references.
    std::uniform_real_distribution<double> link(0.2, 1.0), offset(-0.2, 0.2);
    for (int n = 0; n < 8; ++n) {
      double dr[6], theta[6];
      for (int j = 0; j < 6; ++j) dr[j] = offset(rng), theta[j] = angle(rng);
      const double a2 = link(rng);
      load(a2, (n % 2 ? -1 : 1) * link(rng), dr, theta);
      for (int k = 0; k < 2500; ++k) {
        Request r;
        double q[6];
        for (double& v : q) v = angle(rng);
        for (int j = 0; j < 6; ++j) r.tool[j] = j < 3 ? offset(rng) : angle(rng);
        jntPosToTcpPos(q, r.tool, r.pose);
        for (int j = 0; j < 6; ++j) r.ref[j] = k % 4 == 0 ? angle(rng) : q[j] + 0.1 * angle(rng);
        check("random arm " + std::to_string(n) + noisy, r, false,
              std::fabs(std::sin(q[2] + theta[2])) > 0.1 &&
                  std::fabs(std::sin(q[4] + theta[4])) > 0.1);
      }
    }
  }
  simdTrigAfterCall = nullptr;
  EXPECT_EQ(differing > 0, vectorPathExpected()) << differing;
  for (const auto& [family, n] : count)
    EXPECT_TRUE(solved[family] > 0 || family.rfind("wrist centres", 0) == 0 ||
                family.rfind("full stretch", 0) == 0)
        << family << " of " << n;
}

}  // namespace
