#include "builder/output_file.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace velko {

output_file::output_file(std::string target)
    : target_(std::move(target)), temporary_(target_ + "." + std::to_string(getpid()) + ".part") {
  // To rename over a device or a folder would do harm or fail late.
  std::error_code unknown;
  const std::filesystem::file_status there = std::filesystem::status(target_, unknown);
  if (exists(there) && !is_regular_file(there)) fail(is_directory(there) ? EISDIR : EINVAL);
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

void output_file::keep() {
  if (std::fflush(file_) != 0 || std::rename(temporary_.c_str(), target_.c_str()) != 0) fail(errno);
  if (std::fclose(std::exchange(file_, nullptr)) != 0) fail(errno);
}

void output_file::fail(int error) const {
  throw std::system_error(error, std::generic_category(), "cannot write " + target_);
}

}  // namespace velko
