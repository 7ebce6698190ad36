/// The pyramid along one dimension of a block of memory, eight lines at a time.
///
/// What     a block holds lines of n elements with stride nprev; element k of line (b, i1) stands at
///          i1 + nprev (k + n b), all from 0. Every line goes through its pyramid, in place
/// Why      eight neighbouring lines fill a cache line of a strided dimension, and a register: lane = line.
///          Each lane does what PWT does on that line alone, so the bits do not depend on the batch
/// Threads  the work arrays are the caller's; the filters are read only
#pragma once

#include <span>

#include "arrays/instruction_set.h"
#include "arrays/numbers.h"

namespace velko {

inline constexpr i8 lines_at_once = 8;

/// Room for a batch: lines_at_once * n elements each.
struct line_work {
  r8* line_buf;
  r8* step_acc;
};

using line_transform = void (*)(std::span<r8> block, i4 n, i8 nprev, bool forward, line_work work);

/// The variant compiled for the set. The machine must have it.
line_transform line_transform_for(instruction_set set);

}  // namespace velko
