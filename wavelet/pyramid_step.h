/// One step of the periodic pyramid, written once for a single line and for eight lines side by side.
///
/// What     `line` is what one element of a line is made of: a number (one_line), or eight numbers that belong
///          to eight lines (eight_lines). Each lane sees the arithmetic of a line of its own, in the same order
/// Letters  h counts output pairs, k filter coefficients, p positions in the line; all from 0 here
/// See      PWT in wavelet/wtn_mod.h for the formulas
#pragma once

#include <cstdint>

#include "arrays/instruction_set.h"
#include "wavelet/wtn_mod.h"

namespace velko {

using u4 = std::uint32_t;

struct one_line {
  using in_memory = r8;
  using in_register = r8;
};
struct eight_lines {
  using in_memory = r8x8_mem;
  using in_register = r8x8;
};

/// The filters as the steps read them, and where they meet a line of n elements.
struct placed_filters {
  placed_filters(const wavelet_state& w, i4 line_length)
      : lo(w.lo_filter.data()),
        hi(w.hi_filter.data()),
        length(static_cast<u4>(w.lo_filter.size())),
        n(static_cast<u4>(line_length)),
        mask(n - 1),
        // length * n only keeps the position positive before the AND; it does not move the filter. Unsigned, so
        // that it may wrap.
        first(length * n + static_cast<u4>(w.filter_off) + 2),
        mask_is_modulo((n & mask) == 0) {
    if (length > longest_unfolded && n < length && mask_is_modulo && n >= 4) take_folded(w);
  }

  /// Coefficient k of the folded filters is the sum of all that fall where coefficient k does.
  void take_folded(const wavelet_state& w) {
    lo = w.lo_folded.data() + (n - 4);
    hi = w.hi_folded.data() + (n - 4);
    length = n;
  }

  /// Where coefficient k of output pair h falls. Below n for every n; the right place for powers of two.
  u4 position(u4 h, u4 k) const { return (first + 2 * h + k) & mask; }

  /// Whether all coefficients of so many pairs, from h on, fall behind one another with no wrap round the end of the
  /// line.
  bool stay_inside(u4 h, u4 pairs = 1) const {
    const u4 width = length + 2 * (pairs - 1);
    return mask_is_modulo && width <= n && position(h, 0) <= n - width;
  }

  const r8* lo;
  const r8* hi;
  u4 length, n, mask, first;
  bool mask_is_modulo;
};

// The sums of two pairs do not wait for each other, which hides the latency of additions; more would outgrow the
// registers of AVX2.
constexpr u4 pairs_at_once = 2;

/// The sums of so many output pairs, from h on.
template <class line, u4 pairs>
struct pair_sums {
  typename line::in_register smooth[pairs]{}, detail[pairs]{};

  VELKO_ALWAYS_INLINE void add_inside(const placed_filters& f, const typename line::in_memory* a, u4 h) {
    const auto* x = a + f.position(h, 0);
    for (u4 k = 0; k < f.length; ++k)
      for (u4 p = 0; p < pairs; ++p) {
        smooth[p] += f.lo[k] * x[k + 2 * p];
        detail[p] += f.hi[k] * x[k + 2 * p];
      }
  }
  VELKO_ALWAYS_INLINE void add_wrapping(const placed_filters& f, const typename line::in_memory* a, u4 h) {
    for (u4 p = 0; p < pairs; ++p)
      for (u4 k = 0; k < f.length; ++k) {
        const auto* x = a + f.position(h + p, k);
        smooth[p] += f.lo[k] * *x;
        detail[p] += f.hi[k] * *x;
      }
  }
  VELKO_ALWAYS_INLINE void add(const placed_filters& f, const typename line::in_memory* a, u4 h) {
    if (f.stay_inside(h, pairs))
      add_inside(f, a, h);
    else
      add_wrapping(f, a, h);
  }
};

template <class line>
VELKO_ALWAYS_INLINE void synthesise_pair(const placed_filters& f, const typename line::in_register& smooth,
                                         const typename line::in_register& detail, u4 h,
                                         typename line::in_memory* acc) {
  if (f.stay_inside(h)) {
    auto* x = acc + f.position(h, 0);
    for (u4 k = 0; k < f.length; ++k) x[k] += f.lo[k] * smooth + f.hi[k] * detail;
  } else {
    for (u4 k = 0; k < f.length; ++k) acc[f.position(h, k)] += f.lo[k] * smooth + f.hi[k] * detail;
  }
}

/// The analysis step: acc(0 .. n-1) from a(0 .. n-1), smooth coefficients first.
template <class line>
VELKO_ALWAYS_INLINE void analyse(const placed_filters& f, const typename line::in_memory* a,
                                 typename line::in_memory* acc) {
  using value = typename line::in_register;
  const u4 n = f.n, nh = n / 2;
  if (n % 4 == 0) {
    for (u4 h = 0; h < nh; h += pairs_at_once) {
      pair_sums<line, pairs_at_once> sums;
      sums.add(f, a, h);
      // What is stored has been added to 0, as where two coefficients meet: a sum that flushed to -0 becomes 0.
      for (u4 p = 0; p < pairs_at_once; ++p) {
        acc[h + p] = value{} + sums.smooth[p];
        acc[h + p + nh] = value{} + sums.detail[p];
      }
    }
    return;
  }
  // Where n is odd, the last smooth and the first detail coefficient meet at one position and add up.
  for (u4 p = 0; p < n; ++p) acc[p] = value{};
  for (u4 h = 0; h < n - nh; ++h) {
    pair_sums<line, 1> sums;
    sums.add(f, a, h);
    acc[h] += sums.smooth[0];
    acc[h + nh] += sums.detail[0];
  }
}

/// The synthesis step: acc(0 .. n-1) from a(0 .. n-1), the transpose of the analysis step.
template <class line>
VELKO_ALWAYS_INLINE void synthesise(const placed_filters& f, const typename line::in_memory* a,
                                    typename line::in_memory* acc) {
  using value = typename line::in_register;
  const u4 n = f.n, nh = n / 2;
  for (u4 p = 0; p < n; ++p) acc[p] = value{};
  for (u4 h = 0; h < n - nh; ++h) {
    const value smooth = a[h], detail = a[h + nh];
    synthesise_pair<line>(f, smooth, detail, h, acc);
  }
}

}  // namespace velko
