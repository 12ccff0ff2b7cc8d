// A robot for tests: a session with one small service and a memory, behind a real server on a free
// port and a Unix socket of its own.
#pragma once

#include <stdlib.h>

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "access/access.h"
#include "access/test/fake_memory.h"
#include "access/test/temporary_folder.h"
#include "remote/client/robot_client.h"
#include "remote/server/server.h"
#include "remote/test/lingering.h"

namespace remote {

/// Waits in real time for something that must come soon; false after ten seconds.
inline bool comesTrue(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

class TestRobot : public Lingering {
 public:
  explicit TestRobot(door::Limits limits = {}) : access(session, limits) {
    publish();
    Server::Options options;
    options.listen = "127.0.0.1:0";
    options.unixPath = directory.file("robot.sock");
    options.softwareVersion = "1.2.3";
    options.reservedNames = {"HBReserved"};
    server = std::make_unique<Server>(access, options);
  }
  ~TestRobot() { isOver = true; }

  std::string unixAddress() const { return "unix:" + server->unixPath(); }
  std::unique_ptr<RobotClient> connect(const std::string& name = "tester") const {
    return RobotClient::connect(server->tcpAddress(), {name, std::chrono::seconds(5)});
  }
  void awaitInside(int count) const {
    if (!comesTrue([&] { return inside == count; })) throw std::runtime_error("not inside");
  }

  /// No call runs, no stream is open, nobody waits for a future.
  bool isAtRest() const {
    return access.running().empty() && server->underWay() == 0 && access.futures() == 0;
  }
  /// Threads of this process.
  static int threads() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<int>(std::distance(begin(tasks), end(tasks)));
  }

  /// Futures of "loose" that run and that somebody still holds.
  int loose() {
    std::scoped_lock lock(fMutex);
    std::erase_if(fLoose, [](const auto& state) { return state.expired(); });
    return static_cast<int>(fLoose.size());
  }
  /// Gives the one that began last its value.
  void settleOneLoose() {
    std::shared_ptr<xo::detail::TypedState<HB::HBValue>> state;
    {
      std::scoped_lock lock(fMutex);
      while (!fLoose.empty() && !state) {
        state = fLoose.back().lock();
        fLoose.pop_back();
      }
    }
    if (state) state->setValue(HB::HBValue("settled"));
  }

  std::atomic<int> looseCancelled{0};
  door::TemporaryFolder directory;
  std::shared_ptr<xo::Session> session = std::make_shared<xo::Session>();
  door::FakeMemory memory{*session};
  xo::Promise<HB::HBValue> later;
  std::unique_ptr<xo::Session::Registration> registration;
  door::Access access;
  std::unique_ptr<Server> server;

 private:
  using State = xo::detail::TypedState<HB::HBValue>;

  /// A future that nobody keeps for the caller's sake: it goes when it is dropped.
  xo::Future<HB::HBValue> makeLoose() {
    const auto state = xo::detail::makeState<HB::HBValue>();
    state->onCancelRequested([this, weak = std::weak_ptr<State>(state)] {
      ++looseCancelled;
      if (const auto alive = weak.lock()) alive->finishCancelled();
    });
    std::scoped_lock lock(fMutex);
    fLoose.push_back(state);
    return xo::Future<HB::HBValue>(state);
  }

  template <class Sig, class F>
  static void add(xo::ObjectBuilder& builder, const std::string& name, F function) {
    builder.add(xo::makeMethod<Sig>({name, "", {}, {}, {}}, std::move(function)));
  }

  void publish() {
    using HB::HBValue;
    xo::ObjectBuilder builder;
    builder.setDescription("For tests. \nTwo lines.");
    builder.add(xo::makeMethod<std::string(const std::string&, float)>(
        {"name",
         "Names a kind.",
         {{"text", "A text."}, {"number", "A number."}, {"ghost", "No such argument."}},
         xo::NamedText{"kind", "What was called."},
         {{"python", "# Example\nproxy.name('a', 1.0)\n"}, {"c++", "// Example\n"}}},
        [](const std::string& text, const float&) { return "text and float " + text; }));
    add<std::string(const std::string&, int)>(
        builder, "name",
        [](const std::string& text, const int&) { return "text and int " + text; });
    add<std::string(const std::string&, const std::string&)>(
        builder, "name", [](const std::string&, const std::string&) { return "two texts"; });
    add<HBValue(const HBValue&)>(builder, "echo", [](const HBValue& value) { return value; });
    add<void()>(builder, "nothing", [] {});
    add<void(const std::string&, const std::string&)>(
        builder, "fail", [](const std::string& kind, const std::string& text) {
          std::rethrow_exception(xo::makeException(kind, text));
        });
    add<xo::Future<HBValue>()>(builder, "later", [this] { return later.future(); });
    add<xo::Future<HBValue>()>(builder, "loose", [this] { return makeLoose(); });
    addTo(builder);
    registration = session->registerService("Test", std::move(builder));
  }

  std::mutex fMutex;
  std::vector<std::weak_ptr<State>> fLoose;
};

}  // namespace remote
