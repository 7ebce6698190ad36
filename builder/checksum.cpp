#include "builder/checksum.h"

// All of it in this file: a program needs no library of that name at run time.
#define XXH_INLINE_ALL
#include <xxhash.h>

namespace velko {

struct running_checksum::state {
  XXH3_state_t sum;  // aligned, as it asks
};

running_checksum::running_checksum() : state_(std::make_unique<state>()) {
  restart();
}

running_checksum::~running_checksum() = default;

void running_checksum::add(bytes_view bytes) {
  XXH3_64bits_update(&state_->sum, bytes.data(), bytes.size());
}

std::uint64_t running_checksum::value() const {
  return XXH3_64bits_digest(&state_->sum);
}

void running_checksum::restart() {
  XXH3_64bits_reset(&state_->sum);
}

}  // namespace velko
