#include "files/text_input.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "reports/reports.h"
#include "store/input_file.h"

namespace velko {

namespace {

// Large enough that system calls cost nothing, small enough to stay in the second-level cache.
constexpr i8 first_buffer = i8{256} << 10;
constexpr i8 longest_line = i8{16} << 20;

i8 read_once(int file, char* target, i8 room) {
  for (;;) {
    const i8 got = read(file, target, static_cast<std::size_t>(room));
    if (got >= 0 || errno != EINTR) return got;
  }
}

}  // namespace

bool names_no_file(std::string_view file_name) {
  return file_name.starts_with("null") || file_name.starts_with("NULL");
}

text_input::text_input(std::string_view file_name, std::string_view label)
    : at_(nullptr), end_(nullptr), file_(open_input_file(file_name)) {
  if (file_ < 0) report_file_not_found(label, file_name);
}

void text_input::close_file() {
  close(file_);
  file_ = -1;
}

bool text_input::fetch_more() {
  if (is_complete()) return false;
  make_room();
  char* target = buffer_.data() + (end_ - buffer_.data());
  const i8 got = read_once(file_, target, buffer_.end() - target);
  if (got < 0) read_error_ = errno;
  exhausted_ = got <= 0;
  if (!exhausted_) end_ = target + got;
  return !exhausted_;
}

/// Room behind the window: at the end of the buffer if a good part of it is free, else by moving the window
/// to the front, of a buffer twice as large if it fills more than half of this one. So the moves of a long
/// value add up to no more than a few times its length, however small the pieces in which it comes.
void text_input::make_room() {
  const i8 known = end_ - at_, size = buffer_.size();
  if (known > 0 && buffer_.end() - end_ >= size / 4) return;
  owned_array1<char> larger;
  if (known >= size / 2) larger = owned_array1<char>(uninitialised, std::max(2 * size, first_buffer));
  char* front = larger.size() > 0 ? larger.data() : buffer_.data();
  if (known > 0) std::memmove(front, at_, static_cast<std::size_t>(known));
  if (larger.size() > 0) buffer_ = std::move(larger);
  at_ = front;
  end_ = front + known;
}

bool text_input::search_line_end() {
  if (at_ == end_ && !fetch_more()) return false;
  i8 passed = 0;
  do {
    const void* line_feed = std::memchr(at_, '\n', static_cast<std::size_t>(end_ - at_));
    passed += end_ - at_;
    at_ = line_feed != nullptr ? static_cast<const char*>(line_feed) + 1 : end_;
    if (line_feed != nullptr) return true;
    if (passed > longest_line && !is_complete()) {
      read_error_ = EMSGSIZE;
      exhausted_ = true;
    }
  } while (fetch_more());
  return true;
}

void text_input::rewind() {
  if (lseek(file_, 0, SEEK_SET) < 0)
    throw std::system_error(errno, std::generic_category(), "cannot rewind an input file");
  at_ = end_;
  exhausted_ = false;
}

void text_input::throw_read_error() const {
  if (read_error_ != 0)
    throw std::system_error(read_error_, std::generic_category(), "cannot read an input file");
}

}  // namespace velko
