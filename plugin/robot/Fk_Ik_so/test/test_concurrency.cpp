// Eight threads share one model and call the computing functions at once; every answer is bit
// for bit a single thread's. Also run under ThreadSanitizer, which reports any data race.
#include <atomic>
#include <cstring>
#include <functional>
#include <thread>

#include "arm_handle.h"
#include "arm_test_support.h"
#include "fk_ik_so.h"
#include "test_support.h"

namespace {

// Eight threads, started together, each make `count` calls; `call(n, t)` counts mismatches.
void expectEightThreadsAgree(int count, const std::function<int(int, int)>& call) {
  std::atomic<int> ready(0), mismatches(0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([&, t] {
      for (++ready; ready.load() < 8;) std::this_thread::yield();
      for (int n = 0; n < count; ++n) mismatches += call(n, t);
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mismatches.load(), 0);
}

// Reachable poses, poses ten times as far out, a stretched elbow in the reference, wrist axes
// in line in the target, and a not-a-number tool angle.
TEST(ConcurrentCalls, EightThreadsAnswerBitForBitAsOneThreadDoes) {
  init(host_support::SampleArm);
  struct Call {
    double jnt[6], tool[6], pose[6], ref[6], tcp[6], out[6], all[8][6], nearest[6];
    int code, allCode, nearCode, mode[8], status[8];
  } calls[600];
  std::mt19937_64 rng(9);
  std::uniform_real_distribution<double> joint(-M_PI, M_PI), offset(-0.1, 0.1);
  int solved = 0, singular = 0, unreachable = 0;
  for (int k = 0; k < 600; ++k) {
    Call& c = calls[k];
    for (int i = 0; i < 6; ++i)
      c.jnt[i] = joint(rng), c.tool[i] = offset(rng), c.ref[i] = c.jnt[i] + offset(rng);
    if (k % 6 == 2) c.ref[2] = 0.0;
    if (k % 6 == 3) c.jnt[4] = 0.0;
    if (k % 6 == 5) c.tool[4] = std::nan("");
    EXPECT_EQ(jntPosToTcpPos(c.jnt, c.tool, c.tcp), 0);
    for (int i = 0; i < 6; ++i) c.pose[i] = k % 6 == 4 && i < 3 ? 10.0 * c.tcp[i] : c.tcp[i];
    c.code = tcpPosToJntPos(c.pose, c.tool, c.ref, c.out);
    c.allCode = tcpPosToAllJntPos(c.pose, c.tool, c.ref, c.all, c.mode, c.status);
    c.nearCode = tcpPosToNearestJntPos(c.pose, c.tool, c.ref, nullptr, nullptr, c.nearest);
    solved += c.code == 0, singular += c.code >= 2 && c.code <= 4;
    unreachable += c.code == 6 || c.code == 7;
  }
  EXPECT_TRUE(solved > 100 && singular > 50 && unreachable > 100);  // every family reached
  expectEightThreadsAgree(test_support::caseCount(20000), [&](int n, int t) {
    const Call& c = calls[(n * 7 + t * 75) % 600];
    double tcp[6], out[6], all[8][6], nearest[6];
    int mode[8], status[8];
    const bool bad = jntPosToTcpPos(c.jnt, c.tool, tcp) != 0 || std::memcmp(tcp, c.tcp, 48) ||
                     tcpPosToJntPos(c.pose, c.tool, c.ref, out) != c.code ||
                     std::memcmp(out, c.out, 48);
    return bad || (n % 4 == 0 &&  // the other functions on every fourth call
                   (tcpPosToAllJntPos(c.pose, c.tool, c.ref, all, mode, status) != c.allCode ||
                    std::memcmp(all, c.all, sizeof all) || std::memcmp(mode, c.mode, 32) ||
                    std::memcmp(status, c.status, 32) ||
                    tcpPosToNearestJntPos(c.pose, c.tool, c.ref, nullptr, nullptr, nearest) !=
                        c.nearCode ||
                    std::memcmp(nearest, c.nearest, 48)));
  });
}

// One arm handle of every layout shared by eight threads: poses and Jacobians bit for bit.
TEST(ConcurrentCalls, ArmHandlesAnswerBitForBitAsOneThreadDoes) {
  std::vector<FkIkArm*> handles;
  for (const arm_test::NamedArm& named : arm_test::namedArms())
    handles.push_back(fk_ik::newArmHandle(named.arm));
  struct Call {
    FkIkArm* arm;
    double q[6], qd[6], tool[6], pose[6], j[6][6], jDot[6][6], all[16][6];
    Int32 singular[16], count, code;
  } calls[300];
  std::mt19937_64 rng(41);
  for (int k = 0; k < 300; ++k) {
    Call& c = calls[k];
    c.arm = handles[k % handles.size()];
    arm_test::randomJoints(rng, 4, c.q);
    arm_test::randomJoints(rng, 1, c.qd);
    arm_test::randomJoints(rng, 0.2, c.tool);
    ASSERT_EQ(armJntPosToTcpPos(c.arm, c.q, c.tool, c.pose), 0);
    ASSERT_EQ(armJacobianDot(c.arm, c.q, c.qd, c.tool, c.j, c.jDot), 0);
    c.code = armTcpPosToAllJntPos(c.arm, c.pose, c.tool, c.all, c.singular, &c.count);
  }
  expectEightThreadsAgree(test_support::caseCount(20000) / 4, [&](int n, int t) {
    const Call& c = calls[(n * 7 + t * 37) % 300];
    double pose[6], j[6][6], jDot[6][6], all[16][6];
    Int32 singular[16], count;
    return armTcpPosToAllJntPos(c.arm, c.pose, c.tool, all, singular, &count) != c.code ||
           count != c.count || std::memcmp(all, c.all, sizeof(double) * 6 * count) ||
           std::memcmp(singular, c.singular, sizeof(Int32) * count) ||
           armJntPosToTcpPos(c.arm, c.q, c.tool, pose) != 0 ||
           std::memcmp(pose, c.pose, sizeof pose) ||
           armJacobianDot(c.arm, c.q, c.qd, c.tool, j, jDot) != 0 ||
           std::memcmp(j, c.j, sizeof j) || std::memcmp(jDot, c.jDot, sizeof jDot);
  });
  for (FkIkArm* handle : handles) armDestroy(handle);
}

}  // namespace
