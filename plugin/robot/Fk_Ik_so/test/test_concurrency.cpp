// Concurrent calls: eight threads share one model and call both computing functions at
// once; every answer must be bit for bit the one a single thread gets. The program also
// runs in the ThreadSanitizer build, which reports any data race among the calls.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "fk_ik_so.h"
#include "test_support.h"

namespace {

bool sameBits(const double (&a)[6], const double (&b)[6]) {
  return std::memcmp(a, b, sizeof a) == 0;
}

struct Call {
  double jnt[6], tool[6], pose[6], ref[6];
  // Answers of a single thread.
  double tcp[6], out[6];
  int code;
};

// A mix of requests on the sample arm: reachable poses (the forward pose of random
// joints), the same poses pushed out of reach, references and poses at the elbow and
// wrist singularities, and a few non-finite values.
std::vector<Call> makeCalls(int count) {
  std::mt19937_64 rng(9);
  std::uniform_real_distribution<double> joint(-M_PI, M_PI), offset(-0.1, 0.1);
  std::vector<Call> calls(count);
  for (int k = 0; k < count; ++k) {
    Call& c = calls[k];
    for (int i = 0; i < 6; ++i) {
      c.jnt[i] = joint(rng);
      c.tool[i] = offset(rng);
      c.ref[i] = c.jnt[i] + offset(rng);
    }
    switch (k % 6) {
      case 2:  // stretched elbow in the reference
        c.ref[2] = 0.0;
        break;
      case 3:  // wrist axes in line in the target
        c.jnt[4] = 0.0;
        break;
      case 5:  // a not-a-number tool angle
        c.tool[4] = std::nan("");
        break;
    }
    EXPECT_EQ(jntPosToTcpPos(c.jnt, c.tool, c.tcp), 0);
    std::copy(c.tcp, c.tcp + 6, c.pose);
    if (k % 6 == 4) {  // out of reach: ten times as far from the base
      for (int i = 0; i < 3; ++i) c.pose[i] *= 10.0;
    }
    c.code = tcpPosToJntPos(c.pose, c.tool, c.ref, c.out);
  }
  return calls;
}

TEST(ConcurrentCalls, EightThreadsAnswerBitForBitAsOneThreadDoes) {
  init(test_support::kSampleArm);
  const std::vector<Call> calls = makeCalls(600);

  // The mix reaches success, every failure family and non-finite answers.
  int solved = 0, singular = 0, unreachable = 0;
  for (const Call& c : calls) {
    solved += c.code == 0;
    singular += c.code >= 2 && c.code <= 4;
    unreachable += c.code == 6 || c.code == 7;
  }
  EXPECT_GT(solved, 100);
  EXPECT_GT(singular, 50);
  EXPECT_GT(unreachable, 100);

  const int threadCount = 8;
  const int callsPerThread = test_support::caseCount(20000);
  std::atomic<int> ready(0), mismatches(0);
  std::vector<std::thread> threads;
  for (int t = 0; t < threadCount; ++t) {
    threads.emplace_back([&, t] {
      ++ready;
      while (ready.load() < threadCount) std::this_thread::yield();
      for (int n = 0; n < callsPerThread; ++n) {
        const Call& c = calls[(n * 7 + t * 75) % calls.size()];
        double tcp[6], out[6];
        const bool same = jntPosToTcpPos(c.jnt, c.tool, tcp) == 0 && sameBits(tcp, c.tcp) &&
                          tcpPosToJntPos(c.pose, c.tool, c.ref, out) == c.code &&
                          sameBits(out, c.out);
        if (!same) ++mismatches;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
