#include "files/active_cells.h"

#include <algorithm>
#include <array>
#include <numeric>
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

enum activity : i4 { inactive_inf = -1, inactive = 0, active = 1 };

[[noreturn]] void fail(std::string_view what, std::string_view name) {
  report_and_stop({std::string(what).append("active cell file ").append(name)});
}

void read_values(text_input& unit1, std::string_view name, array3<i4> act) {
  const read_status status = read_list(unit1, act.elements());
  if (status == read_status::end_of_input) fail("ERROR: end reached reading ", name);
  if (status == read_status::bad_value) fail("ERROR reading ", name);
}

void check_nothing_follows(text_input& unit1, std::string_view name) {
  i4 one_more = 0;
  if (read_list(unit1, one_more) == read_status::ok) fail("ERROR: too many values in ", name);
}

void check_values(array3<i4> act, std::string_view name) {
  if (!std::all_of(act.begin(), act.end(), [](i4 a) { return inactive_inf <= a && a <= active; }))
    report_and_stop({"ERROR: values in the active cell file should be -1, 0 or 1.", name});
}

struct cell_counts {
  i4 active = 0, inactive = 0, inactive_inf = 0;
};

/// Turns the activities of one column into entries of the cell map, in place. `above` cells lie above the
/// surface.
void number_column(std::span<i4> column, i4 above, cell_counts& count) {
  const auto air = column.first(static_cast<std::size_t>(above));
  std::fill(air.begin(), air.end(), 0);
  count.inactive += above;
  for (i4& cell : column.subspan(air.size())) switch (cell) {
      case active:
        cell = ++count.active;
        break;
      case inactive_inf:
        cell = -++count.inactive_inf;
        break;
      default:
        ++count.inactive;
    }
}

cell_counts number_cells(array2<const i4> itop) {
  cell_counts count;
  if (has_no_cells()) return count;
  std::span<i4> left = cells.cell_map.elements();
  for (i8 i = 1; i <= mesh.ny; ++i)
    for (i8 j = 1; j <= mesh.nx; ++j) {
      const auto column = left.first(static_cast<std::size_t>(mesh.nz));
      number_column(column, itop(i, j), count);
      left = left.subspan(column.size());
    }
  return count;
}

void set_counts(const cell_counts& count, array2<const i4> itop) {
  cells.ntotal = wrapped_product(mesh.nx, mesh.ny, mesh.nz);
  const i8 above = std::accumulate(itop.begin(), itop.end(), i8{0});
  cells.nbelow = static_cast<i4>(cells.ntotal - above);
  cells.ncell = count.active;
  cells.ninactive = count.inactive;
  cells.ninactive_inf = count.inactive_inf;
}

void check_is_of_mesh(array3<const r8> grid) {
  for (const int axis : {1, 2, 3})
    if (grid.extent(axis) != cells.cell_map.extent(axis)) stop_program("size(grid) /= nz x nx x ny");
}

std::string report_label(std::string_view label) {
  std::string line;
  append_text(line, label, 30);
  return line;
}

void log_count(std::string_view label, i4 count) {
  std::string line = report_label(label);
  append_integer(line, count, 8);
  log_file().write_line(line);
}

void log_mesh_size() {
  log_file().write_line(report_label("# of cells:") + ' ' + std::to_string(mesh.nx) + " x " +
                        std::to_string(mesh.ny) + " x " + std::to_string(mesh.nz));
}

void log_counts() {
  log_mesh_size();
  log_count("total # of cells:", cells.ntotal);
  if (cells.ncell != cells.nbelow) log_count("# of active cells:", cells.ncell);
  log_count("# of cells below topo:", cells.nbelow);
  if (cells.ninactive_inf > 0) log_count("# of inactive cells (inf):", cells.ninactive_inf);
  if (cells.ninactive > 0) log_count("# of inactive cells:", cells.ninactive);
  log_file().write_line("");
}

}  // namespace

void read_active_file(std::string_view file_name, array3<i4> act) {
  const std::string_view name = without_trailing_blanks(file_name);
  text_input unit1(name, "active cells");
  read_values(unit1, name, act);
  check_nothing_follows(unit1, name);
  check_values(act, name);
  log_file().write_line(std::string("active cells were read from file: ").append(name));
}

/// The activities are read into cell_map itself and become its entries in place: the largest array of the
/// file layer exists once, not twice.
void get_active_cells(std::string_view file_name, array2<const i4> itop) {
  allocate_or_report("get_active_cells",
                     [] { cells.cell_map = owned_array3<i4>(mesh.nz, mesh.nx, mesh.ny); });
  const bool has_file = !names_no_file(file_name);
  if (has_file) read_active_file(file_name, cells.cell_map);
  check_cell_geometry(itop);  // not before: what is wrong with the file is told first
  if (!has_file) std::fill(cells.cell_map.begin(), cells.cell_map.end(), active);
  set_counts(number_cells(itop), itop);
  log_counts();
  if (cells.ncell == 0) report_and_stop({"ERROR: all cells are inactive."});
}

void store_inactive_values(array3<const r8> grid, array2<const i4> itop) {
  if (cells.ninactive == 0 && cells.ninactive_inf == 0) return;
  check_is_of_mesh(grid);
  check_surface(itop);
  cells.inactive_values = owned_array1<r8>(uninitialised, cells.ninactive);
  cells.inactive_inf_values = owned_array1<r8>(uninitialised, cells.ninactive_inf);
  const r8* value = grid.data();
  const i4* cell = cells.cell_map.data();
  i4 c = 0;
  for (i8 i = 1; i <= mesh.ny; ++i)
    for (i8 j = 1; j <= mesh.nx; ++j)
      for (i8 k = 1; k <= mesh.nz; ++k, ++cell, ++value) {
        if (*cell == 0) cells.inactive_values(++c) = k > itop(i, j) ? *value : 0.0;
        if (*cell < 0) cells.inactive_inf_values(-*cell) = *value;
      }
}

}  // namespace velko
