#include "topography/exact_tests.h"

#include <algorithm>
#include <bit>
#include <boost/multiprecision/cpp_int.hpp>
#include <cmath>
#include <compare>
#include <cstdint>
#include <utility>

namespace velko {
namespace {

/// A float and a bound of its distance from the true value. Comparison gives unordered while the bounds leave
/// the answer open, which they do as well after any overflow. Each operation adds twice its own rounding, so
/// that the rounding of the bounds is covered, and `tiny`, which covers what underflow or flushing to zero
/// takes away.
class bounded_number {
 public:
  explicit bounded_number(r8 value) : bounded_number(value, 0) {}

  friend bounded_number operator-(bounded_number a, bounded_number b) {
    return rounded(a.value_ - b.value_, a.error_ + b.error_);
  }
  friend bounded_number operator+(bounded_number a, bounded_number b) {
    return rounded(a.value_ + b.value_, a.error_ + b.error_);
  }
  friend bounded_number operator*(bounded_number a, bounded_number b) {
    return rounded(a.value_ * b.value_,
                   std::abs(a.value_) * b.error_ + a.error_ * std::abs(b.value_) + a.error_ * b.error_);
  }
  friend std::partial_ordering operator<=>(bounded_number a, bounded_number b) {
    const bounded_number d = a - b;
    return std::abs(d.value_) > d.error_ ? d.value_ <=> 0.0 : std::partial_ordering::unordered;
  }

 private:
  static constexpr r8 twice_half_ulp = 0x1p-52, tiny = 0x1p-1000;

  bounded_number(r8 value, r8 error) : value_(value), error_(error) {}
  static bounded_number rounded(r8 value, r8 inherited) {
    return {value, inherited + (twice_half_ulp * std::abs(value) + tiny)};
  }

  r8 value_, error_;
};

/// digits * 2^exponent, with as many digits as it takes.
class binary_fraction {
 public:
  /// Takes the float apart by its bits, so that denormals count also where the machine flushes them to zero.
  explicit binary_fraction(r8 value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const int biased = static_cast<int>(bits >> 52 & 0x7ff);
    std::uint64_t fraction = bits & 0xfffffffffffff;
    if (biased > 0) fraction |= std::uint64_t{1} << 52;
    if (fraction == 0) return;
    const int zeros = std::countr_zero(fraction);
    exponent_ = std::max(biased, 1) - 1075 + zeros;
    digits_ = fraction >> zeros;
    if (bits >> 63 != 0) digits_ = -digits_;
  }

  friend binary_fraction operator-(binary_fraction a, binary_fraction b) {
    align(a, b);
    return {a.digits_ - b.digits_, a.exponent_};
  }
  friend binary_fraction operator+(binary_fraction a, binary_fraction b) {
    align(a, b);
    return {a.digits_ + b.digits_, a.exponent_};
  }
  friend binary_fraction operator*(const binary_fraction& a, const binary_fraction& b) {
    return {a.digits_ * b.digits_, a.exponent_ + b.exponent_};
  }
  friend std::partial_ordering operator<=>(const binary_fraction& a, const binary_fraction& b) {
    return (a - b).digits_.sign() <=> 0;
  }

 private:
  using whole_number = boost::multiprecision::cpp_int;

  binary_fraction(whole_number digits, int exponent) : digits_(std::move(digits)), exponent_(exponent) {}

  /// Brings both to the lower exponent.
  static void align(binary_fraction& a, binary_fraction& b) {
    binary_fraction& higher = a.exponent_ > b.exponent_ ? a : b;
    const int lower = std::min(a.exponent_, b.exponent_);
    higher.digits_ <<= static_cast<unsigned>(higher.exponent_ - lower);
    higher.exponent_ = lower;
  }

  whole_number digits_ = 0;
  int exponent_ = 0;
};

}  // namespace

bool exact_tests::left(point a, point b, point p) {
  return std::is_gteq(side(a, b, p));
}

bool exact_tests::clearly_right(point a, point b, point p) {
  return std::is_lt(formula::side<bounded_number>(a, b, p));
}

std::partial_ordering exact_tests::side(point a, point b, point p) {
  const std::partial_ordering side = formula::side<bounded_number>(a, b, p);
  return side == std::partial_ordering::unordered ? formula::side<binary_fraction>(a, b, p) : side;
}

std::partial_ordering exact_tests::cosine(point apex, point p, point q) {
  const std::partial_ordering sign = formula::cosine<bounded_number>(apex, p, q);
  return sign == std::partial_ordering::unordered ? formula::cosine<binary_fraction>(apex, p, q) : sign;
}

bool exact_tests::swap(point in1, point in2, point io1, point io2) {
  const std::partial_ordering sine =
      formula::sine_of_opposite_angles<bounded_number>(in1, in2, io1, io2) <=> bounded_number(0);
  if (sine != std::partial_ordering::unordered) return std::is_lt(sine);
  return formula::sine_of_opposite_angles<binary_fraction>(in1, in2, io1, io2) < binary_fraction(0);
}

}  // namespace velko
