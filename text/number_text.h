/// Number text: how a number is written in the suite's text files, and what it is worth.
///
/// Real     [sign] digits [. [digits]] [exponent], or with the point first; exponent: one of e E d D, then
///          [sign] digits, or a sign and digits without a letter (1.5+3). Or [sign] inf, infinity, nan, in
///          any case
/// Integer  [sign] digits: no point, no exponent
/// Value    correctly rounded, whatever the locale and the flush-to-zero mode. A real too small for its type
///          is the denormal or zero nearest to it; a number too large for its type is none
#pragma once

#include <string_view>

#include "arrays/numbers.h"

namespace velko {

/// Reads the longest number that begins at `first`; gives back where it ends, or null, with `value` as it
/// was, where there is none.
const char* read_number(const char* first, const char* last, r8& value);
const char* read_number(const char* first, const char* last, i4& value);

/// Whether the whole text is one number; if so, `value` is its worth.
template <class number>
bool is_number(std::string_view text, number& value) {
  number worth;
  const char* last = text.data() + text.size();
  if (text.empty() || read_number(text.data(), last, worth) != last) return false;
  value = worth;
  return true;
}

}  // namespace velko
