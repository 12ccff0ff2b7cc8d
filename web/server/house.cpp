#include "web/server/house.h"

#include <array>
#include <cstdio>
#include <random>
#include <utility>

namespace web {
namespace {

std::string randomText() {
  std::random_device random;
  std::array<char, 20> text{};
  std::snprintf(text.data(), text.size(), "%08x%08x", random(), random());
  return text.data();
}

}  // namespace

House::House(door::Access& toAccess, std::shared_ptr<Mailbox> toMailbox)
    : access(toAccess),
      mailbox(std::move(toMailbox)),
      start(randomText()),
      pool("page.call", static_cast<int>(toAccess.limits().mostCalls()) + 2) {}

}  // namespace web
