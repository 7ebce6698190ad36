/// Output file: written under a temporary name beside its target, and renamed when it is whole.
///
/// What     until keep() the target is untouched: a run that fails leaves what was there before, and no half file
/// Errors   std::system_error with the name of the target, when the system refuses to open, write or rename, or
///          when the target is there already and is no regular file
#pragma once

#include <cstdio>
#include <span>
#include <string>

#include "arrays/numbers.h"

namespace velko {

class output_file {
 public:
  explicit output_file(std::string target);
  output_file(const output_file&) = delete;
  output_file& operator=(const output_file&) = delete;
  ~output_file();

  void write(std::span<const std::byte> bytes);
  i8 bytes_written() const { return bytes_written_; }
  void keep();

 private:
  [[noreturn]] void fail(int error) const;

  std::string target_, temporary_;
  std::FILE* file_ = nullptr;
  i8 bytes_written_ = 0;
};

}  // namespace velko
