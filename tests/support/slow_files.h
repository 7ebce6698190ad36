/// Second readers of whole files, on top of the slow list-directed reader: the file as a text, nothing shared with the
/// library but the rules. A file that the library refuses is nothing here.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/support/slow_list_directed.h"

namespace velko::test {

/// A file of one array: one read of n items of a type, 'r' or 'i', which held `kept`; no more values behind it.
inline std::optional<std::vector<r8>> read_array_slowly(const std::string& file, std::size_t n, char type,
                                                        r8 kept) {
  const std::string text = slow::with_plain_line_ends(file);
  const slow_read read = read_slowly(text, 0, std::string(n, type));
  if (read.status != read_status::ok) return {};
  if (read_slowly(text, read.behind, std::string(1, type)).status == read_status::ok) return {};
  std::vector<r8> values(n, kept);
  for (std::size_t k = 0; k < read.values.size(); ++k) values[k] = read.values[k].value_or(kept);
  return values;
}

/// A model file of n cells: a read of its own for each, into one variable; no more values behind them.
inline std::optional<std::vector<r8>> read_model_slowly(const std::string& file, std::size_t n) {
  const std::string text = slow::with_plain_line_ends(file);
  std::vector<r8> values;
  r8 value = 0;
  std::size_t at = 0;
  while (values.size() < n) {
    const slow_read read = read_slowly(text, at, "r");
    if (read.status != read_status::ok) return {};
    if (!read.values.empty()) value = read.values[0].value_or(value);
    values.push_back(value);
    at = read.behind;
  }
  if (read_slowly(text, at, "r").status == read_status::ok) return {};
  return values;
}

/// The significant lines of a data file, cut at 1000 characters.
inline std::vector<std::string> significant_lines(const std::string& file) {
  const std::string text = slow::with_plain_line_ends(file);
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const std::string line = text.substr(at, std::min<std::size_t>(end - at, 1000));
    if (!line.starts_with('!') && line.find_first_not_of(' ') != line.npos) lines.push_back(line);
    at = end + 1;
  }
  return lines;
}

/// The values of a line, 0 where the line gives none. Nothing if it can't be read.
inline std::optional<std::vector<r8>> line_values(const std::string& line, const std::string& types) {
  const slow_read read = read_slowly(line, 0, types);
  if (read.status != read_status::ok) return {};
  std::vector<r8> values(types.size(), 0);
  for (std::size_t k = 0; k < read.values.size(); ++k) values[k] = read.values[k].value_or(0);
  return values;
}

struct slow_survey {
  std::vector<r8> field{0, 0, 0, 0, 0, 0};  // incl, decl, geomag, aincl, adecl, idir
  std::vector<std::vector<r8>>
      data;  // x, y, z, then direction pair, then datum and std, as the form has them
};

/// A data file with the header of three lines or of one, with or without values; the matrix has as many rows as the
/// file has data.
inline std::optional<slow_survey> read_data_file_slowly(const std::string& file, bool is_short,
                                                        bool read_values) {
  const std::vector<std::string> lines = significant_lines(file);
  const std::size_t header = is_short ? 1 : 3;
  if (lines.size() < header) return {};
  slow_survey survey;
  if (!is_short) {
    const auto inducing = line_values(lines[0], "rrr"), component = line_values(lines[1], "rri");
    if (!inducing || !component) return {};
    survey.field = *inducing;
    survey.field.insert(survey.field.end(), component->begin(), component->end());
    if (survey.field[5] != 0 && survey.field[5] != 1) return {};
  }
  const auto ndata = line_values(lines[header - 1], "i");
  if (!ndata || ndata->front() < 1 || static_cast<r8>(lines.size() - header) < ndata->front()) return {};
  const bool has_directions = !is_short && survey.field[5] == 0;
  const std::string types = std::string("rrr") + (has_directions ? "rr" : "") + (read_values ? "rr" : "");
  for (std::size_t i = 0; i < static_cast<std::size_t>(ndata->front()); ++i) {
    auto datum = line_values(lines[header + i], types);
    if (!datum || (read_values && 0 >= datum->back())) return {};
    if (read_values) datum->end()[-2] /= datum->back();
    survey.data.push_back(*datum);
  }
  return survey;
}

inline bool same_value(r8 a, r8 b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

}  // namespace velko::test
