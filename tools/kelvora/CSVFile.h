#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

namespace kelvora::tool {

/// A CSV file: a header line and appended lines. It is not kept open and nothing is cached: it may
/// be moved away, emptied or changed between two calls. A failure is returned as e.g. "/no/log.csv:
/// No such file or directory".
class CSVFile {
 public:
  explicit CSVFile(std::string path) : path_(std::move(path)) {}

  /// The first line with its line feed; empty without one.
  std::string header() const;
  /// The first characters of the last line; fewer when the line or the file is shorter.
  std::string beginOfLastLine(std::size_t length) const;
  /// Removes what the file holds if it begins with `header`.
  void clear(const std::string& header) const;
  /// Adds a line, both with their line feed. A new or empty file begins with `header`, and so does
  /// the one that takes the place of a file with another first line, which is kept under another
  /// name ("log 2.csv"). A line that was not written to its end is cut off first.
  std::optional<std::string> append(const std::string& header, const std::string& line) const;

 private:
  std::optional<std::string> write(const std::string& text) const;
  std::string tail() const;
  void cutUnfinishedLine() const;
  void keepUnderAnotherName() const;

  std::string path_;
};

}  // namespace kelvora::tool
