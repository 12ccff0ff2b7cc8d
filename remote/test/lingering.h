// Methods that last, for tests, and what was seen of them.
#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "framework/xo/object.h"

namespace remote {

/// Outlives the service and its calls.
struct Lingering {
  std::atomic<int> inside{0};       ///< calls in "stay" and "insist"
  std::atomic<int> stopped{0};      ///< calls of "stay" that saw their stop
  std::atomic<bool> isOver{false};  ///< ends calls of "insist", which do not look at their stop

  void addTo(xo::ObjectBuilder& builder) {
    add(builder, "stay", [this] {
      while (!xo::CallScope::current()->isStopRequested()) std::this_thread::yield();
      ++stopped;
    });
    add(builder, "insist", [this] {
      while (!isOver) std::this_thread::yield();
    });
  }

 private:
  template <class F>
  void add(xo::ObjectBuilder& builder, const std::string& name, F wait) {
    builder.add(xo::makeMethod<void()>({name, "", {}, {}, {}}, [this, wait] {
      ++inside;
      wait();
      --inside;
    }));
  }
};

}  // namespace remote
