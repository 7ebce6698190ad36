#include "files/model_file.h"

#include <algorithm>
#include <optional>
#include <string>

#include "files/list_directed.h"
#include "files/text_input.h"
#include "reports/program_stop.h"
#include "reports/reports.h"
#include "store/cell_geometry.h"
#include "store/state.h"
#include "text/number_layout.h"

namespace velko {

namespace {

constexpr std::string_view constant_word = "VALUE ";

/// What a model is named by, as all messages show it.
struct model_source {
  model_source(std::string_view file_name, std::string_view label_of_file)
      : label(without_trailing_blanks(label_of_file)), name(without_trailing_blanks(file_name)) {}
  std::string_view label, name;
};

/// A name of five characters is padded with a blank by meaning, so "VALUE" alone names a constant too.
bool names_constant(const model_source& from) {
  return from.name.substr(0, constant_word.size()) == without_trailing_blanks(constant_word) ||
         from.name.starts_with(constant_word);
}

/// What a read of the constant leaves of a value; nothing where it fails.
std::optional<r8> constant_over(r8 value, const model_source& from) {
  text_input words(from.name.substr(std::min(constant_word.size(), from.name.size())));
  if (read_list(words, value) != read_status::ok) return {};
  return value;
}

/// A slash or a null value leaves whatever there was: then no constant is there.
r8 read_constant(const model_source& from) {
  const auto value = constant_over(0, from), again = constant_over(1, from);
  if (!value || (*value == 0 && *again == 1))
    report_and_stop({"ERROR reading constant value for " + std::string(from.label), from.name});
  return *value;
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

/// One read takes all values, across lines as needed.
void read_elements(text_input& unit1, const model_source& from, std::span<r8> cube) {
  check(read_list(unit1, cube), from);
}

/// Each value is a read of its own, so each begins on a new line.
void read_cells(text_input& unit1, const model_source& from, std::span<r8> model) {
  r8 value = 0;  // a null value, or a slash, leaves here what the line in front gave
  for (i4 position : cells.cell_map) {
    if (!read_plain_line(unit1, value)) check(read_list(unit1, value), from);
    if (position > 0) model[static_cast<std::size_t>(position - 1)] = value;
  }
}

void check_nothing_follows(text_input& unit1, const model_source& from) {
  r8 one_more = 0;
  if (read_list(unit1, one_more) == read_status::ok) fail("ERROR: too many values in ", from);
}

using reader_of_values = void(text_input& unit1, const model_source& from, std::span<r8> values);

void read_file(const model_source& from, std::span<r8> values, reader_of_values& read) {
  text_input unit1(from.name, from.label);
  read(unit1, from, values);
  check_nothing_follows(unit1, from);
}

/// Sets the values from the constant or from the file, and tells the log which.
void read_source(const model_source& from, std::span<r8> values, reader_of_values& read) {
  if (names_constant(from)) {
    const r8 value = read_constant(from);
    std::fill(values.begin(), values.end(), value);
    log_constant(from, value);
  } else {
    read_file(from, values, read);
    log_file_name(from);
  }
}

/// Calls weigh(k, j, i, weights) for every column that has cells below the surface: the first of them is (k, j, i),
/// and these are their weights. Weights that end before the walk does are found out behind it; until then nothing
/// is read beyond them.
template <class body>
void for_each_weighted_column(std::span<const r8> wtz, array2<const i4> itop, body&& weigh) {
  std::size_t idx1 = 0;
  for (i4 i = 1; i <= mesh.ny; ++i)
    for (i4 j = 1; j <= mesh.nx; ++j) {
      const auto below = static_cast<std::size_t>(std::max(mesh.nz, 0) - itop(i, j));
      const auto weights = wtz.subspan(std::min(idx1, wtz.size()));
      if (below > 0) weigh(itop(i, j) + 1, j, i, weights.first(std::min(below, weights.size())));
      idx1 += below;
    }
  if (idx1 != wtz.size()) stop_program("idx1 /= size(wtz)");
}

void weight_model(std::span<r8> model, std::span<const r8> wtz, array2<const i4> itop) {
  check_surface(itop);
  for_each_weighted_column(wtz, itop, [=](i4 k, i4 j, i4 i, std::span<const r8> weights) {
    const i4* position = &cells.cell_map(k, j, i);
    for (const r8 weight : weights) {
      if (*position > 0) model[static_cast<std::size_t>(*position - 1)] *= weight;
      ++position;
    }
  });
}

void check_holds_mesh(array3<r8> cube) {
  if (cube.extent(1) < mesh.nz || cube.extent(2) < mesh.nx || cube.extent(3) < mesh.ny)
    stop_program("the cube is smaller than the mesh");
}

void weight_cube(array3<r8> cube, std::span<const r8> wtz, array2<const i4> itop) {
  check_surface(itop);
  check_holds_mesh(cube);
  for_each_weighted_column(wtz, itop, [=](i4 k, i4 j, i4 i, std::span<const r8> weights) {
    r8* value = &cube(k, j, i);
    for (const r8 weight : weights) *value++ *= weight;
  });
}

}  // namespace

void read_model(std::string_view file_name, std::string_view label, std::span<r8> model,
                std::optional<std::span<const r8>> wtz, array2<const i4> itop) {
  if (std::ssize(model) != cells.ncell) stop_program("size(model) /= ncell");
  read_source({file_name, label}, model, read_cells);
  if (wtz) weight_model(model, *wtz, itop);
}

void read_cube(std::string_view file_name, std::string_view label, array3<r8> cube,
               std::optional<std::span<const r8>> wtz, array2<const i4> itop) {
  read_source({file_name, label}, cube.elements(), read_elements);
  if (wtz) weight_cube(cube, *wtz, itop);
}

}  // namespace velko
