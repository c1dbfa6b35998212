#pragma once

#include <string>

#include "utility_manager/values/value.h"

/// A value of a host that knows nothing but stones.
class Stone : public utility_manager::values::HostValue {
 public:
  explicit Stone(int count) : count_(count) {}

  bool truthy() const override { return count_ != 0; }
  std::string text_form() const override { return std::to_string(count_) + " stones"; }
  std::string repr_form() const override { return "<" + text_form() + ">"; }
  bool equals(const HostValue& other) const override {
    return count_ == dynamic_cast<const Stone&>(other).count_;
  }
  std::string type_name() const override { return "stone"; }

 private:
  const int count_;
};
