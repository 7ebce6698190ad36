/// Channels: the places where reports go, line by line.
///
/// What     console() is the standard output; log_file() is closed until a program opens it. A closed channel
///          drops what is written to it
/// Order    lines come out in the order of writing, each ended by a line feed
/// Errors   a write that the system refuses (a full disk, a closed console) ends nothing: what is computed must not be lost
///          with it. The channel drops the rest, and failure() tells. For who can't go on without it, check() throws
/// Threads  the main thread alone writes
/// See      capture: a test looks at what was written, byte for byte
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace velko {

class capture;

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

  /// "cannot write to the NAME: REASON" once a write was refused, otherwise empty. Asked behind flush.
  const std::string& failure() const { return failure_; }
  /// std::runtime_error where there is a failure.
  void check() const;

 private:
  void write_text(std::string_view text, capture* into);

  friend class capture;
  void note_failure();

  std::string name_;  // for the words of a failure
  std::string failure_;
  std::FILE* file_;
  bool owns_file_ = false;
  capture* capture_ = nullptr;  // the last of those that live
};

channel& console();
channel& log_file();

/// While it lives, what goes to the channel goes into `text`, and nowhere else unless it is passed on. A capture may stand
/// inside another one of its channel, which then gets what is passed on.
class capture {
 public:
  enum what_then { kept, passed_on };
  explicit capture(channel& c, what_then then = kept) : channel_(c), then_(then), around_(c.capture_) {
    c.capture_ = this;
  }
  capture(const capture&) = delete;
  capture& operator=(const capture&) = delete;
  ~capture() { channel_.capture_ = around_; }

  std::string text;

 private:
  friend class channel;
  channel& channel_;
  what_then then_;
  capture* around_;
};

}  // namespace velko
