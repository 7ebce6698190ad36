/// List-directed reading: values in free form, from a file or from a line in memory.
///
/// Values   stand between blanks, tabs, line ends, or one comma with blanks, tabs or line ends around it; a
///          carriage return directly in front of a line feed belongs to the line end. Any other character
///          belongs to its value
/// Repeats  r*c is r values c, with r a positive integer; r* alone is r null values
/// Nulls    a null value, also one between two commas, leaves its item as it was; a slash leaves all the rest
///          so
/// Lines    each read begins on a new line, passes over blank lines, takes as many lines as its items need,
///          and skips what stands behind its last value on the last line. Without items it skips one line
/// Numbers  text/number_text.h
/// Memory   a value of more than 16 MiB is bad, so that a text without separators, such as that of a device which
///          never ends, fills no memory; what is skipped is kept nowhere. A repeat form stands for values that are
///          there: the items it fills take their memory, however short the text
/// Errors   a status, and no word: the messages are the callers'. A read that the system refuses is a bad
///          value
///
/// Example  if (read_list(unit1, incl, decl, geomag) != read_status::ok) ...
#pragma once

#include <span>
#include <string>

#include "arrays/numbers.h"
#include "files/text_input.h"

namespace velko {

enum class read_status { ok, end_of_input, bad_value };

/// One read statement: its items, one after the other, then finish(). Once the read is over, by a slash or a
/// failure, further items stay as they are.
class list_directed_read {
 public:
  explicit list_directed_read(text_input& in) : in_(in) {}

  void item(r8& x);
  void item(i4& x);
  void item(std::span<r8> xs);
  void item(std::span<i4> xs);

  /// Skips the rest of the line, unless the read failed, and tells how it went.
  read_status finish();

 private:
  enum class found { constant, null, nothing };

  template <class number>
  void read_one(number& x);
  template <class number>
  void read_all(std::span<number> xs);
  template <class number>
  found next_value(number& x);
  template <class number>
  found next_word(number& x);
  template <class number>
  found repeated_value(number& x);
  bool begin_repeats(std::string_view word);
  bool go_to_value();
  bool pass_blanks();
  std::string_view whole_word();
  found stop(read_status status);

  text_input& in_;
  read_status status_ = read_status::ok;
  bool over_ = false;
  bool comma_may_follow_ = false;  // a value stands in front, and its comma has not been seen
  i8 repeats_ = 0;                 // values of a repeat form that are still to come
  std::string constant_;           // what it repeats; empty for nulls
};

template <class... items>
read_status read_list(text_input& in, items&&... xs) {
  list_directed_read read(in);
  (read.item(xs), ...);
  return read.finish();
}

// The commonest reads, of numbers between blanks and tabs, without the rest of the rules. False for any other text, which
// a list_directed_read then takes; nothing is taken and all items are as they were.

/// One item, and its number alone on the next line, as far as the window of the text reaches.
bool read_plain_line(text_input& in, r8& x);

/// The numbers of a line, from its beginning; whatever stands behind the last of them is ignored.
bool read_plain_numbers(std::string_view line, std::span<r8> xs);

}  // namespace velko
