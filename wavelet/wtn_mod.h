/// WTN_MOD: three-dimensional periodic wavelet transform of a cube, in place.
#pragma once

#include <array>
#include <span>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

/// The two analysis filters, set once by SET_WTN_FILTER and then shared by all threads.
struct wavelet_state {
  i4 filter_len = 0;           // length of both filters
  i4 filter_off = 0;           // -(filter_len / 2)
  owned_array1<r8> lo_filter;  // (filter_len) low-pass: the stored coefficients
  owned_array1<r8> hi_filter;  // (filter_len) high-pass: reversed, with alternating sign
};
inline wavelet_state wavelet;

void SET_WTN_FILTER(std::span<const r8> wfilter, i4 n);
void PWT(std::span<r8> a, i4 n, bool forward);
void WTN(std::span<r8> a, std::array<i4, 3> nn, i4 isign);
void reset_WTN_MOD();

}  // namespace velko
