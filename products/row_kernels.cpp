#include "products/row_kernels.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <iterator>

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
VELKO_ALWAYS_INLINE void row_dots_body(const r4* g, i8 stride, const r8* m, i8 n, r8* y) {
  const i8 n8 = n - n % 8;
  r8x8 part[dense_rows_at_once] = {};
  for (i8 k = 0; k < n8; k += 8) {
    const r8x8 mk = *reinterpret_cast<const r8x8_mem*>(m + k);
    for (i8 r = 0; r < dense_rows_at_once; ++r)
      part[r] += __builtin_convertvector(*reinterpret_cast<const r4x8_mem*>(g + r * stride + k), r8x8) * mk;
  }
  for (i8 r = 0; r < dense_rows_at_once; ++r) {
    r8 s = combined(part[r]);
    for (i8 k = n8; k < n; ++k) s += r8{g[r * stride + k]} * m[k];
    y[r] = s;
  }
}

VELKO_ALWAYS_INLINE void row_dots_of_models_body(const r4* g, const r8* m, i8 stride, i8 n, r8* y) {
  const i8 n8 = n - n % 8;
  r8x8 part[dense_models_at_once] = {};
  for (i8 k = 0; k < n8; k += 8) {
    const r8x8 gk = __builtin_convertvector(*reinterpret_cast<const r4x8_mem*>(g + k), r8x8);
    for (i8 l = 0; l < dense_models_at_once; ++l)
      part[l] += gk * *reinterpret_cast<const r8x8_mem*>(m + l * stride + k);
  }
  for (i8 l = 0; l < dense_models_at_once; ++l) {
    r8 s = combined(part[l]);
    for (i8 k = n8; k < n; ++k) s += r8{g[k]} * m[l * stride + k];
    y[l] = s;
  }
}

// Positions of a row in a cube or a slab of it, counted from 0. One outside counts as the last, so that nothing outside is
// touched, and is noted once the row is done: the result is not used then.
class positions {
 public:
  positions(i8 first, i8 size)
      : first_(static_cast<std::uint32_t>(first)), last_(static_cast<std::uint32_t>(size - 1)) {}

  /// Eight of them, two to a word: a word comes out of its vector at once.
  VELKO_ALWAYS_INLINE void take(const i4* idx, u8x4& pairs) {
    const u4x8 at = *reinterpret_cast<const u4x8_mem*>(idx) - first_;
    furthest_ = at > furthest_ ? at : furthest_;
    pairs = reinterpret_cast<u8x4>(at < last_ ? at : last_ - u4x8{});
  }
  VELKO_ALWAYS_INLINE std::uint32_t take(i4 idx) {
    const std::uint32_t at = static_cast<std::uint32_t>(idx) - first_;
    furthest_of_tail_ = std::max(furthest_of_tail_, at);
    return std::min(at, last_);
  }
  VELKO_ALWAYS_INLINE void note(std::atomic<bool>& outside) const {
    std::uint32_t furthest = furthest_of_tail_;
    for (int j = 0; j < 8; ++j) furthest = std::max(furthest, furthest_[j]);
    if (furthest > last_) outside.store(true, std::memory_order_relaxed);
  }

 private:
  std::uint32_t first_, last_, furthest_of_tail_ = 0;
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
constexpr int one_in_three = 3;
enum : int { to_read = 0, to_write = 1 };

/// One coefficient in `every`, of `models` interleaved cubes whose element of idx 0 is at an address.
template <int use, i8 models, int every>
VELKO_ALWAYS_INLINE void ask_for_coefficients(const i4* idx, std::uintptr_t of_idx_0) {
  // By numbers: nothing is read there, so that any idx will do, where a pointer may not leave the cube.
  for (int j = 0; j < 8; j += every) {
    const std::uintptr_t at = of_idx_0 + static_cast<std::uint32_t>(idx[j]) * (models * sizeof(r8));
    __builtin_prefetch(reinterpret_cast<const void*>(at), use);  // NOLINT(performance-no-int-to-ptr)
  }
}

/// By a number, as above: it may lie behind the row.
template <class element>
VELKO_ALWAYS_INLINE void ask_for_stream(const element* start, i8 at) {
  const std::uintptr_t line =
      reinterpret_cast<std::uintptr_t>(start) + static_cast<std::uintptr_t>(at) * sizeof(element);
  __builtin_prefetch(reinterpret_cast<const void*>(line));  // NOLINT(performance-no-int-to-ptr)
}

/// Calls step(k) for each eight entries of a row.
template <int use, i8 models, int every, class body>
VELKO_ALWAYS_INLINE void for_each_eight(const row_entries& row, i8 n8, const r8* cube, i8 first,
                                        body&& step) {
  const std::uintptr_t of_idx_0 =
      reinterpret_cast<std::uintptr_t>(cube) - static_cast<std::uintptr_t>(first * models) * sizeof(r8);
  i8 k = 0;
  for (; k < n8 - stream_ahead; k += 8) {
    ask_for_stream(row.idx, k + stream_ahead);
    ask_for_stream(row.val, k + stream_ahead);
    ask_for_coefficients<use, models, every>(row.idx + k + coefficients_ahead, of_idx_0);
    step(k);
  }
  for (; k < n8 - coefficients_ahead; k += 8) {
    ask_for_stream(row.next_idx, k + stream_ahead - n8);
    ask_for_stream(row.next_val, k + stream_ahead - n8);
    ask_for_coefficients<use, models, every>(row.idx + k + coefficients_ahead, of_idx_0);
    step(k);
  }
  for (; k < n8; k += 8) {
    ask_for_stream(row.next_idx, k + stream_ahead - n8);
    ask_for_stream(row.next_val, k + stream_ahead - n8);
    step(k);
  }
}

VELKO_ALWAYS_INLINE r8 sparse_row_dot_body(const row_entries& row, const r8* cube, i8 ncube,
                                           std::atomic<bool>& outside) {
  const i8 n8 = row.nnz - row.nnz % 8;
  positions position(1, ncube);
  r8x8 part{};
  for_each_eight<to_read, 1, one_in_three>(row, n8, cube, 1, [&](i8 k) VELKO_INLINE_BODY {
    u8x4 at;
    position.take(row.idx + k, at);
    const r8x8 c = {cube[first_of(at[0])],  cube[second_of(at[0])], cube[first_of(at[1])],
                    cube[second_of(at[1])], cube[first_of(at[2])],  cube[second_of(at[2])],
                    cube[first_of(at[3])],  cube[second_of(at[3])]};
    part += __builtin_convertvector(*reinterpret_cast<const r4x8_mem*>(row.val + k), r8x8) * c;
  });
  r8 s = combined(part);
  for (i8 k = n8; k < row.nnz; ++k) s += r8{row.val[k]} * cube[position.take(row.idx[k])];
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

VELKO_ALWAYS_INLINE void add_rows_body(const r4* g, i8 stride, const r8* s, i8 n, r8* y) {
  const i8 n8 = n - n % 8;
  for (i8 k = 0; k < n8; k += 8) {
    r8x8 yk = *reinterpret_cast<const r8x8_mem*>(y + k);
    for (i8 r = 0; r < dense_rows_at_once; ++r)
      yk += __builtin_convertvector(*reinterpret_cast<const r4x8_mem*>(g + r * stride + k), r8x8) * s[r];
    *reinterpret_cast<r8x8_mem*>(y + k) = yk;
  }
  for (i8 k = n8; k < n; ++k)
    for (i8 r = 0; r < dense_rows_at_once; ++r) y[k] += r8{g[r * stride + k]} * s[r];
}

VELKO_ALWAYS_INLINE void add_sparse_row_body(const row_entries& row, r8 s, const slab& to,
                                             std::atomic<bool>& outside) {
  const i8 n8 = row.nnz - row.nnz % 8;
  r8* const cube = to.elements;
  positions position(to.first, to.size);
  for_each_eight<to_write, 1, one_in_three>(row, n8, cube, to.first, [&](i8 k) VELKO_INLINE_BODY {
    u8x4 at;
    position.take(row.idx + k, at);
    const r8x8 c = __builtin_convertvector(*reinterpret_cast<const r4x8_mem*>(row.val + k), r8x8) * s;
    for (int j = 0; j < 4; ++j) {
      const std::uint64_t pair = at[j];
      cube[first_of(pair)] += c[2 * j];
      cube[second_of(pair)] += c[2 * j + 1];
    }
  });
  for (i8 k = n8; k < row.nnz; ++k) cube[position.take(row.idx[k])] += r8{row.val[k]} * s;
  position.note(outside);
}

// Several models: an entry of the row meets one element of each, which lie side by side.
template <i8 models>
struct models_at_once {
  typedef r8 vector __attribute__((vector_size(models * 8)));
  // Their lines are shared less. Half as many asked for took 1.2 times as long, with four cubes of 8 MiB.
  static constexpr int every = models >= 4 ? 1 : 2;

  // Copied, since clang 14 forgets the alignment of a type that depends on a parameter.
  static VELKO_ALWAYS_INLINE void load(const r8* cubes, std::uint64_t position, vector& c) {
    __builtin_memcpy(&c, cubes + position * models, sizeof c);
  }
  static VELKO_ALWAYS_INLINE void add_product(r4 val, const r8* cubes, std::uint64_t position, vector& sum) {
    vector c;
    load(cubes, position, c);
    sum += r8{val} * c;
  }
  static VELKO_ALWAYS_INLINE void add_to(r8* cubes, std::uint64_t position, r4 val, const vector& s) {
    vector c;
    load(cubes, position, c);
    c += r8{val} * s;
    __builtin_memcpy(cubes + position * models, &c, sizeof c);
  }

  static VELKO_ALWAYS_INLINE void dots(const row_entries& row, const r8* cubes, i8 ncube, r8* y,
                                       std::atomic<bool>& outside) {
    const i8 n8 = row.nnz - row.nnz % 8;
    positions position(1, ncube);
    vector part[8] = {};
    for_each_eight<to_read, models, every>(row, n8, cubes, 1, [&](i8 k) VELKO_INLINE_BODY {
      u8x4 pairs;
      position.take(row.idx + k, pairs);
      for (int j = 0; j < 4; ++j) {
        const std::uint64_t pair = pairs[j];
        add_product(row.val[k + 2 * j], cubes, first_of(pair), part[2 * j]);
        add_product(row.val[k + 2 * j + 1], cubes, second_of(pair), part[2 * j + 1]);
      }
    });
    vector s = ((part[0] + part[1]) + (part[2] + part[3])) + ((part[4] + part[5]) + (part[6] + part[7]));
    for (i8 k = n8; k < row.nnz; ++k) add_product(row.val[k], cubes, position.take(row.idx[k]), s);
    __builtin_memcpy(y, &s, sizeof s);
    position.note(outside);
  }

  static VELKO_ALWAYS_INLINE void add(const row_entries& row, const r8* factors, const slab& to,
                                      std::atomic<bool>& outside) {
    const i8 n8 = row.nnz - row.nnz % 8;
    vector s;
    load(factors, 0, s);
    r8* const cubes = to.elements;
    positions position(to.first, to.size);
    for_each_eight<to_write, models, every>(row, n8, cubes, to.first, [&](i8 k) VELKO_INLINE_BODY {
      u8x4 pairs;
      position.take(row.idx + k, pairs);
      for (int j = 0; j < 4; ++j) {
        const std::uint64_t pair = pairs[j];
        add_to(cubes, first_of(pair), row.val[k + 2 * j], s);
        add_to(cubes, second_of(pair), row.val[k + 2 * j + 1], s);
      }
    });
    for (i8 k = n8; k < row.nnz; ++k) add_to(cubes, position.take(row.idx[k]), row.val[k], s);
    position.note(outside);
  }
};

// One model: its eight elements come together first.
template <>
struct models_at_once<1> {
  static VELKO_ALWAYS_INLINE void dots(const row_entries& row, const r8* cube, i8 ncube, r8* y,
                                       std::atomic<bool>& outside) {
    *y = sparse_row_dot_body(row, cube, ncube, outside);
  }
  static VELKO_ALWAYS_INLINE void add(const row_entries& row, const r8* s, const slab& to,
                                      std::atomic<bool>& outside) {
    add_sparse_row_body(row, *s, to, outside);
  }
};

// The bodies, compiled for each set.
#define VELKO_KERNELS(set, TARGET)                                                             \
  TARGET r8 row_dot_##set(const r4* g, const r8* m, i8 n) {                                    \
    return row_dot_body(g, m, n);                                                              \
  }                                                                                            \
  TARGET void row_dots_##set(const r4* g, i8 stride, const r8* m, i8 n, r8* y) {               \
    row_dots_body(g, stride, m, n, y);                                                         \
  }                                                                                            \
  TARGET void row_dots_of_models_##set(const r4* g, const r8* m, i8 stride, i8 n, r8* y) {     \
    row_dots_of_models_body(g, m, stride, n, y);                                               \
  }                                                                                            \
  TARGET void add_row_##set(const r4* g, r8 s, i8 n, r8* y) {                                  \
    add_row_body(g, s, n, y);                                                                  \
  }                                                                                            \
  TARGET void add_rows_##set(const r4* g, i8 stride, const r8* s, i8 n, r8* y) {               \
    add_rows_body(g, stride, s, n, y);                                                         \
  }                                                                                            \
  template <i8 models>                                                                         \
  TARGET void sparse_row_dots_##set(const row_entries& row, const r8* cubes, i8 ncube, r8* y,  \
                                    std::atomic<bool>& outside) {                              \
    models_at_once<models>::dots(row, cubes, ncube, y, outside);                               \
  }                                                                                            \
  template <i8 models>                                                                         \
  TARGET void add_sparse_row_##set(const row_entries& row, const r8* s, const slab& to,        \
                                   std::atomic<bool>& outside) {                               \
    models_at_once<models>::add(row, s, to, outside);                                          \
  }                                                                                            \
  constexpr row_kernels set##_kernels{row_dot_##set, row_dots_##set, row_dots_of_models_##set, \
                                      add_row_##set, add_rows_##set};                          \
  constexpr sparse_kernels set##_sparse_kernels[] = {                                          \
      {1, sparse_row_dots_##set<1>, add_sparse_row_##set<1>},                                  \
      {2, sparse_row_dots_##set<2>, add_sparse_row_##set<2>},                                  \
      {4, sparse_row_dots_##set<4>, add_sparse_row_##set<4>},                                  \
      {8, sparse_row_dots_##set<8>, add_sparse_row_##set<8>}};

VELKO_KERNELS(sse2, )
VELKO_KERNELS(avx2, VELKO_TARGET_AVX2)
VELKO_KERNELS(avx512, VELKO_TARGET_AVX512)
#undef VELKO_KERNELS

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

const sparse_kernels& sparse_kernels_for(instruction_set set, i8 models) {
  const auto width =
      std::find(numbers_of_models.begin(), numbers_of_models.end(), models) - numbers_of_models.begin();
  assert(width < std::ssize(numbers_of_models));
  switch (set) {
    case instruction_set::avx512:
      return avx512_sparse_kernels[width];
    case instruction_set::avx2:
      return avx2_sparse_kernels[width];
    case instruction_set::sse2:
      break;
  }
  return sse2_sparse_kernels[width];
}

const row_kernels& best_row_kernels() {
  static const row_kernels& best = row_kernels_for(best_instruction_set());
  return best;
}

const sparse_kernels& best_sparse_kernels(i8 models) {
  static const instruction_set best = best_instruction_set();
  return sparse_kernels_for(best, models);
}

}  // namespace velko
