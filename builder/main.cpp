/// velkmtx: makes a sensitivity file from a mesh file and a location file.
///
/// Exit status  0 when the file is written, another one otherwise; then the target is as it was
/// Streams      the summary goes to the standard output, every report and error to the standard error stream
#include <fmt/format.h>
#include <omp.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "builder/command_line.h"
#include "builder/input_checks.h"
#include "builder/sensitivity_builder.h"
#include "files/data_file.h"
#include "files/mesh_file.h"
#include "store/state.h"
#include "tool/channel.h"
#include "tool/program_stop.h"

namespace velko {

namespace {

void read_inputs(const command_line& options) {
  read_mesh_file(options.mesh_file);
  check_mesh(mesh);
  mesh.itop = owned_array2<i4>(mesh.ny, mesh.nx);  // a flat surface: no cell above it
  read_data_file(options.location_file, false);
  check_survey(survey, mesh);
}

/// The output takes the place of what has its name; an input that is named twice by mistake would be lost.
void check_output_is_no_input(const command_line& options) {
  for (const std::string& input : {options.mesh_file, options.location_file}) {
    std::error_code either_is_missing;
    if (std::filesystem::equivalent(options.output_file, input, either_is_missing))
      stop_program(
          fmt::format("velkmtx: {} is an input; the output should be another file", options.output_file));
  }
}

std::string size_text(r8 bytes) {
  return bytes < 1e6 ? fmt::format("{:.1f} kB", bytes / 1e3) : fmt::format("{:.1f} MB", bytes / 1e6);
}

void print_summary(const command_line& options, const matrix_summary& made, i8 bytes) {
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
  channel out("standard output", stdout);
  out.write_line(lines);
  out.flush();
}

void make_sensitivity_file(const command_line& options) {
  if (options.threads > 0) omp_set_num_threads(options.threads);
  check_output_is_no_input(options);
  read_inputs(options);
  output_file file(options.output_file);
  const matrix_summary made = write_sensitivity(file, mesh, survey, options.form);
  const i8 bytes = file.bytes_written();
  file.keep();
  print_summary(options, made, bytes);
}

/// The run-time's own failures come under the name of the suite.
stop_or_done under_our_name(stop_or_done end) {
  constexpr std::string_view suite = "velko: ";
  if (end.text.starts_with(suite)) end.text.replace(0, suite.size(), "velkmtx: ");
  return end;
}

}  // namespace

}  // namespace velko

int main(int argc, char** argv) {
  using namespace velko;
  command_line options;
  if (const std::optional<int> status = parse_command_line(argc, argv, options)) return *status;
  console().send_to(stderr);
  const stop_or_done end = under_our_name(run_until_stop([&] { make_sensitivity_file(options); }));
  write_end(end);
  return end.kind == stop_or_done::done ? 0 : 1;
}
