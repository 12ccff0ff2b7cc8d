// The chain of eighteen steps by itself, drawing on a list.
#include "hardware/leds/src/blink.h"

#include <gmock/gmock.h>

#include <optional>

#include "framework/xo/event_loop.h"
#include "framework/xo/os.h"

namespace HB::test {
namespace {

using std::chrono::milliseconds;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using xo::FutureState;

struct Drawn {
  int position;
  int rgb;
  long long atMs;
  bool operator==(const Drawn&) const = default;
};
void PrintTo(const Drawn& drawn, std::ostream* out) {
  *out << drawn.position << " to " << std::hex << drawn.rgb << std::dec << " at " << drawn.atMs;
}

constexpr int kOpen = 0xFFFFFF;
constexpr int kClosed = 0x000001;  // not black, so that it is told from nothing
constexpr int kShadow = 0xFF007F;

/// A blink on a group of tasks that draws on a list, and whose steps may be disturbed.
class BlinkSteps : public ::testing::Test {
 protected:
  xo::ManualClock clock;
  const xo::TimePoint start = clock.now();
  std::mutex mutex;
  std::vector<Drawn> drawn;
  std::vector<float> seconds;
  std::function<void(std::size_t number)> onDraw = [](std::size_t) {};
  std::optional<xo::TaskGroup> tasks{std::in_place, nullptr};

  xo::Future<void> blink(float stepSeconds = 0.05F) {
    return startBlink(
        *tasks, {kOpen, kClosed, kShadow, stepSeconds}, [this](int position, int rgb, float time) {
          std::scoped_lock lock(mutex);
          const auto since = clock.now() - start;
          drawn.push_back({position, rgb, std::chrono::duration_cast<milliseconds>(since).count()});
          seconds.push_back(time);
          onDraw(drawn.size());
        });
  }
};

TEST_F(BlinkSteps, AreTheseEighteenAtTheseTimes) {
  const auto future = blink();
  clock.advance(milliseconds(1000));
  EXPECT_TRUE(future.hasValue());
  EXPECT_THAT(drawn, ElementsAre(Drawn{0, kClosed, 0}, Drawn{1, kClosed, 0}, Drawn{2, kOpen, 0},
                                 Drawn{3, kClosed, 0}, Drawn{4, kClosed, 0}, Drawn{5, kClosed, 0},
                                 Drawn{6, kShadow, 0}, Drawn{1, kClosed, 0}, Drawn{0, kOpen, 150},
                                 Drawn{1, kOpen, 150}, Drawn{2, kOpen, 150}, Drawn{3, kOpen, 150},
                                 Drawn{4, kOpen, 150}, Drawn{5, kOpen, 150}, Drawn{6, kShadow, 150},
                                 Drawn{7, kShadow, 150}));
  EXPECT_THAT(seconds, Each(0.05F));
}

TEST_F(BlinkSteps, WaitFirstFor150AndAtLastFor50Milliseconds) {
  const auto future = blink();
  clock.awaitIdle();
  EXPECT_THAT(drawn, SizeIs(8));
  clock.advance(milliseconds(149));
  EXPECT_THAT(drawn, SizeIs(8));
  clock.advance(milliseconds(1));
  EXPECT_THAT(drawn, SizeIs(16));
  clock.advance(milliseconds(49));
  EXPECT_TRUE(future.isRunning());
  clock.advance(milliseconds(1));
  EXPECT_TRUE(future.hasValue());
}

TEST_F(BlinkSteps, RunOnTheEventLoopOneAfterAnother) {
  std::vector<std::string> names;
  std::atomic<int> inside{0};
  onDraw = [&](std::size_t) {
    EXPECT_EQ(++inside, 1);
    names.push_back(xo::os::currentThreadName());
    --inside;
  };
  blink();
  clock.advance(milliseconds(200));
  EXPECT_THAT(names, SizeIs(16));
  EXPECT_THAT(names, Each("EventLoop"));
}

/// Occupies every thread of the event loop while it lives.
class LoopJam {
 public:
  LoopJam() {
    for (int i = 0; i < 2; ++i) {
      xo::getEventLoop().post([this] {
        std::unique_lock lock(fMutex);
        ++fInside;
        fChanged.notify_all();
        fChanged.wait(lock, [this] { return fOpen; });
        --fInside;
        fChanged.notify_all();
      });
    }
    std::unique_lock lock(fMutex);
    fChanged.wait(lock, [this] { return fInside == 2; });
  }
  ~LoopJam() {
    std::unique_lock lock(fMutex);
    fOpen = true;
    fChanged.notify_all();
    fChanged.wait(lock, [this] { return fInside == 0; });
  }
  LoopJam(const LoopJam&) = delete;
  LoopJam& operator=(const LoopJam&) = delete;

 private:
  std::mutex fMutex;
  std::condition_variable fChanged;
  int fInside = 0;
  bool fOpen = false;
};

TEST_F(BlinkSteps, DrawNothingWhenCancelledBeforeTheFirst) {
  xo::Future<void> future;
  {
    const LoopJam jam;
    future = blink();
    future.cancel();
    EXPECT_TRUE(future.isRunning());
  }
  clock.awaitIdle();
  EXPECT_EQ(future.state(), FutureState::kCancelled);
  EXPECT_THAT(drawn, IsEmpty());
}

TEST_F(BlinkSteps, LookForCancellationBeforeEachOfThem) {
  for (std::size_t last = 1; last <= 16; ++last) {
    drawn.clear();
    xo::Promise<void> isMade;
    xo::Future<void> future;
    onDraw = [&](std::size_t number) {
      if (number == 1) isMade.future().wait();
      if (number == last) future.cancel();
    };
    future = blink();
    isMade.setValue();
    clock.advance(milliseconds(last > 8 ? 150 : 0));
    clock.awaitIdle();
    EXPECT_EQ(future.state(), FutureState::kCancelled) << last;
    EXPECT_THAT(drawn, SizeIs(last));
    clock.advance(milliseconds(1000));
    EXPECT_THAT(drawn, SizeIs(last));
  }
}

TEST_F(BlinkSteps, SeeACancellationDuringTheFirstWaitAtItsEnd) {
  const auto future = blink();
  clock.advance(milliseconds(100));
  future.cancel();
  clock.advance(milliseconds(49));
  EXPECT_TRUE(future.isRunning());
  clock.advance(milliseconds(1));
  EXPECT_EQ(future.state(), FutureState::kCancelled);
  EXPECT_THAT(drawn, SizeIs(8));
}

TEST_F(BlinkSteps, AreOverForGoodOnceTheLastHasBegun) {
  const auto future = blink();
  clock.advance(milliseconds(170));
  future.cancel();
  clock.advance(milliseconds(30));
  EXPECT_EQ(future.state(), FutureState::kValue);
}

TEST_F(BlinkSteps, EndWithTheErrorOfTheOneThatFails) {
  for (std::size_t bad = 1; bad <= 16; ++bad) {
    drawn.clear();
    onDraw = [&](std::size_t number) {
      if (number == bad) throw std::out_of_range("step " + std::to_string(bad));
    };
    const auto future = blink();
    clock.advance(milliseconds(1000));
    EXPECT_TRUE(future.hasError());
    EXPECT_EQ(future.errorText(), "step " + std::to_string(bad));
    EXPECT_THROW(future.value(), std::out_of_range);
    EXPECT_THAT(drawn, SizeIs(bad));
  }
}

TEST_F(BlinkSteps, MakeAnErrorOfWhatIsNone) {
  onDraw = [](std::size_t) { throw 7; };
  const auto future = blink();
  clock.advance(milliseconds(1000));
  EXPECT_THROW(future.value(), std::exception);
}

TEST_F(BlinkSteps, EndInErrorWhenTheirTasksAreClosed) {
  const auto future = blink();
  clock.advance(milliseconds(100));
  tasks.reset();
  EXPECT_EQ(future.state(), FutureState::kError);
  clock.advance(milliseconds(1000));
  EXPECT_THAT(drawn, SizeIs(8));

  tasks.emplace(nullptr);
  tasks->close();
  EXPECT_EQ(blink().state(), FutureState::kError);
  EXPECT_THAT(drawn, SizeIs(8));
}

TEST_F(BlinkSteps, TakeTheirColorsAndTimeFromTheParameters) {
  std::vector<int> colors;
  const auto future = startBlink(*tasks, {1, 2, 3, 0.25F}, [&](int, int rgb, float time) {
    colors.push_back(rgb);
    EXPECT_EQ(time, 0.25F);
  });
  clock.advance(milliseconds(1000));
  EXPECT_THAT(colors, ElementsAre(2, 2, 1, 2, 2, 2, 3, 2, 1, 1, 1, 1, 1, 1, 3, 3));
}

TEST_F(BlinkSteps, OfManyBlinksShareTheLoopWithoutHoldingItUp) {
  std::vector<xo::Future<void>> blinks;
  for (int i = 0; i < 10; ++i) blinks.push_back(blink());
  clock.awaitIdle();
  EXPECT_THAT(drawn, SizeIs(80));
  const auto other = xo::getEventLoop().delay(milliseconds(50));
  clock.advance(milliseconds(50));
  EXPECT_TRUE(other.hasValue());
  clock.advance(milliseconds(150));
  for (const auto& one : blinks) EXPECT_TRUE(one.hasValue());
  EXPECT_THAT(drawn, SizeIs(160));
}

}  // namespace
}  // namespace HB::test
