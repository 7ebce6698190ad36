/// Floating-point mode: denormal numbers count as zero.
///
/// What     flush-to-zero (a denormal result becomes zero) and denormals-are-zero (a denormal operand counts as zero).
///          The bits are set on top of what the thread's control word holds: rounding and masks stay as they are
/// Why      a run has one result, with the mode that its products are defined under; and sums that fade into
///          denormals do not become a hundred times slower
/// Threads  the calling thread alone. The run-time's workers take over the mode of the thread that starts a parallel region, so
///          a scope around the region holds for them too, and the next region finds them as it finds its caller
#pragma once

#include <immintrin.h>

namespace velko {

inline constexpr unsigned flush_to_zero_bits = 0x8040;  // FTZ 0x8000, DAZ 0x0040

inline void set_flush_to_zero() {
  _mm_setcsr(_mm_getcsr() | flush_to_zero_bits);
}

/// The mode while it lives; then flush-to-zero and denormals-are-zero are again what they were.
class flush_to_zero_scope {
 public:
  flush_to_zero_scope() : before_(_mm_getcsr() & flush_to_zero_bits) { set_flush_to_zero(); }
  flush_to_zero_scope(const flush_to_zero_scope&) = delete;
  flush_to_zero_scope& operator=(const flush_to_zero_scope&) = delete;
  ~flush_to_zero_scope() { _mm_setcsr((_mm_getcsr() & ~flush_to_zero_bits) | before_); }

 private:
  unsigned before_;
};

}  // namespace velko
