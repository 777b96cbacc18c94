// The inverse on the vector path against the same sources forced onto libm (this program
// builds them itself with the switch simdTrigLibmOnly), over named families of requests
// that sit on the knife edges of its decisions, and random ones: the result codes, the
// candidates' statuses and modes agree in every case; joints agree within 1e-9, and to
// the bit on the families whose inputs are exact. Then the same inverse under each
// rounding mode, within 1e-12 of round-to-nearest where elbow and wrist are clear of
// their singular positions.
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "fk_ik_so.h"
#include "host_support.h"

extern Bool simdTrigLibmOnly;

namespace {

struct Arm {
  double rows[6][4];
};

struct Request {
  double pose[6];
  double tool[6];
  double ref[6];
  // Elbow and wrist at least 0.1 (in sine) from their stretched and folded positions.
  bool wellConditioned = false;
};

struct Answer {
  int code;
  double q[6];
  int allCode;
  int status[8];
  int mode[8];
  double all[8][6];
};

Answer solve(const Request& r, bool libmOnly) {
  simdTrigLibmOnly = libmOnly;
  Answer a;
  std::memset(&a, 0, sizeof a);
  a.code = tcpPosToJntPos(r.pose, r.tool, r.ref, a.q);
  a.allCode = tcpPosToAllJntPos(r.pose, r.tool, r.ref, a.all, a.mode, a.status);
  simdTrigLibmOnly = false;
  return a;
}

// A chain-form arm: lengths a[2], a[3], d[0 ... 5] and theta offsets.
Arm chainForm(double a2, double a3, const double (&d)[6], const double (&theta)[6]) {
  const double alpha[6] = {0.0, -M_PI / 2, 0.0, M_PI, M_PI / 2, M_PI / 2};
  Arm arm;
  for (int i = 0; i < 6; ++i) {
    arm.rows[i][0] = i == 2 ? a2 : i == 3 ? a3 : 0.0;
    arm.rows[i][1] = alpha[i];
    arm.rows[i][2] = d[i];
    arm.rows[i][3] = theta[i];
  }
  return arm;
}

// Arms with decimal lengths and theta offsets of 0 or +-pi/2 (offset pattern `variant`).
std::vector<Arm> decimalArms() {
  const double h = M_PI / 2;
  const double offsets[][6] = {{0, 0, 0, 0, 0, 0}, {0, -h, 0, -h, 0, 0}, {h, h, -h, 0, h, -h}};
  std::vector<Arm> arms;
  for (const auto& theta : offsets) {
    arms.push_back(chainForm(0.425, 0.3922, {0.1625, 0, 0, 0.1333, 0.0997, 0.0996}, theta));
    arms.push_back(chainForm(0.5, -0.45, {0.2, 0.05, 0, 0.11, 0.09, 0.08}, theta));
  }
  return arms;
}

// The TCP pose of joints q with the arm's model loaded.
void poseOf(const double* q, const double* tool, double* pose) {
  jntPosToTcpPos(q, tool, pose);
}

struct Family {
  std::string name;
  bool exactInputs;
  Arm arm;
  std::vector<Request> requests;
};

const double kZeroTool[6] = {0, 0, 0, 0, 0, 0};
const double kDecimalTool[6] = {0.01, -0.02, 0.15, M_PI / 2, 0.0, -M_PI / 2};
const double kOneDegree = 0.017453292519943295;

// Joints at multiples of a quarter turn, the reference the joints themselves (the pose of
// the reference itself), or with some elements at exactly +-pi or +-3 pi.
void addHomeLike(Family& f, std::mt19937_64& rng, bool piReferences) {
  std::uniform_int_distribution<int> quarter(-2, 2), coin(0, 1), odd(0, 3);
  for (int n = 0; n < 600; ++n) {
    Request r;
    double q[6];
    for (int j = 0; j < 6; ++j) q[j] = quarter(rng) * (M_PI / 2);
    std::memcpy(r.tool, coin(rng) ? kZeroTool : kDecimalTool, sizeof r.tool);
    poseOf(q, r.tool, r.pose);
    for (int j = 0; j < 6; ++j) {
      const double pis[4] = {M_PI, -M_PI, 3 * M_PI, -3 * M_PI};
      r.ref[j] = piReferences && coin(rng) ? pis[odd(rng)] : q[j];
    }
    f.requests.push_back(r);
  }
}

// Joints in [-pi, pi]; `edge` changes them before the pose is taken, and the reference
// lies 0.1 rad away on each joint unless `edgeRef` sets it.
template <class Edge, class EdgeRef>
void addAround(Family& f, std::mt19937_64& rng, int count, Edge edge, EdgeRef edgeRef) {
  std::uniform_real_distribution<double> angle(-M_PI, M_PI), nudge(-0.1, 0.1);
  for (int n = 0; n < count; ++n) {
    Request r;
    double q[6];
    for (int j = 0; j < 6; ++j) q[j] = angle(rng);
    edge(q);
    std::memcpy(r.tool, n % 2 ? kZeroTool : kDecimalTool, sizeof r.tool);
    poseOf(q, r.tool, r.pose);
    for (int j = 0; j < 6; ++j) r.ref[j] = q[j] + nudge(rng);
    edgeRef(r.ref);
    f.requests.push_back(r);
  }
}

// The value x, and its neighbours one and two units in the last place away.
double nearby(double x, int step) {
  for (int i = 0; i < std::abs(step); ++i) x = std::nextafter(x, step > 0 ? INFINITY : -INFINITY);
  return x;
}

std::vector<Family> families() {
  std::vector<Family> out;
  std::mt19937_64 rng(16);
  std::uniform_int_distribution<int> step(-2, 2), pick(0, 5);
  const auto none = [](double*) {};
  int a = 0;
  for (const Arm& arm : decimalArms()) {
    const std::string tag = " (arm " + std::to_string(a++) + ")";
    init(arm.rows);
    Family home{"home-like joints" + tag, true, arm, {}};
    addHomeLike(home, rng, false);
    Family pis{"references at +-pi" + tag, true, arm, {}};
    addHomeLike(pis, rng, true);
    Family stretch{"full stretch" + tag, false, arm, {}};
    addAround(
        stretch, rng, 300, [&](double* q) { q[2] = pick(rng) < 3 ? 0.0 : M_PI; },
        [&](double* ref) { ref[2] = pick(rng) < 3 ? 0.3 : -0.3; });
    Family mode{"quantities at 1e-6" + tag, false, arm, {}};
    addAround(
        mode, rng, 300,
        [&](double* q) {
          const double s = std::asin(1e-6);
          const double edges[4] = {s, -s, M_PI - s, s - M_PI};
          q[pick(rng) < 3 ? 2 : 4] = nearby(edges[pick(rng) % 4], step(rng));
        },
        [&](double* ref) {
          const double s = std::asin(1e-6);
          ref[pick(rng) < 3 ? 2 : 4] = nearby(pick(rng) < 3 ? s : -s, step(rng));
        });
    Family degree{"joints at 1 degree" + tag, false, arm, {}};
    addAround(
        degree, rng, 300,
        [&](double* q) {
          const double edges[6] = {kOneDegree,        -kOneDegree,        M_PI - kOneDegree,
                                   M_PI + kOneDegree, -M_PI + kOneDegree, -M_PI - kOneDegree};
          q[pick(rng) < 3 ? 2 : 4] = nearby(edges[pick(rng)], step(rng));
        },
        none);
    // The wrist centre on the offset cylinder: identity orientation, the centre at |e| from
    // joint 0's axis (L = 0 up to rounding), or at sqrt(e^2 + 1e-4) (L at the shoulder limit).
    Family cylinder{"wrist centres on the cylinder" + tag, false, arm, {}};
    {
      const double e = arm.rows[1][2] + arm.rows[2][2] - arm.rows[3][2];
      std::uniform_real_distribution<double> z(-0.5, 0.8), angle(-M_PI, M_PI);
      for (int n = 0; n < 300; ++n) {
        Request r;
        const double radius = n % 2 ? std::fabs(e) : std::sqrt(e * e + 1e-4);
        const double beta = n % 4 < 2 ? (n % 8) * (M_PI / 4) : angle(rng);
        const double d5 = arm.rows[5][2];
        double pose[6] = {radius * std::cos(beta), radius * std::sin(beta), z(rng), 0, 0, 0};
        pose[2] += d5;  // identity orientation: the flange d5 above the wrist centre
        std::memcpy(r.pose, pose, sizeof pose);
        std::memcpy(r.tool, kZeroTool, sizeof r.tool);
        for (int j = 0; j < 6; ++j) r.ref[j] = angle(rng);
        cylinder.requests.push_back(r);
      }
    }
    for (Family* f : {&home, &pis, &stretch, &mode, &degree, &cylinder}) out.push_back(*f);
  }
  // Random arms of sane proportions, joints, tools and references.
  std::uniform_real_distribution<double> link(0.2, 1.0), offset(-0.2, 0.2), angle(-M_PI, M_PI);
  std::uniform_real_distribution<double> toolLength(-0.2, 0.2);
  for (int n = 0; n < 8; ++n) {
    const double d[6] = {offset(rng), offset(rng), offset(rng),
                         offset(rng), offset(rng), offset(rng)};
    const double theta[6] = {angle(rng), angle(rng), angle(rng),
                             angle(rng), angle(rng), angle(rng)};
    const Arm arm = chainForm(link(rng), (n % 2 ? -1 : 1) * link(rng), d, theta);
    init(arm.rows);
    Family f{"random arm " + std::to_string(n), false, arm, {}};
    for (int k = 0; k < 2500; ++k) {
      Request r;
      double q[6];
      for (int j = 0; j < 6; ++j) q[j] = angle(rng);
      const double tool[6] = {toolLength(rng), toolLength(rng), toolLength(rng),
                              angle(rng),      angle(rng),      angle(rng)};
      std::memcpy(r.tool, tool, sizeof tool);
      poseOf(q, r.tool, r.pose);
      for (int j = 0; j < 6; ++j) r.ref[j] = k % 4 == 0 ? angle(rng) : q[j] + 0.1 * angle(rng);
      // In the arm's geometry: the DH angles, offsets included.
      const double elbow = q[2] + theta[2], wrist = q[4] + theta[4];
      r.wellConditioned = std::fabs(std::sin(elbow)) > 0.1 && std::fabs(std::sin(wrist)) > 0.1;
      f.requests.push_back(r);
    }
    out.push_back(f);
  }
  return out;
}

double largestDifference(const double* a, const double* b) {
  double d = 0.0;
  for (int j = 0; j < 6; ++j) d = std::fmax(d, std::fabs(a[j] - b[j]));
  return d;
}

TEST(IkLibmAgreement, CodesEverywhereJointsWithin1e9AndExactInputsToTheBit) {
  for (const Family& f : families()) {
    SCOPED_TRACE(f.name);
    init(f.arm.rows);
    int solved = 0;
    for (size_t n = 0; n < f.requests.size(); ++n) {
      const Request& r = f.requests[n];
      const Answer fast = solve(r, false), libm = solve(r, true);
      ASSERT_EQ(fast.code, libm.code) << "request " << n;
      ASSERT_EQ(fast.allCode, libm.allCode) << "request " << n;
      for (int k = 0; k < 8; ++k) {
        ASSERT_EQ(fast.status[k], libm.status[k]) << "request " << n << " candidate " << k;
        ASSERT_EQ(fast.mode[k], libm.mode[k]) << "request " << n << " candidate " << k;
        ASSERT_LE(largestDifference(fast.all[k], libm.all[k]), 1e-9) << "request " << n;
      }
      if (fast.code != 0) continue;
      ++solved;
      ASSERT_LE(largestDifference(fast.q, libm.q), 1e-9) << "request " << n;
      if (f.exactInputs) {
        ASSERT_TRUE(host_support::sameBits(fast.q, libm.q)) << "request " << n;
      }
    }
    // Every family of joints taken apart reaches the solver's last steps somewhere.
    if (f.name.rfind("wrist centres", 0) != 0 && f.name.rfind("full stretch", 0) != 0) {
      EXPECT_GT(solved, 0);
    }
  }
}

// Rounding differs in every operation here, not only in the sines: the bound is the
// conditioning's, hence the well-conditioned requests only.
TEST(IkLibmAgreement, EveryRoundingModeWithin1e12OfRoundToNearest) {
  std::vector<Family> all = families();
  for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
    for (const Family& f : all) {
      if (f.name.rfind("random arm", 0) != 0) continue;
      SCOPED_TRACE(f.name + ", rounding mode " + std::to_string(mode));
      init(f.arm.rows);
      for (size_t n = 0; n < f.requests.size(); ++n) {
        const Request& r = f.requests[n];
        if (!r.wellConditioned) continue;
        double nearest[6] = {0}, other[6] = {0};
        const int nearestCode = tcpPosToJntPos(r.pose, r.tool, r.ref, nearest);
        std::fesetround(mode);
        const int otherCode = tcpPosToJntPos(r.pose, r.tool, r.ref, other);
        std::fesetround(FE_TONEAREST);
        ASSERT_EQ(otherCode, nearestCode) << "request " << n;
        ASSERT_LE(largestDifference(other, nearest), 1e-12) << "request " << n;
      }
    }
  }
}

}  // namespace
