#include "python/convert.h"

#include <array>
#include <optional>
#include <utility>

#include "python/failures.h"
#include "utility_manager/failures.h"

namespace python {
namespace {

using values::Value;

constexpr int deepest_level = 500;
constexpr std::size_t longest_place = 100;  // in a message

/// Where in a value a member stands.
struct Place {
  const Place* outer = nullptr;
  const std::string* key = nullptr;  ///< null: the item `index` of a list
  Py_ssize_t index = 0;
  int depth = 0;
};

std::string text_of(const Place& place) {
  if (!place.outer) return "";
  const auto outer = text_of(*place.outer);
  if (!place.key) return outer + "[" + std::to_string(place.index) + "]";
  return outer.empty() ? *place.key : outer + "." + *place.key;
}

/// What a message begins with: the place and a colon, nothing for the whole value.
std::string lead(const Place& place) {
  auto text = text_of(place);
  if (text.size() > longest_place) text.replace(longest_place, text.npos, "...");
  return text.empty() ? text : text + ": ";
}

/// Kept for ever. A thread that waited for another one's initialisation would hold the interpreter
/// lock meanwhile, so two may do it.
PyObject* mapping_class() {
  static PyObject* type = nullptr;
  if (!type) {
    const Ref module =
        checked(guarded_call([] { return PyImport_ImportModule("collections.abc"); }));
    type = checked(PyObject_GetAttrString(module.get(), "Mapping")).release();
  }
  return type;
}

std::optional<std::string> utf8(PyObject* text) {
  Py_ssize_t size = 0;
  const char* const bytes = PyUnicode_AsUTF8AndSize(text, &size);
  if (!bytes) return std::nullopt;
  return std::string(bytes, static_cast<std::size_t>(size));
}

/// Adds the place to the exception that is set.
[[noreturn]] void throw_bad_text(const Place& place) {
  if (!place.outer || !PyErr_ExceptionMatches(PyExc_UnicodeEncodeError)) throw_raised();
  PyObject *type, *value, *traceback;
  PyErr_Fetch(&type, &value, &traceback);
  PyErr_NormalizeException(&type, &value, &traceback);
  PyUnicodeEncodeError_SetReason(value, ("surrogates not allowed in " + text_of(place)).c_str());
  PyErr_Restore(type, value, traceback);
  throw_raised();
}

enum class Content { data, registration, record, service_answer };

/// Converts one value with its members. Gives nothing for what a service's answer may leave out.
class Reader {
 public:
  explicit Reader(Content content) : content_(content) {}

  std::optional<Value> read(PyObject* object, const Place& place = {}) const {
    if (object == Py_None) return Value();
    if (PyBool_Check(object)) return Value(object == Py_True);
    if (PyLong_Check(object)) return integer(object, place);
    if (PyFloat_Check(object)) return Value(PyFloat_AS_DOUBLE(object));
    if (is_path(place)) return Value(path(object, place));
    if (PyUnicode_Check(object)) return text(object, place);
    if (PyList_Check(object) || PyTuple_Check(object)) return list(object, place);
    if (is_mapping(object)) return mapping(object, place);
    if (lenient()) return std::nullopt;
    throw utility_manager::TypeError(lead(place) + "a value of type '" + Py_TYPE(object)->tp_name +
                                     "' can't be used here; use None, bool, int, float, str, "
                                     "list or dict");
  }

 private:
  bool lenient() const { return content_ == Content::service_answer; }

  bool is_path(const Place& place) const {
    if (content_ != Content::registration && content_ != Content::record) return false;
    if (place.depth != 1 || !place.key) return false;
    return *place.key == "script_path" || *place.key == "icon_path";
  }

  std::optional<Value> integer(PyObject* object, const Place& place) const {
    int overflow = 0;
    const auto number = PyLong_AsLongLongAndOverflow(object, &overflow);
    if (overflow == 0) return Value(static_cast<std::int64_t>(number));
    if (overflow > 0) {
      const auto large = PyLong_AsUnsignedLongLong(object);
      if (!PyErr_Occurred()) return Value(static_cast<std::uint64_t>(large));
      PyErr_Clear();
    }
    if (lenient()) return std::nullopt;
    raise(PyExc_OverflowError, lead(place) + "an int must fit in 64 bits");
  }

  std::optional<Value> text(PyObject* object, const Place& place) const {
    if (auto bytes = utf8(object)) return Value(std::move(*bytes));
    if (!lenient()) throw_bad_text(place);
    PyErr_Clear();
    return std::nullopt;
  }

  static Value path(PyObject* object, const Place& place) {
    const bool is_path_object =
        guarded_call([object] { return PyObject_HasAttrString(object, "__fspath__"); });
    if (PyUnicode_Check(object) || is_path_object) return encoded_path(object);
    return *Reader(Content::data).read(object, place);
  }

  std::optional<Value> list(PyObject* object, const Place& place) const {
    if (!may_go_deeper(place)) return std::nullopt;
    auto result = Value::array();
    for (Py_ssize_t index = 0; index < PySequence_Fast_GET_SIZE(object); ++index) {
      const Ref item = Ref::borrow(PySequence_Fast_GET_ITEM(object, index));
      auto value = read(item.get(), {.outer = &place, .index = index, .depth = place.depth + 1});
      result.push_back(std::move(value).value_or(nullptr));
    }
    return result;
  }

  std::optional<Value> mapping(PyObject* object, const Place& place) const {
    if (!may_go_deeper(place)) return std::nullopt;
    const Ref items = checked(guarded_call([=] { return PyMapping_Items(object); }));
    auto result = Value::object();
    auto& members = result.get_ref<Value::object_t&>();
    for (Py_ssize_t index = 0; index < PyList_GET_SIZE(items.get()); ++index) {
      PyObject *key, *value;
      if (!PyArg_ParseTuple(PyList_GET_ITEM(items.get(), index), "OO", &key, &value))
        throw_raised();
      if (content_ == Content::record && place.depth == 0 && is_icon_cache_key(key)) continue;
      const auto name = member_name(key, place);
      if (!name) continue;
      auto member = read(value, {.outer = &place, .key = &*name, .depth = place.depth + 1});
      if (member) members.emplace_back(*name, std::move(*member));
    }
    return result;
  }

  std::optional<std::string> member_name(PyObject* key, const Place& place) const {
    auto name = PyUnicode_Check(key) ? utf8(key) : std::nullopt;
    if (name) return name;
    if (lenient()) {
      PyErr_Clear();
      return std::nullopt;
    }
    if (PyErr_Occurred()) throw_bad_text(place);
    const Ref shown = checked(guarded_call([key] { return PyObject_ASCII(key); }));
    throw utility_manager::TypeError(lead(place) + "the key " + *utf8(shown.get()) +
                                     " must be a str");
  }

  bool may_go_deeper(const Place& place) const {
    if (place.depth < deepest_level) return true;
    if (lenient()) return false;
    raise(PyExc_ValueError, lead(place) + "nested deeper than " + std::to_string(deepest_level) +
                                " levels, or a value that contains itself");
  }

  Content content_;
};

/// Converts one value with its members. The mappings of a list mostly have the same keys at the
/// same places: a key is made into a str once, and its hash with it.
class Writer {
 public:
  Ref write(const Value& value) {
    switch (value.type()) {
      case Value::value_t::boolean:
        return Ref::borrow(value.get<bool>() ? Py_True : Py_False);
      case Value::value_t::number_integer:
        return checked(PyLong_FromLongLong(value.get<std::int64_t>()));
      case Value::value_t::number_unsigned:
        return checked(PyLong_FromUnsignedLongLong(value.get<std::uint64_t>()));
      case Value::value_t::number_float:
        return checked(PyFloat_FromDouble(value.get<double>()));
      case Value::value_t::string:
        return decoded(value.get_ref<const std::string&>());
      case Value::value_t::array:
        return list(value);
      case Value::value_t::object:
        return mapping(value);
      default:
        return Ref::borrow(Py_None);
    }
  }

 private:
  Ref list(const Value& value) {
    const auto size = static_cast<Py_ssize_t>(value.size());
    Ref list = checked(guarded_call([=] { return PyList_New(size); }));
    Py_ssize_t index = 0;
    for (const auto& item : value.get_ref<const Value::array_t&>()) {
      PyList_SET_ITEM(list.get(), index++, write(item).release());
    }
    return list;
  }

  Ref mapping(const Value& value) {
    Ref mapping = checked(guarded_call([] { return PyDict_New(); }));
    std::size_t place = 0;
    for (const auto& [key, member] : value.get_ref<const Value::object_t&>()) {
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

Value to_value(PyObject* object) {
  return *Reader(Content::data).read(object);
}

Value registration_to_value(PyObject* mapping) {
  return *Reader(Content::registration).read(mapping);
}

Value info_to_value(PyObject* mapping) {
  return *Reader(Content::record).read(mapping);
}

Value lenient_to_value(PyObject* object) {
  if (!checked(guarded_call([object] { return PyObject_IsTrue(object); }))) return nullptr;
  return Reader(Content::service_answer).read(object).value_or(nullptr);
}

Ref to_python(const Value& value) {
  return Writer().write(value);
}

Ref decoded(std::string_view text) {
  return checked(
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape"));
}

std::string encoded(PyObject* text) {
  auto bytes = utf8(text);
  if (!bytes) throw_raised();
  return *bytes;
}

std::string encoded_path(PyObject* path) {
  const Ref text = checked(guarded_call([path] { return PyOS_FSPath(path); }));
  if (!PyUnicode_Check(text.get())) throw utility_manager::TypeError("a path must be a str");
  const Ref bytes = checked(PyUnicode_EncodeFSDefault(text.get()));
  return {PyBytes_AS_STRING(bytes.get()), static_cast<std::size_t>(PyBytes_GET_SIZE(bytes.get()))};
}

bool is_icon_cache_key(PyObject* key) {
  static PyObject* prefix = nullptr;
  if (!prefix) prefix = decoded(icon_cache_prefix).release();
  return PyUnicode_Check(key) &&
         checked(static_cast<int>(PyUnicode_Tailmatch(key, prefix, 0, PY_SSIZE_T_MAX, -1))) != 0;
}

bool is_mapping(PyObject* object) {
  if (PyDict_Check(object)) return true;
  return checked(guarded_call([=] { return PyObject_IsInstance(object, mapping_class()); })) != 0;
}

}  // namespace python
