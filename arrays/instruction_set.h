/// Instruction sets: what this machine's registers are wide enough for.
///
/// What     hot loops are compiled once for each set, from one body, and the choice is made once at run time
/// Bits     the body fixes the order of every sum, so that all sets give the same bits; tests compare them
/// Order    from the baseline of x86-64 upward; a machine that has one has those before it
/// See      wavelet/line_transform.h, products/row_kernels.h
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "arrays/numbers.h"

namespace velko {

enum class instruction_set { sse2, avx2, avx512 };

inline constexpr std::array all_instruction_sets{instruction_set::sse2, instruction_set::avx2,
                                                 instruction_set::avx512};

inline std::string_view name_of(instruction_set set) {
  constexpr std::array<std::string_view, 3> names{"SSE2", "AVX2", "AVX-512"};
  return names[static_cast<std::size_t>(set)];
}

/// Whether the processor has the set and the system keeps its registers.
inline bool machine_has(instruction_set set) {
  switch (set) {
    case instruction_set::sse2:
      return true;
    case instruction_set::avx2:
      return __builtin_cpu_supports("avx2") != 0;
    case instruction_set::avx512:
      return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512vl") != 0 &&
             __builtin_cpu_supports("avx512dq") != 0;
  }
  return false;
}

inline instruction_set best_instruction_set() {
  instruction_set best = instruction_set::sse2;
  for (instruction_set set : all_instruction_sets)
    if (machine_has(set)) best = set;
  return best;
}

// What a function compiled for a set is marked with. The body that it inlines carries no mark of its own.
#define VELKO_TARGET_AVX2 __attribute__((target("avx2")))
#define VELKO_TARGET_AVX512 __attribute__((target("avx512f,avx512vl,avx512dq")))
#define VELKO_ALWAYS_INLINE __attribute__((always_inline)) inline
#define VELKO_INLINE_BODY __attribute__((always_inline))  // of a lambda

// Eight r8 in registers: 4 of SSE2, 2 of AVX2, 1 of AVX-512. None of these types is passed or returned by
// value: how that is done differs between the sets.
using r8x8 = r8 __attribute__((vector_size(64)));
using r4x8 = r4 __attribute__((vector_size(32)));
// Four of them; eight positions, alone or two to a word.
using r8x4 = r8 __attribute__((vector_size(32)));
using u4x8 = std::uint32_t __attribute__((vector_size(32)));
using u8x4 = std::uint64_t __attribute__((vector_size(32)));
// The same in memory, at any alignment. By typedef: clang 14 ignores the alignment in an alias declaration.
typedef r8x8 r8x8_mem __attribute__((aligned(alignof(r8)), may_alias));
typedef r8x4 r8x4_mem __attribute__((aligned(alignof(r8)), may_alias));
typedef r4x8 r4x8_mem __attribute__((aligned(alignof(r4)), may_alias));
typedef u4x8 u4x8_mem __attribute__((aligned(alignof(std::uint32_t)), may_alias));
static_assert(alignof(r8x8_mem) == alignof(r8) && alignof(r4x8_mem) == alignof(r4));

}  // namespace velko
