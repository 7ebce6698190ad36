/// The transform once more, one number at a time: too simple to be wrong.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "wavelet/wtn_mod.h"

namespace velko::test {

inline void plain_PWT(std::span<r8> a, i4 n, bool forward) {
  std::vector<r8> acc(a.size(), 0.0);
  const auto length = static_cast<std::uint32_t>(wavelet.filter_len), un = static_cast<std::uint32_t>(n);
  const std::uint32_t base = length * un + static_cast<std::uint32_t>(wavelet.filter_off);
  for (i4 h = 0; h < (n + 1) / 2; ++h) {
    const auto smooth = static_cast<std::size_t>(h), detail = smooth + static_cast<std::size_t>(n / 2);
    r8 s1 = 0, s2 = 0;
    for (i4 k = 1; k <= wavelet.filter_len; ++k) {
      const std::size_t p = (base + static_cast<std::uint32_t>(2 * h + k + 1)) & (un - 1);
      if (forward) {
        s1 += wavelet.lo_filter(k) * a[p];
        s2 += wavelet.hi_filter(k) * a[p];
      } else {
        acc[p] += wavelet.lo_filter(k) * a[smooth] + wavelet.hi_filter(k) * a[detail];
      }
    }
    if (forward) {
      acc[smooth] += s1;
      acc[detail] += s2;
    }
  }
  std::copy(acc.begin(), acc.end(), a.begin());
}

/// Line by line in the given step routine, with nothing but the formula of the element's position.
template <class step>
void plain_WTN(std::vector<r8>& a, std::array<i4, 3> nn, i4 isign, step PWT_of) {
  const auto size = static_cast<i8>(a.size());
  i8 nprev = 1;
  for (const i4 n : nn) {
    const i8 nnew = n * nprev;
    for (i8 i2 = 0; n > 4 && i2 < size; i2 += nnew)
      for (i8 i1 = 0; i1 < nprev; ++i1) {
        std::vector<r8> line(static_cast<std::size_t>(n));
        const auto element = [&](std::size_t k) -> r8& {
          return a[static_cast<std::size_t>(i1 + i2) + k * static_cast<std::size_t>(nprev)];
        };
        const auto apply = [&](i4 nt, bool forward) {
          PWT_of(std::span(line).first(static_cast<std::size_t>(nt)), nt, forward);
        };
        for (std::size_t k = 0; k < line.size(); ++k) line[k] = element(k);
        if (isign >= 0)
          for (i4 nt = n; nt >= 4; nt /= 2) apply(nt, true);
        else
          for (i4 nt = 4; nt <= n; nt *= 2) apply(nt, false);
        for (std::size_t k = 0; k < line.size(); ++k) element(k) = line[k];
      }
    nprev = nnew;
  }
}

}  // namespace velko::test
