#include "files/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "threads/held_signals.h"

namespace velko {

namespace {

constexpr std::size_t most_waiting = std::size_t{1} << 20;
constexpr mode_t mode_of_new_files = 0666;  // less the user's mask

/// The file at the end of the links, or the name itself where no file is.
std::string behind_links(const std::string& name) {
  std::error_code leads_nowhere;
  const std::filesystem::path file = std::filesystem::canonical(name, leads_nowhere);
  return leads_nowhere ? name : file.string();
}

/// The name, not the file at the end of links.
bool is_taken(const std::string& name) {
  struct stat there {};
  return lstat(name.c_str(), &there) == 0;
}

bool is_file(const std::string& name) {
  struct stat there {};
  return stat(name.c_str(), &there) == 0 && S_ISREG(there.st_mode);
}

/// To put another file in its place would fail or do harm: to what is no file, to its other names, to a mount point.
bool is_replaceable(const std::string& name) {
  struct statx there {};
  if (statx(AT_FDCWD, name.c_str(), 0, STATX_BASIC_STATS, &there) != 0) return !is_taken(name);
  return S_ISREG(there.stx_mode) && there.stx_nlink == 1 &&
         (there.stx_attributes & STATX_ATTR_MOUNT_ROOT) == 0;
}

std::string in_folder_of(const std::string& target, const std::string& name) {
  return (std::filesystem::path(target).parent_path() / name).string();
}

/// A name that nobody has: a stale file of an earlier run, which may have had our process number, is in nobody's way.
std::string fresh_name(const std::string& target) {
  std::random_device random;
  char name[32];
  std::snprintf(name, sizeof name, ".velko-%08x%08x", random(), random());
  return in_folder_of(target, name);
}

/// The system's own name for an open file.
std::string name_of_open(int file) {
  return "/proc/self/fd/" + std::to_string(file);
}

/// Tries names until one is free, or something else is wrong: errno says what, and the name is empty.
template <class attempt>
bool with_fresh_name(const std::string& target, std::string& name, attempt&& succeeds) {
  do {
    name = fresh_name(target);
    if (succeeds(name)) return true;
  } while (errno == EEXIST);
  name.clear();
  return false;
}

bool folder_takes_no_file(int error) {
  return error == EACCES || error == EPERM || error == EROFS;
}

/// Some file systems have nothing to sync, and say so.
bool is_on_disk(int file) {
  return fsync(file) == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP;
}

}  // namespace

output_file::output_file(std::string name, in_place allowed, until_kept form)
    : name_(std::move(name)), target_(behind_links(name_)) {
  waiting_.reserve(most_waiting);  // before anything is opened: what fails for want of memory touches no file
  const bool in_place_allowed = allowed == in_place::where_needed;
  if (in_place_allowed && !is_replaceable(name_))
    open_in_place();
  else if (check_target(); open_beside(form))
    take_over_from_target();
  else if (in_place_allowed && folder_takes_no_file(errno))
    open_in_place();
  else
    fail(errno);
}

/// A file may be replaced by whom it lets write.
void output_file::check_target() const {
  if (access(target_.c_str(), F_OK) != 0) return;
  if (!is_file(target_)) throw std::runtime_error("cannot write " + name_ + ": not a regular file");
  if (faccessat(AT_FDCWD, target_.c_str(), W_OK, AT_EACCESS) != 0) fail(errno);
}

void output_file::open_in_place() {
  file_ = open(name_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode_of_new_files);
  if (file_ < 0) fail(errno);
  in_place_ = true;
}

bool output_file::open_beside(until_kept form) {
  return (form == until_kept::nameless && open_nameless()) || open_named();
}

bool output_file::open_nameless() {
  const std::string folder = in_folder_of(target_, ".");
  file_ = open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode_of_new_files);
  // Without its name for open files the system could not give it another one later.
  if (file_ >= 0 && !is_file(name_of_open(file_))) close(std::exchange(file_, -1));
  return file_ >= 0;
}

bool output_file::open_named() {
  return with_fresh_name(target_, temporary_, [this](const std::string& name) {
    file_ = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode_of_new_files);
    return file_ >= 0;
  });
}

/// The owner first: a change of owner may take permissions away. What is refused stays as new files have it.
void output_file::take_over_from_target() {
  struct stat there {
  }, here{};
  if (stat(target_.c_str(), &there) != 0 || fstat(file_, &here) != 0) return;
  if (there.st_uid != here.st_uid || there.st_gid != here.st_gid)
    if (fchown(file_, there.st_uid, there.st_gid) != 0) static_cast<void>(fchown(file_, -1U, there.st_gid));
  static_cast<void>(fchmod(file_, there.st_mode & 07777));
}

void output_file::write(std::span<const std::byte> bytes) {
  if (waiting_.size() + bytes.size() > most_waiting) flush();
  if (bytes.size() > most_waiting)
    write_out(bytes);
  else
    waiting_.insert(waiting_.end(), bytes.begin(), bytes.end());
  bytes_written_ += static_cast<i8>(bytes.size());
}

void output_file::flush() {
  write_out(waiting_);
  waiting_.clear();
}

void output_file::write_out(std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file_, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) fail(errno);
    if (written > 0) bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
}

void output_file::keep() {
  try {
    flush();
    if (in_place_ && close(std::exchange(file_, -1)) != 0) fail(errno);
    if (!in_place_ && (!is_on_disk(file_) || !take_name())) fail(errno);
  } catch (...) {
    discard();
    throw;
  }
  discard();
}

/// Between its name beside the target and the target's own, nothing but a kill may end the process.
bool output_file::take_name() {
  const held_signals hold;
  if (temporary_.empty() && take_name_of_nothing()) return true;
  if (temporary_.empty()) {
    const std::string open_file = name_of_open(file_);
    const auto link = [&](const std::string& name) {
      return linkat(AT_FDCWD, open_file.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
    };
    if (!with_fresh_name(target_, temporary_, link)) return false;
  }
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) return false;
  temporary_.clear();
  return true;
}

/// Where no file has the target's name, a nameless file can take it at once.
bool output_file::take_name_of_nothing() {
  return linkat(AT_FDCWD, name_of_open(file_).c_str(), AT_FDCWD, target_.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

void output_file::discard() {
  const int error = errno;
  if (file_ >= 0) close(std::exchange(file_, -1));
  if (!temporary_.empty()) std::remove(std::exchange(temporary_, {}).c_str());
  errno = error;
}

void output_file::fail(int error) const {
  throw std::system_error(error, std::generic_category(), "cannot write " + name_);
}

}  // namespace velko
