#include "reports/channel.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace velko {

namespace {

/// In the form of std::system_error.
std::string words_of(int error, const std::string& what) {
  return std::system_error(error, std::generic_category(), what).what();
}

}  // namespace

channel::~channel() {
  if (owns_file_ && file_ != nullptr) std::fclose(file_);
}

void channel::open_scratch() {
  close();
  // A file in memory has no name, needs no writable folder, and is gone however the process ends.
  const int descriptor = memfd_create(name_.c_str(), MFD_CLOEXEC);
  file_ = descriptor < 0 ? nullptr : fdopen(descriptor, "w+");
  if (file_ == nullptr) throw std::system_error(errno, std::generic_category(), "cannot open the " + name_);
  owns_file_ = true;
}

void channel::send_to(std::FILE* file) {
  close();
  failure_.clear();
  file_ = file;
}

void channel::close() {
  if (owns_file_ && std::fclose(std::exchange(file_, nullptr)) != 0) note_failure();
  file_ = nullptr;
  owns_file_ = false;
}

void channel::write_text(std::string_view text) {
  write_text(text, capture_);
}

void channel::write_text(std::string_view text, capture* into) {
  if (into != nullptr) {
    into->text.append(text);
    if (into->then_ == capture::passed_on) write_text(text, into->around_);
  } else if (file_ != nullptr && failure_.empty() &&
             std::fwrite(text.data(), 1, text.size(), file_) != text.size()) {
    note_failure();
  }
}

void channel::write_line(std::string_view line) {
  write_text(line);
  write_text("\n");
}

void channel::flush() {
  if (capture_ == nullptr && file_ != nullptr && std::fflush(file_) != 0) note_failure();
}

void channel::check() const {
  if (!failure_.empty()) throw std::runtime_error(failure_);
}

void channel::note_failure() {
  if (failure_.empty()) failure_ = words_of(errno, "cannot write to the " + name_);
}

channel& console() {
  static channel standard_output("console", stdout);
  return standard_output;
}

channel& log_file() {
  static channel unit10("log");
  return unit10;
}

}  // namespace velko
