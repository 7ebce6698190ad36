/// How much a benchmark works on: VELKO_BENCH_MIB, or 256 MiB.
#pragma once

#include <cstdlib>

#include "arrays/numbers.h"

namespace velko {

inline i8 wanted_bytes() {
  const char* mebibytes = std::getenv("VELKO_BENCH_MIB");
  return (mebibytes != nullptr ? std::atoll(mebibytes) : 256) << 20;
}

}  // namespace velko
