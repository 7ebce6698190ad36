/// The four number types of the suite, in memory and in its files.
#pragma once

#include <bit>
#include <cstdint>

namespace velko {

using i4 = std::int32_t;
using i8 = std::int64_t;
using r4 = float;
using r8 = double;

static_assert(sizeof(r4) == 4 && sizeof(r8) == 8);
static_assert(std::endian::native == std::endian::little, "the suite's binary files are little-endian");

}  // namespace velko
