/// The bytes of a file at any place of it.
///
/// Errors   a place that the file has not, or that the system refuses to read, gives false or nothing
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "arrays/numbers.h"

namespace velko {

class file_bytes {
 public:
  /// Opens an existing file; its name is used up to the last non-blank. One that can't be opened has no bytes.
  explicit file_bytes(std::string_view file_name);
  file_bytes(const file_bytes&) = delete;
  file_bytes& operator=(const file_bytes&) = delete;
  ~file_bytes();

  i8 size() const { return size_; }
  bool read(i8 begin, std::span<std::byte> target) const;
  template <class T>
  bool read_all(i8 begin, std::span<T> values) const {
    return read(begin, std::as_writable_bytes(values));
  }
  /// Of the bytes from `begin` up to `end`.
  std::optional<std::uint64_t> checksum(i8 begin, i8 end) const;

 private:
  int file_;
  i8 size_ = 0;
};

}  // namespace velko
