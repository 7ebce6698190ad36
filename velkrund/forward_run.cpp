#include "velkrund/forward_run.h"

#include <filesystem>
#include <string>
#include <system_error>

#include "files/active_cells.h"
#include "files/data_file.h"
#include "files/model_file.h"
#include "files/predicted_data.h"
#include "products/products.h"
#include "reports/reports.h"
#include "store/getpar.h"
#include "store/state.h"

namespace velko {

namespace {

constexpr std::size_t longest_name = 500;
constexpr std::string_view result = "velkrund.vlk";

[[noreturn]] void print_usage_and_stop() {
  console().write_line("   Usage: velkrund  velkosta.mtx locf model.sus");
  stop_program();
}

run_files take_arguments(std::span<const std::string_view> arguments) {
  if (arguments.size() != 3) print_usage_and_stop();
  return {arguments[0].substr(0, longest_name), arguments[1].substr(0, longest_name),
          arguments[2].substr(0, longest_name)};
}

void check_number_of_data() {
  if (survey.ndata == store.ndata_mtx) return;
  console().write_line("");
  console().write_line("ERROR: Number of data is inconsistent in obs and mtx files.");
  stop_program();
}

/// Under another name or through a link, the result could take the place of the matrix, which took far longer to make.
void check_result_is_not_the_matrix() {
  std::error_code either_is_missing;
  if (std::filesystem::equivalent(result, store.file_name, either_is_missing))
    stop_program(std::string(result) + " is the sensitivity file " + store.file_name +
                 "; the predicted data are not written");
}

}  // namespace

run_files begin_run(std::span<const std::string_view> arguments) {
  print_banner("VELKRUND");
  const run_files files = take_arguments(arguments);
  log_file().open_scratch();
  return files;
}

void read_locations(const run_files& files) {
  read_data_file(files.locations, false);
  check_number_of_data();
}

void prepare_vectors() {
  get_active_cells("null", mesh.itop);
  run.dpred = owned_array1<r8>(uninitialised, survey.ndata);
  run.amodel = owned_array1<r8>(uninitialised, cells.ncell);
}

void read_weighted_model(const run_files& files) {
  read_model(files.model, "model", run.amodel.elements(), store.wtz.elements(), mesh.itop);
}

void write_result() {
  check_result_is_not_the_matrix();
  write_predicted_data(result, run.dpred.elements());
  console().flush();
  stop_program(console().failure().empty() ? "" : std::string(result) + " is written");
}

void velkrund(std::span<const std::string_view> arguments) {
  const run_files files = begin_run(arguments);
  getpar(files.sensitivity);
  read_locations(files);
  prepare_vectors();
  read_weighted_model(files);
  GPROD(run.amodel.elements(), run.dpred.elements());
  write_result();
}

}  // namespace velko
