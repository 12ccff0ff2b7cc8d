#include "framework/xo/gate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

#include "framework/xo/event_loop.h"

namespace {

using xo::Gate;

TEST(GateEnter, GivesATokenUntilTheGateIsClosed) {
  const auto gate = Gate::make();
  EXPECT_TRUE(gate->enter());
  EXPECT_FALSE(gate->isClosed());
  gate->close();
  EXPECT_TRUE(gate->isClosed());
  EXPECT_FALSE(gate->enter());
}

TEST(GateEnter, AdmitsManyAtOnce) {
  const auto gate = Gate::make();
  std::vector<Gate::Token> inside;
  for (int i = 0; i < 100; ++i) inside.push_back(gate->enter());
  EXPECT_TRUE(inside.back());
  inside.clear();
  gate->close();
}

TEST(GateToken, LeavesOnceHoweverOftenItIsMoved) {
  const auto gate = Gate::make();
  auto first = gate->enter();
  {
    auto second = std::move(first);
    EXPECT_TRUE(second);
  }
  gate->close();  // would wait for ever for a token that was not given back
  EXPECT_FALSE(gate->enter());
}

TEST(GateClose, WaitsForWhoIsInside) {
  const auto gate = Gate::make();
  std::atomic<bool> hasLeft{false};
  auto token = std::make_unique<Gate::Token>(gate->enter());
  std::thread closer([&] {
    gate->close();
    EXPECT_TRUE(hasLeft);
  });
  while (!gate->isClosed()) std::this_thread::yield();
  EXPECT_FALSE(gate->enter());
  hasLeft = true;
  token.reset();
  closer.join();
}

TEST(GateClose, IsHarmlessWhenRepeatedAndWhenRacing) {
  for (int round = 0; round < 20; ++round) {
    const auto gate = Gate::make();
    std::atomic<int> inside{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([&] {
        while (const auto token = gate->enter()) {
          ++inside;
          --inside;
        }
      });
    }
    for (int i = 0; i < 2; ++i) {
      threads.emplace_back([&] {
        gate->close();
        EXPECT_EQ(inside, 0);
      });
    }
    for (auto& thread : threads) thread.join();
    gate->close();
  }
}

TEST(GateClose, KeepsDeferredWorkOutOfAnOwnerThatIsGone) {
  struct Owner {
    int steps = 0;
    std::shared_ptr<Gate> gate = Gate::make();
    ~Owner() { gate->close(); }
  };
  xo::ManualClock clock;
  xo::EventLoop loop("test", 2);
  auto owner = std::make_unique<Owner>();
  std::atomic<int> refused{0};
  for (int i = 0; i < 10; ++i) {
    loop.postAfter(std::chrono::milliseconds(i + 1),
                   [raw = owner.get(), gate = owner->gate, &refused] {
                     if (const auto token = gate->enter()) {
                       ++raw->steps;
                     } else {
                       ++refused;
                     }
                   });
  }
  clock.advance(std::chrono::milliseconds(5));
  EXPECT_EQ(owner->steps, 5);
  owner.reset();
  clock.advance(std::chrono::milliseconds(10));
  EXPECT_EQ(refused, 5);
}

}  // namespace
