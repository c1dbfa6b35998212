#pragma once

#include <nlohmann/json.hpp>

/// JSON-like values: what registrations, configurations and records are made of.
namespace values {

/// Null, boolean, 64-bit integer, real, text, list or mapping. A mapping keeps insertion order.
/// Text is UTF-8; a text that stands for a path may hold any bytes, as the file system does.
using Value = nlohmann::ordered_json;

}  // namespace values

extern template class nlohmann::basic_json<nlohmann::ordered_map>;
