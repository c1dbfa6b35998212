#pragma once

#include "utility_manager/values/value.h"

/// Where in the interface a utility belongs.
namespace utility_manager {

/// True when the registration belongs in the navigation bar.
bool is_navbar(const values::Value& utility);

/// True when the registration is marked as an entry of the create-experiment menu.
bool is_create_exp_entry(const values::Value& utility);

}  // namespace utility_manager
