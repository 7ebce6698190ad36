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

void growing_file::write(bytes_view bytes) {
  waiting_.insert(waiting_.end(), bytes.begin(), bytes.end());
  if (waiting_.size() >= most_waiting) write_out();
}

void growing_file::write_out() {
  bytes_view left = waiting_;
  while (!left.empty()) {
    const auto written = ::write(file_, left.data(), left.size());
    if (written < 0 && errno != EINTR) fail();
    if (written > 0) left = left.subspan(static_cast<std::size_t>(written));
  }
  waiting_.clear();
}

void growing_file::flush() {
  write_out();
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
