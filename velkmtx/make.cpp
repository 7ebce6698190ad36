/// velkmtx make: the sensitivity file of a mesh, a surface and a survey.
#include <fmt/format.h>
#include <omp.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <memory>

#include "builder/form_choice.h"
#include "builder/sensitivity_builder.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "velkmtx/commands.h"
#include "velkmtx/make_inputs.h"
#include "velkmtx/make_options.h"
#include "velkmtx/make_output.h"
#include "velkmtx/make_summary.h"
#include "velkmtx/options.h"
#include "velkmtx/whole_file.h"

namespace velko {

namespace {

/// Mesh and survey are there.
matrix_form form_of(const make_options& options) {
  form_wishes wishes{options.wavelet, options.dense,   options.tolerance, options.accuracy,
                     options.largest, options.weights, options.beta};
  if (options.z0 >= 0.0) wishes.z0 = options.z0;
  return form_for(wishes, mesh, survey);
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
  const survey_rows range = rows_of(options);
  print(plan_of(options, form, range, sample_rows(mesh, survey, form)));
  return 0;
}

int write_file(const make_options& options, const matrix_form& form) {
  const auto start = std::chrono::steady_clock::now();
  const survey_rows range = rows_of(options);
  written_file written;
  const int status = write_file_of(options, form, range, written);
  const r8 seconds = std::chrono::duration<r8>(std::chrono::steady_clock::now() - start).count();
  if (status == 0 && !options.quiet)
    print_summary_of(options.output_file, summary_of(options, form, range, written, seconds));
  return status;
}

int make_sensitivity_file(const make_options& options) {
  if (options.threads > 0) omp_set_num_threads(options.threads);
  check_output_is_no_input(options.output_file,
                           {options.mesh_file, options.topography_file, options.location_file});
  read_inputs(options);
  const matrix_form form = form_of(options);
  return options.dry_run ? tell_what_would_come(options, form) : write_file(options, form);
}

}  // namespace

void add_make(CLI::App& app, task& chosen) {
  const auto options = std::make_shared<make_options>();
  CLI::App& make = *app.add_subcommand("make", "makes the sensitivity file of a survey");
  add_options(make, *options);
  make.callback([=, &chosen] { chosen = [options] { return make_sensitivity_file(*options); }; });
}

}  // namespace velko
