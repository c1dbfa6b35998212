#pragma once

#include <sys/wait.h>

#include "utility_manager/platform/process_reference.h"

namespace utility_manager::platform {

int number_of(Signal signal);

/// Fails as `ProcessReference::send` does where the call that signals has given -1.
void require_sent(long outcome);

/// What `ProcessReference::collect` gives for the child that `waitid` knows by this.
ChildStatus collect_by(idtype_t kind, id_t id);

}  // namespace utility_manager::platform
