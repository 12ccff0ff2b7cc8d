// Whom a browser must think that it talks to: a page of somebody else can make a browser send
// requests to this machine, under its own name or from its own pages.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace web {

/// Immutable, so thread-safe.
class Hosts {
 public:
  /// `given` is the host as the command line names it; this machine's own name is found out.
  Hosts(const std::string& given, int port, bool hasTls);

  /// Whether the header Host names this robot: by an address of numbers, as localhost, by the
  /// machine's name (or NAME.local) or by the host that was given; and by the port in use. Names
  /// that somebody else made to lead here do not.
  bool isOurs(std::string_view host) const;
  /// Whether the header Origin names the page itself, as it is reached by that Host.
  bool isOwnOrigin(std::string_view origin, std::string_view host) const;

 private:
  std::string fPort;
  std::string fScheme;
  bool fIsDefaultPort;  // browsers leave it out then
  std::vector<std::string> fNames;
};

}  // namespace web
