/// velkmtx make: the sensitivity file of a mesh, a surface and a survey.
#include <fmt/format.h>
#include <omp.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "builder/commands/commands.h"
#include "builder/commands/options.h"
#include "builder/input_checks.h"
#include "builder/sensitivity_builder.h"
#include "files/data_file.h"
#include "files/mesh_file.h"
#include "store/state.h"

namespace velko {

namespace {

constexpr auto what_it_does = "makes the sensitivity file of a survey";

constexpr auto example =
    "\nExample: the matrix of survey.loc over the cells of survey.mesh, with rows that keep all but\n"
    "a thousandth of their norm:\n\n"
    "  velkmtx make survey.mesh null survey.loc survey.mtx --filter 4 --tolerance 1e-3\n\n"
    "The surface is flat, at the top of the mesh; the data lie outside of the mesh; all weights are 1.\n"
    "Rows are in nT for a cell of unit susceptibility (SI).";

struct make_options {
  std::string mesh_file, topography_file, location_file, output_file;
  matrix_form form{.nfilter = 4, .tolerance = 1e-3};
  bool dense = false;
  int threads = 0;  // 0: what OpenMP gives
};

void read_inputs(const make_options& options) {
  read_mesh_file(options.mesh_file);
  check_mesh(mesh);
  mesh.itop = owned_array2<i4>(mesh.ny, mesh.nx);  // a flat surface: no cell above it
  read_data_file(options.location_file, false);
  check_survey(survey, mesh);
}

void print_summary(const make_options& options, const matrix_summary& made, i8 bytes) {
  const r8 rows = made.ndata, values = rows * made.ncol;
  const r8 cube = r8{1} * made.cube.y * made.cube.x * made.cube.z, stored = static_cast<r8>(made.stored);
  std::string lines = fmt::format("{}: {} data x {} cells, {}", options.output_file, made.ndata, made.ncol,
                                  size_text(static_cast<r8>(bytes)));
  if (options.form.nfilter > 0)
    lines += fmt::format(
        ", where a dense G has {}\n"
        "filter {}, tolerance {}: {:.1f} coefficients kept in a row, {:.2f} % of the cube of {} x {} x {}",
        size_text(4 * values), options.form.nfilter, options.form.tolerance, stored / rows,
        100 * stored / rows / cube, made.cube.y, made.cube.x, made.cube.z);
  print(lines);
}

int make_sensitivity_file(make_options options) {
  if (options.dense) options.form = {.nfilter = 0, .tolerance = 0.0};
  if (options.threads > 0) omp_set_num_threads(options.threads);
  check_output_is_no_input(options.output_file, {options.mesh_file, options.location_file});
  read_inputs(options);
  output_file file(options.output_file);
  const matrix_summary made = write_sensitivity(file, mesh, survey, options.form);
  const i8 bytes = file.bytes_written();
  file.keep();
  print_summary(options, made, bytes);
  return 0;
}

void add_files(CLI::App& app, make_options& into) {
  add_file(app, "MESH", into.mesh_file, "mesh file: counts, origin, widths along x, y, z");
  add_file(app, "TOPOGRAPHY", into.topography_file, "null, for a flat surface at the top of the mesh")
      ->check(allowed<std::string>([](const std::string& name) { return name == "null" || name == "NULL"; },
                                   "null, the flat surface at the top of the mesh"));
  add_file(app, "LOCATIONS", into.location_file,
           "location file: field, direction, number of data, positions");
  add_file(app, "OUTPUT", into.output_file, "sensitivity file to write; replaced when it is whole");
}

void add_form(CLI::App& app, make_options& into) {
  const auto is_filter = [](i4 n) { return n >= 2 && n <= 12 && n % 2 == 0; };
  const auto is_part = [](r8 part) { return 0.0 <= part && part <= 1.0; };  // false for a NaN
  CLI::Option* filter =
      app.add_option("--filter", into.form.nfilter,
                     "coefficients of the Daubechies filter:\n2 (Haar), 4, 6, 8, 10 or 12; default 4")
          ->check(allowed<i4>(is_filter, "one of 2, 4, 6, 8, 10, 12"))
          ->option_text("NUMBER");
  CLI::Option* tolerance =
      app.add_option("--tolerance", into.form.tolerance,
                     "what a row may lose, relative to its norm:\nfrom 0, for nothing, to 1; default 0.001")
          ->check(allowed<r8>(is_part, "a number from 0 to 1"))
          ->option_text("NUMBER");
  app.add_flag("--dense", into.dense,
               "write every value of G, without compression;\nneither of the two above")
      ->excludes(filter)
      ->excludes(tolerance)
      ->option_text(" ");
}

void add_threads(CLI::App& app, make_options& into) {
  const auto is_count = [](int n) { return n >= 1 && n <= 1024; };
  app.add_option("--threads", into.threads,
                 "threads to work on, 1 to 1024;\ndefault OMP_NUM_THREADS, or else all processors")
      ->check(allowed<int>(is_count, "a whole number from 1 to 1024"))
      ->option_text("NUMBER");
}

}  // namespace

void add_make(CLI::App& app, task& chosen) {
  const auto options = std::make_shared<make_options>();
  CLI::App& make = *app.add_subcommand("make", what_it_does);
  make.footer(example);
  add_files(make, *options);
  add_form(make, *options);
  add_threads(make, *options);
  make.callback([=, &chosen] { chosen = [options] { return make_sensitivity_file(*options); }; });
}

}  // namespace velko
