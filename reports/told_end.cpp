#include "reports/told_end.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace velko {

namespace {

std::string_view trimmed(std::string_view line) {
  const std::size_t first = line.find_first_not_of(' ');
  if (first == line.npos) return {};
  return line.substr(first, line.find_last_not_of(' ') - first + 1);
}

/// The last lines that stand together; a report begins with a blank line.
std::string last_report(std::string_view text) {
  std::string report;
  bool ended = true;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = trimmed(text.substr(0, end));
    if (!line.empty()) {
      if (ended) report.clear();
      if (!report.empty()) report += ' ';
      report += line;
    }
    ended = line.empty();
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return report;
}

}  // namespace

std::string told_end::reason() const {
  return end.text.empty() ? last_report(console) : end.text;
}

told_end run_and_tell(const std::function<void()>& body, capture::what_then words) {
  capture console_words(console(), words), log_words(log_file(), words);
  stop_or_done end = run_until_stop(body);
  return {std::move(end), std::move(console_words.text), std::move(log_words.text)};
}

}  // namespace velko
