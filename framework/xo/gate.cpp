#include "framework/xo/gate.h"

#include <utility>

#include "framework/xo/clock.h"

namespace xo {

Gate::Token::Token(Token&& other) noexcept : fGate(std::exchange(other.fGate, nullptr)) {}

Gate::Token::~Token() {
  if (fGate) fGate->leave();
}

std::shared_ptr<Gate> Gate::make() { return std::make_shared<Gate>(); }

Gate::Token Gate::enter() noexcept {
  const std::lock_guard lock(fMutex);
  if (fClosed) return Token(nullptr);
  ++fInside;
  return Token(this);
}

void Gate::close() {
  std::unique_lock lock(fMutex);
  fClosed = true;
  while (fInside > 0) clock().waitUntil(lock, fEmpty, kNever);
}

bool Gate::isClosed() const {
  const std::lock_guard lock(fMutex);
  return fClosed;
}

void Gate::leave() noexcept {
  const std::lock_guard lock(fMutex);
  // Notified under the lock: whoever closes may destroy the gate as soon as it is let through.
  if (--fInside == 0) clock().notifyAll(fEmpty);
}

}  // namespace xo
