// Where blocking calls wait for their answers, on a queue of their own.
#include "remote/client/answers.h"

#include <grpcpp/alarm.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace remote {
namespace {

using Clock = std::chrono::system_clock;

/// An operation that ends when the test says so.
class Operation {
 public:
  explicit Operation(Answers& answers) : fAnswers(answers) {
    fAlarm.Set(answers.queue(), Clock::now() + std::chrono::hours(1), &fAwaited);
  }
  void end() { fAlarm.Cancel(); }
  void await() { fAnswers.await(fAwaited); }

 private:
  Answers& fAnswers;
  Answers::Awaited fAwaited;
  grpc::Alarm fAlarm;
};

/// A thread that waits for an operation of its own.
struct Caller {
  explicit Caller(Answers& answers)
      : operation(answers), thread([this] {
          operation.await();
          hasAnswer = true;
        }) {}
  ~Caller() { thread.join(); }
  void waitForAnswer() const {
    while (!hasAnswer) std::this_thread::yield();
  }

  Operation operation;
  std::atomic<bool> hasAnswer{false};
  std::thread thread;
};

TEST(Answers, ComeToTheOneThatWaits) {
  Answers answers;
  Operation operation(answers);
  operation.end();
  operation.await();
}

TEST(Answers, ComeInAnyOrderWhoeverLeads) {
  Answers answers;
  Caller first(answers);
  Caller second(answers);
  Caller third(answers);
  second.operation.end();
  second.waitForAnswer();
  EXPECT_FALSE(first.hasAnswer || third.hasAnswer);
  third.operation.end();
  third.waitForAnswer();
  EXPECT_FALSE(first.hasAnswer);
  first.operation.end();
}

TEST(Answers, FindWhoWaitsAfterEachOneThatLedIsGone) {
  Answers answers;
  for (int round = 0; round < 200; ++round) {
    Caller first(answers);
    Caller second(answers);
    first.operation.end();
    first.waitForAnswer();
    second.operation.end();
  }
}

TEST(Answers, WaitForWhoComesLate) {
  Answers answers;
  Caller leader(answers);
  Operation late(answers);
  late.end();
  Caller other(answers);
  other.operation.end();
  other.waitForAnswer();  // so the late one's answer, which came before, has been taken too
  late.await();
  leader.operation.end();
}

TEST(Answers, ThatNobodyAwaitsYetKeepNobodyElseWaiting) {
  Answers answers;
  Operation late(answers);
  {
    Caller leader(answers);
    Caller other(answers);
    late.end();
    leader.operation.end();
    leader.waitForAnswer();
    other.operation.end();
    other.waitForAnswer();
  }
  late.await();
}

TEST(Answers, ReachManyThreadsThatComeAndGo) {
  Answers answers;
  std::vector<std::thread> threads;
  threads.reserve(8);
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&answers, i] {
      for (int call = 0; call < 500; ++call) {
        Answers::Awaited answer;
        grpc::Alarm alarm;
        alarm.Set(answers.queue(), Clock::now() + std::chrono::microseconds(i * 20), &answer);
        answers.await(answer);
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace remote
