#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "python/results.h"

namespace utility_manager::python {
namespace {

/// Makes the dicts of entries. Most have the same keys at the same places, and many share an icon:
/// a key is made into a str once and for all, an icon once for a list.
class EntryWriter {
 public:
  explicit EntryWriter(Shown shown) : shown_(shown) {}

  Ref write(const RunningEntry& entry) {
    Ref dict = checked(guarded_call([] { return PyDict_New(); }));
    std::size_t place = 0;
    is_constant_ = true;
    for_each_member(entry, shown_, [&](const char* key, const auto& value) {
      const Ref object = made(value, entry);
      checked(PyDict_SetItem(dict.get(), name_of(key, place++), object.get()));
    });
    return dict;
  }

  /// True when the dict written last would come out the same whenever it is made of the same, and
  /// shares nothing with others that can be changed.
  bool wrote_constant() const { return is_constant_; }

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
  Ref made(const values::Value& value, const RunningEntry&) {
    if (value.is_list() || value.is_mapping() || value.is_host_value()) is_constant_ = false;
    return to_python(value);
  }
  Ref made(std::string_view text, const RunningEntry& entry) {
    if (!entry.icon || text.data() != entry.icon->data()) return decoded(text);
    auto& icon = icons_[entry.icon.get()];
    if (!icon) icon = decoded(text);
    return Ref::borrow(icon.get());
  }

  Shown shown_;
  bool is_constant_ = true;
  std::unordered_map<const std::string*, Ref> icons_;
};

template <typename Type>
bool is_same(const std::weak_ptr<Type>& known, const std::shared_ptr<Type>& other) {
  return !known.owner_before(other) && !other.owner_before(known);
}

/// A dict with all that it was made of.
struct Template {
  Template(const RunningEntry& entry, const Ref& made)
      : instance(entry.instance),
        utility(entry.utility),
        icon(entry.icon),
        studio_address(entry.studio_address),
        in_group(entry.in_group),
        dict(Ref::borrow(made.get())) {}

  bool shows(const RunningEntry& entry) const {
    return is_same(instance, entry.instance) && is_same(utility, entry.utility) &&
           is_same(icon, entry.icon) && in_group == entry.in_group &&
           *studio_address == *entry.studio_address;
  }

  // Weak, so that nothing lives longer for having been listed; what is gone is the same as nothing
  // that there is.
  std::weak_ptr<const ServerInfo> instance;
  std::weak_ptr<const UtilityInfo> utility;
  std::weak_ptr<const std::string> icon;
  std::shared_ptr<const std::string> studio_address;
  bool in_group;
  Ref dict;
};
using Templates = std::vector<Template>;

/// The templates that the last list of a form left.
Templates& last_templates(Shown shown) {
  static auto* const all = new std::array<Templates, 3>;  // outlives the interpreter
  return (*all)[static_cast<std::size_t>(shown)];
}

/// Makes lists of entries. From one list to the next most entries stay what they were: their dicts
/// are copied. The templates are taken away meanwhile, as a garbage collection may let another list
/// in between.
class ListWriter {
 public:
  explicit ListWriter(Shown shown)
      : shown_(shown), writer_(shown), before_(std::exchange(last_templates(shown), {})) {}
  ListWriter(const ListWriter&) = delete;
  ListWriter& operator=(const ListWriter&) = delete;
  ~ListWriter() { std::swap(last_templates(shown_), after_); }

  Ref write(const std::vector<RunningEntry>& entries) {
    const auto size = static_cast<Py_ssize_t>(entries.size());
    Ref list = checked(guarded_call([size] { return PyList_New(size); }));
    Py_ssize_t index = 0;
    for (const auto& entry : entries) PyList_SET_ITEM(list.get(), index++, write(entry).release());
    return list;
  }

 private:
  Ref write(const RunningEntry& entry) {
    // Lists keep their order, so the search goes on where the last one ended.
    const auto rest = before_.begin() + next_;
    const auto known =
        std::find_if(rest, before_.end(), [&](const Template& each) { return each.shows(entry); });
    if (known == before_.end()) {
      Ref dict = writer_.write(entry);
      if (!writer_.wrote_constant()) return dict;
      after_.emplace_back(entry, dict);
    } else {
      next_ = known - before_.begin() + 1;
      after_.push_back(std::move(*known));
    }
    return checked(guarded_call([dict = after_.back().dict.get()] { return PyDict_Copy(dict); }));
  }

  Shown shown_;
  EntryWriter writer_;
  Templates before_;
  std::ptrdiff_t next_ = 0;
  Templates after_;
};

}  // namespace

Ref given(const std::vector<RunningEntry>& entries) {
  return ListWriter(Shown::in_list).write(entries);
}

Ref given(const GroupedEntries& entries) {
  ListWriter writer(Shown::in_grouped_list);
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
