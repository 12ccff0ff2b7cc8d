// Who may come in by which address, with and without TLS and tokens: one table, for every way in.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "access/test/own_address.h"

namespace door {

inline const std::string kOperatorToken = "the-token-of-an-operator";
inline const std::string kViewerToken = "the-token-of-a-viewer";
inline const std::string kWrongToken = "a-token-that-nobody-gave-out";

/// A file of both.
inline std::string textOfTokens() {
  return "operator " + kOperatorToken + "\nviewer " + kViewerToken + " display\n";
}

struct Protection {
  bool hasTls;
  bool hasTokens;
  bool isInsecure;
};

/// Where a robot listens, which is what counts, and by which of its addresses it is reached.
struct Road {
  std::string listens;
  std::string reached;
  bool isLocal = true;
  bool asksForTokens = true;  ///< where there are some
};

/// Those by which other machines come.
inline std::vector<Road> roadsFromOutside() {
  std::vector<Road> roads{{"0.0.0.0", "127.0.0.1", false}};
  if (const std::string own = ownAddress(); !own.empty()) {  // a machine may have loopback alone
    roads.push_back({"0.0.0.0", own, false});
    roads.push_back({own, own, false});
  }
  return roads;
}

/// What a client with that token ("" for none) may do there: "nothing", "viewer" or "operator".
using RoleOf = std::function<std::string(const std::string& token)>;
/// Opens a robot's door on that road; gone with what is returned. Null where this machine has no
/// such road.
using OpenDoor = std::function<RoleOf(const Road&, const Protection&)>;

inline void expectRightRoles(const Road& road, const Protection& protection, const RoleOf& role) {
  const bool areAskedFor = protection.hasTokens && road.asksForTokens;
  const bool needsToken = areAskedFor && !road.isLocal;
  EXPECT_EQ(role(""), needsToken ? "nothing" : "operator");
  EXPECT_EQ(role(kWrongToken), areAskedFor ? "nothing" : "operator");
  EXPECT_EQ(role(kViewerToken), areAskedFor ? "viewer" : "operator");
  EXPECT_EQ(role(kOperatorToken), "operator");
}

/// Every protection on every road.
inline void expectTheTableToHold(const std::vector<Road>& roads, const OpenDoor& open) {
  for (const Road& road : roads) {
    for (int bits = 0; bits < 8; ++bits) {
      const Protection protection{(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0};
      SCOPED_TRACE(road.listens + " by " + road.reached + (protection.hasTls ? " TLS" : "") +
                   (protection.hasTokens ? " tokens" : "") +
                   (protection.isInsecure ? " --insecure" : ""));
      const bool isProtected = protection.hasTls && protection.hasTokens;
      if (!road.isLocal && !isProtected && !protection.isInsecure) {
        EXPECT_THROW(open(road, protection), std::invalid_argument);
        continue;
      }
      if (const RoleOf role = open(road, protection)) expectRightRoles(road, protection, role);
    }
  }
}

}  // namespace door
