/// What the tests share that ask the Fortran run-time.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "arrays/numbers.h"

namespace velko::test {

inline std::string output_of(const std::string& command) {
  std::string text;
  std::FILE* pipe = popen(command.c_str(), "r");
  std::array<char, 65536> piece;
  while (const std::size_t n = std::fread(piece.data(), 1, piece.size(), pipe)) text.append(piece.data(), n);
  EXPECT_EQ(pclose(pipe), 0) << command;
  return text;
}

inline std::vector<std::string> lines_of(const std::string& text) {
  std::istringstream in(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

/// The bits of a number; of all that are not a number the same.
inline std::string hexadecimal(r8 x) {
  if (std::isnan(x)) return "7FF8000000000000";
  std::array<char, 17> text;
  std::snprintf(text.data(), text.size(), "%016llX",
                static_cast<unsigned long long>(std::bit_cast<std::uint64_t>(x)));
  return text.data();
}

/// A line end acts as a blank; the judge takes a comma or a slash that begins a line in a way of its own, and is
/// not asked then: to us they are separators like those inside a line.
inline bool line_begins_with_separator(const std::string& text) {
  for (std::size_t at = text.find('\n'); at != text.npos; at = text.find('\n', at + 1)) {
    const std::size_t next = text.find_first_not_of(" \t\r\n", at);
    if (next != text.npos && (text[next] == ',' || text[next] == '/')) return true;
  }
  return false;
}

}  // namespace velko::test
