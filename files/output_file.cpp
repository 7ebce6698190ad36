#include "files/output_file.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace velko {

namespace {

/// The file at the end of the links, or the name itself where no file is.
std::string behind_links(const std::string& name) {
  std::error_code leads_nowhere;
  const std::filesystem::path file = std::filesystem::canonical(name, leads_nowhere);
  return leads_nowhere ? name : file.string();
}

/// To rename over a device or a folder would do harm or fail late.
void refuse_what_is_no_file(const std::string& name) {
  std::error_code unknown;
  const std::filesystem::file_status there = std::filesystem::status(name, unknown);
  if (exists(there) && !is_regular_file(there))
    throw std::runtime_error("cannot write " + name + ": not a regular file");
}

}  // namespace

output_file::output_file(std::string name)
    : name_(std::move(name)),
      target_(behind_links(name_)),
      temporary_(target_ + "." + std::to_string(getpid()) + ".part") {
  refuse_what_is_no_file(name_);
  file_ = std::fopen(temporary_.c_str(), "wxe");
  if (file_ == nullptr) fail(errno);
  std::setvbuf(file_, nullptr, _IOFBF, std::size_t{1} << 20);
}

output_file::~output_file() {
  if (file_ == nullptr) return;
  std::fclose(file_);
  std::remove(temporary_.c_str());
}

void output_file::write(std::span<const std::byte> bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) fail(errno);
  bytes_written_ += static_cast<i8>(bytes.size());
}

/// Closed first: some file systems say only then that the bytes found no room.
void output_file::keep() {
  const bool closed = std::fclose(std::exchange(file_, nullptr)) == 0;
  if (closed && std::rename(temporary_.c_str(), target_.c_str()) == 0) return;
  const int error = errno;
  std::remove(temporary_.c_str());
  fail(error);
}

void output_file::fail(int error) const {
  throw std::system_error(error, std::generic_category(), "cannot write " + name_);
}

}  // namespace velko
