#include "utility_manager/persistence/state_file_form.h"

#include "utility_manager/values/json_read.h"
#include "utility_manager/values/json_write.h"
#include "utility_manager/values/members.h"
#include "utility_manager/values/truthiness.h"

namespace utility_manager {
namespace {

using values::Kind;
using values::Mapping;
using values::Value;

/// A member has another type than the form gives it.
struct Malformed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

template <typename Text>
Value text_or_null(const std::optional<Text>& text) {
  return text ? Value(*text) : Value();
}

/// Empty for anything not truthy.
std::string text_at(const Value& object, const char* key) {
  const auto& value = values::at_or_null(object, key);
  if (!values::truthy(value)) return {};
  if (!value.is_text()) throw Malformed(key);
  return value.text();
}

/// 0 for anything not truthy.
std::int64_t integer_at(const Value& object, const char* key) {
  const auto& value = values::at_or_null(object, key);
  if (!values::truthy(value)) return 0;
  if (value.kind() != Kind::integer) throw Malformed(key);
  return value.integer();
}

/// A file name of its own: the identifier must not lead out of the state directory.
std::string identifier_at(const Value& object, const char* key) {
  auto server_id = text_at(object, key);
  if (server_id.find_first_of(std::string_view("/\0", 2)) != server_id.npos) throw Malformed(key);
  return server_id;
}

std::optional<std::string> unless_empty(std::string text) {
  if (text.empty()) return std::nullopt;
  return text;
}

std::optional<std::string> name_at(const Value& object) {
  const auto& value = values::at_or_null(object, "utility_name");
  if (value.is_null()) return std::nullopt;
  if (!value.is_text()) throw Malformed("utility_name");
  return value.text();
}

Value config_at(const Value& object) {
  const auto& config = values::at_or_null(object, "config");
  if (!values::truthy(config)) return Mapping();
  if (!config.is_mapping()) throw Malformed("config");
  return config;
}

ServerInfo record_of(const StateFile& file, std::int64_t now) {
  const Value& object = file.content;
  ServerInfo record;
  record.server_id = file.server_id;
  record.port = file.port;
  record.pid = file.pid;
  record.utility_name = name_at(object);
  record.config = config_at(object);
  record.create_time = object.mapping().at_or("create_time", now);
  record.lang = unless_empty(text_at(object, "lang"));
  record.studio_url = unless_empty(text_at(object, "studio_url"));
  if (values::truthy_at(object, "require_group_name")) {
    record.group_name = unless_empty(text_at(object, "group_name"));
  }
  return record;
}

}  // namespace

std::string write_state_file(const ServerInfo& info, bool require_group_name) {
  Mapping members = {{"server_id", info.server_id},
                     {"utility_name", text_or_null(info.utility_name)},
                     {"port", info.port},
                     {"pid", info.pid},
                     {"config", info.config},
                     {"create_time", info.create_time},
                     {"lang", text_or_null(info.lang)}};
  if (info.group_name) members.append("group_name", *info.group_name);
  if (info.studio_url) members.append("studio_url", *info.studio_url);
  return write_state_file(members, require_group_name);
}

std::string write_state_file(const Mapping& server_info, bool require_group_name) {
  Mapping object;
  for (const char* key :
       {"server_id", "utility_name", "port", "pid", "config", "create_time", "lang"}) {
    object.append(key, server_info.at_or(key, nullptr));
  }
  object.append("require_group_name", require_group_name);
  const auto add_if_any = [&](const char* key) {
    if (const auto* const value = server_info.find(key)) object.append(key, *value);
  };
  if (require_group_name) add_if_any("group_name");
  add_if_any("studio_url");
  return values::write_json(object, values::Characters::plain);
}

std::optional<StateFile> read_state_file(std::string_view bytes) {
  try {
    return understand_state(values::read_json(bytes));
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::optional<StateFile> understand_state(Value content) {
  if (!content.is_mapping()) return std::nullopt;
  try {
    StateFile file;
    file.server_id = identifier_at(content, "server_id");
    file.pid = integer_at(content, "pid");
    file.port = integer_at(content, "port");
    file.content = std::move(content);
    return file;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::optional<ServerInfo> StateFile::record(std::int64_t now) const {
  try {
    return record_of(*this, now);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace utility_manager
