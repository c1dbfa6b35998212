#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "utility_manager/spool.h"

namespace utility_manager {

/// The lines that a child wrote to its standard error, in the order of arrival; grows for as long
/// as the child writes. One reader thread appends, any thread reads. The last of the lines are in
/// memory, the others in a temporary file: reading them fails with `platform::SystemError` when
/// that can't be read.
class StderrBuffer : public std::enable_shared_from_this<StderrBuffer> {
 public:
  /// `lines` are whole, each with its line end; white space is at the end of none, and none is
  /// blank. Fails with `std::bad_alloc`, and has changed nothing then.
  void append(std::string_view lines);

  /// Says that no line will follow.
  void end();

  /// The number of lines so far.
  std::size_t size() const;

  /// The lines from number `first` on, without their line ends: at most `count`, and none more once
  /// they have `enough` bytes.
  std::vector<std::string> lines(std::size_t first = 0, std::size_t count = SIZE_MAX,
                                 std::size_t enough = SIZE_MAX) const;

  /// The last `count` code points of the lines with line feeds between them, without white space at
  /// both ends of the whole. Takes the same time however much there is before them.
  std::string tail(std::size_t count) const;

  /// Waits for a first line, at most `seconds`, and then for the lines behind it, at most `settle`
  /// of them. Not at all once no line can follow.
  void wait_for_lines(double seconds, double settle) const;

 private:
  std::uint64_t start_of(std::size_t line) const;
  std::string page_from(std::uint64_t offset) const;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  Spool text_;
  std::uint64_t first_visible_ = 0;          ///< where the white space at the start ends
  std::vector<std::size_t> lines_before_{};  ///< how many end before each page of the text
  std::size_t size_ = 0;
  bool ended_ = false;
};

/// Gives the lines of a buffer one by one, reading a little ahead. It goes on when lines have come
/// since it was at the end. Any thread may ask.
class LineReader {
 public:
  explicit LineReader(std::shared_ptr<const StderrBuffer> buffer) : buffer_(std::move(buffer)) {}

  /// Nothing at the end.
  std::optional<std::string> next();

 private:
  const std::shared_ptr<const StderrBuffer> buffer_;
  std::mutex mutex_;
  std::vector<std::string> ahead_;
  std::size_t place_ = 0;  ///< of the next line among those
  std::size_t line_ = 0;   ///< the number of the first line behind those
};

}  // namespace utility_manager
