#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

/// JSON-like values: what registrations, configurations and lists are made of.
namespace utility_manager::values {

class Value;
struct Member;

/// What a value is, in the order of the alternatives that hold it.
enum class Kind : std::uint8_t {
  null,
  boolean,
  integer,
  unsigned_integer,  ///< only what `integer` can't hold
  real,
  text,
  list,
  mapping,
  host_value,
};

/// A value was asked for what it isn't.
struct WrongKind : std::logic_error {
  using std::logic_error::logic_error;
};

/// A value of the host that none of the JSON kinds can stand for. The core only carries it: it is
/// shared by the copies of its `Value`, and any thread may drop the last one. The operations may
/// fail with whatever the host raises.
class HostValue {
 public:
  HostValue() = default;
  HostValue(const HostValue&) = delete;
  HostValue& operator=(const HostValue&) = delete;
  virtual ~HostValue() = default;

  virtual bool truthy() const = 0;
  virtual std::string text_form() const = 0;
  virtual std::string repr_form() const = 0;
  virtual bool equals(const HostValue& other) const = 0;
  /// What the host calls this type of value.
  virtual std::string type_name() const = 0;
};

using List = std::vector<Value>;

/// Members in the order in which they came. A look-up walks: mappings are small.
class Mapping {
 public:
  Mapping();
  Mapping(std::initializer_list<Member> members);
  Mapping(const Mapping& other);
  Mapping(Mapping&& other) noexcept;
  Mapping& operator=(const Mapping& other);
  Mapping& operator=(Mapping&& other) noexcept;
  ~Mapping();

  /// Null when there is no such member.
  const Value* find(std::string_view key) const;
  Value* find(std::string_view key);
  const Value& at_or(std::string_view key, const Value& absent) const;
  bool contains(std::string_view key) const { return find(key) != nullptr; }

  /// Adds a member whose key is known to be new.
  Value& append(std::string key, Value value);
  Value& append(Member&& member);
  /// Replaces the value in its place, or adds a member.
  void set(std::string_view key, Value value);
  /// The value under `key`; a new null when there is none.
  Value& operator[](std::string_view key);
  /// True when there was such a member.
  bool erase(std::string_view key);

  std::size_t size() const;
  bool empty() const { return members_.empty(); }
  void reserve(std::size_t size);

  std::vector<Member>::const_iterator begin() const;
  std::vector<Member>::const_iterator end() const;
  std::vector<Member>::iterator begin();
  std::vector<Member>::iterator end();

  /// True for equal members in the same order.
  bool operator==(const Mapping& other) const;

 private:
  std::vector<Member> members_;
};

template <typename T>
concept WholeNumber = std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char>;

/// Null, boolean, integer, real, text, list, mapping or a value of the host.
/// Text is UTF-8; a text that stands for a path may hold any bytes, as the file system does.
/// An accessor fails with `WrongKind` on a value of another kind.
class Value {
 public:
  Value() = default;
  Value(std::nullptr_t) {}
  template <std::same_as<bool> Boolean>
  Value(Boolean boolean) : content_(boolean) {}
  template <WholeNumber Number>
  Value(Number number) {
    if (std::in_range<std::int64_t>(number)) {
      content_ = static_cast<std::int64_t>(number);
    } else {
      content_ = static_cast<std::uint64_t>(number);
    }
  }
  Value(double real) : content_(real) {}
  Value(const char* text) : Value(std::string(text)) {}
  Value(std::string text);
  Value(std::string_view text) : Value(std::string(text)) {}
  Value(List list);
  Value(Mapping mapping);
  Value(std::initializer_list<Member> members) : Value(Mapping(members)) {}
  /// `value` isn't null.
  Value(std::shared_ptr<const HostValue> value);

  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();

  Kind kind() const { return static_cast<Kind>(content_.index()); }
  bool is_null() const { return kind() == Kind::null; }
  bool is_boolean() const { return kind() == Kind::boolean; }
  bool is_integer() const { return kind() == Kind::integer || kind() == Kind::unsigned_integer; }
  bool is_real() const { return kind() == Kind::real; }
  bool is_number() const { return is_integer() || is_real(); }
  bool is_text() const { return kind() == Kind::text; }
  bool is_list() const { return kind() == Kind::list; }
  bool is_mapping() const { return kind() == Kind::mapping; }
  bool is_host_value() const { return kind() == Kind::host_value; }

  bool boolean() const { return get<bool>(Kind::boolean); }
  std::int64_t integer() const { return get<std::int64_t>(Kind::integer); }
  std::uint64_t unsigned_integer() const { return get<std::uint64_t>(Kind::unsigned_integer); }
  double real() const { return get<double>(Kind::real); }
  /// The nearest real of any number.
  double number() const;

  const std::string& text() const& { return get<std::string>(Kind::text); }
  std::string& text() & { return get<std::string>(Kind::text); }
  std::string text() &&;
  const List& list() const& { return get<List>(Kind::list); }
  List& list() & { return get<List>(Kind::list); }
  List list() &&;
  const Mapping& mapping() const& { return get<Mapping>(Kind::mapping); }
  Mapping& mapping() & { return get<Mapping>(Kind::mapping); }
  Mapping mapping() &&;
  const std::shared_ptr<const HostValue>& host_value() const {
    return get<std::shared_ptr<const HostValue>>(Kind::host_value);
  }

  /// Numbers are compared across their kinds; a boolean is no number. Of host values, the host
  /// decides.
  friend bool operator==(const Value& left, const Value& right) { return left.equals(right); }

 private:
  using Content = std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double,
                               std::string, List, Mapping, std::shared_ptr<const HostValue>>;

  template <typename T>
  const T& get(Kind expected) const {
    const T* const content = std::get_if<T>(&content_);
    if (!content) fail(expected);
    return *content;
  }
  template <typename T>
  T& get(Kind expected) {
    return const_cast<T&>(std::as_const(*this).get<T>(expected));
  }
  [[noreturn]] void fail(Kind expected) const;
  bool equals(const Value& other) const;

  Content content_;
};

struct Member {
  Member(std::string name, Value content) : key(std::move(name)), value(std::move(content)) {}

  std::string key;
  Value value;

  bool operator==(const Member&) const = default;
};

inline std::size_t Mapping::size() const {
  return members_.size();
}
inline std::vector<Member>::const_iterator Mapping::begin() const {
  return members_.begin();
}
inline std::vector<Member>::const_iterator Mapping::end() const {
  return members_.end();
}
inline std::vector<Member>::iterator Mapping::begin() {
  return members_.begin();
}
inline std::vector<Member>::iterator Mapping::end() {
  return members_.end();
}

}  // namespace utility_manager::values
