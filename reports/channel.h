/// Channels: the places where reports go, line by line.
///
/// What     console() is the standard output; log_file() is closed until a program opens it. A closed channel
///          drops what is written to it
/// Order    lines come out in the order of writing, each ended by a line feed
/// Errors   std::system_error when the system refuses a write (a full disk, a closed console)
/// Threads  the main thread alone writes
/// See      capture: a test looks at what was written, byte for byte
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace velko {

class channel {
 public:
  explicit channel(std::string name, std::FILE* file = nullptr) : name_(std::move(name)), file_(file) {}
  channel(const channel&) = delete;
  channel& operator=(const channel&) = delete;
  ~channel();

  /// Opens the channel on a nameless file that is gone when it is closed or the process ends.
  void open_scratch();
  /// Lines go to another open stream from here on, which stays the caller's: a companion whose standard output is
  /// for results sends its reports to the standard error stream.
  void send_to(std::FILE* file);
  void close();

  void write_line(std::string_view line);
  /// The same for text that holds its own line ends.
  void write_text(std::string_view text);
  void flush();

 private:
  friend class capture;
  std::string name_;  // for the words of a failure
  std::FILE* file_;
  bool owns_file_ = false;
  std::string* captured_ = nullptr;
};

channel& console();
channel& log_file();

/// While it lives, what goes to the channel goes into `text` instead.
class capture {
 public:
  explicit capture(channel& c) : channel_(c) { c.captured_ = &text; }
  capture(const capture&) = delete;
  capture& operator=(const capture&) = delete;
  ~capture() { channel_.captured_ = nullptr; }

  std::string text;

 private:
  channel& channel_;
};

}  // namespace velko
