#include "velkmtx/options.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "reports/channel.h"
#include "reports/program_stop.h"
#include "text/number_text.h"

namespace velko {

std::vector<r8> numbers_of(const std::string& text) {
  std::vector<r8> numbers;
  std::string_view rest = text;
  for (;;) {
    const std::size_t comma = std::min(rest.find(','), rest.size());
    r8 value = 0;
    if (!is_number(rest.substr(0, comma), value) || !std::isfinite(value)) return {};
    numbers.push_back(value);
    if (comma == rest.size()) return numbers;
    rest.remove_prefix(comma + 1);
  }
}

void check_output_is_no_input(const std::string& output, const std::vector<std::string>& inputs) {
  for (const std::string& input : inputs) {
    std::error_code either_is_missing;
    if (std::filesystem::equivalent(output, input, either_is_missing))
      stop_program(output + " is an input; the output should be another file");
  }
}

std::string size_text(r8 bytes) {
  if (bytes < 1e6) return fmt::format("{:.1f} kB", bytes / 1e3);
  return bytes < 1e9 ? fmt::format("{:.1f} MB", bytes / 1e6) : fmt::format("{:.2f} GB", bytes / 1e9);
}

/// Those of ASCII, and those of the page behind it, which are two bytes in UTF-8.
std::string masked(std::string_view text) {
  std::string shown(text);
  for (std::size_t n = 0; n < shown.size(); ++n) {
    const auto byte = static_cast<unsigned char>(shown[n]);
    const auto next = static_cast<unsigned char>(n + 1 < shown.size() ? shown[n + 1] : '\0');
    const bool of_second_page = byte == 0xC2 && 0x80 <= next && next < 0xA0;
    if (byte < ' ' || byte == 0x7F || of_second_page) shown[n] = '?';
    if (of_second_page) shown[++n] = '?';
  }
  return shown;
}

void print(const std::string& lines) {
  channel out("standard output", stdout);
  for (std::string_view rest = lines;;) {
    const std::size_t end = rest.find('\n');
    out.write_line(masked(rest.substr(0, end)));
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  out.flush();
  out.check();
}

void warn(const std::string& line) {
  channel err("standard error", stderr);
  err.write_line("velkmtx: " + masked(line));
  err.flush();
}

}  // namespace velko
