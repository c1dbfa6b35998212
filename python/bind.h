#pragma once

#include <utility>

#include "python/operation.h"
#include "utility_manager/utility_manager.h"

/// One file per subject binds the surface. The arguments of each operation stand as the client
/// knows them; what each does is told where the core declares it.
namespace utility_manager::python {

using Manager = UtilityServerManager;

/// A member that demands the manager's lock, as an operation that takes it.
template <auto member>
inline constexpr auto under_lock = nullptr;
template <typename Result, typename... Types, Result (Manager::*member)(Types...) const>
inline constexpr auto under_lock<member> = +[](const Manager& self, Types... values) -> Result {
  const LockHeld held(self.lock);
  return (self.*member)(std::forward<Types>(values)...);
};

/// A member of the manager's catalogue.
template <auto member>
inline constexpr auto of_catalogue = nullptr;
template <typename Result, typename... Types, Result (Catalogue::*member)(Types...)>
inline constexpr auto of_catalogue<member> = +[](Manager& self, Types... values) -> Result {
  return (self.catalogue().*member)(std::forward<Types>(values)...);
};
template <typename Result, typename... Types, Result (Catalogue::*member)(Types...) const>
inline constexpr auto of_catalogue<member> = +[](const Manager& self, Types... values) -> Result {
  return (self.catalogue().*member)(std::forward<Types>(values)...);
};

/// Makes the class of a type, which is kept for ever. `name` begins with that of the module.
template <typename Type>
PyObject* bind_class(const char* name, Origin origin) {
  class_of<Type> = new_class(name, origin);
  return reinterpret_cast<PyObject*>(class_of<Type>);
}

template <auto function, typename... Kinds>
void bind(PyObject* owner, const char* name, Parameters parameters = {}) {
  bind(owner, operation<function, Kinds...>(name, std::move(parameters)));
}

template <auto getter>
void bind_attribute(PyObject* type, const char* name) {
  bind_attribute(type, operation<getter>(name));
}

void bind_registration(PyObject* module);
void bind_handles();
void bind_stderr_buffer();
void bind_manager(PyObject* module);

// Called by `bind_manager`, each for some sections of the manager's map.
void bind_launch(PyObject* manager);
void bind_supervision(PyObject* manager);
void bind_state_files(PyObject* manager);
void bind_catalogue(PyObject* manager);
void bind_views(PyObject* manager);

}  // namespace utility_manager::python
