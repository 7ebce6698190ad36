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

void print(const std::string& lines) {
  channel out("standard output", stdout);
  out.write_line(lines);
  out.flush();
  out.check();
}

void warn(const std::string& line) {
  channel err("standard error", stderr);
  err.write_line("velkmtx: " + line);
  err.flush();
}

}  // namespace velko
