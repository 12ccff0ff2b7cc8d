// The doctor command: asks a robot what `doctor` judges.
#pragma once

#include <ostream>

#include "tools/ledctl/options.h"

namespace ledctl {

/// Prints what runs where and what is wrong; returns the exit status: kDone when all is well,
/// kNotReached when there is no robot to ask, else kCallFailed. Errors: UsageError for an address
/// that cannot be.
int examine(const Options& options, std::ostream& out, std::ostream& hints);

}  // namespace ledctl
