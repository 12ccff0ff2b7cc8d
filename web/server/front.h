// What every connection to the page's server meets first: its files, and whom it answers.
#pragma once

#include <string>

#include "web/server/files.h"
#include "web/server/hosts.h"

namespace web {

/// Immutable, so thread-safe.
struct Front {
  Files files;
  Hosts hosts;
};

}  // namespace web
