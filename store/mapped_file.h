/// A file seen where the system keeps it in memory, without a copy of its own.
///
/// What     map() lays a whole file into the address space, private and writable: what the program writes there is
///          its own and never reaches the file
/// Why      a file in the page cache then costs neither a copy nor fresh memory, and programs that run side by side
///          share it. One that is not there yet is asked for in huge pages. docs/rows_in_place.md holds the measurements
/// Changes  the system shows what others do to the file later on. What is gone, because the file was cut short or its
///          device fails, reads as zeros here instead of ending the process by a signal. unchanged() tells, by the state of the
///          file; intact() tells a file that was only touched from one that was written to, once its contents were noted
/// Signals  SIGBUS is handled while any file is mapped, and map() unblocks it in the calling thread: blocked it would end
///          the process at the first page that is gone. Threads that were started before keep their masks. A fault
///          elsewhere goes to the handler that stood before
/// Threads  files may be mapped and given back in any thread; one object belongs to one thread at a time
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "arrays/numbers.h"
#include "store/file_state.h"

namespace velko {

struct watched_range;

class mapped_file {
 public:
  mapped_file() = default;
  mapped_file(mapped_file&& other) noexcept { *this = std::move(other); }
  mapped_file& operator=(mapped_file&& other) noexcept;
  ~mapped_file();

  /// Maps all bytes of an open file, which may be closed afterwards. False where the system can't (a pipe, an empty
  /// file, no room in the address space, no file descriptor left); the object is then what it was before.
  bool map(int file);

  /// The same for the bytes from `begin` to `end` - 1 alone, as far as the file has them.
  bool map(int file, i8 begin, i8 end);

  std::span<std::byte> bytes() const { return bytes_; }

  /// True as long as the file has the state in which it was mapped or last found intact. True also without a file.
  bool unchanged() const;

  /// Keeps a checksum of the bytes as they stand here, once, unless the file has changed. Takes a pass over them.
  void note_contents();

  /// True if the file is unchanged, or has the contents that were noted; where none were, if size and time of the last write are
  /// the same. Its new state is then the one to compare with.
  bool intact();

  /// A name under which the same file can be opened once more, whatever became of its own.
  std::string name_of_open_file() const;

 private:
  bool map_new(int file, i8 begin, i8 end);

  std::span<std::byte> bytes_;
  std::size_t in_front_ = 0;  // bytes of their first page that stand in front of them
  watched_range* watched_ = nullptr;
  int file_ = -1;
  file_state at_first_;
  std::optional<std::uint64_t> contents_;
};

}  // namespace velko
