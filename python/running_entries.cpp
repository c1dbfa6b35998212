#include <array>
#include <string>
#include <string_view>
#include <unordered_map>

#include "python/results.h"

namespace utility_manager::python {
namespace {

/// Makes the dicts of entries. Most have the same keys at the same places, and many share an icon:
/// a key is made into a str once and for all, an icon once for a list.
class EntryWriter {
 public:
  explicit EntryWriter(Shown shown) : shown_(shown) {}

  Ref write(const RunningEntry& entry) {
    Ref dict = checked(PyDict_New());
    std::size_t place = 0;
    for_each_member(entry, shown_, [&](const char* key, const auto& value) {
      const Ref object = made(value, entry);
      checked(PyDict_SetItem(dict.get(), name_of(key, place++), object.get()));
    });
    return dict;
  }

  Ref write(const std::vector<RunningEntry>& entries) {
    const auto size = static_cast<Py_ssize_t>(entries.size());
    Ref list = checked(guarded_call([size] { return PyList_New(size); }));
    Py_ssize_t index = 0;
    for (const auto& entry : entries) PyList_SET_ITEM(list.get(), index++, write(entry).release());
    return list;
  }

 private:
  struct Name {
    const char* key = nullptr;
    PyObject* object = nullptr;
  };

  /// The keys are texts of the program, so that a pointer tells one from another. Kept for ever.
  PyObject* name_of(const char* key, std::size_t place) {
    static std::array<std::array<Name, 32>, 3> names;
    auto& name = names[static_cast<std::size_t>(shown_)].at(place);
    if (name.key != key) name = {key, checked(PyUnicode_InternFromString(key)).release()};
    return name.object;
  }

  static Ref made(std::int64_t number, const RunningEntry&) { return given(number); }
  static Ref made(const values::Value& value, const RunningEntry&) { return to_python(value); }
  Ref made(std::string_view text, const RunningEntry& entry) {
    if (!entry.icon || text.data() != entry.icon->data()) return decoded(text);
    auto& icon = icons_[entry.icon.get()];
    if (!icon) icon = decoded(text);
    return Ref::borrow(icon.get());
  }

  Shown shown_;
  std::unordered_map<const std::string*, Ref> icons_;
};

}  // namespace

Ref given(const std::vector<RunningEntry>& entries) {
  return EntryWriter(Shown::in_list).write(entries);
}

Ref given(const GroupedEntries& entries) {
  EntryWriter writer(Shown::in_grouped_list);
  const Ref without_group = writer.write(entries.without_group);
  const Ref by_group = checked(PyDict_New());
  for (const auto& [group_name, members] : entries.by_group) {
    const Ref name = decoded(group_name);
    checked(PyDict_SetItem(by_group.get(), name.get(), writer.write(members).get()));
  }
  Ref dict = checked(PyDict_New());
  checked(PyDict_SetItemString(dict.get(), "without_group", without_group.get()));
  checked(PyDict_SetItemString(dict.get(), "by_group", by_group.get()));
  return dict;
}

Ref given(const std::optional<RunningEntry>& entry) {
  return entry ? EntryWriter(Shown::by_look_up).write(*entry) : Ref::borrow(Py_None);
}

}  // namespace utility_manager::python
