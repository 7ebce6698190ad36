/// A second list-directed reader: slow, and too plain to be wrong in the same way as the first. It sees the whole text at
/// once, cuts it into words, commas and slashes, and only then gives them a meaning.
#pragma once

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "arrays/numbers.h"
#include "files/list_directed.h"

namespace velko::test {

namespace slow {

struct word {
  enum kind_t { value, comma, slash } kind;
  std::string text;
  std::size_t behind;  // position behind it
};

/// Line ends become one character each, so that a carriage return that is left belongs to a value.
inline std::string with_plain_line_ends(std::string text) {
  for (std::size_t at = text.find("\r\n"); at != text.npos; at = text.find("\r\n", at)) text.erase(at, 1);
  return text;
}

inline bool is_one_of(char c, std::string_view set) {
  return set.find(c) != set.npos;
}

inline std::vector<word> words_of(const std::string& text, std::size_t at) {
  std::vector<word> words;
  while (at < text.size()) {
    const char c = text[at];
    if (c == ',' || c == '/') {
      words.push_back({c == ',' ? word::comma : word::slash, "", at + 1});
      ++at;
    } else if (is_one_of(c, " \t\n")) {
      ++at;
    } else {
      std::size_t end = text.find_first_of(" \t\n,/", at);
      if (end == text.npos) end = text.size();
      words.push_back({word::value, text.substr(at, end - at), end});
      at = end;
    }
  }
  return words;
}

inline std::string lower(std::string text) {
  for (char& c : text)
    if ('A' <= c && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  return text;
}

/// Takes digits from the front of the text.
inline std::string take_digits(std::string& text) {
  std::size_t n = 0;
  while (n < text.size() && '0' <= text[n] && text[n] <= '9') ++n;
  const std::string digits = text.substr(0, n);
  text.erase(0, n);
  return digits;
}

/// Takes a sign from the front of the text, and gives "+" where there is none.
inline std::string take_sign(std::string& text) {
  const std::string sign = text.starts_with('-') ? "-" : "+";
  if (text.starts_with('-') || text.starts_with('+')) text.erase(0, 1);
  return sign;
}

inline std::optional<i4> integer_of(std::string text) {
  const std::string sign = take_sign(text), digits = take_digits(text);
  if (digits.empty() || !text.empty()) return {};
  const long double value = std::strtold((sign + digits).c_str(), nullptr);
  if (value < -2147483648.0L || value > 2147483647.0L) return {};
  return static_cast<i4>(value);
}

inline std::optional<r8> real_of(std::string text) {
  text = lower(text);
  const std::string sign = take_sign(text);
  if (text == "inf" || text == "infinity" || text == "nan")
    return std::strtod((sign + text).c_str(), nullptr);
  std::string mantissa = take_digits(text), exponent;
  std::size_t digits = mantissa.size();
  if (text.starts_with('.')) {
    text.erase(0, 1);
    const std::string behind_point = take_digits(text);
    digits += behind_point.size();
    mantissa += "." + behind_point;
  }
  if (digits == 0) return {};
  if (!text.empty()) {
    const bool has_letter = is_one_of(text[0], "ed");
    if (has_letter) text.erase(0, 1);
    if (!has_letter && !is_one_of(text[0], "+-")) return {};
    const std::string exponent_sign = take_sign(text);
    exponent = take_digits(text);
    if (exponent.empty() || !text.empty()) return {};
    exponent = "e" + exponent_sign + exponent;
  }
  const r8 value = std::strtod((sign + mantissa + exponent).c_str(), nullptr);
  return std::isinf(value) ? std::optional<r8>{} : value;
}

/// r of r*, or nothing. Large counts are all the same to a few items.
inline std::optional<std::size_t> repeat_count(std::string text) {
  const std::string digits = take_digits(text);
  if (digits.empty() || !text.empty() || digits.find_first_not_of('0') == digits.npos) return {};
  return static_cast<std::size_t>(std::min(std::strtod(digits.c_str(), nullptr), 1e6));
}

}  // namespace slow

/// A value that was read, or nothing where the item kept what it held.
using slow_value = std::optional<r8>;

struct slow_read {
  read_status status = read_status::ok;
  std::vector<slow_value> values;  // of the items up to the end of the read
  std::size_t behind = 0;          // where the next read begins
};

/// One read of items of these types, 'r' or 'i' each, from a text with plain line ends.
inline slow_read read_slowly(const std::string& text, std::size_t at, const std::string& types) {
  slow_read read;
  std::size_t last_word_ends = at;
  const auto finish = [&](read_status status) {
    read.status = status;
    const std::size_t line_end = text.find('\n', last_word_ends);
    read.behind = line_end == text.npos ? text.size() : line_end + 1;
    return read;
  };
  const auto add = [&](const std::string& constant) {
    const char type = types[read.values.size()];
    if (const auto x = slow::real_of(constant); type == 'r' && x) return read.values.push_back(*x), true;
    if (const auto n = slow::integer_of(constant); type == 'i' && n) return read.values.push_back(*n), true;
    return false;
  };
  bool comma_may_follow = false;
  if (types.empty()) return finish(read_status::ok);
  for (const slow::word& word : slow::words_of(text, at)) {
    last_word_ends = word.behind;
    if (word.kind == slow::word::slash) return finish(read_status::ok);
    if (word.kind == slow::word::comma) {
      if (!comma_may_follow) read.values.emplace_back();
      comma_may_follow = false;
    } else {
      const std::size_t star = word.text.find('*');
      const auto count = star == word.text.npos ? std::optional<std::size_t>(1)
                                                : slow::repeat_count(word.text.substr(0, star));
      const std::string constant = star == word.text.npos ? word.text : word.text.substr(star + 1);
      if (!count) return finish(read_status::bad_value);
      for (std::size_t r = 0; r < *count && read.values.size() < types.size(); ++r) {
        if (constant.empty())
          read.values.emplace_back();
        else if (!add(constant))
          return finish(read_status::bad_value);
      }
      comma_may_follow = true;
    }
    if (read.values.size() == types.size()) return finish(read_status::ok);
  }
  return finish(read_status::end_of_input);
}

}  // namespace velko::test
