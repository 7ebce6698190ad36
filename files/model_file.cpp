#include "files/model_file.h"

#include <algorithm>
#include <string>

#include "files/list_directed.h"
#include "files/text_input.h"
#include "store/state.h"
#include "tool/number_layout.h"
#include "tool/program_stop.h"
#include "tool/reports.h"

namespace velko {

namespace {

constexpr std::string_view constant_word = "VALUE ";

/// What a model is named by, as all messages show it.
struct model_source {
  std::string_view label, name;
};

/// A name of five characters is padded with a blank by meaning, so "VALUE" alone names a constant too.
bool names_constant(const model_source& from) {
  return from.name.substr(0, constant_word.size()) == without_trailing_blanks(constant_word) ||
         from.name.starts_with(constant_word);
}

r8 read_constant(const model_source& from) {
  text_input word(from.name.substr(std::min(constant_word.size(), from.name.size())));
  r8 value = 0;
  if (read_list(word, value) != read_status::ok)
    report_and_stop({"ERROR reading constant value for " + std::string(from.label), from.name});
  return value;
}

void log_constant(const model_source& from, r8 value) {
  std::string line;
  append_text(line, std::string(from.label) + " was set to: ", 31);
  append_scientific(line, value, 11, 4);
  log_file().write_line(line);
}

void log_file_name(const model_source& from) {
  std::string line;
  append_text(line, std::string(from.label) + " was read from file: ", 40);
  line += from.name;
  log_file().write_line(line);
}

[[noreturn]] void fail(std::string_view what, const model_source& from) {
  std::string line(what);
  line.append(from.label).append(" file ").append(from.name);
  report_and_stop({line});
}

void check(read_status status, const model_source& from) {
  if (status == read_status::end_of_input) fail("ERROR: end reached reading ", from);
  if (status == read_status::bad_value) fail("ERROR reading ", from);
}

/// Each value is a read of its own, so each begins on a new line.
void read_cells(text_input& unit1, const model_source& from, std::span<r8> model) {
  r8 value = 0;  // a null value, or a slash, leaves here what the line in front gave
  for (i4 position : cells.cell_map) {
    check(read_list(unit1, value), from);
    if (position > 0) model[static_cast<std::size_t>(position - 1)] = value;
  }
}

void check_nothing_follows(text_input& unit1, const model_source& from) {
  r8 one_more = 0;
  if (read_list(unit1, one_more) == read_status::ok) fail("ERROR: too many values in ", from);
}

void read_file(const model_source& from, std::span<r8> model) {
  text_input unit1(from.name, from.label);
  read_cells(unit1, from, model);
  check_nothing_follows(unit1, from);
}

/// Multiplies the active cells of one column by the weights of its cells below the surface.
void weight_column(std::span<r8> model, std::span<const i4> cell_map, std::span<const r8> wtz) {
  for (std::size_t k = 0; k < wtz.size(); ++k)
    if (cell_map[k] > 0) model[static_cast<std::size_t>(cell_map[k] - 1)] *= wtz[k];
}

/// Weights that end before the walk does are found out behind it; until then nothing is read beyond them.
void weight_model(std::span<r8> model, std::span<const r8> wtz, array2<const i4> itop) {
  std::span<const i4> map = cells.cell_map.elements();
  std::size_t idx1 = 0;
  for (i4 i = 1; i <= mesh.ny; ++i)
    for (i4 j = 1; j <= mesh.nx; ++j) {
      const auto column = map.first(static_cast<std::size_t>(std::max(mesh.nz, 0)));
      const auto below = column.subspan(static_cast<std::size_t>(itop(i, j)));
      const auto from = std::min(idx1, wtz.size());
      weight_column(model, below, wtz.subspan(from, std::min(below.size(), wtz.size() - from)));
      idx1 += below.size();
      map = map.subspan(column.size());
    }
  if (idx1 != wtz.size()) stop_program("idx1 /= size(wtz)");
}

}  // namespace

void read_model(std::string_view file_name, std::string_view label, std::span<r8> model,
                std::optional<std::span<const r8>> wtz, array2<const i4> itop) {
  if (std::ssize(model) != cells.ncell) stop_program("size(model) /= ncell");
  const model_source from{without_trailing_blanks(label), without_trailing_blanks(file_name)};
  if (names_constant(from)) {
    const r8 value = read_constant(from);
    std::fill(model.begin(), model.end(), value);
    log_constant(from, value);
  } else {
    read_file(from, model);
    log_file_name(from);
  }
  if (wtz) weight_model(model, *wtz, itop);
}

}  // namespace velko
