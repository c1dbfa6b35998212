#include <array>
#include <string_view>
#include <utility>

#include "python/convert.h"
#include "python/failures.h"
#include "python/host_value.h"

namespace utility_manager::python {
namespace {

using values::Kind;
using values::Value;

/// Converts one value with its members. The mappings of a list mostly have the same keys at the
/// same places: a key is made into a str once, and its hash with it.
class Writer {
 public:
  Ref write(const Value& value) {
    switch (value.kind()) {
      case Kind::null:
        return Ref::borrow(Py_None);
      case Kind::boolean:
        return Ref::borrow(value.boolean() ? Py_True : Py_False);
      case Kind::integer:
        return checked(PyLong_FromLongLong(value.integer()));
      case Kind::unsigned_integer:
        return checked(PyLong_FromUnsignedLongLong(value.unsigned_integer()));
      case Kind::real:
        return checked(PyFloat_FromDouble(value.real()));
      case Kind::text:
        return decoded(value.text());
      case Kind::list:
        return list(value.list());
      case Kind::mapping:
        return mapping(value.mapping());
      case Kind::host_value:
        return object_of(*value.host_value());
    }
    return {};
  }

 private:
  Ref list(const values::List& items) {
    const auto size = static_cast<Py_ssize_t>(items.size());
    Ref list = checked(guarded_call([=] { return PyList_New(size); }));
    Py_ssize_t index = 0;
    for (const auto& item : items) {
      PyList_SET_ITEM(list.get(), index++, write(item).release());
    }
    return list;
  }

  Ref mapping(const values::Mapping& members) {
    Ref mapping = checked(guarded_call([] { return PyDict_New(); }));
    std::size_t place = 0;
    for (const auto& [key, member] : members) {
      const Ref name = name_of(key, place++);
      const Ref object = write(member);
      checked(PyDict_SetItem(mapping.get(), name.get(), object.get()));
    }
    return mapping;
  }

  Ref name_of(const std::string& key, std::size_t place) {
    auto& [known, name] = names_[place % names_.size()];
    if (!name || known != key) {
      name = decoded(key);
      known = key;
    }
    return Ref::borrow(name.get());
  }

  std::array<std::pair<std::string_view, Ref>, 32> names_;
};

}  // namespace

Ref to_python(const Value& value) {
  return Writer().write(value);
}

}  // namespace utility_manager::python
