#include "files/line_reader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "reports/channel.h"
#include "text/number_layout.h"

namespace velko {

namespace {

const char* find_line_feed(const text_input& unit1) {
  const auto known = static_cast<std::size_t>(unit1.end() - unit1.begin());
  return known == 0 ? nullptr : static_cast<const char*>(std::memchr(unit1.begin(), '\n', known));
}

/// The next line as it lies in the window.
struct known_line {
  std::string_view front;      // as far as it fits a buffer of the width asked for, without the line end
  const char* next = nullptr;  // where the next line begins; null where the line feed is not in the window
};

/// Takes nothing.
known_line look_at_line(text_input& unit1, std::ptrdiff_t width) {
  const char* line_feed = find_line_feed(unit1);
  // One character beyond the width: it may be the carriage return of the line end.
  while (line_feed == nullptr && unit1.end() - unit1.begin() <= width + 1 && unit1.fetch_more())
    line_feed = find_line_feed(unit1);
  const char* end = line_feed != nullptr ? line_feed : unit1.end();
  if (line_feed != nullptr && end != unit1.begin() && end[-1] == '\r') --end;
  const std::ptrdiff_t length = std::min(end - unit1.begin(), width);
  return {{unit1.begin(), static_cast<std::size_t>(length)}, line_feed != nullptr ? line_feed + 1 : nullptr};
}

/// Takes a line whose line feed is not in sight; its front is lost unless it has been copied. False at the end of
/// the file.
bool take_to_line_feed(text_input& unit1, std::string_view front) {
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

}  // namespace

std::optional<std::string_view> take_line(text_input& unit1, std::span<char> buffer) {
  const known_line known = look_at_line(unit1, std::ssize(buffer));
  if (known.next != nullptr) {
    unit1.take_until(known.next);
    return known.front;
  }
  const std::string_view copy(buffer.data(), known.front.copy(buffer.data(), buffer.size()));
  if (!take_to_line_feed(unit1, known.front)) return std::nullopt;
  return copy;
}

std::optional<std::string_view> next_line(text_input& unit1, std::span<char> buffer, i4* line_count) {
  for (;;) {
    if (line_count != nullptr) ++*line_count;
    const auto line = take_line(unit1, buffer);
    if (!line || is_significant(*line)) return line;
  }
}

bool read_next_line(text_input& unit1, std::span<char> line, i4* line_count) {
  const auto text = next_line(unit1, line, line_count);
  if (!text) return false;
  std::memmove(line.data(), text->data(), text->size());  // to itself, if it is in the buffer already
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
  std::array<char, 200> buffer;
  while (const auto line = take_line(unit1, buffer)) log_file().write_line(without_trailing_blanks(*line));
  write_rule();
  unit1.rewind();
}

}  // namespace velko
