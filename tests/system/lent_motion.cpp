// A motion service in a process of its own: `lent_motion ADDRESS`. A write with a duration holds
// its caller until it is over. Prints what it does, a line a step; ended from outside.
#include <algorithm>
#include <chrono>
#include <iostream>
#include <thread>

#include "framework/hb/hb_memory_proxy.h"
#include "remote/client/remote_session.h"

namespace {

using Lists = std::vector<std::vector<float>>;

/// Moves in steps of 20 ms, all keys as one change of the memory a step.
void animate(const HB::HBMemoryProxy& memory, const std::vector<std::string>& keys,
             const Lists& times, const Lists& values) {
  using Seconds = std::chrono::duration<float>;
  const auto start = std::chrono::steady_clock::now();
  float last = 0;
  for (const auto& list : times) last = std::max(last, list.empty() ? 0.0F : list.back());
  std::cout << "animating " << keys.size() << std::endl;
  float now = 0;
  do {
    now = Seconds(std::chrono::steady_clock::now() - start).count();
    std::vector<HB::HBValue> asked;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      const float time = times[i].back();
      asked.emplace_back(values[i].back() * (now < time ? now / time : 1.0F));
    }
    memory.insertDataBatch(keys, asked);
    // Its tick: this stands in for a motion service, which moves LEDs in real time.
    if (now < last) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  } while (now < last && !xo::CallScope::current()->isStopRequested());
}

}  // namespace

int main(int, char** arguments) {
  const auto session = remote::RemoteSession::connect(arguments[1]);
  const HB::HBMemoryProxy memory("HBMemory", session->session().find("HBMemory"));
  xo::ObjectBuilder builder;
  builder.add(xo::makeMethod<void(const std::vector<std::string>&, const Lists&, const Lists&)>(
      {"_animateLEDs", "Moves LEDs.", {}, {}, {}},
      [&](const std::vector<std::string>& keys, const Lists& times, const Lists& values) {
        animate(memory, keys, times, values);
      }));
  const auto lending = session->lend("HBMotion", std::move(builder));
  std::cout << "lent" << std::endl;
  for (;;) lending->waitUntilLost(1000);
}
