#include "wavelet/line_transform.h"

#include <algorithm>
#include <array>

#include "wavelet/pyramid_step.h"
#include "wavelet/wtn_mod.h"

namespace velko {
namespace {

/// Eight lines of a block: where each starts, and the stride they share. Lanes beyond the last line repeat it:
/// they do the same work and write the same values.
struct line_batch {
  std::array<i8, lines_at_once> start;
  i8 stride;
  bool adjacent;  // the lines start one behind another, so that position k of all is one vector in memory
};

line_batch batch_at(i8 line, i8 lines, i4 n, i8 nprev) {
  line_batch batch{};
  for (i8 lane = 0; lane < lines_at_once; ++lane) {
    const i8 l = std::min(line + lane, lines - 1);
    batch.start[static_cast<std::size_t>(lane)] = l % nprev + l / nprev * nprev * n;
  }
  batch.stride = nprev;
  batch.adjacent = line % nprev + lines_at_once <= nprev;
  return batch;
}

VELKO_ALWAYS_INLINE void gather(const r8* a, const line_batch& batch, i4 n, r8x8_mem* line_buf) {
  if (batch.adjacent) {
    const r8* x = a + batch.start[0];
    for (i4 k = 0; k < n; ++k, x += batch.stride) line_buf[k] = *reinterpret_cast<const r8x8_mem*>(x);
  } else {
    const auto& s = batch.start;
    const r8* x = a;
    for (i4 k = 0; k < n; ++k, x += batch.stride)
      line_buf[k] = r8x8{x[s[0]], x[s[1]], x[s[2]], x[s[3]], x[s[4]], x[s[5]], x[s[6]], x[s[7]]};
  }
}

VELKO_ALWAYS_INLINE void scatter(const r8x8_mem* line_buf, const line_batch& batch, i4 n, r8* a) {
  if (batch.adjacent) {
    r8* x = a + batch.start[0];
    for (i4 k = 0; k < n; ++k, x += batch.stride) *reinterpret_cast<r8x8_mem*>(x) = line_buf[k];
  } else {
    r8* x = a;
    for (i4 k = 0; k < n; ++k, x += batch.stride) {
      const r8x8 lanes = line_buf[k];
      for (std::size_t lane = 0; lane < batch.start.size(); ++lane) x[batch.start[lane]] = lanes[lane];
    }
  }
}

VELKO_ALWAYS_INLINE void transform_lines(std::span<r8> block, i4 n, i8 nprev, bool forward, line_work work) {
  auto* line_buf = reinterpret_cast<r8x8_mem*>(work.line_buf);
  auto* step_acc = reinterpret_cast<r8x8_mem*>(work.step_acc);
  const i8 lines = static_cast<i8>(block.size()) / n;
  for (i8 line = 0; line < lines; line += lines_at_once) {
    const line_batch batch = batch_at(line, lines, n, nprev);
    gather(block.data(), batch, n, line_buf);
    pyramid<eight_lines>(wavelet, line_buf, step_acc, n, forward);
    scatter(line_buf, batch, n, block.data());
  }
}

void transform_lines_sse2(std::span<r8> block, i4 n, i8 nprev, bool forward, line_work work) {
  transform_lines(block, n, nprev, forward, work);
}
VELKO_TARGET_AVX2 void transform_lines_avx2(std::span<r8> block, i4 n, i8 nprev, bool forward,
                                            line_work work) {
  transform_lines(block, n, nprev, forward, work);
}
VELKO_TARGET_AVX512 void transform_lines_avx512(std::span<r8> block, i4 n, i8 nprev, bool forward,
                                                line_work work) {
  transform_lines(block, n, nprev, forward, work);
}

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
