/// Unit 1, the one input channel for text: the characters of a file, or of a line in memory, in order.
///
/// What     a window on the characters that are known and not yet taken: [begin(), end()). fetch_more()
///          widens it at its end; take_until() takes from its front
/// Files    opened with status old and action read: the file exists, is never made, and may be a pipe; closed
///          when the object ends
/// Memory   one buffer, which grows only while a reader insists on seeing more characters at once than it
///          holds
/// Errors   an open that fails for any reason, that of a directory too, is the file-not-found report. A read
///          that the system refuses ends the text; read_error() tells it from the end of the file
#pragma once

#include <string_view>

#include "arrays/array.h"

namespace velko {

/// Whether a name stands for no file at all: it begins with "null" or "NULL".
bool names_no_file(std::string_view file_name);

class text_input {
 public:
  /// Characters that somebody else holds.
  explicit text_input(std::string_view characters)
      : at_(characters.data()), end_(characters.data() + characters.size()) {}
  /// Opens a file; the name is used up to its last non-blank, and the label says in the report which file is
  /// meant.
  text_input(std::string_view file_name, std::string_view label);
  text_input(const text_input&) = delete;
  text_input& operator=(const text_input&) = delete;
  ~text_input() {
    if (file_ >= 0) close_file();
  }

  const char* begin() const { return at_; }
  const char* end() const { return end_; }
  void take_until(const char* p) { at_ = p; }

  /// Appends characters to the window; what is in it stays, at another place. False when no more will come.
  bool fetch_more();

  /// Whether the window is known to reach the end of the text.
  bool is_complete() const { return file_ < 0 || exhausted_; }

  /// Takes the rest of the line with its end. False if there was not one character more, not even a line end. More than
  /// 16 MiB without an end, such as a device gives that never ends, count as a read that was refused (EMSGSIZE).
  bool skip_line() {
    if (at_ == end_ || *at_ != '\n') return search_line_end();
    ++at_;
    return true;
  }

  /// Back to the first character of the file. Throws std::system_error where the system can't, as on a pipe.
  void rewind();

  /// What the system said when a read failed (errno), or 0.
  int read_error() const { return read_error_; }
  void throw_read_error() const;

 private:
  void close_file();
  bool search_line_end();
  void make_room();

  const char* at_;
  const char* end_;
  int file_ = -1;
  int read_error_ = 0;
  bool exhausted_ = false;
  owned_array1<char> buffer_;
};

}  // namespace velko
