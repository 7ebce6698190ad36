/// What the system tells of a file's contents without a look at them: its size and the times of its last changes.
///
/// Times    of the last write, which anybody may put back, and of the last change of any kind, which nobody may; the latter
///          moves for a new name, owner or mode too
/// Limits   a change in the same tick of the file system's clock as one before it leaves no trace, nor does one in pages
///          that somebody has mapped shared and written to before (docs/rows_in_place.md)
#pragma once

#include <sys/stat.h>

#include "arrays/numbers.h"

namespace velko {

struct file_state {
  bool known = false;
  i8 size = 0;
  timespec written{}, changed{};
};

/// Of an open file; not known where the system tells nothing of it, and for pipes and devices, which have no contents.
inline file_state state_of(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return {};
  return {true, status.st_size, status.st_mtim, status.st_ctim};
}

inline bool same_time(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

/// Of one size and one time of the last write.
inline bool written_alike(const file_state& a, const file_state& b) {
  return a.known == b.known && a.size == b.size && same_time(a.written, b.written);
}

inline bool operator==(const file_state& a, const file_state& b) {
  return written_alike(a, b) && same_time(a.changed, b.changed);
}

}  // namespace velko
