#include "products/row_kernels.h"

#include <algorithm>
#include <cstdint>

namespace velko {
namespace {

VELKO_ALWAYS_INLINE r8 combined(const r8x8& part) {
  return ((part[0] + part[1]) + (part[2] + part[3])) + ((part[4] + part[5]) + (part[6] + part[7]));
}

VELKO_ALWAYS_INLINE r8 row_dot_body(const r4* g, const r8* m, i8 n) {
  const i8 n8 = n - n % 8;
  r8x8 part{};
  for (i8 k = 0; k < n8; k += 8)
    part += __builtin_convertvector(*reinterpret_cast<const r4x8_mem*>(g + k), r8x8) *
            *reinterpret_cast<const r8x8_mem*>(m + k);
  r8 s = combined(part);
  for (i8 k = n8; k < n; ++k) s += r8{g[k]} * m[k];
  return s;
}

// Four rows at once read a matrix of 240 MB 1.7 times as fast as rows one by one (one thread, SSE2 and AVX2 alike).
VELKO_ALWAYS_INLINE void row_dots_body(const r4* g, const r8* m, i8 n, r8* y) {
  const i8 n8 = n - n % 8;
  r8x8 part[dense_rows_at_once] = {};
  for (i8 k = 0; k < n8; k += 8) {
    const r8x8 mk = *reinterpret_cast<const r8x8_mem*>(m + k);
    for (i8 r = 0; r < dense_rows_at_once; ++r)
      part[r] += __builtin_convertvector(*reinterpret_cast<const r4x8_mem*>(g + r * n + k), r8x8) * mk;
  }
  for (i8 r = 0; r < dense_rows_at_once; ++r) {
    r8 s = combined(part[r]);
    for (i8 k = n8; k < n; ++k) s += r8{g[r * n + k]} * m[k];
    y[r] = s;
  }
}

// Positions of a row, counted from 0. One outside the cube counts as the cube's last, so that nothing outside is
// touched, and is noted once the row is done: the product is refused then.
class positions {
 public:
  explicit positions(i8 ncube) : last_(static_cast<std::uint32_t>(ncube - 1)) {}

  /// Eight of them, two to a word: a word comes out of its vector at once.
  VELKO_ALWAYS_INLINE void take(const i4* idx, u8x4& pairs) {
    const u4x8 at = *reinterpret_cast<const u4x8_mem*>(idx) - 1;
    furthest_ = at > furthest_ ? at : furthest_;
    pairs = reinterpret_cast<u8x4>(at < last_ ? at : last_ - u4x8{});
  }
  VELKO_ALWAYS_INLINE std::uint32_t take(i4 idx) {
    const std::uint32_t at = static_cast<std::uint32_t>(idx) - 1;
    furthest_of_tail_ = std::max(furthest_of_tail_, at);
    return std::min(at, last_);
  }
  VELKO_ALWAYS_INLINE void note(std::atomic<bool>& outside) const {
    std::uint32_t furthest = furthest_of_tail_;
    for (int j = 0; j < 8; ++j) furthest = std::max(furthest, furthest_[j]);
    if (furthest > last_) outside.store(true, std::memory_order_relaxed);
  }

 private:
  std::uint32_t last_, furthest_of_tail_ = 0;
  u4x8 furthest_{};
};

VELKO_ALWAYS_INLINE std::uint32_t first_of(std::uint64_t pair) {
  return static_cast<std::uint32_t>(pair);
}
VELKO_ALWAYS_INLINE std::uint64_t second_of(std::uint64_t pair) {
  return pair >> 32;
}

// What is asked for ahead of its use: the two streams of a row, and one coefficient of the cube in three, since two or
// three entries of a survey's row lie in one cache line. Rows of a survey over cubes of 8 and 128 MiB, in huge pages, run
// 1.2 times as fast for it (Zen 3, benchmarks/survey_rows). No more was gained by all coefficients, other distances (32 to
// 128 entries), or hints that the rows are not needed again; less by gather instructions, and by a bundle of rows over one
// block of the cube at a time. Two rows side by side took 0.9 to 1.0 of the time, which is not worth a kernel of their own.
constexpr i8 stream_ahead = 256, coefficients_ahead = 64;
enum : int { to_read = 0, to_write = 1 };

template <int use>
VELKO_ALWAYS_INLINE void ask_for_coefficients(const i4* idx, const r8* cube) {
  // By numbers: nothing is read there, so that any idx will do, where a pointer may not leave the cube.
  const auto first = reinterpret_cast<std::uintptr_t>(cube) - sizeof(r8);  // of idx 0
  for (int j = 0; j < 8; j += 3) {
    const std::uintptr_t at = first + static_cast<std::uint32_t>(idx[j]) * sizeof(r8);
    __builtin_prefetch(reinterpret_cast<const void*>(at), use);  // NOLINT(performance-no-int-to-ptr)
  }
}

/// Calls step(k) for each eight entries of a row.
template <int use, class body>
VELKO_ALWAYS_INLINE void for_each_eight(const r4* val, const i4* idx, i8 n8, const r8* cube, body&& step) {
  i8 k = 0;
  for (; k < n8 - coefficients_ahead; k += 8) {
    __builtin_prefetch(idx + k + stream_ahead);
    __builtin_prefetch(val + k + stream_ahead);
    ask_for_coefficients<use>(idx + k + coefficients_ahead, cube);
    step(k);
  }
  for (; k < n8; k += 8) step(k);
}

VELKO_ALWAYS_INLINE r8 sparse_row_dot_body(const r4* val, const i4* idx, i8 nnz, const r8* cube, i8 ncube,
                                           std::atomic<bool>& outside) {
  const i8 n8 = nnz - nnz % 8;
  positions position(ncube);
  r8x8 part{};
  for_each_eight<to_read>(val, idx, n8, cube, [&](i8 k) VELKO_INLINE_BODY {
    u8x4 at;
    position.take(idx + k, at);
    const r8x8 c = {cube[first_of(at[0])],  cube[second_of(at[0])], cube[first_of(at[1])],
                    cube[second_of(at[1])], cube[first_of(at[2])],  cube[second_of(at[2])],
                    cube[first_of(at[3])],  cube[second_of(at[3])]};
    part += __builtin_convertvector(*reinterpret_cast<const r4x8_mem*>(val + k), r8x8) * c;
  });
  r8 s = combined(part);
  for (i8 k = n8; k < nnz; ++k) s += r8{val[k]} * cube[position.take(idx[k])];
  position.note(outside);
  return s;
}

VELKO_ALWAYS_INLINE void add_row_body(const r4* g, r8 s, i8 n, r8* y) {
  const i8 n8 = n - n % 8;
  for (i8 k = 0; k < n8; k += 8)
    *reinterpret_cast<r8x8_mem*>(y + k) +=
        __builtin_convertvector(*reinterpret_cast<const r4x8_mem*>(g + k), r8x8) * s;
  for (i8 k = n8; k < n; ++k) y[k] += r8{g[k]} * s;
}

VELKO_ALWAYS_INLINE void add_rows_body(const r4* g, const r8* s, i8 n, r8* y) {
  const i8 n8 = n - n % 8;
  for (i8 k = 0; k < n8; k += 8) {
    r8x8 yk = *reinterpret_cast<const r8x8_mem*>(y + k);
    for (i8 r = 0; r < dense_rows_at_once; ++r)
      yk += __builtin_convertvector(*reinterpret_cast<const r4x8_mem*>(g + r * n + k), r8x8) * s[r];
    *reinterpret_cast<r8x8_mem*>(y + k) = yk;
  }
  for (i8 k = n8; k < n; ++k)
    for (i8 r = 0; r < dense_rows_at_once; ++r) y[k] += r8{g[r * n + k]} * s[r];
}

VELKO_ALWAYS_INLINE void add_sparse_row_body(const r4* val, const i4* idx, i8 nnz, r8 s, r8* cube, i8 ncube,
                                             std::atomic<bool>& outside) {
  const i8 n8 = nnz - nnz % 8;
  positions position(ncube);
  for_each_eight<to_write>(val, idx, n8, cube, [&](i8 k) VELKO_INLINE_BODY {
    u8x4 at;
    position.take(idx + k, at);
    const r8x8 c = __builtin_convertvector(*reinterpret_cast<const r4x8_mem*>(val + k), r8x8) * s;
    for (int j = 0; j < 4; ++j) {
      const std::uint64_t pair = at[j];
      cube[first_of(pair)] += c[2 * j];
      cube[second_of(pair)] += c[2 * j + 1];
    }
  });
  for (i8 k = n8; k < nnz; ++k) cube[position.take(idx[k])] += r8{val[k]} * s;
  position.note(outside);
}

r8 row_dot_sse2(const r4* g, const r8* m, i8 n) {
  return row_dot_body(g, m, n);
}
VELKO_TARGET_AVX2 r8 row_dot_avx2(const r4* g, const r8* m, i8 n) {
  return row_dot_body(g, m, n);
}
VELKO_TARGET_AVX512 r8 row_dot_avx512(const r4* g, const r8* m, i8 n) {
  return row_dot_body(g, m, n);
}

void row_dots_sse2(const r4* g, const r8* m, i8 n, r8* y) {
  row_dots_body(g, m, n, y);
}
VELKO_TARGET_AVX2 void row_dots_avx2(const r4* g, const r8* m, i8 n, r8* y) {
  row_dots_body(g, m, n, y);
}
VELKO_TARGET_AVX512 void row_dots_avx512(const r4* g, const r8* m, i8 n, r8* y) {
  row_dots_body(g, m, n, y);
}

r8 sparse_row_dot_sse2(const r4* val, const i4* idx, i8 nnz, const r8* cube, i8 ncube,
                       std::atomic<bool>& outside) {
  return sparse_row_dot_body(val, idx, nnz, cube, ncube, outside);
}
VELKO_TARGET_AVX2 r8 sparse_row_dot_avx2(const r4* val, const i4* idx, i8 nnz, const r8* cube, i8 ncube,
                                         std::atomic<bool>& outside) {
  return sparse_row_dot_body(val, idx, nnz, cube, ncube, outside);
}
VELKO_TARGET_AVX512 r8 sparse_row_dot_avx512(const r4* val, const i4* idx, i8 nnz, const r8* cube, i8 ncube,
                                             std::atomic<bool>& outside) {
  return sparse_row_dot_body(val, idx, nnz, cube, ncube, outside);
}

void add_row_sse2(const r4* g, r8 s, i8 n, r8* y) {
  add_row_body(g, s, n, y);
}
VELKO_TARGET_AVX2 void add_row_avx2(const r4* g, r8 s, i8 n, r8* y) {
  add_row_body(g, s, n, y);
}
VELKO_TARGET_AVX512 void add_row_avx512(const r4* g, r8 s, i8 n, r8* y) {
  add_row_body(g, s, n, y);
}

void add_rows_sse2(const r4* g, const r8* s, i8 n, r8* y) {
  add_rows_body(g, s, n, y);
}
VELKO_TARGET_AVX2 void add_rows_avx2(const r4* g, const r8* s, i8 n, r8* y) {
  add_rows_body(g, s, n, y);
}
VELKO_TARGET_AVX512 void add_rows_avx512(const r4* g, const r8* s, i8 n, r8* y) {
  add_rows_body(g, s, n, y);
}

void add_sparse_row_sse2(const r4* val, const i4* idx, i8 nnz, r8 s, r8* cube, i8 ncube,
                         std::atomic<bool>& outside) {
  add_sparse_row_body(val, idx, nnz, s, cube, ncube, outside);
}
VELKO_TARGET_AVX2 void add_sparse_row_avx2(const r4* val, const i4* idx, i8 nnz, r8 s, r8* cube, i8 ncube,
                                           std::atomic<bool>& outside) {
  add_sparse_row_body(val, idx, nnz, s, cube, ncube, outside);
}
VELKO_TARGET_AVX512 void add_sparse_row_avx512(const r4* val, const i4* idx, i8 nnz, r8 s, r8* cube, i8 ncube,
                                               std::atomic<bool>& outside) {
  add_sparse_row_body(val, idx, nnz, s, cube, ncube, outside);
}

constexpr row_kernels sse2_kernels{row_dot_sse2, row_dots_sse2, sparse_row_dot_sse2,
                                   add_row_sse2, add_rows_sse2, add_sparse_row_sse2};
constexpr row_kernels avx2_kernels{row_dot_avx2, row_dots_avx2, sparse_row_dot_avx2,
                                   add_row_avx2, add_rows_avx2, add_sparse_row_avx2};
constexpr row_kernels avx512_kernels{row_dot_avx512, row_dots_avx512, sparse_row_dot_avx512,
                                     add_row_avx512, add_rows_avx512, add_sparse_row_avx512};

}  // namespace

const row_kernels& row_kernels_for(instruction_set set) {
  switch (set) {
    case instruction_set::avx512:
      return avx512_kernels;
    case instruction_set::avx2:
      return avx2_kernels;
    case instruction_set::sse2:
      break;
  }
  return sse2_kernels;
}

const row_kernels& best_row_kernels() {
  static const row_kernels& best = row_kernels_for(best_instruction_set());
  return best;
}

}  // namespace velko
