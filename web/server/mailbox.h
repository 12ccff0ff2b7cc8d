// How other threads reach the page's own one: they leave work for it.
#pragma once

#include <functional>
#include <memory>
#include <mutex>

namespace boost::asio {
class io_context;
}

namespace web {

/// Work left here runs on the page's thread, in the order of its coming, until `close`. Shared with
/// whoever may have something to tell; outlives the page's thread harmlessly. Thread-safe.
class Mailbox {
 public:
  explicit Mailbox(boost::asio::io_context& loop) : fLoop(&loop) {}

  /// Never blocks for long and never runs the work here. Dropped once closed.
  void post(std::function<void()> work);
  /// From its return on nothing is taken.
  void close();

 private:
  std::mutex fMutex;  // innermost: only the loop's own is taken under it
  boost::asio::io_context* fLoop;
};

}  // namespace web
