/// velkmtx make: the sensitivity file of a mesh, a surface and a survey.
#include <fmt/format.h>
#include <omp.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <memory>
#include <string>

#include "builder/daubechies.h"
#include "builder/input_checks.h"
#include "builder/sensitivity_builder.h"
#include "files/data_file.h"
#include "files/mesh_file.h"
#include "store/state.h"
#include "threads/team.h"
#include "topography/topography_file.h"
#include "velkmtx/commands.h"
#include "velkmtx/options.h"
#include "velkmtx/progress.h"
#include "velkmtx/whole_file.h"

namespace velko {

namespace {

constexpr auto what_it_does = "makes the sensitivity file of a survey";

constexpr auto example =
    "\nExample: the matrix of survey.loc over the cells of survey.mesh below terrain.topo, with rows that\n"
    "keep all but a thousandth of their norm:\n\n"
    "  velkmtx make survey.mesh terrain.topo survey.loc survey.mtx --wavelet d4 --tolerance 1e-3\n\n"
    "Rows are in nT for a cell of unit susceptibility (SI). A datum inside of a cell has the flux density "
    "there.\n\n"
    "Weights: the file holds G with each column divided by the weight of its cell, and velkrund multiplies "
    "the\n"
    "model by the weights, so predicted data do not depend on them. They decide which cells a compressed "
    "row\n"
    "keeps best, and what an inversion makes of G. With --weights depth a cell has\n\n"
    "  w = ((z + z0) / (zmin + z0))^(-beta / 2),\n\n"
    "z the depth of its centre below the surface of its column and zmin the least of them (Y. Li and\n"
    "D. W. Oldenburg, Geophysics 61 (1996) 394-408, doi 10.1190/1.1443968).";

struct make_options {
  std::string mesh_file, topography_file, location_file, output_file;
  std::string wavelet = "d4";
  r8 tolerance = 1e-3;
  bool dense = false, by_depth = false, dry_run = false, quiet = false;
  r8 beta = 3.0, z0 = -1.0;  // z0 < 0: not given
  int threads = 0;           // 0: what OpenMP gives
};

matrix_form form_of(const make_options& options) {
  matrix_form form;
  if (!options.dense) {
    form.wfilter = wavelet_filter(options.wavelet);
    form.tolerance = options.tolerance;
  }
  form.weights.kind = options.by_depth ? weighting::depth : weighting::none;
  form.weights.beta = options.beta;
  if (options.z0 >= 0.0) form.weights.z0 = options.z0;
  return form;
}

void read_inputs(const make_options& options) {
  read_mesh_file(options.mesh_file);
  check_mesh(mesh);
  read_topography(options.topography_file);
  check_surface(mesh);
  read_data_file(options.location_file, false);
  check_survey(survey);
  if (const i4 buried = count_data_in_cells(survey, mesh); buried > 0)
    warn(fmt::format("{} of {} data lie in or on a cell below the surface", buried, survey.ndata));
}

std::string time_text(r8 seconds) {
  return seconds < 120 ? fmt::format("{:.1f} s", seconds) : fmt::format("{:.0f} min", seconds / 60);
}

std::string threads_text() {
  const int threads = team_size();
  return fmt::format("{} thread{}", threads, threads == 1 ? "" : "s");
}

r8 dense_bytes() {
  return 4.0 * survey.ndata * columns_of(mesh);
}

std::string sizes_text(const std::string& file, const std::string& bytes) {
  return fmt::format("{}: {} data x {} cells, {}", file, survey.ndata, columns_of(mesh), bytes);
}

/// What the rows hold and what they lose; empty for a dense G.
std::string rows_text(const make_options& options, const row_statistics& rows, i4 count) {
  if (options.dense) return "";
  const cube_size cube = cube_around(mesh.ny, mesh.nx, mesh.nz);
  const r8 stored = static_cast<r8>(rows.stored) / count, ncube = r8{1} * cube.y * cube.x * cube.z;
  return fmt::format(
      "\nwavelet {}, tolerance {}: {} to {} coefficients in a row, median {}, {:.2f} % of the cube of {} x "
      "{} x {}"
      "\ncompression ratio {:.1f}; relative error of a row {:.1e} (at most {:.1e}), of data of blocks in the "
      "lower half of "
      "the mesh {:.1e}",
      options.wavelet, options.tolerance, rows.least, rows.most, rows.median, 100 * stored / ncube, cube.y,
      cube.x, cube.z, 4.0 * columns_of(mesh) / std::max(8.0 * stored, 1.0), rows.loss, rows.largest_loss,
      rows.deep_loss);
}

int tell_what_would_come(const make_options& options, const matrix_form& form) {
  constexpr i4 rows_to_try = 8;
  const row_sample sample = sample_rows(mesh, survey, form, rows_to_try);
  const int threads = team_size();
  const r8 bytes_of_value = options.dense ? 4.0 : 8.0;
  const r8 rows = static_cast<r8>(sample.rows.stored) / sample.count * bytes_of_value * survey.ndata;
  const r8 weights_and_diagonal = 16.0 * columns_of(mesh);
  const std::string dense = options.dense ? "" : ", where a dense G has " + size_text(dense_bytes());
  print(sizes_text(options.output_file, "about " + size_text(rows + weights_and_diagonal)) + dense +
        rows_text(options, sample.rows, sample.count) +
        fmt::format("\nabout {} of memory and {} on {}, judged by {} rows; nothing is written",
                    size_text(static_cast<r8>(memory_for(mesh, form, sample.rows.most, threads))),
                    time_text(sample.seconds * survey.ndata / threads), threads_text(), sample.count));
  return 0;
}

int write_file(const make_options& options, const matrix_form& form) {
  const auto start = std::chrono::steady_clock::now();
  row_statistics rows;
  r8 bytes = 0;
  const int status =
      write_whole_file(options.output_file, [&](output_file& file, const interruption& signals) {
        progress_line progress(survey.ndata, options.quiet);
        rows = write_sensitivity(file, mesh, survey, form, {1, survey.ndata}, [&](i4 done) {
          signals.look();
          progress.show(done);
        });
        bytes = static_cast<r8>(file.bytes_written());
      });
  if (status != 0 || options.quiet) return status;
  const r8 seconds = std::chrono::duration<r8>(std::chrono::steady_clock::now() - start).count();
  const std::string dense = options.dense ? "" : ", where a dense G has " + size_text(dense_bytes());
  print_summary_of(options.output_file,
                   sizes_text(options.output_file, size_text(bytes)) + dense +
                       rows_text(options, rows, survey.ndata) +
                       fmt::format("\n{}, {:.1f} rows a second on {}", time_text(seconds),
                                   survey.ndata / seconds, threads_text()));
  return 0;
}

int make_sensitivity_file(const make_options& options) {
  if (options.threads > 0) omp_set_num_threads(options.threads);
  check_output_is_no_input(options.output_file,
                           {options.mesh_file, options.topography_file, options.location_file});
  read_inputs(options);
  const matrix_form form = form_of(options);
  return options.dry_run ? tell_what_would_come(options, form) : write_file(options, form);
}

void add_files(CLI::App& app, make_options& into) {
  add_file(app, "MESH", into.mesh_file, "mesh file: counts, origin, widths along x, y, z");
  add_file(app, "TOPOGRAPHY", into.topography_file,
           "topography file: points of the surface; or null, for a flat surface at the top of the mesh");
  add_file(app, "LOCATIONS", into.location_file,
           "location file: field, direction, number of data, positions");
  add_file(app, "OUTPUT", into.output_file, "sensitivity file to write; replaced when it is whole");
}

void add_form(CLI::App& app, make_options& into) {
  const auto is_part = [](r8 part) { return 0.0 <= part && part <= 1.0; };  // false for a NaN
  const auto is_wavelet = [](const std::string& name) {
    return std::find(wavelet_names.begin(), wavelet_names.end(), name) != wavelet_names.end();
  };
  CLI::Option* wavelet =
      app.add_option(
             "--wavelet", into.wavelet,
             "haar, or Daubechies with 4 to 12 coefficients: d4, d6, d8, d10, d12,\nor their most symmetric "
             "kin, the symlets: s8, s10, s12; default d4")
          ->check(allowed<std::string>(is_wavelet, "one of haar, d4, d6, d8, d10, d12, s8, s10, s12"))
          ->option_text("NAME");
  CLI::Option* tolerance =
      app.add_option("--tolerance", into.tolerance,
                     "what a row may lose, relative to its norm:\nfrom 0, for nothing, to 1; default 0.001")
          ->check(allowed<r8>(is_part, "a number from 0 to 1"))
          ->option_text("NUMBER");
  app.add_flag("--dense", into.dense,
               "write every value of G, without compression;\nneither of the two above")
      ->excludes(wavelet)
      ->excludes(tolerance)
      ->option_text(" ");
}

void add_weights(CLI::App& app, make_options& into) {
  const auto is_length = [](r8 z) { return 0.0 <= z && z < 1e300; };
  const auto is_exponent = [](r8 beta) { return 0.0 <= beta && beta <= 10.0; };
  CLI::Option* kind =
      app.add_option_function<std::string>(
             "--weights", [&into](const std::string& name) { into.by_depth = name == "depth"; },
             "of the cells: none, or depth (below); default none")
          ->check(allowed<std::string>(
              [](const std::string& name) { return name == "none" || name == "depth"; }, "none or depth"))
          ->option_text("KIND");
  app.add_option("--beta", into.beta, "of the depth weights, from 0 to 10; default 3")
      ->check(allowed<r8>(is_exponent, "a number from 0 to 10"))
      ->needs(kind)
      ->option_text("NUMBER");
  app.add_option(
         "--z0", into.z0,
         "of the depth weights, in the unit of the mesh;\ndefault the mean height of the data above the "
         "surface,\nor half the height of the topmost cell, if that is more")
      ->check(allowed<r8>(is_length, "a number of at least 0"))
      ->needs(kind)
      ->option_text("NUMBER");
}

void add_run(CLI::App& app, make_options& into) {
  const auto is_count = [](int n) { return n >= 1 && n <= 1024; };
  app.add_option("--threads", into.threads,
                 "threads to work on, 1 to 1024;\ndefault OMP_NUM_THREADS, or else all processors")
      ->check(allowed<int>(is_count, "a whole number from 1 to 1024"))
      ->option_text("NUMBER");
  app.add_flag("--dry-run", into.dry_run,
               "tell size, memory and time, judged by a few rows, and write nothing")
      ->option_text(" ");
  app.add_flag("--quiet", into.quiet, "neither progress nor summary")->option_text(" ");
}

}  // namespace

void add_make(CLI::App& app, task& chosen) {
  const auto options = std::make_shared<make_options>();
  CLI::App& make = *app.add_subcommand("make", what_it_does);
  make.footer(example);
  add_files(make, *options);
  add_form(make, *options);
  add_weights(make, *options);
  add_run(make, *options);
  make.callback([=, &chosen] { chosen = [options] { return make_sensitivity_file(*options); }; });
}

}  // namespace velko
