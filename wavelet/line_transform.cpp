#include "wavelet/line_transform.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "wavelet/pyramid_step.h"
#include "wavelet/wtn_mod.h"

namespace velko {
namespace {

/// Eight lines of a block: where each starts, and the stride they share. Lanes beyond the last line repeat it:
/// they do the same work and write the same values.
struct line_batch {
  std::array<i8, lines_at_once> start;
  i8 stride;
  i8 spacing;     // from one line to the next where all eight are contiguous, otherwise 0
  bool adjacent;  // the lines start one behind another, so that position k of all is one vector in memory
  bool halves;    // the first four do, and the last four
};

line_batch batch_at(i8 line, i8 end, i4 n, i8 nprev) {
  line_batch batch{};
  for (i8 lane = 0; lane < lines_at_once; ++lane)
    batch.start[static_cast<std::size_t>(lane)] = start_of(std::min(line + lane, end - 1), n, nprev);
  const bool full = line + lines_at_once <= end;
  const auto together = [&](i8 first, i8 count) { return full && first % nprev + count <= nprev; };
  batch.stride = nprev;
  batch.adjacent = together(line, lines_at_once);
  batch.halves = together(line, lines_at_once / 2) && together(line + lines_at_once / 2, lines_at_once / 2);
  batch.spacing = full && nprev == 1 ? n : 0;
  return batch;
}

/// Four positions of four lines: to(k, line) = from(line, k). The strides are in numbers.
VELKO_ALWAYS_INLINE void transpose(const r8* from, i8 from_stride, r8* to, i8 to_stride) {
  r8x4 row[4], even[2], odd[2];
  for (int i = 0; i < 4; ++i) row[i] = *reinterpret_cast<const r8x4_mem*>(from + i * from_stride);
  for (int i = 0; i < 2; ++i) {
    even[i] = __builtin_shufflevector(row[2 * i], row[2 * i + 1], 0, 4, 2, 6);
    odd[i] = __builtin_shufflevector(row[2 * i], row[2 * i + 1], 1, 5, 3, 7);
  }
  row[0] = __builtin_shufflevector(even[0], even[1], 0, 1, 4, 5);
  row[1] = __builtin_shufflevector(odd[0], odd[1], 0, 1, 4, 5);
  row[2] = __builtin_shufflevector(even[0], even[1], 2, 3, 6, 7);
  row[3] = __builtin_shufflevector(odd[0], odd[1], 2, 3, 6, 7);
  for (int i = 0; i < 4; ++i) *reinterpret_cast<r8x4_mem*>(to + i * to_stride) = row[i];
}

VELKO_ALWAYS_INLINE const r8* lanes_of(const r8x8_mem* line) {
  return reinterpret_cast<const r8*>(line);
}
VELKO_ALWAYS_INLINE r8* lanes_of(r8x8_mem* line) {
  return reinterpret_cast<r8*>(line);
}
/// In one piece: what is stored as halves has to reach the cache before it can be loaded whole, and a short step comes at once.
VELKO_ALWAYS_INLINE void join(const r8* first_half, const r8* second_half, r8x8_mem* to) {
  *to = __builtin_shufflevector(*reinterpret_cast<const r8x4_mem*>(first_half),
                                *reinterpret_cast<const r8x4_mem*>(second_half), 0, 1, 2, 3, 4, 5, 6, 7);
}
VELKO_ALWAYS_INLINE void copy_four(const r8* from, r8* to) {
  *reinterpret_cast<r8x4_mem*>(to) = *reinterpret_cast<const r8x4_mem*>(from);
}

/// Whether positions begin .. end-1 of eight contiguous lines are whole fours.
VELKO_ALWAYS_INLINE bool in_fours(const line_batch& batch, i4 begin, i4 end) {
  return batch.spacing != 0 && begin % 4 == 0 && end % 4 == 0;
}

/// Positions begin .. end-1 of the lines, from the block into line_buf.
VELKO_ALWAYS_INLINE void gather(const r8* a, const line_batch& batch, i4 begin, i4 end, r8x8_mem* line_buf) {
  const auto& s = batch.start;
  const r8* x = a + begin * batch.stride;
  if (batch.adjacent) {
    x += s[0];
    for (i4 k = begin; k < end; ++k, x += batch.stride) line_buf[k] = *reinterpret_cast<const r8x8_mem*>(x);
  } else if (batch.halves) {
    for (i4 k = begin; k < end; ++k, x += batch.stride) join(x + s[0], x + s[4], line_buf + k);
  } else if (in_fours(batch, begin, end)) {
    for (i4 k = begin; k < end; k += 4, x += 4)
      for (i8 half = 0; half < lines_at_once; half += 4)
        transpose(x + s[0] + half * batch.spacing, batch.spacing, lanes_of(line_buf + k) + half,
                  lines_at_once);
  } else {
    for (i4 k = begin; k < end; ++k, x += batch.stride)
      line_buf[k] = r8x8{x[s[0]], x[s[1]], x[s[2]], x[s[3]], x[s[4]], x[s[5]], x[s[6]], x[s[7]]};
  }
}

/// The way back.
VELKO_ALWAYS_INLINE void scatter(const r8x8_mem* line_buf, const line_batch& batch, i4 begin, i4 end, r8* a) {
  const auto& s = batch.start;
  r8* x = a + begin * batch.stride;
  if (batch.adjacent) {
    x += s[0];
    for (i4 k = begin; k < end; ++k, x += batch.stride) *reinterpret_cast<r8x8_mem*>(x) = line_buf[k];
  } else if (batch.halves) {
    for (i4 k = begin; k < end; ++k, x += batch.stride) {
      copy_four(lanes_of(line_buf + k), x + s[0]);
      copy_four(lanes_of(line_buf + k) + 4, x + s[4]);
    }
  } else if (in_fours(batch, begin, end)) {
    for (i4 k = begin; k < end; k += 4, x += 4)
      for (i8 half = 0; half < lines_at_once; half += 4)
        transpose(lanes_of(line_buf + k) + half, lines_at_once, x + s[0] + half * batch.spacing,
                  batch.spacing);
  } else {
    for (i4 k = begin; k < end; ++k, x += batch.stride) {
      const r8x8 lanes = line_buf[k];
      for (std::size_t lane = 0; lane < s.size(); ++lane) x[s[lane]] = lanes[lane];
    }
  }
}

/// Eight lines on their way through the pyramid. `now` holds their leading positions, as the steps so far have left them;
/// a step reads `now`, writes `next`, and exchanges the two, so that `now` is always what the steps have come to.
struct lines_under_way {
  r8x8_mem* now;
  r8x8_mem* next;

  VELKO_ALWAYS_INLINE void analyse(i4 nt) {
    velko::analyse<eight_lines>(placed_filters(wavelet, nt), now, next);
    std::swap(now, next);
  }
  VELKO_ALWAYS_INLINE void synthesise(i4 nt) {
    velko::synthesise<eight_lines>(placed_filters(wavelet, nt), now, next);
    std::swap(now, next);
  }
};

/// The second half of what a step leaves are details, which no later step looks at: they go to their place in the block at
/// once. After the last step all that is left goes there.
VELKO_ALWAYS_INLINE void analyse_batch(r8* a, const line_batch& batch, i4 n, lines_under_way lines) {
  gather(a, batch, 0, n, lines.now);
  for (i4 nt = n; nt >= 4; nt /= 2) {
    lines.analyse(nt);
    const bool was_last = nt / 2 < 4;
    scatter(lines.now, batch, was_last ? 0 : nt / 2, nt, a);
  }
}

/// The way back: ahead of the first step all that it works on comes from the block, ahead of the others their details, behind
/// the smooth half that the step before has left.
VELKO_ALWAYS_INLINE void synthesise_batch(r8* a, const line_batch& batch, i4 n, lines_under_way lines) {
  i4 nt = 4;
  for (; nt <= n; nt *= 2) {
    const bool is_first = nt == 4;
    gather(a, batch, is_first ? 0 : nt / 2, nt, lines.now);
    lines.synthesise(nt);
  }
  scatter(lines.now, batch, 0, nt / 2, a);
}

/// Eight lines that fill a piece of memory, as those of the first dimension do. On their way through the pyramid each step waits
/// for the one before, and the processor does not come to the next eight by itself. By a number: there may be none.
VELKO_ALWAYS_INLINE void ask_for(const r8* a, i8 line, i4 n) {
  const std::uintptr_t start =
      reinterpret_cast<std::uintptr_t>(a) + static_cast<std::uintptr_t>(line * n) * sizeof(r8);
  for (i8 k = 0; k < n; ++k) {
    const std::uintptr_t of_eight = start + static_cast<std::uintptr_t>(k) * sizeof(r8x8);
    __builtin_prefetch(reinterpret_cast<const void*>(of_eight));  // NOLINT(performance-no-int-to-ptr)
  }
}

VELKO_ALWAYS_INLINE void transform_lines(r8* block, i4 n, i8 nprev, line_range lines, bool forward,
                                         line_work work) {
  const lines_under_way buffers{reinterpret_cast<r8x8_mem*>(work.line_buf),
                                reinterpret_cast<r8x8_mem*>(work.step_acc)};
  for (i8 line = lines.first; line < lines.end; line += lines_at_once) {
    const line_batch batch = batch_at(line, lines.end, n, nprev);
    if (nprev <= lines_at_once) ask_for(block, line + lines_at_once, n);
    if (forward)
      analyse_batch(block, batch, n, buffers);
    else
      synthesise_batch(block, batch, n, buffers);
  }
}

// benchmarks/bench_transform.cpp: AVX2 takes 0.6 to 0.85 of the time of SSE2.
#define VELKO_LINE_TRANSFORM(set, TARGET)                                                      \
  TARGET void transform_lines_##set(r8* block, i4 n, i8 nprev, line_range lines, bool forward, \
                                    line_work work) {                                          \
    transform_lines(block, n, nprev, lines, forward, work);                                    \
  }
VELKO_LINE_TRANSFORM(sse2, )
VELKO_LINE_TRANSFORM(avx2, VELKO_TARGET_AVX2)
VELKO_LINE_TRANSFORM(avx512, VELKO_TARGET_AVX512)
#undef VELKO_LINE_TRANSFORM

}  // namespace

line_transform line_transform_for(instruction_set set) {
  switch (set) {
    case instruction_set::avx512:
      return transform_lines_avx512;
    case instruction_set::avx2:
      return transform_lines_avx2;
    case instruction_set::sse2:
      break;
  }
  return transform_lines_sse2;
}

}  // namespace velko
