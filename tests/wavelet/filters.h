/// Filters for tests, and what tests say about vectors.
#pragma once

#include <gsl/gsl_wavelet.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <span>
#include <vector>

#include "arrays/numbers.h"
#include "wavelet/wtn_mod.h"

namespace velko::test {

using values = std::vector<r8>;

inline const values haar{std::sqrt(0.5), std::sqrt(0.5)};

/// Daubechies 1988, closed form for four coefficients; not a table, so that there is no digit to mistype.
inline values daubechies_4() {
  const r8 s = std::sqrt(3.0), q = 4 * std::sqrt(2.0);
  return {(1 + s) / q, (3 + s) / q, (3 - s) / q, (1 - s) / q};
}

struct free_wavelet {
  void operator()(gsl_wavelet* w) const { gsl_wavelet_free(w); }
};
using gsl_filter = std::unique_ptr<gsl_wavelet, free_wavelet>;

/// GSL has its Daubechies filters for 4, 6, ... 20 coefficients.
inline gsl_filter gsl_daubechies(std::size_t coefficients, bool centred) {
  return gsl_filter(
      gsl_wavelet_alloc(centred ? gsl_wavelet_daubechies_centered : gsl_wavelet_daubechies, coefficients));
}
inline values daubechies(std::size_t coefficients) {
  if (coefficients == 2) return haar;
  const gsl_filter w = gsl_daubechies(coefficients, false);
  return {w->h1, w->h1 + w->nc};
}

inline void set_filter(const values& w) {
  SET_WTN_FILTER(w, static_cast<i4>(w.size()));
}

inline values random_values(std::size_t n, unsigned seed = 1) {
  std::mt19937 generator(seed);
  std::normal_distribution<r8> normal;
  values a(n);
  for (r8& x : a) x = normal(generator);
  return a;
}

inline r8 dot(const values& a, const values& b) {
  r8 s = 0;
  for (std::size_t i = 0; i < a.size(); ++i) s += a[i] * b[i];
  return s;
}
inline r8 norm(const values& a) {
  return std::sqrt(dot(a, a));
}
inline r8 largest_difference(std::span<const r8> a, std::span<const r8> b) {
  r8 d = a.size() == b.size() ? 0 : HUGE_VAL;
  for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) d = std::max(d, std::abs(a[i] - b[i]));
  return d;
}
/// Equal to the last bit: the sign of zero counts.
inline bool same_bits(const values& a, const values& b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(r8)) == 0);
}

}  // namespace velko::test
