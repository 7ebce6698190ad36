#include "builder/growing_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace velko {

namespace {

constexpr std::size_t most_waiting = std::size_t{1} << 20;

/// The file at the end of the links, or the name itself where no file is.
std::string behind_links(const std::string& name) {
  std::error_code leads_nowhere;
  const std::filesystem::path file = std::filesystem::canonical(name, leads_nowhere);
  return leads_nowhere ? name : file.string();
}

}  // namespace

growing_file::growing_file(const std::string& target)
    : target_(behind_links(target)), name_(target_ + ".unfinished") {
  if (std::filesystem::exists(target_) && !std::filesystem::is_regular_file(target_))
    throw std::runtime_error("cannot write " + target + ": not a regular file");
  file_ = open(name_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (file_ < 0) fail();
  if (flock(file_, LOCK_EX | LOCK_NB) != 0) {
    close(file_);
    throw std::runtime_error("another run is at work on " + name_);
  }
}

growing_file::~growing_file() {
  if (file_ >= 0) close(file_);
}

/// What is long doesn't wait: a vector of all cells would be held twice.
void growing_file::write(bytes_view bytes) {
  if (waiting_.size() + bytes.size() > most_waiting) write_waiting();
  if (bytes.size() > most_waiting)
    write_out(bytes);
  else
    waiting_.insert(waiting_.end(), bytes.begin(), bytes.end());
}

void growing_file::write_waiting() {
  write_out(waiting_);
  waiting_.clear();
}

void growing_file::write_out(bytes_view bytes) {
  while (!bytes.empty()) {
    const auto written = ::write(file_, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) fail();
    if (written > 0) bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
}

void growing_file::flush() {
  write_waiting();
  if (fdatasync(file_) != 0 && errno != EINVAL) fail();
}

void growing_file::go_on_at(i8 size) {
  waiting_.clear();
  if (ftruncate(file_, size) != 0 || lseek(file_, size, SEEK_SET) != size) fail();
}

void growing_file::finish() {
  flush();
  if (std::rename(name_.c_str(), target_.c_str()) != 0) fail();
}

void growing_file::fail() const {
  throw std::system_error(errno, std::generic_category(), "cannot write " + name_);
}

}  // namespace velko
