#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "python/arguments.h"
#include "python/gate.h"
#include "python/instance.h"
#include "python/results.h"
#include "utility_manager/values/value.h"

/// The rule of the binding, once: the arguments are converted, the interpreter lock is given up,
/// the core is called, the lock is taken back, the result is converted.
///
///   operation<&Manager::stop_utility_server, Text>("stop_utility_server", {"server_id"})
namespace utility_manager::python {

/// A parameter as the client knows it; one without a default has to be given.
struct Parameter {
  Parameter(const char* parameter_name, const values::Value* value = nullptr)
      : name(parameter_name), default_value(value) {}

  const char* name;
  const values::Value* default_value;  ///< kept for ever, as every operation is
};

using Parameters = std::vector<Parameter>;

/// A parameter that may be left out.
Parameter optional(const char* name, values::Value default_value = {});

/// The objects of a call, one for each parameter.
using Objects = std::span<PyObject* const>;

/// Gives the name of a kind of argument.
using KindName = std::string (*)();

/// A callable of the surface.
struct Operation {
  const char* name;
  Parameters parameters;            ///< with `self` where there is one
  std::span<const KindName> kinds;  ///< of the parameters; empty where all are objects
  bool has_self;
  std::function<Ref(const Operation&, Objects)> call;

  ArgumentName argument(std::size_t index) const { return {name, parameters[index].name}; }
};

/// Adds an operation to a class, as a method or static, or to a module. It is kept for ever.
void bind(PyObject* owner, const Operation& operation);

/// Adds a property to a class, read-only without a setter.
void bind_attribute(PyObject* type, const Operation& getter, const Operation* setter = nullptr);

/// What the type of a function tells. An owner stands first among the parameters of a member.
template <typename Function>
struct Shape;
template <typename Result, typename... Types>
struct Shape<Result (*)(Types...)> {
  static constexpr std::size_t count = sizeof...(Types);
  using First = std::remove_cvref_t<std::tuple_element_t<0, std::tuple<Types..., void>>>;
};
template <typename Result, typename Owner, typename... Types>
struct Shape<Result (Owner::*)(Types...)> : Shape<Result (*)(Owner&, Types...)> {};
template <typename Result, typename Owner, typename... Types>
struct Shape<Result (Owner::*)(Types...) const> : Shape<Result (*)(Owner&, Types...)> {};

/// What the core gets of an argument.
template <typename Value>
Value& core_value(Value& value) {
  return value;
}
template <typename Owner>
Owner& core_value(Held<Owner>& self) {
  return *self.held;
}

/// What is left to do with an argument when the call has ended well.
template <typename Value>
void after_call(const Value&) {}

template <auto function, typename... Kinds, std::size_t... index>
Ref call_core([[maybe_unused]] const Operation& operation, [[maybe_unused]] Objects objects,
              std::index_sequence<index...>) {
  // In braces, which are evaluated from left to right.
  std::tuple<typename Kinds::Type...> values{
      Kinds::read(objects[index], operation.argument(index))...};
  const auto core = [&] {
    const ReleaseGil released;
    return std::invoke(function, core_value(std::get<index>(values))...);
  };
  if constexpr (std::is_void_v<decltype(core())>) {
    core();
    (after_call(std::get<index>(values)), ...);
    return Ref::borrow(Py_None);
  } else {
    const auto result = core();
    (after_call(std::get<index>(values)), ...);
    return given(result);
  }
}

template <auto function, typename... Kinds>
Ref call(const Operation& operation, Objects objects) {
  return call_core<function, Kinds...>(operation, objects, std::index_sequence_for<Kinds...>());
}

template <typename... Kinds>
inline constexpr std::array<KindName, sizeof...(Kinds)> names_of = {&Kinds::name...};

template <auto function, typename... Kinds>
Operation operation_of(const char* name, Parameters parameters, bool has_self) {
  return {name, std::move(parameters), names_of<Kinds...>, has_self, &call<function, Kinds...>};
}

/// The operation that calls `function`, a member or a free function, with arguments of these kinds.
/// A free function with one parameter more than there are kinds is a member of that one's class.
template <auto function, typename... Kinds>
Operation operation(const char* name, Parameters parameters = {}) {
  using Function = Shape<decltype(function)>;
  if constexpr (Function::count == sizeof...(Kinds)) {
    return operation_of<function, Kinds...>(name, std::move(parameters), false);
  } else {
    static_assert(Function::count == sizeof...(Kinds) + 1, "one kind for each parameter");
    parameters.insert(parameters.begin(), "self");
    return operation_of<function, Self<typename Function::First>, Kinds...>(
        name, std::move(parameters), true);
  }
}

/// A method that only looks at objects of Python: `work` gets them, `self` first, and keeps the
/// interpreter lock. It may call nothing of the core that waits.
Operation conversion(const char* name, Parameters parameters,
                     std::function<Ref(const Operation&, Objects)> work);

}  // namespace utility_manager::python
