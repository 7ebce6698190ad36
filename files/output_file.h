/// Output file: written under a temporary name beside its target, and renamed when it is whole.
///
/// What     until keep() the target is untouched: a run that fails leaves what was there before, and no half file
/// Links    a symbolic link stays: the file that it leads to is the target. One that leads nowhere is replaced
/// Errors   std::runtime_error with the name of the target, when the system refuses to open, write, close or rename,
///          or when the target is there already and is not a regular file
#pragma once

#include <cstdio>
#include <span>
#include <string>

#include "arrays/numbers.h"

namespace velko {

class output_file {
 public:
  explicit output_file(std::string name);
  output_file(const output_file&) = delete;
  output_file& operator=(const output_file&) = delete;
  ~output_file();

  void write(std::span<const std::byte> bytes);
  i8 bytes_written() const { return bytes_written_; }
  /// The last call of an object's life, whether it succeeds or throws.
  void keep();

 private:
  [[noreturn]] void fail(int error) const;

  std::string name_;  // of the target, as the caller says it
  std::string target_, temporary_;
  std::FILE* file_ = nullptr;
  i8 bytes_written_ = 0;
};

}  // namespace velko
