#include "python/host_value.h"

#include <memory>
#include <string>
#include <utility>

#include "python/convert.h"
#include "python/failures.h"
#include "python/gate.h"

namespace utility_manager::python {
namespace {

class CarriedObject : public values::HostValue {
 public:
  explicit CarriedObject(Ref object) : object_(keep(std::move(object))) {}

  PyObject* object() const { return object_.get(); }

  bool truthy() const override {
    return with_gil([object = object()] {
      return checked(guarded_call([object] { return PyObject_IsTrue(object); })) != 0;
    });
  }

  std::string text_form() const override { return text_by(PyObject_Str); }

  std::string repr_form() const override { return text_by(PyObject_Repr); }

  bool equals(const HostValue& other) const override {
    return with_gil([object = object(), &other] {
      const Ref held = object_of(other);
      return checked(guarded_call([object, another = held.get()] {
               return PyObject_RichCompareBool(object, another, Py_EQ);
             })) != 0;
    });
  }

  std::string type_name() const override {
    return with_gil([object = object()] { return std::string(Py_TYPE(object)->tp_name); });
  }

 private:
  std::string text_by(PyObject* (*form)(PyObject*)) const {
    return with_gil([object = object(), form] {
      const Ref text = checked(guarded_call([object, form] { return form(object); }));
      return encoded_leniently(text.get());
    });
  }

  const KeptObject object_;
};

}  // namespace

values::Value carried(PyObject* object) {
  return std::shared_ptr<const values::HostValue>(
      std::make_shared<const CarriedObject>(Ref::borrow(object)));
}

Ref object_of(const values::HostValue& value) {
  return Ref::borrow(dynamic_cast<const CarriedObject&>(value).object());
}

}  // namespace utility_manager::python
