/// Significant digits: the first decimal digits of a number, rounded to nearest, a tie to even.
///
/// What     value = d.ddd... x 10^exponent with the digits as one integer: 1250 to 4 digits is {1250, 3}
/// Method   a number is m x 2^e with m of 53 bits. m x 5^s and a shift by e + s bits give its digits and what is left
///          of them; the product has at most 116 bits, so that 128-bit integers hold it exactly and nothing is guessed
/// Range    where s lies in 0..27: for 10 digits at least from 1e-17 to below 1e10. Nothing for any other number;
///          std::to_chars gives the same digits
/// See      benchmarks/bench_text.cpp; tests/text/significant_digits_test.cpp
#pragma once

#include <cstdint>
#include <optional>

#include "arrays/numbers.h"

namespace velko {

struct significant_digits {
  std::uint64_t digits;
  int exponent;  // of the first digit
};

/// 1 <= count <= 15.
std::optional<significant_digits> exact_digits(r8 value, int count);

}  // namespace velko
