/// Series: elementary functions in plain arithmetic.
///
/// Why      the mathematical library rounds differently from version to version and from processor to processor; these
///          give the same bits everywhere
/// Accuracy a few units in the last place
#pragma once

#include <cmath>
#include <numbers>

#include "arrays/numbers.h"

namespace velko {

/// x + sign x^3/3 + x^5/5 + sign x^7/7 + ..., so many terms: artanh x for sign 1, arctan x for sign -1. The first term
/// that is left out is x^(2 terms + 1) / (2 terms + 1). `number` is r8 or a vector of them.
template <int terms, int sign, class number>
__attribute__((always_inline)) inline void odd_series(const number& x, number& sum) {
  const number x2 = sign * (x * x);
  number tail = x2 * (1.0 / (2 * terms - 1));
  for (int n = terms - 1; n > 1; --n) tail = x2 * (1.0 / (2 * n - 1) + tail);
  sum = x + x * tail;
}

/// The logarithm of a number from 2^-1000 to 2^1000.
inline r8 portable_log(r8 x) {
  int exponent = 0;
  r8 mantissa = std::frexp(x, &exponent);
  if (mantissa < 0.5 * std::numbers::sqrt2) {
    mantissa *= 2.0;
    --exponent;
  }
  r8 half = 0.0;
  odd_series<12, 1>((mantissa - 1.0) / (mantissa + 1.0), half);  // of at most 0.172
  return exponent * std::numbers::ln2 + 2.0 * half;
}

/// The arctangent of any number but a NaN: an argument above 1 is inverted, and twice the angle is halved.
inline r8 portable_atan(r8 x) {
  const bool steep = std::abs(x) > 1.0;
  r8 t = steep ? 1.0 / x : x;
  for (int halving = 0; halving < 2; ++halving) t = t / (1.0 + std::sqrt(1.0 + t * t));
  r8 quarter = 0.0;
  odd_series<12, -1>(t, quarter);  // of at most tan(pi / 16) = 0.199
  return steep ? std::copysign(0.5 * std::numbers::pi, x) - 4.0 * quarter : 4.0 * quarter;
}

/// Sine and cosine of angles up to pi / 4, x (1 - x^2/(2 3) (1 - x^2/(4 5) ...)) and 1 - x^2/(1 2) (1 - x^2/(3 4) ...).
inline r8 portable_sin(r8 x) {
  r8 factor = 1.0;
  for (int n = 20; n > 0; n -= 2) factor = 1.0 - x * x / (n * (n + 1)) * factor;
  return x * factor;
}
inline r8 portable_cos(r8 x) {
  r8 sum = 1.0;
  for (int n = 19; n > 0; n -= 2) sum = 1.0 - x * x / (n * (n + 1)) * sum;
  return sum;
}

}  // namespace velko
