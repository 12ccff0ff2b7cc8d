// A service known by its description alone: methods that are carried out somewhere else.
#pragma once

#include <cstddef>
#include <functional>
#include <span>

#include "framework/xo/object.h"

namespace remote {

/// Carries out method number `method` of the description. The arguments have its signature's types.
/// Runs on the caller's thread.
using Invoke = std::function<xo::CallResult(std::size_t method, std::span<const HB::HBValue> args)>;

/// The object that `info` describes: its methods take HBValues that fit their signatures, and
/// `invoke` carries them out. Results are made to fit the signature (`fitResult`).
xo::ObjectBuilder makeDescribed(const xo::ObjectInfo& info, const Invoke& invoke);

/// `value` as a result of that type. Errors: `std::runtime_error` that names both when it is none.
HB::HBValue fitResult(const xo::Type& type, const HB::HBValue& value);

}  // namespace remote
