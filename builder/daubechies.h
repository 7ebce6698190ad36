/// Daubechies filters: orthonormal low-pass filters of least length for their number of vanishing moments.
///
/// What     daubechies_filter(n) gives the n coefficients of the extremal-phase filter with n/2 vanishing moments,
///          n = 2 (Haar), 4, 6, 8, 10 or 12; symlet_filter(n) those of the most symmetric one of the same length and
///          moments, which is the same up to n = 6
/// Order    energy first: n = 4 is (1+s, 3+s, 3-s, 1-s) / (4 sqrt 2) with s = sqrt 3
/// Scale    they sum to sqrt 2, and their squares to 1
/// How      computed, not listed, so that there is no digit to mistype: of the zeros of the half-band polynomial one of
///          each pair inside and outside the unit circle, in long double; orthonormal to 1e-15. Extremal phase takes
///          those inside; the symlet is the one of all choices whose product with itself reversed is largest
/// Sources  I. Daubechies, Comm. Pure Appl. Math. 41 (1988) 909-996, doi 10.1002/cpa.3160410705, section 4;
///          I. Daubechies, Ten Lectures on Wavelets (1992), section 8.1 (symmetry)
#pragma once

#include <array>
#include <string_view>
#include <vector>

#include "arrays/numbers.h"

namespace velko {

inline constexpr i4 longest_daubechies_filter = 12;

std::vector<r8> daubechies_filter(i4 n);
std::vector<r8> symlet_filter(i4 n);

/// What the filters are called: d or s, for Daubechies and symlet, and the number of coefficients.
inline constexpr std::array<std::string_view, 9> wavelet_names{"haar", "d4", "d6",  "d8", "d10",
                                                               "d12",  "s8", "s10", "s12"};

/// The filter of a name out of wavelet_names.
std::vector<r8> wavelet_filter(std::string_view name);

/// The name of a filter that has one; empty for others.
std::string_view wavelet_name(const std::vector<r8>& wfilter);

}  // namespace velko
