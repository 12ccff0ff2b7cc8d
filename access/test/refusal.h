// What the tests of access share: two clients, and the words of a refusal.
#pragma once

#include <string>

#include "access/client.h"
#include "access/refused.h"

namespace door {

inline const Client kAda{"ada", "ipv4:127.0.0.1:1", "grpc"};
inline const Client kBen{"ben", "ipv4:127.0.0.1:2", "grpc"};

/// The text with which `f` is refused, or "not refused".
template <class F>
std::string refusalOf(F&& f) {
  try {
    f();
  } catch (const Refused& refused) {
    return refused.what();
  }
  return "not refused";
}

}  // namespace door
