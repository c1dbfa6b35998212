#include <sys/prctl.h>

#include "tests/children/start_child.h"

void utility_manager::Reaper::take_orphans(bool takes) {
  ::prctl(PR_SET_CHILD_SUBREAPER, takes ? 1 : 0);
}
