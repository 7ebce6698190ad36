/// Lines of text: the reader that skips comments, and two small routines on lines.
///
/// Lines    a line buffer has a fixed width and is padded with blanks; the part of a longer line that does
///          not fit is dropped. A carriage return directly in front of the line feed belongs to the line end,
///          and a last line needs no line end
/// Memory   what is dropped of a line is kept nowhere
/// Errors   a read that the system refuses throws std::system_error, and so does a line of more than 16 MiB: a device
///          that never ends comes to one
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "arrays/numbers.h"
#include "files/text_input.h"

namespace velko {

/// Takes the next line, whatever it holds. Its front, as far as it fits the buffer, stays where the file's characters
/// are, or goes into the buffer if its end had still to be fetched; it is gone with the next read of unit1. Nothing at
/// the end of the file.
std::optional<std::string_view> take_line(text_input& unit1, std::span<char> buffer);

/// Fetches the next significant line, passing over lines with '!' in column 1 and lines of blanks. False at
/// the end of the file. Every line fetched adds 1 to line_count, also those passed over and the fetch that
/// met the end.
bool read_next_line(text_input& unit1, std::span<char> line, i4* line_count = nullptr);

/// The same without padding and, as a rule, without a copy: the line lies where take_line leaves it.
std::optional<std::string_view> next_line(text_input& unit1, std::span<char> buffer,
                                          i4* line_count = nullptr);

/// Blanks out everything from the first '!' to the end of the line.
void strip_comment(std::span<char> line);

/// Copies the file that is open on unit 1 to the log, each line cut at 200 characters, between a heading with
/// its name and rules of dashes; then rewinds it, so that the caller reads it from its beginning.
void echo_input_file(std::string_view file_name, text_input& unit1);

}  // namespace velko
