// The threads that serve calls, on a queue of their own.
#include "remote/server/crew.h"

#include <grpcpp/alarm.h>
#include <grpcpp/completion_queue.h>
#include <gtest/gtest.h>

#include <functional>
#include <list>

#include "remote/test/test_robot.h"

namespace remote {
namespace {

/// An event that does what the test says.
class Event final : public Tag {
 public:
  Event(grpc::CompletionQueue& queue, std::function<void()> work) : fWork(std::move(work)) {
    fAlarm.Set(&queue, std::chrono::system_clock::now(), this);
  }
  void happened(bool) override { fWork(); }

 private:
  const std::function<void()> fWork;
  grpc::Alarm fAlarm;
};

class CrewTest : public testing::Test {
 protected:
  ~CrewTest() override {
    isOver = true;
    queue.Shutdown();
    crew.reset();
  }
  void post(std::function<void()> work) { events.emplace_back(queue, std::move(work)); }
  void block() {
    ++inside;
    while (!isOver) std::this_thread::yield();
  }

  grpc::CompletionQueue queue;
  std::list<Event> events;
  std::atomic<int> inside{0};
  std::atomic<bool> isOver{false};
  std::unique_ptr<Crew> crew = std::make_unique<Crew>(queue, 32, "crew");
};

TEST_F(CrewTest, ThoseWhoSayThatTheyTakeLongHoldUpNobody) {
  for (int i = 0; i < 24; ++i) {
    post([this] {
      Crew::expectLong();
      block();
    });
  }
  EXPECT_TRUE(comesTrue([&] { return inside == 24; }));
  std::atomic<int> handled{0};
  for (int i = 0; i < 100; ++i) post([&] { ++handled; });
  EXPECT_TRUE(comesTrue([&] { return handled == 100; }));
}

TEST_F(CrewTest, ThoseWhoSaySoAndAreQuickLoseNothing) {
  std::atomic<int> handled{0};
  for (int i = 0; i < 2000; ++i) {
    post([&] {
      Crew::expectLong();
      Crew::expectLong();  // has lost the lead by now
      ++handled;
    });
  }
  EXPECT_TRUE(comesTrue([&] { return handled == 2000; }));
}

TEST_F(CrewTest, ElsewhereItMeansNothing) {
  Crew::expectLong();
  std::atomic<bool> isHandled{false};
  post([&] { isHandled = true; });
  EXPECT_TRUE(comesTrue([&] { return isHandled.load(); }));
}

}  // namespace
}  // namespace remote
