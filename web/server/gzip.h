// Files in fewer bytes, for browsers that say that they read them so. Pure functions.
#pragma once

#include <string>
#include <string_view>

namespace web {

/// The content, below 4 GiB, as a gzip file. Errors: `std::bad_alloc`.
std::string gzip(std::string_view content);

/// Whether the header Accept-Encoding names gzip (or "*", where it does not name gzip) with a
/// weight above 0. What cannot be read counts as not said, and so does a header that is missing.
bool acceptsGzip(std::string_view header);

}  // namespace web
