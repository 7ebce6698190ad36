/// What the fuzz targets share: bytes as a file, small numbers from the front of an input, and a quiet run of
/// a reader.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "arrays/numbers.h"
#include "reports/channel.h"
#include "reports/program_stop.h"
#include "store/state.h"

namespace velko::fuzz {

/// A file in memory that has a name as long as it lives.
class named_bytes {
 public:
  explicit named_bytes(std::string_view bytes) : file_(memfd_create("fuzz", MFD_CLOEXEC)) {
    if (write(file_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) __builtin_trap();
  }
  named_bytes(const named_bytes&) = delete;
  named_bytes& operator=(const named_bytes&) = delete;
  ~named_bytes() { close(file_); }

  std::string name() const { return "/proc/self/fd/" + std::to_string(file_); }

 private:
  int file_;
};

/// An input in order: numbers from its front, then the rest as text. Numbers behind its end are 0.
class input {
 public:
  input(const std::uint8_t* bytes, std::size_t n) : left_(reinterpret_cast<const char*>(bytes), n) {}

  /// A number from 0 to n - 1.
  i4 below(i4 n) {
    if (left_.empty()) return 0;
    const auto byte = static_cast<unsigned char>(left_.front());
    left_.remove_prefix(1);
    return byte % n;
  }
  std::string_view rest() const { return left_; }

 private:
  std::string_view left_;
};

/// Runs a reader with its reports kept off the screen. A stop is a correct answer; a crash or a leak is not.
inline bool comes_back(const std::function<void()>& reader) {
  const capture console_capture(console()), log_capture(log_file());
  return run_until_stop(reader) == stop_or_done{};
}

inline void expect(bool holds) {
  if (!holds) __builtin_trap();
}

/// A mesh of up to 7 cells along each axis with some surface.
inline void set_mesh(input& in) {
  mesh.ny = in.below(8);
  mesh.nx = in.below(8);
  mesh.nz = in.below(8);
  mesh.itop = owned_array2<i4>(mesh.ny, mesh.nx);
  const i4 deepest = in.below(mesh.nz + 2);  // one beyond the mesh, now and then
  for (i4& above : mesh.itop) above = deepest > 0 ? in.below(deepest + 1) : 0;
}

}  // namespace velko::fuzz
