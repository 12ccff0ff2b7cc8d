// Who may come in at an address: what a robot must have to listen there, and what a client must
// show. Decisions alone; each way in carries them out.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "access/client.h"
#include "access/tokens.h"

namespace door {

/// What a robot was given for its TCP address.
struct Exposure {
  bool isLocal = true;  ///< only processes of this machine get there
  bool hasTls = false;
  bool hasTokens = false;
  bool isInsecureAllowed = false;
};

struct Verdict {
  std::string refusal;      ///< why the robot must not listen; "" when it may
  std::string warning;      ///< what everybody should hear who starts it so; "" for nothing
  bool needsToken = false;  ///< from every client; else a token that is sent must be right
};

/// Pure. Addresses of this machine need nothing; any other needs TLS and tokens, or somebody's word
/// that it may do without. Tokens that are there are always asked for on such an address.
Verdict judge(const Exposure& exposure);

/// Who comes in.
struct Entry {
  std::string refusal;  ///< what the client is told; "" when it is let in
  Holder holder;
};

/// `token` is what the client sent, if it did. Without tokens everybody is an operator.
Entry letIn(const Tokens* tokens, bool needsToken, std::optional<std::string_view> token);

}  // namespace door
