/// Checksums of the bytes of a file: XXH3, 64 bits.
///
/// What     of bytes in one piece or as they come; the value depends on the bytes alone, not on the pieces
/// Why      faster than any disk, so that a whole file can be verified as it is read
/// Sources  Y. Collet, xxHash fast digest algorithm; the library is Debian's libxxhash
#pragma once

#include <cstdint>
#include <memory>

#include "builder/bytes_view.h"

namespace velko {

class running_checksum {
 public:
  running_checksum();
  running_checksum(const running_checksum&) = delete;
  running_checksum& operator=(const running_checksum&) = delete;
  ~running_checksum();

  void add(bytes_view bytes);
  std::uint64_t value() const;
  void restart();

 private:
  struct state;
  std::unique_ptr<state> state_;
};

/// Of so many pieces, joined.
template <class... pieces>
std::uint64_t checksum_of(const pieces&... bytes) {
  running_checksum sum;
  (sum.add(bytes), ...);
  return sum.value();
}

}  // namespace velko
