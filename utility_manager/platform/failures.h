#pragma once

#include <stdexcept>
#include <string>

namespace utility_manager::platform {

/// A refusal by the system's number for it, as Python writes it: "[Errno N] text", and on Windows
/// "[WinError N] text".
std::string error_text(int code);

/// A refusal of the operating system. The text is `error_text`, with ": 'path'" behind it.
class SystemError : public std::runtime_error {
 public:
  explicit SystemError(int code);
  SystemError(int code, const std::string& path);

  int code() const { return code_; }

  /// Empty where the text names none.
  const std::string& path() const { return path_; }

 private:
  int code_;
  std::string path_;
};

/// The process has gone.
struct NoSuchProcess : SystemError {
  NoSuchProcess();
};

/// The operating system refuses to let the client touch a process.
struct AccessDenied : SystemError {
  AccessDenied();
};

/// There is such a file.
struct FileExists : SystemError {
  explicit FileExists(const std::string& path);
};

/// There is no process inspection.
struct NotInspected : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A spawn that failed for another reason than a refusal of the operating system.
struct SubprocessError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace utility_manager::platform
