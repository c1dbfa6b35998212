#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace utility_manager::host {

/// An ordinary failure of the client's services or of a plugin. `origin` keeps the original, which
/// the binding gives back as itself.
class HostFailure : public std::runtime_error {
 public:
  explicit HostFailure(const std::string& text, std::shared_ptr<void> origin = nullptr)
      : std::runtime_error(text), origin_(std::move(origin)) {}

  const std::shared_ptr<void>& origin() const { return origin_; }

 private:
  std::shared_ptr<void> origin_;
};

/// A request to exit or to interrupt that came out of a plugin or a service. Not derived from
/// `std::exception`, so that no guard for ordinary failures holds it up.
struct HostInterrupt {
  std::shared_ptr<void> origin;
};

/// The client's interpreter is ending and can't be asked any more. Not derived from
/// `std::exception` either: a thread that meets it ends without an answer.
struct HostGone {};

}  // namespace utility_manager::host
