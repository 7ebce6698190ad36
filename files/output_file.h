/// Output file: whole under its name, or not there at all.
///
/// What     the bytes go into a nameless file in the folder of the target, which takes the target's name in keep(). Until
///          then the target is untouched: a run that fails, is killed or finds the disk full leaves what was there before.
///          Of two runs that write one file the later one's is there, whole
/// Names    where the system has no nameless files, the file has a random name that begins with ".velko-" until then, and
///          the destructor removes it. The replaced file hands over its permissions and, where the system lets us, its
///          owner. One that may not be written is not replaced
/// Links    a symbolic link stays: the file that it leads to is the target. One that leads nowhere is replaced
/// In place what can't be replaced is written as it stands, without the promise above, if the caller allows it: a FIFO, a
///          device, a link that leads nowhere, a file of several names (hard links), a file in a folder that takes no new
///          ones
/// Errors   std::system_error with the name of the target, when the system refuses to open, write, close or rename;
///          std::runtime_error when the target is there already and is not a regular file, unless it may be written in
///          place. Nothing fails once the target has changed
/// Signals  those that can be held back wait while the file takes its name
#pragma once

#include <span>
#include <string>
#include <vector>

#include "arrays/numbers.h"

namespace velko {

class output_file {
 public:
  enum class in_place { never, where_needed };
  enum class until_kept { nameless, named };  // named also where it could be nameless: serves tests

  explicit output_file(std::string name, in_place allowed = in_place::never,
                       until_kept form = until_kept::nameless);
  output_file(const output_file&) = delete;
  output_file& operator=(const output_file&) = delete;
  ~output_file() { discard(); }

  void write(std::span<const std::byte> bytes);
  i8 bytes_written() const { return bytes_written_; }
  /// The last call of an object's life, whether it succeeds or throws.
  void keep();

 private:
  void check_target() const;
  void open_in_place();
  bool open_beside(until_kept form);
  bool open_nameless();
  bool open_named();
  void take_over_from_target();
  void write_out(std::span<const std::byte> bytes);
  void flush();
  bool take_name();
  bool take_name_of_nothing();
  void discard();
  [[noreturn]] void fail(int error) const;

  std::string name_;       // of the target, as the caller says it
  std::string target_;     // at the end of the links
  std::string temporary_;  // the name that the file has until keep(); empty while it is nameless or in place
  bool in_place_ = false;
  int file_ = -1;
  std::vector<std::byte> waiting_;
  i8 bytes_written_ = 0;
};

}  // namespace velko
