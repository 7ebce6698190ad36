/// A file that stays when its writer is killed, so that another run can go on with it.
///
/// What     OUTPUT.unfinished until finish() gives it the name OUTPUT. Bytes are in it once flush() has returned, even if
///          the machine then fails. One run at a time has it
/// Errors   std::runtime_error with the name: when another run has the file, or the target is no regular file;
///          std::system_error when the system refuses
#pragma once

#include <string>
#include <vector>

#include "arrays/numbers.h"
#include "builder/bytes_view.h"

namespace velko {

class growing_file {
 public:
  explicit growing_file(const std::string& target);
  growing_file(const growing_file&) = delete;
  growing_file& operator=(const growing_file&) = delete;
  ~growing_file();

  const std::string& name() const { return name_; }
  void write(bytes_view bytes);
  void flush();
  /// All behind so many bytes goes, and the next are written there.
  void go_on_at(i8 size);
  void finish();

 private:
  void write_waiting();
  void write_out(bytes_view bytes);
  [[noreturn]] void fail() const;

  std::string target_, name_;
  int file_ = -1;
  std::vector<std::byte> waiting_;
};

}  // namespace velko
