#include "files/list_directed.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "text/number_text.h"

namespace velko {

namespace {

constexpr std::ptrdiff_t longest_value = std::ptrdiff_t{16} << 20;

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

const char* read_number_behind_blanks(const char* p, const char* last, r8& value) {
  while (p != last && is_blank(*p)) ++p;
  return read_number(p, last, value);
}

/// Whether a value certainly ends in front of p; `last` is as far as the text is known. A carriage return at
/// the very end of what is known may or may not begin a line end.
bool ends_value(const char* p, const char* last) {
  if (*p == '\r') return p + 1 != last && p[1] == '\n';
  return is_blank(*p) || *p == '\n' || *p == ',' || *p == '/';
}

/// r of r*c: digits alone, not all of them 0. A count beyond all items of all arrays need not be told from
/// the largest.
bool is_repeat_count(std::string_view text, i8& count) {
  constexpr i8 enough = i8{1} << 40;
  count = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    count = std::min(10 * count + (c - '0'), enough);
  }
  return count > 0;
}

}  // namespace

void list_directed_read::item(r8& x) {
  read_one(x);
}

void list_directed_read::item(i4& x) {
  read_one(x);
}

void list_directed_read::item(std::span<r8> xs) {
  read_all(xs);
}

void list_directed_read::item(std::span<i4> xs) {
  read_all(xs);
}

template <class number>
void list_directed_read::read_one(number& x) {
  number value;
  if (next_value(value) == found::constant) x = value;
}

/// A repeat form fills its part of the array at once: 40*25.0 is read once, not forty times.
template <class number>
void list_directed_read::read_all(std::span<number> xs) {
  while (!xs.empty()) {
    number value;
    const found what = next_value(value);
    if (what == found::nothing) return;
    const i8 more = std::min<i8>(repeats_, std::ssize(xs) - 1);
    const auto run = xs.first(static_cast<std::size_t>(1 + more));
    if (what == found::constant) std::fill(run.begin(), run.end(), value);
    repeats_ -= more;
    xs = xs.subspan(run.size());
  }
}

template <class number>
list_directed_read::found list_directed_read::next_value(number& x) {
  if (repeats_ > 0) return repeated_value(x);
  if (!go_to_value()) return found::nothing;
  comma_may_follow_ = true;
  if (*in_.begin() == ',') return found::null;
  // Nearly every value is a number that lies in the window with what ends it.
  const char* end = read_number(in_.begin(), in_.end(), x);
  const bool ends = end == in_.end() ? in_.is_complete() : end != nullptr && ends_value(end, in_.end());
  if (!ends) return next_word(x);
  in_.take_until(end);
  return found::constant;
}

/// The same for a repeat form, a value at the end of what is known of the text, or one that is no number.
template <class number>
list_directed_read::found list_directed_read::next_word(number& x) {
  const std::string_view word = whole_word();
  if (std::ssize(word) > longest_value) return stop(read_status::bad_value);
  in_.take_until(word.data() + word.size());
  if (is_number(word, x)) return found::constant;
  return begin_repeats(word) ? repeated_value(x) : stop(read_status::bad_value);
}

bool list_directed_read::begin_repeats(std::string_view word) {
  const std::size_t star = word.find('*');
  if (star == word.npos || !is_repeat_count(word.substr(0, star), repeats_)) return false;
  constant_ = word.substr(star + 1);
  return true;
}

template <class number>
list_directed_read::found list_directed_read::repeated_value(number& x) {
  --repeats_;
  if (constant_.empty()) return found::null;
  return is_number(constant_, x) ? found::constant : stop(read_status::bad_value);
}

/// Goes to the first character of a value, or to the comma that ends a null value. False if the read is over.
bool list_directed_read::go_to_value() {
  if (over_ || !pass_blanks()) return false;
  if (comma_may_follow_ && *in_.begin() == ',') {
    in_.take_until(in_.begin() + 1);
    if (!pass_blanks()) return false;
  }
  if (*in_.begin() == '/') over_ = true;
  return !over_;
}

/// Passes blanks, tabs and line ends. At the end of the text the read is over.
bool list_directed_read::pass_blanks() {
  for (;;) {
    const char *p = in_.begin(), *last = in_.end();
    while (p != last && (is_blank(*p) || *p == '\n' || (*p == '\r' && ends_value(p, last)))) ++p;
    in_.take_until(p);
    const bool undecided = p == last || (*p == '\r' && p + 1 == last);
    if (!undecided || !in_.fetch_more()) break;
  }
  if (in_.begin() == in_.end()) stop(read_status::end_of_input);
  return !over_;
}

/// The characters up to the end of the value, fetching more of the text as long as the end is not in sight and the
/// value not too long.
std::string_view list_directed_read::whole_word() {
  std::ptrdiff_t length = 0;
  for (;;) {
    const char *first = in_.begin(), *last = in_.end();
    while (first + length != last && !ends_value(first + length, last)) ++length;
    // A carriage return that was the last known character has to be looked at again.
    const bool in_sight = first + length != last;
    if (in_sight) break;
    const bool look_again = length > 0 && last[-1] == '\r';
    if (length > longest_value || !in_.fetch_more()) break;
    if (look_again) --length;
  }
  return {in_.begin(), static_cast<std::size_t>(length)};
}

list_directed_read::found list_directed_read::stop(read_status status) {
  status_ = status;
  over_ = true;
  repeats_ = 0;
  return found::nothing;
}

read_status list_directed_read::finish() {
  if (status_ == read_status::ok) in_.skip_line();
  return in_.read_error() != 0 ? read_status::bad_value : status_;
}

bool read_plain_line(text_input& in, r8& x) {
  const char* last = in.end();
  r8 value = 0;
  const char* p = read_number_behind_blanks(in.begin(), last, value);
  if (p == nullptr || p == last || *p != '\n') return false;
  x = value;
  in.take_until(p + 1);
  return true;
}

bool read_plain_numbers(std::string_view line, std::span<r8> xs) {
  constexpr std::size_t most = 8;  // more than any line of the suite has
  if (xs.size() > most) return false;
  std::array<r8, most> values;
  const char *p = line.data(), *last = p + line.size();
  for (std::size_t i = 0; i < xs.size(); ++i) {
    p = read_number_behind_blanks(p, last, values[i]);
    if (p == nullptr || (p != last && !is_blank(*p))) return false;
  }
  std::copy_n(values.begin(), xs.size(), xs.begin());
  return true;
}

}  // namespace velko
