#include "text/significant_digits.h"

#include <array>
#include <bit>
#include <cassert>

namespace velko {

namespace {

constexpr int most_digits = 15, largest_scale = 27;  // 5^27 is the last power of five in 64 bits
constexpr int fraction_bits = 52;

template <int count>
constexpr std::array<std::uint64_t, count> powers_of(std::uint64_t base) {
  std::array<std::uint64_t, count> power{1};
  for (std::size_t i = 1; i < power.size(); ++i) power[i] = base * power[i - 1];
  return power;
}

constexpr auto power_of_five = powers_of<largest_scale + 1>(5);
constexpr auto power_of_ten = powers_of<most_digits + 1>(10);

__extension__ using u16 = unsigned __int128;

/// mantissa x 2^exponent.
struct binary_number {
  std::uint64_t mantissa;
  int exponent;
};

binary_number taken_apart(r8 value) {
  constexpr int bias = 1023;
  constexpr std::uint64_t hidden_bit = std::uint64_t{1} << fraction_bits;
  const auto bits = std::bit_cast<std::uint64_t>(value);
  return {(bits & (hidden_bit - 1)) | hidden_bit,
          static_cast<int>(bits >> fraction_bits) - bias - fraction_bits};
}

bool is_positive_normal(r8 value) {
  constexpr std::uint64_t least = std::uint64_t{1} << fraction_bits,
                          infinite = std::uint64_t{0x7ff} << fraction_bits;
  return std::bit_cast<std::uint64_t>(value) - least < infinite - least;
}

/// The largest power of ten that is no larger than 2^exponent. 78913 / 2^18 is the logarithm of 2, near enough for
/// every exponent of an r8.
int power_of_ten_below(int exponent) {
  return (exponent * 78913) >> 18;
}

/// value x 10^scale, which is below 2 x 10^15 and so below 2^52: the shift is at least 1.
struct scaled_number {
  u16 product;
  int shift;

  scaled_number(const binary_number& value, int scale)
      : product(u16{value.mantissa} * power_of_five[static_cast<std::size_t>(scale)]),
        shift(-(value.exponent + scale)) {}
  std::uint64_t integer_part() const { return static_cast<std::uint64_t>(product >> shift); }
  std::uint64_t rounded() const {
    const std::uint64_t whole = integer_part();
    const u16 rest = product - (u16{whole} << shift), half = u16{1} << (shift - 1);
    return whole + (rest > half || (rest == half && whole % 2 == 1));
  }
};

}  // namespace

std::optional<significant_digits> exact_digits(r8 value, int count) {
  assert(1 <= count && count <= most_digits);
  if (!is_positive_normal(value)) return std::nullopt;
  const binary_number x = taken_apart(value);
  const std::uint64_t too_large = power_of_ten[static_cast<std::size_t>(count)];
  for (int exponent = power_of_ten_below(x.exponent + fraction_bits);; ++exponent) {
    const int scale = count - 1 - exponent;
    if (scale < 0 || scale > largest_scale) return std::nullopt;
    const scaled_number scaled(x, scale);
    if (scaled.integer_part() >= too_large) continue;
    const std::uint64_t digits = scaled.rounded();
    if (digits == too_large) return significant_digits{too_large / 10, exponent + 1};
    return significant_digits{digits, exponent};
  }
}

}  // namespace velko
