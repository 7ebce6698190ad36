#include "velkmtx/make_summary.h"

#include <fmt/format.h>

#include <algorithm>

#include "arrays/memory_limit.h"
#include "builder/cell_weights.h"
#include "builder/cube_size.h"
#include "store/state.h"
#include "threads/team.h"
#include "velkmtx/options.h"

namespace velko {

namespace {

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

std::string sizes_text(const make_options& options, const survey_rows& range, const std::string& bytes) {
  return fmt::format("{}: {} data x {} cells, {}", options.output_file, range.count(), columns_of(mesh),
                     bytes) +
         (options.dense ? "" : ", where a dense G has " + size_text(dense_bytes(range)));
}

/// How the rows were chosen, and what they hold; empty for a dense G.
std::string rows_text(const make_options& options, const matrix_form& form, const row_statistics& rows) {
  if (options.dense) return "";
  const cube_size cube = cube_around(mesh.ny, mesh.nx, mesh.nz);
  const r8 stored = static_cast<r8>(rows.stored) / rows.made, ncube = r8{1} * cube.y * cube.x * cube.z;
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
std::string advice_text(const make_options& options, const row_statistics& rows) {
  const r8 compressed = 8.0 * static_cast<r8>(rows.stored) / rows.made, dense = 4.0 * columns_of(mesh);
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

std::string rows_there_text(const survey_rows& range, const row_statistics& rows) {
  if (rows.made == range.count()) return "";
  return fmt::format("\n{} of {} rows were there from a run before; what follows is of the others",
                     range.count() - rows.made, range.count());
}

/// What the rows hold and lose, whether they are made yet or a few of them stand for all.
std::string about_rows(const make_options& options, const matrix_form& form, const row_statistics& rows) {
  return rows_text(options, form, rows) + losses_text(options, rows) + advice_text(options, rows);
}

std::string memory_text(r8 bytes) {
  const r8 limit = static_cast<r8>(memory_limit());
  const std::string text = size_text(bytes) + " of memory";
  return bytes > limit ? text + " (this process can have " + size_text(limit) + ")" : text;
}

}  // namespace

std::string summary_of(const make_options& options, const matrix_form& form, const survey_rows& range,
                       const written_file& written, r8 seconds) {
  const row_statistics& rows = written.rows;
  const std::string of_rows =
      rows.made == 0 ? "" : about_rows(options, form, rows) + verification_text(rows.verified);
  return sizes_text(options, range, size_text(written.bytes)) + rows_there_text(range, rows) + of_rows +
         fmt::format("\n{}, {:.1f} rows a second on {}", time_text(seconds), rows.made / seconds,
                     threads_text());
}

std::string plan_of(const make_options& options, const matrix_form& form, const survey_rows& range,
                    const row_sample& sample) {
  const int threads = team_size();
  const r8 bytes_of_value = options.dense ? 4.0 : 8.0;
  const r8 rows = static_cast<r8>(sample.rows.stored) / sample.rows.made * bytes_of_value * range.count();
  const r8 weights_and_diagonal = 16.0 * columns_of(mesh);
  return sizes_text(options, range, "about " + size_text(rows + weights_and_diagonal)) +
         about_rows(options, form, sample.rows) +
         fmt::format("\nabout {} and {} on {}, judged by {} row{}; nothing is written",
                     memory_text(static_cast<r8>(memory_for(mesh, survey, range, sample, threads))),
                     time_text(sample.seconds * range.count() / threads), threads_text(), sample.rows.made,
                     sample.rows.made == 1 ? "" : "s");
}

}  // namespace velko
