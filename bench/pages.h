// Pages without a browser: each follows the whole memory over a WebSocket of its own and says of
// every frame that it was seen, as browsers do.
#pragma once

namespace bench {

/// Prints "watching" once each of them has its first frame; ends when the server does.
void watchAsPages(int count, int port);

}  // namespace bench
