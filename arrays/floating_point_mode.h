/// Floating-point mode: denormal numbers count as zero.
///
/// What     flush-to-zero (a denormal result becomes zero) and denormals-are-zero (a denormal operand counts as zero).
///          The bits are set on top of what the thread's control word holds: rounding and masks stay as they are
/// Why      a run has one result, with the mode that its products are defined under; and sums that fade into
///          denormals do not become a hundred times slower
/// Threads  the calling thread alone
#pragma once

#include <immintrin.h>

namespace velko {

inline constexpr unsigned flush_to_zero_bits = 0x8040;  // FTZ 0x8000, DAZ 0x0040

inline void set_flush_to_zero() {
  _mm_setcsr(_mm_getcsr() | flush_to_zero_bits);
}

}  // namespace velko
