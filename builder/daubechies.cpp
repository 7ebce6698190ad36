#include "builder/daubechies.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <complex>
#include <numbers>
#include <string>
#include <utility>

namespace velko {

namespace {

using real = long double;
using complex = std::complex<real>;
using polynomial = std::vector<complex>;  // coefficients of ascending powers

complex value(const polynomial& p, complex at) {
  complex sum = 0;
  for (auto c = p.rbegin(); c != p.rend(); ++c) sum = sum * at + *c;
  return sum;
}

/// p(z) (1 - root z), with z standing for one step back in time.
polynomial times_factor(const polynomial& p, complex root) {
  polynomial product(p.size() + 1);
  for (std::size_t k = 0; k < p.size(); ++k) {
    product[k] += p[k];
    product[k + 1] -= root * p[k];
  }
  return product;
}

/// P(y) = sum of binomial(moments - 1 + k, k) y^k, k < moments: what is left of the squared response of the filter,
/// as a polynomial in y = sin^2(omega / 2), when its zeros at omega = pi are taken out.
polynomial half_band_rest(i4 moments) {
  polynomial p{1};
  for (i4 k = 1; k < moments; ++k) p.push_back(p.back() * real(moments - 1 + k) / real(k));
  return p;
}

/// All zeros of a polynomial with simple zeros, by the simultaneous iteration of Weierstrass. Its convergence is
/// quadratic and the degrees are below 6: 100 rounds are far beyond what rounding lets it use.
std::vector<complex> zeros_of(polynomial p) {
  for (complex& c : p) c /= complex(p.back());
  std::vector<complex> zeros(p.size() - 1);
  for (std::size_t j = 0; j < zeros.size(); ++j) zeros[j] = std::pow(complex(0.4L, 0.9L), real(j));
  for (int round = 0; round < 100; ++round)
    for (std::size_t j = 0; j < zeros.size(); ++j) {
      complex others = 1;
      for (std::size_t l = 0; l < zeros.size(); ++l)
        if (l != j) others *= zeros[j] - zeros[l];
      zeros[j] -= value(p, zeros[j]) / others;
    }
  return zeros;
}

/// y = (2 - z - 1/z) / 4 has two solutions z, one the inverse of the other; the one inside the unit circle. It is
/// taken from the one outside, where nothing cancels.
complex inside_unit_circle(complex y) {
  const complex half_sum = real(1) - real(2) * y;
  const complex root = std::sqrt(half_sum * half_sum - real(1));
  const complex outside = std::abs(half_sum + root) > 1 ? half_sum + root : half_sum - root;
  return real(1) / outside;
}

using choice = unsigned;  // bit c: the c-th pair of zeros lies outside of the unit circle

/// The zeros y whose factors a choice is made of: one of each conjugate pair, and the real ones.
std::vector<complex> choices_of(i4 moments) {
  constexpr real rounding = 1e-9L;  // simple zeros of low degree: conjugate pairs are far from the real axis
  std::vector<complex> upper;
  for (const complex y : zeros_of(half_band_rest(moments)))
    if (y.imag() > -rounding) upper.push_back(std::abs(y.imag()) < rounding ? complex(y.real()) : y);
  return upper;
}

/// The filter of so many vanishing moments whose other zeros are inside or outside as chosen.
std::vector<r8> filter_of(i4 moments, const std::vector<complex>& ys, choice outside) {
  polynomial filter{1};
  for (i4 k = 0; k < moments; ++k) filter = times_factor(filter, -1);
  for (std::size_t c = 0; c < ys.size(); ++c) {
    const complex inside = inside_unit_circle(ys[c]);
    const complex zero = (outside >> c & 1U) != 0 ? real(1) / inside : inside;
    filter = times_factor(filter, zero);
    if (zero.imag() != 0) filter = times_factor(filter, std::conj(zero));
  }
  real sum = 0;  // the zeros come in conjugate pairs, so that the coefficients are real
  for (const complex c : filter) sum += c.real();
  std::vector<r8> coefficients;
  for (const complex c : filter)
    coefficients.push_back(static_cast<r8>(c.real() * std::numbers::sqrt2_v<real> / sum));
  return coefficients;
}

/// Largest product of a filter with itself reversed and shifted: 1 if it is symmetric.
r8 symmetry_of(const std::vector<r8>& filter) {
  r8 largest = 0.0;
  for (std::size_t shift = 0; shift < 2 * filter.size() - 1; ++shift) {
    r8 product = 0.0;
    for (std::size_t k = 0; k < filter.size(); ++k)
      if (shift >= k && shift - k < filter.size()) product += filter[k] * filter[shift - k];
    largest = std::max(largest, product);
  }
  return largest;
}

bool lies_behind_its_middle(const std::vector<r8>& filter) {
  r8 moment = 0.0;
  for (std::size_t k = 0; k < filter.size(); ++k)
    moment += filter[k] * filter[k] * (static_cast<r8>(k) - 0.5 * static_cast<r8>(filter.size() - 1));
  return moment > 0.0;
}

}  // namespace

std::vector<r8> daubechies_filter(i4 n) {
  assert(n >= 2 && n % 2 == 0 && n <= longest_daubechies_filter);
  return filter_of(n / 2, choices_of(n / 2), 0);
}

std::vector<r8> symlet_filter(i4 n) {
  assert(n >= 2 && n % 2 == 0 && n <= longest_daubechies_filter);
  const std::vector<complex> ys = choices_of(n / 2);
  std::vector<r8> most_symmetric = filter_of(n / 2, ys, 0);
  // The last pair stays inside: to turn all choices round reverses the filter.
  for (choice outside = 1; outside < 1U << ys.size() >> 1; ++outside) {
    std::vector<r8> filter = filter_of(n / 2, ys, outside);
    if (symmetry_of(filter) > symmetry_of(most_symmetric)) most_symmetric = std::move(filter);
  }
  if (lies_behind_its_middle(most_symmetric)) std::reverse(most_symmetric.begin(), most_symmetric.end());
  return most_symmetric;
}

std::vector<r8> wavelet_filter(std::string_view name) {
  if (name == "haar") return daubechies_filter(2);
  const auto length = std::find(wavelet_names.begin(), wavelet_names.end(), name);
  assert(length != wavelet_names.end());
  const i4 n = std::stoi(std::string(length->substr(1)));
  return name.front() == 'd' ? daubechies_filter(n) : symlet_filter(n);
}

std::string_view wavelet_name(const std::vector<r8>& wfilter) {
  for (const std::string_view name : wavelet_names)
    if (wavelet_filter(name) == wfilter) return name;
  return {};
}

}  // namespace velko
