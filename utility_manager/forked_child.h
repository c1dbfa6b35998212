#pragma once

namespace utility_manager {

/// Fails with `RuntimeError` in a forked child of the client, which has none of its threads and
/// must leave its books and children alone.
void refuse_forked_child();

}  // namespace utility_manager
