#include "python/convert.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "python/failures.h"
#include "python/host_value.h"
#include "utility_manager/failures.h"
#include "utility_manager/limits.h"
#include "utility_manager/values/place.h"

namespace utility_manager::python {
namespace {

using values::Place;
using values::Value;

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

/// What is converted, which tells what becomes of an object that no value can stand for: `data`
/// refuses it, an answer leaves it out, and all others carry it.
enum class Content { data, carried, registration, utility, service_answer };

/// Converts one value with its members. Gives nothing for what a service's answer may leave out.
class Reader {
 public:
  explicit Reader(Content content) : content_(content) {}

  std::optional<Value> read(PyObject* object, const Place& place = {}) {
    if (object == Py_None) return Value();
    if (PyBool_Check(object)) return Value(object == Py_True);
    if (PyLong_Check(object)) return integer(object, place);
    if (PyFloat_Check(object)) return Value(PyFloat_AS_DOUBLE(object));
    if (is_path(place) && is_path_like(object)) return Value(encoded_path(object));
    if (PyUnicode_Check(object)) return text(object, place);
    if (PyList_Check(object) || PyTuple_Check(object)) return list(object, place);
    if (is_mapping(object)) return mapping(object, place);
    return instead_of(object, place, [&] {
      throw utility_manager::TypeError(lead(place) + "a value of type '" +
                                       Py_TYPE(object)->tp_name +
                                       "' can't be used here; use None, bool, int, float, str, "
                                       "list or dict");
    });
  }

 private:
  /// A container is open while its members are read.
  class Opened {
   public:
    Opened(std::vector<PyObject*>& open, PyObject* container) : open_(open) {
      open_.push_back(container);
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;
    ~Opened() { open_.pop_back(); }

   private:
    std::vector<PyObject*>& open_;
  };

  bool leaves_out() const { return content_ == Content::service_answer; }

  /// The whole of a registration is converted; it can't be carried.
  bool carries(const Place& place) const {
    if (content_ == Content::carried) return true;
    return (content_ == Content::registration || content_ == Content::utility) && place.outer;
  }

  /// What becomes of an object that no value can stand for. `refuse` throws.
  template <typename Refuse>
  std::optional<Value> instead_of(PyObject* object, const Place& place, Refuse refuse) const {
    if (!leaves_out() && !carries(place)) refuse();
    PyErr_Clear();
    if (leaves_out()) return std::nullopt;
    return carried(object);
  }

  bool is_path(const Place& place) const {
    if (content_ != Content::registration && content_ != Content::utility) return false;
    if (place.depth != 1 || !place.key) return false;
    return *place.key == "script_path" || *place.key == "icon_path";
  }

  std::optional<Value> integer(PyObject* object, const Place& place) const {
    int overflow = 0;
    const auto number = PyLong_AsLongLongAndOverflow(object, &overflow);
    if (overflow == 0) return Value(number);
    if (overflow > 0) {
      const auto large = PyLong_AsUnsignedLongLong(object);
      if (!PyErr_Occurred()) return Value(large);
      PyErr_Clear();
    }
    return instead_of(object, place, [&] {
      raise(PyExc_OverflowError, lead(place) + "an int must fit in 64 bits");
    });
  }

  std::optional<Value> text(PyObject* object, const Place& place) const {
    if (auto bytes = utf8(object)) return Value(std::move(*bytes));
    if (!PyErr_ExceptionMatches(PyExc_UnicodeEncodeError)) throw_raised();
    return instead_of(object, place, [&] { throw_bad_text(place); });
  }

  std::optional<Value> list(PyObject* object, const Place& place) {
    if (!may_enter(object, place)) return std::nullopt;
    const Opened opened(open_, object);
    values::List result;
    for (Py_ssize_t index = 0; index < PySequence_Fast_GET_SIZE(object); ++index) {
      const Ref item = Ref::borrow(PySequence_Fast_GET_ITEM(object, index));
      auto value = read(
          item.get(),
          {.outer = &place, .index = static_cast<std::size_t>(index), .depth = place.depth + 1});
      result.push_back(std::move(value).value_or(nullptr));
    }
    return result;
  }

  std::optional<Value> mapping(PyObject* object, const Place& place) {
    if (!may_enter(object, place)) return std::nullopt;
    const Opened opened(open_, object);
    const Ref items = checked(guarded_call([=] { return PyMapping_Items(object); }));
    values::Mapping result;
    for (Py_ssize_t index = 0; index < PyList_GET_SIZE(items.get()); ++index) {
      PyObject *key, *value;
      if (!PyArg_ParseTuple(PyList_GET_ITEM(items.get(), index), "OO", &key, &value))
        throw_raised();
      if (content_ == Content::utility && !place.outer && is_icon_cache_key(key)) continue;
      auto name = PyUnicode_Check(key) ? utf8(key) : std::nullopt;
      if (!name && carries(place)) {
        PyErr_Clear();
        return carried(object);
      }
      if (!name && !leaves_out()) throw_bad_key(key, place);
      PyErr_Clear();
      if (!name || (may_repeat(object, key) && result.contains(*name))) continue;
      auto member = read(value, {.outer = &place, .key = &*name, .depth = place.depth + 1});
      if (member) result.append(*std::move(name), *std::move(member));
    }
    return result;
  }

  /// False where Python itself sees to it that the keys are different texts.
  static bool may_repeat(PyObject* mapping, PyObject* key) {
    return !PyDict_Check(mapping) || !PyUnicode_CheckExact(key);
  }

  [[noreturn]] static void throw_bad_key(PyObject* key, const Place& place) {
    if (PyErr_Occurred()) throw_bad_text(place);
    const Ref shown = checked(guarded_call([key] { return PyObject_ASCII(key); }));
    throw utility_manager::TypeError(lead(place) + "the key " + *utf8(shown.get()) +
                                     " must be a str");
  }

  bool may_enter(PyObject* container, const Place& place) const {
    const bool in_itself = std::find(open_.begin(), open_.end(), container) != open_.end();
    if (!in_itself && place.depth < limits::deepest_level) return true;
    if (leaves_out()) return false;
    if (in_itself) raise(PyExc_ValueError, lead(place) + "a value that contains itself");
    raise(PyExc_ValueError, lead(place) + "nested deeper than " +
                                std::to_string(limits::deepest_level) +
                                " levels, or a value that contains itself");
  }

  const Content content_;
  std::vector<PyObject*> open_;
};

}  // namespace

Value to_value(PyObject* object) {
  return *Reader(Content::data).read(object);
}

Value to_carried_value(PyObject* object) {
  return *Reader(Content::carried).read(object);
}

Value registration_to_value(PyObject* mapping) {
  return *Reader(Content::registration).read(mapping);
}

Value info_to_value(PyObject* mapping) {
  return *Reader(Content::utility).read(mapping);
}

Value lenient_to_value(PyObject* object) {
  if (!checked(guarded_call([object] { return PyObject_IsTrue(object); }))) return nullptr;
  return Reader(Content::service_answer).read(object).value_or(nullptr);
}

bool is_mapping(PyObject* object) {
  if (PyDict_Check(object)) return true;
  return checked(guarded_call([=] { return PyObject_IsInstance(object, mapping_class()); })) != 0;
}

}  // namespace utility_manager::python
