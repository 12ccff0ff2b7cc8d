// A robot with a page for tests: a session with one small service and a memory, behind a real
// server on a free port.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "access/access.h"
#include "access/test/fake_memory.h"
#include "access/test/temporary_folder.h"
#include "web/server/house.h"
#include "web/server/server.h"
#include "web/test/page_client.h"

namespace web {

/// Waits in real time for something that must come soon; false after ten seconds.
inline bool comesTrue(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    // Between two looks at the server, which tells a test of nothing.
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

class TestPage {
 public:
  explicit TestPage(door::Limits limits = {}) : access(session, limits, {}, {{"Test", "look"}}) {
    folder.write("index.html", "<!doctype html><title>Robot</title>");
    folder.write("robot.js", "export const robot = 1;");
    options.folder = folder.path();
    options.softwareVersion = "1.2.3";
    publish();
  }
  ~TestPage() { stopAll = true; }

  /// Call it once `options` and `patience` are as they shall be.
  void serve() {
    server.reset();
    server = std::make_unique<Server>(access, options, patience);
  }
  int port() const { return server->port(); }
  PageClient connect(const std::string& name = "tester") const {
    PageClient client(port());
    client.hello(name);
    return client;
  }
  void awaitInside(int count) const {
    if (!comesTrue([&] { return inside == count; })) throw std::runtime_error("not inside");
  }
  void settleLater(const std::string& value = "settled") {
    xo::Promise<HB::HBValue> fresh;
    std::swap(fresh, later);
    fresh.setValue(HB::HBValue(value));
  }

  door::TemporaryFolder folder;
  std::shared_ptr<xo::Session> session = std::make_shared<xo::Session>();
  door::FakeMemory memory{*session};
  xo::Promise<HB::HBValue> later;
  std::atomic<int> inside{0};        ///< calls in "stay" and "insist"
  std::atomic<int> stopped{0};       ///< calls that saw their stop
  std::atomic<bool> stopAll{false};  ///< ends calls of "insist", which do not look at their stop
  std::unique_ptr<xo::Session::Registration> registration;
  door::Access access;
  Server::Options options;
  Patience patience;
  std::unique_ptr<Server> server;

 private:
  void publish() {
    using HB::HBValue;
    xo::ObjectBuilder builder;
    builder.setDescription("For tests.");
    builder.add(xo::makeMethod<int(int, int)>({"add",
                                               "Adds two numbers.",
                                               {{"one", "The first."}},
                                               xo::NamedText{"sum", "Both."},
                                               {{"python", "proxy.add(1, 2)"}}},
                                              [](int one, int other) { return one + other; }));
    builder.add(xo::makeMethod<void()>({"nothing", "", {}, {}, {}}, [] {}));
    builder.add(xo::makeMethod<int()>({"look", "", {}, {}, {}}, [] { return 7; }));
    builder.add(xo::makeMethod<HBValue(const HBValue&)>(
        {"echo", "", {}, {}, {}}, [](const HBValue& value) { return value; }));
    builder.add(xo::makeMethod<void()>({"fail", "", {}, {}, {}}, [] {
      throw std::out_of_range("There is no <b>such</b> thing");
    }));
    builder.add(xo::makeMethod<std::string(int)>({"text", "", {}, {}, {}}, [](int bytes) {
      return std::string(static_cast<std::size_t>(bytes), 'x');
    }));
    builder.add(xo::makeMethod<std::string()>({"broken", "", {}, {}, {}}, [] {
      return std::string(
          "a\xff"
          "b");
    }));
    builder.add(xo::makeMethod<HBValue()>({"deep", "", {}, {}, {}}, [] {
      HBValue value(1);
      for (int i = 0; i < 200; ++i) value = HBValue(HBValue::List{value});
      return value;
    }));
    builder.add(xo::makeMethod<void()>({"stay", "", {}, {}, {}}, [this] { stay(true); }));
    builder.add(xo::makeMethod<void()>({"insist", "", {}, {}, {}}, [this] { stay(false); }));
    builder.add(xo::makeMethod<xo::Future<HBValue>()>({"later", "", {}, {}, {}},
                                                      [this] { return later.future(); }));
    registration = session->registerService("Test", std::move(builder));
  }
  void stay(bool isObedient) {
    ++inside;
    while (!stopAll && !(isObedient && xo::CallScope::current()->isStopRequested())) {
      // A stop request is a flag that a method looks at; nothing wakes it.
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (xo::CallScope::current()->isStopRequested()) ++stopped;
    --inside;
  }
};

}  // namespace web
