#include <algorithm>

#include "python/bind.h"
#include "python/calls.h"
#include "utility_manager/stderr_buffer.h"

namespace utility_manager::python {

namespace {

using Lines = std::vector<std::string>;

/// An index or a slice of a list.
struct Selection {
  using Type = Selection;
  static std::string name() { return "int | slice"; }
  static Type read(PyObject* object, const ArgumentName& which);

  Py_ssize_t start = 0;
  Py_ssize_t stop = 0;
  Py_ssize_t step = 0;  ///< 0: the index `start`
};

Selection Selection::read(PyObject* object, const ArgumentName& which) {
  Selection wanted;
  if (!PySlice_Check(object)) {
    if (!PyIndex_Check(object)) throw_wrong_type(which, name(), object);
    wanted.start = Integer::read(object, which);
  } else if (guarded_call([&] {
               return PySlice_Unpack(object, &wanted.start, &wanted.stop, &wanted.step);
             }) < 0) {
    throw_raised();
  }
  return wanted;
}

struct Selected {
  bool is_slice;
  Lines lines;
};

Lines slice(const StderrBuffer& self, Selection wanted) {
  const auto size = static_cast<Py_ssize_t>(self.size());
  const auto count = PySlice_AdjustIndices(size, &wanted.start, &wanted.stop, wanted.step);
  if (count == 0) return {};
  const auto last = wanted.start + (count - 1) * wanted.step;
  const auto first = std::min(wanted.start, last);
  const auto span = std::max(wanted.start, last) - first + 1;
  Lines lines = self.lines(static_cast<std::size_t>(first), static_cast<std::size_t>(span));
  if (wanted.step == 1) return lines;
  Lines chosen;
  for (Py_ssize_t i = 0; i < count; ++i) {
    const auto place = wanted.start - first + i * wanted.step;
    chosen.push_back(std::move(lines[static_cast<std::size_t>(place)]));
  }
  return chosen;
}

Selected item(const StderrBuffer& self, const Selection& wanted) {
  if (wanted.step != 0) return {.is_slice = true, .lines = slice(self, wanted)};
  const auto from = wanted.start < 0 ? static_cast<Py_ssize_t>(self.size()) : 0;
  const auto place = from + wanted.start;
  if (place < 0) return {.is_slice = false, .lines = {}};
  return {.is_slice = false, .lines = self.lines(static_cast<std::size_t>(place), 1)};
}

Ref given(const Selected& selected) {
  if (selected.is_slice) return python::given(selected.lines);
  if (selected.lines.empty()) raise(PyExc_IndexError, "stderr_buffer index out of range");
  return python::given(selected.lines.front());
}

std::shared_ptr<LineReader> iterator(const StderrBuffer& self) {
  return std::make_shared<LineReader>(self.shared_from_this());
}

struct NextLine {
  std::optional<std::string> line;
};

NextLine next_line(LineReader& self) {
  return {self.next()};
}

Ref given(const NextLine& next) {
  if (next.line) return python::given(*next.line);
  PyErr_SetNone(PyExc_StopIteration);
  throw_raised();
}

Ref same(const Operation&, Objects objects) {
  return Ref::borrow(objects[0]);
}

Ref list_of(PyObject* buffer) {
  return checked(guarded_call([buffer] { return PySequence_List(buffer); }));
}

/// As a list of the same lines compares with another one.
Ref is_equal(const Operation&, Objects objects) {
  PyObject* const other = objects[1];
  if (other == objects[0]) return Ref::borrow(Py_True);
  const bool is_buffer = is_instance<StderrBuffer>(other);
  if (!is_buffer && !PyList_Check(other)) return Ref::borrow(Py_NotImplemented);
  const Ref lines = list_of(objects[0]);
  const Ref other_lines = is_buffer ? list_of(other) : Ref::borrow(other);
  return checked(guarded_call(
      [a = lines.get(), b = other_lines.get()] { return PyObject_RichCompare(a, b, Py_EQ); }));
}

Ref text_form(const Operation&, Objects objects) {
  const Ref lines = list_of(objects[0]);
  return checked(guarded_call([list = lines.get()] { return PyObject_Repr(list); }));
}

/// A copy is a list.
Ref reduced(const Operation&, Objects objects) {
  const Ref arguments = checked(PyTuple_Pack(1, list_of(objects[0]).get()));
  return checked(PyTuple_Pack(2, &PyList_Type, arguments.get()));
}

/// What any sequence has is taken from the abstract class.
void make_sequence(PyObject* type) {
  const Ref sequence = import_name("collections.abc", "Sequence");
  for (const char* name : {"__contains__", "__reversed__", "index", "count"}) {
    checked(PyObject_SetAttrString(type, name, attribute(sequence.get(), name).get()));
  }
  call_method(sequence.get(), "register", type);
}

}  // namespace

void bind_stderr_buffer() {
  auto* const buffer = bind_class<StderrBuffer>("utility_manager.StderrBuffer", Origin::system);
  bind<&StderrBuffer::size>(buffer, "__len__");
  bind<&item, Selection>(buffer, "__getitem__", {"index"});
  bind<&iterator>(buffer, "__iter__");
  bind(buffer, conversion("__eq__", {"self", "other"}, is_equal));
  bind(buffer, conversion("__repr__", {"self"}, text_form));
  bind(buffer, conversion("__reduce__", {"self"}, reduced));
  checked(PyObject_SetAttrString(buffer, "__hash__", Py_None));
  make_sequence(buffer);

  auto* const reader = bind_class<LineReader>("utility_manager.LineReader", Origin::system);
  bind(reader, conversion("__iter__", {"self"}, same));
  bind<&next_line>(reader, "__next__");
}

}  // namespace utility_manager::python
