// The door through which deferred work (timer handlers, ticks, continuations) enters its owner, so
// that the owner can go away at any moment.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

namespace xo {

/// Counts who is inside and can be closed once.
///
///     open --close()--> closing (nobody new enters) --last one leaves--> closed
///
/// The owner makes one with `Gate::make()`, hands the pointer to its deferred work and calls
/// `close()` first thing in its destructor. Thread-safe.
class Gate {
 public:
  /// Stay inside while it lives; false when the gate was closed.
  class [[nodiscard]] Token {
   public:
    Token() = default;
    Token(Token&& other) noexcept;
    Token& operator=(Token&&) = delete;
    ~Token();
    explicit operator bool() const noexcept { return fGate != nullptr; }

   private:
    friend class Gate;
    explicit Token(Gate* gate) noexcept : fGate(gate) {}
    Gate* fGate = nullptr;
  };

  static std::shared_ptr<Gate> make();
  Gate() = default;
  Gate(const Gate&) = delete;
  Gate& operator=(const Gate&) = delete;

  /// Never blocks. The token must not outlive the gate.
  Token enter() noexcept;
  /// Refuses new entries and waits until nobody is inside. When it returns, no deferred work of the
  /// owner runs or will run. Not to be called from inside. Calling again is harmless.
  void close();
  bool isClosed() const;

 private:
  void leave() noexcept;

  mutable std::mutex fMutex;
  std::condition_variable fEmpty;
  int fInside = 0;
  bool fClosed = false;
};

}  // namespace xo
