#include "text/number_layout.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <iterator>

#include "text/significant_digits.h"

namespace velko {

namespace {

// The longest number: the fixed-point form of the largest r8 has 309 digits in front of the point.
using number_text = std::array<char, 400>;

constexpr auto digit_pairs = [] {  // "00", "01", ... "99"
  std::array<char, 200> pairs{};
  for (std::size_t i = 0; i < pairs.size(); ++i)
    pairs[i] = static_cast<char>('0' + (i % 2 == 0 ? i / 20 : i / 2 % 10));
  return pairs;
}();

std::string_view text_until(const number_text& text, const char* end) {
  return {text.data(), static_cast<std::size_t>(end - text.data())};
}

void append_number(std::string& line, std::string_view number, int width) {
  const auto field = static_cast<std::size_t>(width);
  if (number.size() > field) {
    line.append(field, '*');
  } else {
    line.append(field - number.size(), ' ');
    line.append(number);
  }
}

std::string_view not_finite(r8 value) {
  if (std::isnan(value)) return "NaN";
  return value > 0 ? "Infinity" : "-Infinity";
}

bool shows_as_zero(std::string_view number) {
  return number.find_first_of("123456789") == number.npos;
}

std::string_view without_sign_of_zero(std::string_view number) {
  if (number.front() == '-' && shows_as_zero(number)) number.remove_prefix(1);
  return number;
}

/// Turns the "e+05" at the end of a number into "E+05", or "e+105" into "+105"; gives back the new end.
char* with_suite_exponent(char* end) {
  if (end[-4] == 'e') {
    end[-4] = 'E';
    return end;
  }
  std::copy(end - 4, end, end - 5);
  return end - 1;
}

/// d.ddd: puts the point behind the first of the digits, which are 1 + decimals.
char* put_digits(char* to, std::uint64_t digits, int decimals) {
  char* const end = to + 2 + decimals;
  char* p = end;
  for (; p > to + 3; digits /= 100) {
    p -= 2;
    std::copy_n(&digit_pairs[2 * (digits % 100)], 2, p);
  }
  for (; p > to + 2; digits /= 10) *--p = static_cast<char>('0' + digits % 10);
  to[0] = static_cast<char>('0' + digits);
  to[1] = '.';
  return end;
}

/// E+05, for exponents of one or two digits.
char* put_exponent(char* to, int exponent) {
  const auto pair = 2 * static_cast<std::size_t>(std::abs(exponent));
  to[0] = 'E';
  to[1] = exponent < 0 ? '-' : '+';
  std::copy_n(&digit_pairs[pair], 2, to + 2);
  return to + 4;
}

/// Gives back the end, or null for a number without exact_digits, such as a zero.
char* put_scientific(char* to, r8 value, int decimals) {
  if (decimals < 1 || decimals > 14) return nullptr;
  const auto number = exact_digits(std::abs(value), 1 + decimals);
  if (!number) return nullptr;
  *to = '-';
  to += std::signbit(value);
  return put_exponent(put_digits(to, number->digits, decimals), number->exponent);
}

}  // namespace

std::string_view without_trailing_blanks(std::string_view text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

void append_text(std::string& line, std::string_view text, int width) {
  const auto field = static_cast<std::size_t>(width);
  text = text.substr(0, field);
  line.append(field - text.size(), ' ');
  line.append(text);
}

void append_integer(std::string& line, i8 value, int width, int digits) {
  number_text text;
  const auto magnitude = static_cast<std::uint64_t>(value);
  const auto [end, error] =
      std::to_chars(text.data(), text.data() + text.size(), value < 0 ? 0 - magnitude : magnitude);
  const std::string_view shown = text_until(text, end);
  const auto leading = std::max<std::ptrdiff_t>(0, digits - std::ssize(shown));
  append_number(line,
                (value < 0 ? "-" : "") + std::string(static_cast<std::size_t>(leading), '0').append(shown),
                width);
}

void append_fixed(std::string& line, r8 value, int width, int decimals) {
  if (!std::isfinite(value)) return append_number(line, not_finite(value), width);
  number_text text;
  const auto [end, error] =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, decimals);
  append_number(line, without_sign_of_zero(text_until(text, end)), width);
}

void append_scientific(std::string& line, r8 value, int width, int decimals) {
  if (!std::isfinite(value)) return append_number(line, not_finite(value), width);
  number_text text;
  if (const char* end = put_scientific(text.data(), value, decimals))
    return append_number(line, text_until(text, end), width);
  const auto [end, error] =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::scientific, decimals);
  append_number(line, without_sign_of_zero(text_until(text, with_suite_exponent(end))), width);
}

}  // namespace velko
