#include "builder/daubechies.h"

#include <cassert>
#include <cmath>
#include <complex>
#include <numbers>

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

}  // namespace

std::vector<r8> daubechies_filter(i4 n) {
  assert(n >= 2 && n % 2 == 0 && n <= longest_daubechies_filter);
  const i4 moments = n / 2;
  polynomial filter{1};
  for (i4 k = 0; k < moments; ++k) filter = times_factor(filter, -1);
  for (const complex y : zeros_of(half_band_rest(moments)))
    filter = times_factor(filter, inside_unit_circle(y));

  real sum = 0;  // the zeros come in conjugate pairs, so that the coefficients are real
  for (const complex c : filter) sum += c.real();
  std::vector<r8> coefficients;
  for (const complex c : filter)
    coefficients.push_back(static_cast<r8>(c.real() * std::numbers::sqrt2_v<real> / sum));
  return coefficients;
}

}  // namespace velko
