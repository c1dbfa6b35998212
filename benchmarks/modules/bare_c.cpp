// Bare C for comparison with what the system does for a Python client: one dict per instance, one
// look at each state file, and one socket for a look at many ports.

#include <string>
#include <vector>

#include <Python.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// A member of a dict as C holds it; a text, a number, or None without either.
struct Member {
  PyObject* key;
  enum { none, text, number } kind = none;
  std::string chars = {};
  long long digits = 0;
};

std::vector<std::vector<Member>> entries;

Member member_of(PyObject* key, PyObject* value) {
  Py_INCREF(key);
  PyUnicode_InternInPlace(&key);
  if (PyUnicode_Check(value)) {
    return {.key = key, .kind = Member::text, .chars = PyUnicode_AsUTF8(value)};
  }
  if (PyLong_Check(value)) {
    return {.key = key, .kind = Member::number, .digits = PyLong_AsLongLong(value)};
  }
  return {.key = key};
}

/// Takes what the dicts of a list hold: texts, integers and None.
PyObject* hold(PyObject*, PyObject* list) {
  entries.clear();
  for (Py_ssize_t i = 0; i < PyList_GET_SIZE(list); ++i) {
    auto& entry = entries.emplace_back();
    PyObject *key, *value;
    for (Py_ssize_t at = 0; PyDict_Next(PyList_GET_ITEM(list, i), &at, &key, &value);) {
      entry.push_back(member_of(key, value));
    }
  }
  Py_RETURN_NONE;
}

PyObject* object_of(const Member& member) {
  if (member.kind == Member::number) return PyLong_FromLongLong(member.digits);
  if (member.kind == Member::none) return Py_NewRef(Py_None);
  const auto size = static_cast<Py_ssize_t>(member.chars.size());
  return PyUnicode_FromStringAndSize(member.chars.data(), size);
}

/// Makes the list anew.
PyObject* make(PyObject*, PyObject*) {
  PyObject* const list = PyList_New(static_cast<Py_ssize_t>(entries.size()));
  Py_ssize_t index = 0;
  for (const auto& entry : entries) {
    PyObject* const dict = PyDict_New();
    for (const Member& member : entry) {
      PyObject* const value = object_of(member);
      PyDict_SetItem(dict, member.key, value);
      Py_DECREF(value);
    }
    PyList_SET_ITEM(list, index++, dict);
  }
  return list;
}

/// Gives how many of the files are there.
PyObject* look_at(PyObject*, PyObject* paths) {
  long found = 0;
  for (Py_ssize_t i = 0; i < PyList_GET_SIZE(paths); ++i) {
    struct stat status {};
    found += ::stat(PyUnicode_AsUTF8(PyList_GET_ITEM(paths, i)), &status) == 0;
  }
  return PyLong_FromLong(found);
}

/// The first port of the range that can be bound to.
PyObject* free_port(PyObject*, PyObject* range) {
  int first = 0;
  int last = 0;
  if (!PyArg_ParseTuple(range, "ii", &first, &last)) return nullptr;
  const int any = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  int port = first;
  for (; port <= last; ++port) {
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::bind(any, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) break;
  }
  ::close(any);
  return PyLong_FromLong(port);
}

PyMethodDef methods[] = {{"hold", hold, METH_O, nullptr},
                         {"make", make, METH_NOARGS, nullptr},
                         {"look_at", look_at, METH_O, nullptr},
                         {"free_port", free_port, METH_VARARGS, nullptr},
                         {nullptr, nullptr, 0, nullptr}};

PyModuleDef definition = {.m_base = PyModuleDef_HEAD_INIT,
                          .m_name = "bare_c",
                          .m_doc = nullptr,
                          .m_size = -1,
                          .m_methods = methods,
                          .m_slots = nullptr,
                          .m_traverse = nullptr,
                          .m_clear = nullptr,
                          .m_free = nullptr};

}  // namespace

PyMODINIT_FUNC PyInit_bare_c() {
  return PyModule_Create(&definition);
}
