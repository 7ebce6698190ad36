/// velkmtx make: the sensitivity file of a mesh, a surface and a survey.
#include <fmt/format.h>
#include <omp.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "builder/cell_weights.h"
#include "builder/daubechies.h"
#include "builder/growing_file.h"
#include "builder/input_checks.h"
#include "builder/likely_mistakes.h"
#include "builder/run_notes.h"
#include "builder/sensitivity_builder.h"
#include "files/data_file.h"
#include "files/mesh_file.h"
#include "files/output_file.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "text/number_text.h"
#include "threads/team.h"
#include "topography/topography_file.h"
#include "velkmtx/commands.h"
#include "velkmtx/options.h"
#include "velkmtx/progress.h"
#include "velkmtx/text_diagnosis.h"
#include "velkmtx/whole_file.h"

namespace velko {

namespace {

constexpr auto what_it_does = "makes the sensitivity file of a survey";

constexpr auto example =
    "\nExample: the matrix of survey.loc over the cells of survey.mesh below terrain.topo:\n\n"
    "  velkmtx make survey.mesh terrain.topo survey.loc survey.mtx\n\n"
    "Rows are in nT for a cell of unit susceptibility (SI). A datum inside of a cell has the flux density "
    "there.\n\n"
    "How much a row may lose: without options, as much as leaves the data of each of a few trial models\n"
    "(uniform ground, hills, blocks at three depths, a dyke, smooth ground) within 1 % of themselves, "
    "judged\n"
    "by rows spread over the survey. --tolerance sets the part of its norm that a row may lose. --accuracy "
    "X\n"
    "makes every row so that no predicted datum is off by more than X nT for any model whose values are at\n"
    "most --largest: that is proven for each row, and takes many more coefficients.\n\n"
    "Weights: the file holds G with each column divided by the weight of its cell, and velkrund multiplies "
    "the\n"
    "model by the weights, so predicted data do not depend on them. They decide which cells a compressed "
    "row\n"
    "keeps best, and what an inversion makes of G:\n\n"
    "  volume        w = sqrt(V / Vmin), V the volume of a cell: rows of a padded mesh compress best\n"
    "  depth         w = ((z + z0) / (zmin + z0))^(-beta / 2), z the depth of its centre below the surface\n"
    "                of its column and zmin the least of them (Y. Li and D. W. Oldenburg, Geophysics 61\n"
    "                (1996) 394-408, doi 10.1190/1.1443968)\n"
    "  depth-volume  the product of both, for inversions on a padded mesh";

struct make_options {
  std::string mesh_file, topography_file, location_file, output_file;
  std::string wavelet = "d4";
  std::optional<r8> tolerance;  // else found for the trial models, or for the accuracy
  std::optional<r8> accuracy;   // nT
  r8 largest = 0.1;             // value of a model, to go with the accuracy
  bool dense = false, dry_run = false, quiet = false;
  std::optional<weighting::kind_t> weights;  // else what suits the mesh
  r8 beta = 3.0, z0 = -1.0;                  // z0 < 0: not given
  int threads = 0;                           // 0: what OpenMP gives
  i4 rows_to_verify = 0;
  survey_rows rows;  // none: all
  bool resume = false, allow_buried = false;
  r8 note_every = 10.0;  // seconds
};

constexpr r8 part_to_lose = 0.01;  // of data of trial models, where neither tolerance nor accuracy is given

weighting weights_of(const make_options& options) {
  weighting weights;
  const bool by_volume = !options.dense && is_padded(mesh);
  weights.kind = options.weights.value_or(by_volume ? weighting::volume : weighting::none);
  weights.beta = options.beta;
  if (options.z0 >= 0.0) weights.z0 = options.z0;
  return weights;
}

/// Mesh and survey are there.
matrix_form form_of(const make_options& options) {
  matrix_form form;
  form.weights = weights_of(options);
  if (options.accuracy) form.accuracy = *options.accuracy / options.largest;
  if (options.dense) return form;
  form.wfilter = wavelet_filter(options.wavelet);
  form.tolerance = options.tolerance ? *options.tolerance : tolerance_for(mesh, survey, form, part_to_lose);
  return form;
}

/// Stations in rock are there by mistake, as a rule.
void check_burial(const make_options& options) {
  const i4 buried = count_data_in_cells(survey, mesh);
  if (buried == 0) return;
  const std::string words =
      fmt::format("{} of {} data lie in or on a cell below the surface, the first is datum {}", buried,
                  survey.ndata, first_datum_in_cells(survey, mesh));
  if (!options.allow_buried)
    stop_program(
        fmt::format("velkmtx: {}{}; --allow-buried takes them", words, cause_of_burial(mesh, survey)));
  warn(words);
}

void warn_of_mistakes(const make_options& options) {
  if (const long more = lines_behind_data(options.location_file, survey.ndata); more > 0)
    warn(
        fmt::format("{} has {} more lines behind those of its {} data; line 3 of those that are no comments "
                    "is their number",
                    options.location_file, more, survey.ndata));
  for (const std::string& mistake : likely_mistakes(mesh, survey)) warn(mistake);
}

void read_inputs(const make_options& options) {
  read_or_explain([&] { read_mesh_file(options.mesh_file); },
                  [&] { return explain_mesh_file(options.mesh_file); });
  check_mesh(mesh);
  read_or_explain([&] { read_topography(options.topography_file); },
                  [&] { return explain_topography_file(options.topography_file); });
  check_surface(mesh);
  read_or_explain([&] { read_data_file(options.location_file, false); },
                  [&] { return explain_location_file(options.location_file); });
  check_survey(survey);
  warn_of_mistakes(options);
  check_burial(options);
}

std::string time_text(r8 seconds) {
  return seconds < 120 ? fmt::format("{:.1f} s", seconds) : fmt::format("{:.0f} min", seconds / 60);
}

std::string threads_text() {
  const int threads = team_size();
  return fmt::format("{} thread{}", threads, threads == 1 ? "" : "s");
}

r8 dense_bytes(const survey_rows& range) {
  return 4.0 * range.count() * columns_of(mesh);
}

std::string sizes_text(const std::string& file, const survey_rows& range, const std::string& bytes) {
  return fmt::format("{}: {} data x {} cells, {}", file, range.count(), columns_of(mesh), bytes);
}

/// How the rows were chosen, and what they hold; empty for a dense G.
std::string rows_text(const make_options& options, const matrix_form& form, const row_statistics& rows,
                      i4 count) {
  if (options.dense) return "";
  const cube_size cube = cube_around(mesh.ny, mesh.nx, mesh.nz);
  const r8 stored = static_cast<r8>(rows.stored) / count, ncube = r8{1} * cube.y * cube.x * cube.z;
  const std::string why = options.tolerance ? ""
                          : options.accuracy
                              ? ", finer where a row needs it"
                              : fmt::format(", for trial models within {:g} %", 100 * part_to_lose);
  return fmt::format(
      "\nwavelet {}, weights {}, tolerance {}{}: {} to {} coefficients in a row, median {}, {:.2f} % of the "
      "cube of {} x {} x {}"
      "\ncompression ratio {:.1f}",
      options.wavelet, weighting_names[static_cast<std::size_t>(form.weights.kind)], form.tolerance, why,
      rows.least, rows.most, rows.median, 100 * stored / ncube, cube.y, cube.x, cube.z,
      4.0 * columns_of(mesh) / std::max(8.0 * stored, 1.0));
}

/// What the rows lose, and with them the data.
std::string losses_text(const make_options& options, const row_statistics& rows) {
  if (options.dense) return "";
  std::string trials;
  for (const trial_error& trial : rows.trials)
    trials += fmt::format("{}{} {:.2g} %", trials.empty() ? "" : ", ", trial.model, 100 * trial.error);
  return fmt::format(
      "\nrelative error of a row {:.1e} (at most {:.1e}); no datum is off by more than {:.3g} nT for models "
      "up to "
      "{:g}"
      "\nerrors of the data of trial models, judged by {} row{}: {}",
      rows.loss, rows.largest_loss, rows.largest_one_norm * options.largest, options.largest, rows.tried,
      rows.tried == 1 ? "" : "s", trials.empty() ? "they have no data" : trials);
}

/// A row takes 4 bytes for each cell when it is dense, and 8 for each coefficient.
std::string advice_text(const make_options& options, const row_statistics& rows, i4 count) {
  const r8 compressed = 8.0 * static_cast<r8>(rows.stored) / count, dense = 4.0 * columns_of(mesh);
  if (options.dense || compressed <= dense) return "";
  return fmt::format("\na row takes {}, a dense one {}: --dense would be smaller, and lose nothing",
                     size_text(compressed), size_text(dense));
}

std::string verification_text(const verification& verified) {
  if (verified.count == 0) return "";
  return fmt::format(
      "\n{} rows verified: relative error at most {:.1e}, data off by at most {:.2e} nT for a value of 1, {}",
      verified.count, verified.loss, verified.one_norm,
      verified.beyond <= 1e-6 ? "as told"
                              : fmt::format("{:.1e} of it beyond what was told", verified.beyond));
}

/// Those asked for, once the survey is there.
survey_rows rows_of(const make_options& options) {
  if (options.rows.count() < 1) return {1, survey.ndata};
  if (options.rows.last > survey.ndata)
    stop_program(fmt::format("velkmtx: --rows {}:{}: the survey has {} data", options.rows.first,
                             options.rows.last, survey.ndata));
  return options.rows;
}

int tell_what_would_come(const make_options& options, const matrix_form& form) {
  constexpr i4 rows_to_try = 8;
  const row_sample sample = sample_rows(mesh, survey, form, rows_to_try);
  const int threads = team_size();
  const survey_rows range = rows_of(options);
  const r8 bytes_of_value = options.dense ? 4.0 : 8.0;
  const r8 rows = static_cast<r8>(sample.rows.stored) / sample.count * bytes_of_value * range.count();
  const r8 weights_and_diagonal = 16.0 * columns_of(mesh);
  const std::string dense = options.dense ? "" : ", where a dense G has " + size_text(dense_bytes(range));
  print(sizes_text(options.output_file, range, "about " + size_text(rows + weights_and_diagonal)) + dense +
        rows_text(options, form, sample.rows, sample.count) + losses_text(options, sample.rows) +
        advice_text(options, sample.rows, sample.count) +
        fmt::format("\nabout {} of memory and {} on {}, judged by {} rows; nothing is written",
                    size_text(static_cast<r8>(memory_for(mesh, form, sample.rows.most, threads))),
                    time_text(sample.seconds * range.count() / threads), threads_text(), sample.count));
  return 0;
}

struct written_file {
  row_statistics rows;
  r8 bytes = 0;
};

/// Has `file` filled, through `out`, and given its name.
template <class file_type>
written_file fill(file_type& file, const make_options& options, const matrix_form& form,
                  const survey_rows& range, const interruption& signals, run_notes* notes) {
  progress_line progress(range.count(), options.quiet);
  record_writer out(file);
  const auto row_is_written = [&](i4 done) {
    signals.look();
    progress.show(done);
  };
  const row_statistics rows =
      write_sensitivity(out, mesh, survey, form, range, row_is_written, options.rows_to_verify, notes);
  return {rows, static_cast<r8>(out.position())};
}

/// What a run before that was killed has left stays, and what this one leaves when it is killed.
int write_on(const make_options& options,
             const std::function<void(growing_file&, const interruption&)>& write) {
  const interruption signals;
  growing_file file(options.output_file);
  try {
    write(file, signals);
    signals.look();
  } catch (const interrupted& end) {
    warn(fmt::format("interrupted; {} is as it was, and the same command goes on where this run stood",
                     options.output_file));
    return 128 + end.signal;  // as shells tell a signal
  }
  file.finish();
  return 0;
}

/// Gives the exit status.
int write_file_of(const make_options& options, const matrix_form& form, const survey_rows& range,
                  written_file& written) {
  if (!options.resume)
    return write_whole_file(options.output_file, [&](output_file& file, const interruption& signals) {
      written = fill(file, options, form, range, signals, nullptr);
    });
  const std::string notes_file = options.output_file + ".notes";
  const int status = write_on(options, [&](growing_file& file, const interruption& signals) {
    run_notes notes(file, notes_file, options.note_every);
    written = fill(file, options, form, range, signals, &notes);
  });
  if (status == 0) std::remove(notes_file.c_str());
  return status;
}

std::string rows_there_text(const survey_rows& range, const row_statistics& rows) {
  if (rows.made == range.count()) return "";
  return fmt::format("\n{} of {} rows were there from a run before; what follows is of the others",
                     range.count() - rows.made, range.count());
}

int write_file(const make_options& options, const matrix_form& form) {
  const auto start = std::chrono::steady_clock::now();
  const survey_rows range = rows_of(options);
  written_file written;
  const int status = write_file_of(options, form, range, written);
  if (status != 0 || options.quiet) return status;
  const row_statistics& rows = written.rows;
  const r8 seconds = std::chrono::duration<r8>(std::chrono::steady_clock::now() - start).count();
  const std::string dense = options.dense ? "" : ", where a dense G has " + size_text(dense_bytes(range));
  const std::string about_rows =
      rows.made == 0 ? ""
                     : rows_text(options, form, rows, rows.made) + losses_text(options, rows) +
                           advice_text(options, rows, rows.made) + verification_text(rows.verified);
  print_summary_of(options.output_file,
                   sizes_text(options.output_file, range, size_text(written.bytes)) + dense +
                       rows_there_text(range, rows) + about_rows +
                       fmt::format("\n{}, {:.1f} rows a second on {}", time_text(seconds),
                                   rows.made / seconds, threads_text()));
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
  const auto is_positive = [](r8 x) { return 0.0 < x && x < 1e300; };
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
      app.add_option(
             "--tolerance", into.tolerance,
             "what a row may lose, relative to its norm:\nfrom 0, for nothing, to 1; default as much as "
             "leaves the\ndata of trial models within 1 % (below)")
          ->check(allowed<r8>(is_part, "a number from 0 to 1"))
          ->option_text("NUMBER");
  CLI::Option* accuracy =
      app.add_option("--accuracy", into.accuracy,
                     "in nT: no predicted datum is off by more, for any\nmodel up to the largest value")
          ->check(allowed<r8>(is_positive, "a positive number"))
          ->excludes(tolerance)
          ->option_text("NUMBER");
  app.add_option("--largest", into.largest,
                 "value (SI) of the models that the accuracy holds for;\ndefault 0.1")
      ->check(allowed<r8>(is_positive, "a positive number"))
      ->option_text("NUMBER");
  app.add_flag("--dense", into.dense, "write every value of G, without compression;\nnone of those above")
      ->excludes(wavelet)
      ->excludes(tolerance)
      ->excludes(accuracy)
      ->option_text(" ");
}

void add_weights(CLI::App& app, make_options& into) {
  const auto is_length = [](r8 z) { return 0.0 <= z && z < 1e300; };
  const auto is_exponent = [](r8 beta) { return 0.0 <= beta && beta <= 10.0; };
  const auto is_kind = [](const std::string& name) {
    return std::ranges::find(weighting_names, name) != weighting_names.end();
  };
  const auto take_kind = [&into](const std::string& name) {
    into.weights =
        static_cast<weighting::kind_t>(std::ranges::find(weighting_names, name) - weighting_names.begin());
  };
  CLI::Option* kind = app.add_option_function<std::string>(
                             "--weights", take_kind,
                             "of the cells: none, depth, volume or depth-volume (below);\ndefault "
                             "volume where the mesh is padded, else none")
                          ->check(allowed<std::string>(is_kind, "none, depth, volume or depth-volume"))
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

/// "1:5000"
survey_rows rows_named(const std::string& text) {
  const std::size_t colon = text.find(':');
  survey_rows rows;
  const bool good = colon != text.npos && is_number(std::string_view(text).substr(0, colon), rows.first) &&
                    is_number(std::string_view(text).substr(colon + 1), rows.last) && rows.first >= 1 &&
                    rows.last >= rows.first;
  if (!good) throw CLI::ValidationError("--rows", "'" + text + "' is not FIRST:LAST, as in 1:5000");
  return rows;
}

void add_run(CLI::App& app, make_options& into) {
  const auto is_count = [](int n) { return n >= 1 && n <= 1024; };
  app.add_option_function<std::string>(
         "--rows", [&into](const std::string& text) { into.rows = rows_named(text); },
         "make a part: the rows of these data alone, counted from 1;\nvelkmtx join makes one file of parts")
      ->option_text("FIRST:LAST");
  CLI::Option* resume = app.add_flag("--resume", into.resume,
                                     "keep the rows in OUTPUT.unfinished as they come, and in\nOUTPUT.notes "
                                     "how far they are; if such a run "
                                     "was killed,\ngo on with what it left")
                            ->option_text(" ");
  app.add_option("--note-every", into.note_every, "seconds between two notes at the least; default 10")
      ->check(allowed<r8>([](r8 s) { return 0.0 <= s && s < 1e6; }, "a number of at least 0"))
      ->needs(resume)
      ->option_text("NUMBER");
  app.add_flag("--allow-buried", into.allow_buried,
               "take stations in or on a cell below the surface;\nthey are an error otherwise")
      ->option_text(" ");
  app.add_option("--threads", into.threads,
                 "threads to work on, 1 to 1024;\ndefault OMP_NUM_THREADS, or else all processors")
      ->check(allowed<int>(is_count, "a whole number from 1 to 1024"))
      ->option_text("NUMBER");
  app.add_flag("--dry-run", into.dry_run,
               "tell size, memory and time, judged by a few rows, and write nothing")
      ->option_text(" ");
  app.add_option("--verify", into.rows_to_verify,
                 "compare so many rows, as they are written, with exact ones")
      ->check(allowed<int>([](int n) { return n >= 1; }, "a whole number of at least 1"))
      ->option_text("NUMBER");
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
