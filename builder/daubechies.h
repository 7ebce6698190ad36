/// Daubechies filters: orthonormal low-pass filters of least length for their number of vanishing moments.
///
/// What     daubechies_filter(n) gives the n coefficients of the extremal-phase filter with n/2 vanishing moments,
///          n = 2 (Haar), 4, 6, 8, 10 or 12
/// Order    energy first: n = 4 is (1+s, 3+s, 3-s, 1-s) / (4 sqrt 2) with s = sqrt 3
/// Scale    they sum to sqrt 2, and their squares to 1
/// How      computed, not listed, so that there is no digit to mistype: the factors of the half-band polynomial
///          whose zeros lie inside the unit circle, in long double; orthonormal to 1e-15
/// Sources  I. Daubechies, Comm. Pure Appl. Math. 41 (1988) 909-996, doi 10.1002/cpa.3160410705, section 4
#pragma once

#include <vector>

#include "arrays/numbers.h"

namespace velko {

inline constexpr i4 longest_daubechies_filter = 12;

std::vector<r8> daubechies_filter(i4 n);

}  // namespace velko
