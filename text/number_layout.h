/// Number layout: numbers and texts in fields of a fixed width, as the suite's files and reports show them.
///
/// What     each routine appends one field to a line
/// Layout   right-justified in blanks; a number that does not fit its field is a row of asterisks, a text that
///          does not fit keeps its left part
/// Zero     a value that shows as zero has no sign, -0.0 and -0.001 with two decimals too
/// Values   rounded correctly to the last digit shown, whatever the locale; those that are not finite show as
///          "NaN", "Infinity", "-Infinity"
#pragma once

#include <string>
#include <string_view>

#include "arrays/numbers.h"

namespace velko {

void append_text(std::string& line, std::string_view text, int width);

/// An integer with at least `digits` digits, leading zeros put in front as needed.
void append_integer(std::string& line, i8 value, int width, int digits = 1);

/// Fixed point: `decimals` digits behind the point and at least one in front, as in "0.50".
void append_fixed(std::string& line, r8 value, int width, int decimals);

/// Scientific: one digit, a point, `decimals` digits, then "E+05", or "+105" where the exponent has three
/// digits.
void append_scientific(std::string& line, r8 value, int width, int decimals);

std::string_view without_trailing_blanks(std::string_view text);

}  // namespace velko
