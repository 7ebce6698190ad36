/// Transform memory: what WTN takes beside the cube, told before anything is taken.
#pragma once

#include <array>

#include "arrays/numbers.h"

namespace velko {

/// Bytes of the work arrays of a thread for a cube of these dimensions, fastest first; or for so many that lie interleaved, each
/// element of all beside one another.
i8 bytes_of_transform(std::array<i4, 3> nn, i8 cubes = 1);

}  // namespace velko
