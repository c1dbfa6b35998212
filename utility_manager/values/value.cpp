#include "utility_manager/values/value.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace utility_manager::values {
namespace {

const char* name_of(Kind kind) {
  constexpr std::array names = {"null",
                                "a boolean",
                                "an integer",
                                "an integer beyond 64 signed bits",
                                "a real",
                                "a text",
                                "a list",
                                "a mapping",
                                "a value of the host"};
  return names[static_cast<std::size_t>(kind)];
}

auto with_key(std::string_view key) {
  return [key](const Member& member) { return member.key == key; };
}

}  // namespace

Mapping::Mapping() = default;
Mapping::Mapping(std::initializer_list<Member> members) : members_(members) {}
Mapping::Mapping(const Mapping& other) = default;
Mapping::Mapping(Mapping&& other) noexcept = default;
Mapping& Mapping::operator=(const Mapping& other) = default;
Mapping& Mapping::operator=(Mapping&& other) noexcept = default;
Mapping::~Mapping() = default;

const Value* Mapping::find(std::string_view key) const {
  const auto member = std::find_if(members_.begin(), members_.end(), with_key(key));
  return member == members_.end() ? nullptr : &member->value;
}

Value* Mapping::find(std::string_view key) {
  return const_cast<Value*>(std::as_const(*this).find(key));
}

const Value& Mapping::at_or(std::string_view key, const Value& absent) const {
  const auto* const value = find(key);
  return value ? *value : absent;
}

Value& Mapping::append(std::string key, Value value) {
  return members_.emplace_back(std::move(key), std::move(value)).value;
}

Value& Mapping::append(Member&& member) {
  return members_.emplace_back(std::move(member)).value;
}

void Mapping::set(std::string_view key, Value value) {
  (*this)[key] = std::move(value);
}

Value& Mapping::operator[](std::string_view key) {
  auto* const value = find(key);
  return value ? *value : append(std::string(key), nullptr);
}

bool Mapping::erase(std::string_view key) {
  return std::erase_if(members_, with_key(key)) > 0;
}

void Mapping::reserve(std::size_t size) {
  members_.reserve(size);
}

bool Mapping::operator==(const Mapping& other) const {
  return members_ == other.members_;
}

Value::Value(std::string text) : content_(std::move(text)) {}
Value::Value(List list) : content_(std::move(list)) {}
Value::Value(Mapping mapping) : content_(std::move(mapping)) {}
Value::Value(std::shared_ptr<const HostValue> value) : content_(std::move(value)) {}
Value::Value(const Value& other) = default;
Value::Value(Value&& other) noexcept = default;
Value& Value::operator=(const Value& other) = default;
Value& Value::operator=(Value&& other) noexcept = default;
Value::~Value() = default;

double Value::number() const {
  if (kind() == Kind::integer) return static_cast<double>(integer());
  if (kind() == Kind::unsigned_integer) return static_cast<double>(unsigned_integer());
  return real();
}

std::string Value::text() && {
  return std::move(get<std::string>(Kind::text));
}

List Value::list() && {
  return std::move(get<List>(Kind::list));
}

Mapping Value::mapping() && {
  return std::move(get<Mapping>(Kind::mapping));
}

void Value::fail(Kind expected) const {
  throw WrongKind(std::string("the value is ") + name_of(kind()) + ", not " + name_of(expected));
}

bool Value::equals(const Value& other) const {
  if (kind() == Kind::host_value && other.kind() == Kind::host_value) {
    return host_value() == other.host_value() || host_value()->equals(*other.host_value());
  }
  if (kind() == other.kind()) return content_ == other.content_;
  if (is_real() || other.is_real()) {
    return is_number() && other.is_number() && number() == other.number();
  }
  return false;
}

}  // namespace utility_manager::values
