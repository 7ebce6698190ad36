#include "files/line_reader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "tool/channel.h"
#include "tool/number_layout.h"

namespace velko {

namespace {

const char* find_line_feed(const text_input& unit1) {
  const auto known = static_cast<std::size_t>(unit1.end() - unit1.begin());
  return known == 0 ? nullptr : static_cast<const char*>(std::memchr(unit1.begin(), '\n', known));
}

/// The front of the next line, without its end, as far as it fits a buffer of this width. Takes nothing.
std::string_view front_of_line(text_input& unit1, std::ptrdiff_t width) {
  const char* line_feed = find_line_feed(unit1);
  // One character beyond the width: it may be the carriage return of the line end.
  while (line_feed == nullptr && unit1.end() - unit1.begin() <= width + 1 && unit1.fetch_more())
    line_feed = find_line_feed(unit1);
  const char* end = line_feed != nullptr ? line_feed : unit1.end();
  if (line_feed != nullptr && end != unit1.begin() && end[-1] == '\r') --end;
  return {unit1.begin(), static_cast<std::size_t>(std::min(end - unit1.begin(), width))};
}

/// Takes the line with this front. False at the end of the file.
bool take_line(text_input& unit1, std::string_view front) {
  unit1.take_until(front.data() + front.size());
  const bool taken = unit1.skip_line() || !front.empty();
  unit1.throw_read_error();
  return taken;
}

bool is_significant(std::string_view front) {
  return !front.starts_with('!') && std::any_of(front.begin(), front.end(), [](char c) { return c != ' '; });
}

void write_rule() {
  log_file().write_line("");
  log_file().write_line(std::string(64, '-'));
  log_file().write_line("");
}

/// Each line is copied to the log once the file has given it whole.
void echo_lines(text_input& unit1) {
  std::array<char, 200> line;
  for (;;) {
    const std::string_view front = front_of_line(unit1, std::ssize(line));
    const std::size_t length = front.copy(line.data(), line.size());
    if (!take_line(unit1, front)) return;
    log_file().write_line(without_trailing_blanks({line.data(), length}));
  }
}

}  // namespace

/// A line is judged where it lies and copied only if it is wanted, as a file may have a line of blanks, or a
/// comment, for each line of values.
std::optional<std::string_view> next_line(text_input& unit1, std::span<char> line, i4* line_count) {
  for (;;) {
    if (line_count != nullptr) ++*line_count;
    const std::string_view front = front_of_line(unit1, std::ssize(line));
    const bool significant = is_significant(front);
    if (significant) front.copy(line.data(), front.size());
    if (!take_line(unit1, front)) return std::nullopt;
    if (significant) return std::string_view(line.data(), front.size());
  }
}

bool read_next_line(text_input& unit1, std::span<char> line, i4* line_count) {
  const auto text = next_line(unit1, line, line_count);
  if (!text) return false;
  std::fill(line.begin() + std::ssize(*text), line.end(), ' ');
  return true;
}

void strip_comment(std::span<char> line) {
  std::fill(std::find(line.begin(), line.end(), '!'), line.end(), ' ');
}

void echo_input_file(std::string_view file_name, text_input& unit1) {
  std::string heading = "Reading input file: ";
  heading += without_trailing_blanks(file_name);
  log_file().write_line("");
  log_file().write_line(heading);
  write_rule();
  echo_lines(unit1);
  write_rule();
  unit1.rewind();
}

}  // namespace velko
