// How a library's entry point makes its module.
#pragma once

#include <memory>
#include <utility>

#include "framework/hb/hb_module.h"

namespace HB {

namespace detail {
/// Gives the module its shared owner (whose code is this library's) and starts it: `initModule`,
/// then `init`; when that throws HBError, `exit`, and a copy of the error is thrown.
std::shared_ptr<HBModule> startModule(std::unique_ptr<HBModule> module);
}  // namespace detail

/// Makes and starts a module of class M. The broker keeps it alive. Errors: what its constructor or
/// `init` throws; the module is gone then.
template <class M>
std::shared_ptr<HBModule> createModule(std::shared_ptr<HBBroker> broker) {
  return detail::startModule(std::make_unique<M>(std::move(broker)));
}

}  // namespace HB

/// The one symbol that a module library exports. Takes the robot's broker, returns 0.
#define HB_MODULE_ENTRY_POINT extern "C" __attribute__((visibility("default"))) int
