#include "text/number_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>

namespace velko {

namespace {

bool is_digit(char c) {
  return '0' <= c && c <= '9';
}

bool is_sign(char c) {
  return (c == '+') | (c == '-');
}

char lower(char c) {
  return 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// A decimal number without its sign, taken apart.
struct decimal {
  const char* mantissa;      // its first digit or point
  const char* point;         // the point, or where it would stand
  const char* mantissa_end;  // the exponent begins here, if there is one
  const char* end;           // of the number
  i8 exponent = 0;           // as written, or a stand-in of the same effect where it is absurd
};

const char* take_digits(const char* p, const char* last) {
  return std::find_if_not(p, last, is_digit);
}

/// Digits of an exponent. It stops growing where no mantissa in any memory could make up for it.
const char* take_exponent_digits(const char* p, const char* last, i8& exponent) {
  constexpr i8 absurd = i8{1} << 50;
  for (; p != last && is_digit(*p); ++p)
    if (exponent < absurd) exponent = 10 * exponent + (*p - '0');
  return p;
}

/// An exponent without digits belongs to no number: then the number ends with its mantissa.
void take_exponent(decimal& d, const char* last) {
  const char* p = d.mantissa_end;
  if (p == last) return;
  const char letter = lower(*p);
  const bool has_letter = letter == 'e' || letter == 'd';
  if (!has_letter && !is_sign(letter)) return;
  if (has_letter) ++p;
  const bool negative = p != last && *p == '-';
  if (p != last && is_sign(*p)) ++p;
  const char* end = take_exponent_digits(p, last, d.exponent);
  if (end == p) return;
  if (negative) d.exponent = -d.exponent;
  d.end = end;
}

bool take_decimal(const char* first, const char* last, decimal& d) {
  d.mantissa = first;
  d.point = d.mantissa_end = take_digits(first, last);
  i8 digit_count = d.point - first;
  if (d.point != last && *d.point == '.') {
    d.mantissa_end = take_digits(d.point + 1, last);
    digit_count += d.mantissa_end - (d.point + 1);
  }
  d.end = d.mantissa_end;
  if (digit_count == 0) return false;
  take_exponent(d, last);
  return true;
}

/// Decimal exponent of the first digit that is not 0, and where it stands; null where all digits are 0.
const char* leading_digit(const decimal& d, i8& exponent) {
  const char* p = std::find_if(d.mantissa, d.mantissa_end, [](char c) { return '1' <= c && c <= '9'; });
  if (p == d.mantissa_end) return nullptr;
  exponent = d.exponent + (p < d.point ? d.point - p - 1 : d.point - p);
  return p;
}

/// The same number in the one form that std::from_chars takes without a limit of its own: a digit, a point,
/// the other digits, and a small exponent. An exponent beyond what r8 holds by far keeps its effect when it
/// is cut.
std::string in_c_style(const decimal& d, const char* leading, i8 exponent) {
  std::string text(1, *leading);
  text += '.';
  std::remove_copy(leading + 1, d.mantissa_end, std::back_inserter(text), '.');
  return text + 'e' + std::to_string(std::clamp<i8>(exponent, -9999, 9999));
}

/// The value of a number in any form. False where it is too large for its type.
bool value_of(const decimal& d, r8& value) {
  i8 exponent = 0;
  const char* leading = leading_digit(d, exponent);
  value = 0;
  if (leading == nullptr) return true;
  const std::string text = in_c_style(d, leading, exponent);
  // Out of range means too large or too small, and the value is left alone: here it stays 0.
  return std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc() || exponent < 0;
}

/// Digits behind those that `digits` holds so far. More than 19 of them may wrap round: the caller counts.
const char* add_digits(const char* p, const char* last, std::uint64_t& digits) {
  for (; p != last && is_digit(*p); ++p) digits = 10 * digits + static_cast<std::uint64_t>(*p - '0');
  return p;
}

/// Whether eight characters are digits, all at once.
bool are_digits(const char* p) {
  std::uint64_t text = 0;
  std::memcpy(&text, p, sizeof text);
  constexpr std::uint64_t high_halves = 0xf0f0f0f0f0f0f0f0, of_digits = 0x3030303030303030,
                          six = 0x0606060606060606;
  return (text & high_halves) == of_digits && ((text + six) & high_halves) == of_digits;
}

/// [sign] and up to three digits behind an exponent letter. Null for anything else.
const char* short_exponent(const char* p, const char* last, i4& exponent) {
  const bool negative = p != last && *p == '-';
  if (p != last && is_sign(*p)) ++p;
  std::uint64_t magnitude = 0;
  const char* end = add_digits(p, last, magnitude);
  if (end == p || end - p > 3) return nullptr;
  exponent = negative ? -static_cast<i4>(magnitude) : static_cast<i4>(magnitude);
  return end;
}

/// Digits with a point in front of the last `decimals` of them.
struct mantissa {
  std::uint64_t digits = 0;  // as one integer
  i4 decimals = 0;
  const char* end = nullptr;  // null: too long, or none
};

/// The integer of eight digits, the first of them in the lowest byte: by pairs, fours and eights, all lanes at once.
std::uint64_t integer_of(std::uint64_t digits) {
  digits = digits * (10 * 0x100 + 1) >> 8;
  digits = (digits & 0x00ff00ff00ff00ff) * (100 * 0x10000 + 1) >> 16;
  return (digits & 0x0000ffff0000ffff) * (10000 * 0x100000000 + 1) >> 32;
}

/// Eight characters as lanes, the first of them in the lowest byte: a digit is its worth, 0 to 9, and any other character
/// is 10 or more.
std::uint64_t lanes_of(const char* first) {
  std::uint64_t lanes = 0;
  std::memcpy(&lanes, first, sizeof lanes);
  return lanes ^ 0x3030303030303030;  // '0' in each
}

/// The high bit of each lane that is 10 or more, up to the first lane that is neither a digit nor a point, and that one's.
/// A lane of 0x8a or more, which is neither, carries into the next one: only lanes behind it can be wrong.
std::uint64_t lanes_of_no_digit(std::uint64_t lanes) {
  constexpr std::uint64_t ones = 0x0101010101010101, high_bits = 0x80 * ones;
  return ((lanes + (0x80 - 10) * ones) | lanes) & high_bits;
}

/// A number of up to eight characters with a point, of which eight can be read: without a branch on where the point stands
/// and where the number ends. That differs from number to number, and a wrong guess costs more than all of this. Null for
/// anything else.
mantissa eight_characters(const char* first) {
  constexpr std::uint64_t point = '.' ^ '0';
  const std::uint64_t lanes = lanes_of(first), no_digits = lanes_of_no_digit(lanes);
  // The first character that is no digit has to be the point; the second ends the number, and nothing behind it counts.
  const std::uint64_t behind_point = no_digits & (no_digits - 1);
  const int bits_in_front = std::countr_zero(no_digits) - 7, length = std::countr_zero(behind_point) / 8;
  if (no_digits == 0 || (lanes >> bits_in_front & 0xff) != point || length < 2) return {};
  if (behind_point == 0 && is_digit(first[8])) return {};
  // The digits move together over the point, and then up, until the last one is in the highest lane: what stood behind the
  // number has gone, and zeros have come in front of it.
  const std::uint64_t in_front = lanes & ((std::uint64_t{1} << bits_in_front) - 1);
  const std::uint64_t decimals = lanes >> 8 >> bits_in_front << bits_in_front;
  const int digits = length - 1;
  return {integer_of((in_front | decimals) << 8 * (8 - digits)), digits - bits_in_front / 8, first + length};
}

[[gnu::noinline]] mantissa any_characters(const char* first, const char* last) {
  constexpr std::ptrdiff_t longest = 18;  // as many as an integer surely holds, a point included
  mantissa m;
  const char* end = add_digits(first, last, m.digits);
  if (end != last && *end == '.') {
    const char* point = end;
    if (last - point > 16 && are_digits(point + 9)) return {};  // as array libraries save numbers
    end = add_digits(point + 1, last, m.digits);
    m.decimals = static_cast<i4>(end - point - 1);
    if (end - first == 1) return {};
  }
  if (end == first || end - first > longest || m.digits > std::uint64_t{1} << 53) return {};
  m.end = end;
  return m;
}

mantissa short_mantissa(const char* first, const char* last) {
  if (last - first > 8) {
    const mantissa m = eight_characters(first);
    if (m.end != nullptr) return m;
  }
  return any_characters(first, last);
}

/// A number of few digits and a small exponent. Its digits as an integer and the power of ten are both exact in r8, so
/// that one product or quotient rounds once, and rightly: W. D. Clinger, How to read floating point numbers accurately,
/// PLDI 1990, doi 10.1145/93542.93557. Null for any other text.
const char* read_short(const char* first, const char* last, r8& value) {
  static constexpr std::array<r8, 23> power_of_ten{1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                   1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                   1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  const mantissa m = short_mantissa(first, last);
  const char* end = m.end;
  if (end == nullptr) return nullptr;
  i4 exponent = -m.decimals;
  if (end != last && (lower(*end) == 'e' || lower(*end) == 'd')) {
    i4 written = 0;
    end = short_exponent(end + 1, last, written);
    if (end == nullptr) return nullptr;
    exponent += written;
  } else if (end != last && is_sign(*end)) {
    return nullptr;
  }
  constexpr i4 most = power_of_ten.size() - 1;
  if (exponent < -most || exponent > most) return nullptr;
  const auto magnitude =
      static_cast<r8>(static_cast<i8>(m.digits));  // from a signed one it is one instruction
  value = exponent < 0 ? magnitude / power_of_ten[static_cast<std::size_t>(-exponent)]
                       : magnitude * power_of_ten[static_cast<std::size_t>(exponent)];
  return end;
}

/// Nearly every other number has a form that std::from_chars knows too, and needs no second look. Null where it may
/// not be so: where what stands behind may be an exponent, where the number is out of range, and where it is
/// so long that a library may lose count of its digits.
const char* read_plain(const char* first, const char* last, r8& value) {
  constexpr std::ptrdiff_t longest = 1000;
  if (first == last || !(is_digit(*first) || *first == '.')) return nullptr;
  const auto [end, error] = std::from_chars(first, last, value);
  if (error != std::errc() || end - first > longest) return nullptr;
  const bool exponent_may_follow = end != last && (is_sign(*end) || lower(*end) == 'd');
  return exponent_may_follow ? nullptr : end;
}

bool begins_with(const char* first, const char* last, std::string_view word) {
  return last - first >= std::ssize(word) &&
         std::equal(word.begin(), word.end(), first, [](char w, char c) { return w == lower(c); });
}

const char* read_word(const char* first, const char* last, r8& value) {
  struct known_word {
    std::string_view word;
    r8 value;
  };
  using limits = std::numeric_limits<r8>;
  static constexpr std::array<known_word, 3> words{
      {{"infinity", limits::infinity()}, {"inf", limits::infinity()}, {"nan", limits::quiet_NaN()}}};
  for (const known_word& known : words) {
    if (!begins_with(first, last, known.word)) continue;
    value = known.value;
    return first + known.word.size();
  }
  return nullptr;
}

r8 with_sign(r8 magnitude, char sign) {
  return std::copysign(magnitude, sign == '-' ? -1.0 : 1.0);
}

/// A magnitude in any form. Kept out of the way of the short ones, so that those need few registers.
[[gnu::noinline]] const char* read_long(const char* first, const char* last, char sign, r8& value) {
  r8 magnitude = 0;
  const char* end = read_plain(first, last, magnitude);
  if (end == nullptr) {
    decimal d;
    if (!take_decimal(first, last, d))
      end = read_word(first, last, magnitude);
    else if (value_of(d, magnitude))
      end = d.end;
  }
  if (end != nullptr) value = with_sign(magnitude, sign);
  return end;
}

}  // namespace

// The sign is put on without a branch: where values have any sign, it would be guessed wrong half of the
// time.
const char* read_number(const char* first, const char* last, r8& value) {
  const char sign = first != last ? *first : ' ';
  first += is_sign(sign);
  r8 magnitude = 0;
  const char* end = read_short(first, last, magnitude);
  if (end == nullptr) return read_long(first, last, sign, value);
  value = with_sign(magnitude, sign);
  return end;
}

const char* read_number(const char* first, const char* last, i4& value) {
  using limits = std::numeric_limits<i4>;
  const bool has_sign = first != last && is_sign(*first);
  const char* digits = first + has_sign;
  const char* p = digits;
  i8 worth = 0;
  for (; p != last && is_digit(*p); ++p) worth = std::min(10 * worth + (*p - '0'), i8{1} << 32);
  if (has_sign && *first == '-') worth = -worth;
  if (p == digits || worth < limits::min() || worth > limits::max()) return nullptr;
  value = static_cast<i4>(worth);
  return p;
}

}  // namespace velko
