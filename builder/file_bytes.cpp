#include "builder/file_bytes.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "builder/checksum.h"
#include "store/input_file.h"

namespace velko {

file_bytes::file_bytes(std::string_view file_name) : file_(open_input_file(file_name)) {
  struct stat status {};
  if (file_ >= 0 && fstat(file_, &status) == 0 && S_ISREG(status.st_mode)) size_ = status.st_size;
}

file_bytes::~file_bytes() {
  if (file_ >= 0) close(file_);
}

bool file_bytes::read(i8 begin, std::span<std::byte> target) const {
  if (begin < 0 || begin > size_ || std::ssize(target) > size_ - begin) return false;
  while (!target.empty()) {
    const i8 got = pread(file_, target.data(), target.size(), begin);
    if (got == 0 || (got < 0 && errno != EINTR)) return false;
    begin += std::max(got, i8{0});
    target = target.subspan(static_cast<std::size_t>(std::max(got, i8{0})));
  }
  return true;
}

std::optional<std::uint64_t> file_bytes::checksum(i8 begin, i8 end) const {
  constexpr i8 longest_piece = i8{1} << 20;
  if (begin < 0 || end < begin) return std::nullopt;
  running_checksum sum;
  std::vector<std::byte> piece(static_cast<std::size_t>(std::min(end - begin, longest_piece)));
  for (; begin < end; begin += longest_piece) {
    const auto part = std::span(piece).first(static_cast<std::size_t>(std::min(end - begin, longest_piece)));
    if (!read(begin, part)) return std::nullopt;
    sum.add(part);
  }
  return sum.value();
}

}  // namespace velko
