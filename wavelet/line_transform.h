/// The pyramid along one dimension of a block of memory, eight lines at a time.
///
/// What     a block holds lines of n elements with stride nprev; element k of line (b, i1) stands at
///          i1 + nprev (k + n b), all from 0. Every line goes through its pyramid, in place
/// Why      eight neighbouring lines fill a cache line of a strided dimension, and a register: lane = line.
///          Each lane does what PWT does on that line alone, so the bits do not depend on the batch
/// Threads  the work arrays are the caller's; the filters are read only
#pragma once

#include "arrays/instruction_set.h"
#include "arrays/numbers.h"

namespace velko {

inline constexpr i8 lines_at_once = 8;

/// Room for a batch: lines_at_once * n elements each.
struct line_work {
  r8* line_buf;
  r8* step_acc;
};

/// Lines first to end - 1 of a block, counted from 0: those of i1 = 0 .. nprev - 1 of the first b, then of the next.
struct line_range {
  i8 first, end;
};

/// Where a line starts in its block.
inline i8 start_of(i8 line, i4 n, i8 nprev) {
  return line % nprev + line / nprev * nprev * n;
}

using line_transform = void (*)(r8* block, i4 n, i8 nprev, line_range lines, bool forward, line_work work);

/// The variant compiled for the set. The machine must have it.
line_transform line_transform_for(instruction_set set);

}  // namespace velko
