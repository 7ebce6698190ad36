#include "recover/recovery.h"

#include <fmt/format.h>
#include <fmt/os.h>

#include <cmath>
#include <vector>

#include "files/active_cells.h"
#include "files/data_file.h"
#include "files/model_file.h"
#include "files/predicted_data.h"
#include "products/model_mapping.h"
#include "products/row_scaling.h"
#include "recover/conjugate_gradients.h"
#include "recover/cooling.h"
#include "recover/model_weights.h"
#include "recover/normal_equations.h"
#include "store/getpar.h"
#include "store/state.h"
#include "tool/reports.h"

namespace recover {

using namespace velko;

namespace {

// The misfit is known to about the tolerance of the solver, well within the width of "reached".
constexpr r8 solver_tolerance = 1e-3, width_of_target = 0.05;
constexpr i4 most_solver_steps = 500;

/// Cells that are not active keep these values. They are weighted by wtz, as all that G acts on.
void store_fixed_values(const std::string& fixed_values) {
  owned_array3<r8> grid(uninitialised, mesh.nz, mesh.nx, mesh.ny);
  read_cube(fixed_values, "fixed values", grid, store.wtz.elements(), mesh.itop);
  store_inactive_values(grid, mesh.itop);
}

void load(const command_line& options) {
  getpar(options.sensitivity_file);
  read_data_file(options.observed_file, true);
  scale_rows(survey.derr.elements());
  get_active_cells(options.active_file, mesh.itop);
  store_fixed_values(options.fixed_values);
}

/// Chi-squared over the number of data: 1 where the data are off by a standard deviation each.
r8 misfit_of(std::span<const r8> predicted) {
  r8 sum = 0;
  for (std::size_t i = 0; i < predicted.size(); ++i) sum += std::pow(predicted[i] - survey.dobs.data()[i], 2);
  return sum / static_cast<r8>(predicted.size());
}

/// The order of the largest eigenvalue of the undamped equations: with as much damping the model is nearly nothing.
r8 first_damping(const normal_equations& equations) {
  const auto b = equations.right_hand_side();
  std::vector<r8> y(b.size());
  equations.product(0, b, y);
  const r8 damping = dot(b, y) / dot(b, b);
  if (!(damping > 0)) stop_program("recover: no active cell reaches the data");
  return damping;
}

void report_row(std::string_view row) {
  report(row);
  console().flush();  // an iteration of a large survey takes long
}

void check_misfit(r8 misfit) {
  if (!std::isfinite(misfit)) stop_program("recover: the misfit is not a finite number");
}

/// Iterates until the misfit has come to the target, or the dampings are used up; p is the outcome. True if it has.
bool iterate(const command_line& options, const normal_equations& equations, std::span<r8> p) {
  report_row(fmt::format("\n{:>9} {:>12} {:>8} {:>12} {:>12}", "iteration", "damping", "CG steps", "chi^2/N",
                         "norm"));
  const r8 start = misfit_of(predicted_data(equations.model(p)));
  report_row(fmt::format("{:>9} {:>12} {:>8} {:>12.4f} {:>12.4e}", 0, "", "", start, 0.0));
  check_misfit(start);
  if (start <= options.target) return true;

  cooling schedule(first_damping(equations), options.target);
  for (i4 iteration = 1; iteration <= options.iterations; ++iteration) {
    const r8 mu = schedule.damping();
    const auto damped = [&](std::span<const r8> x, std::span<r8> y) { equations.product(mu, x, y); };
    const i4 steps =
        conjugate_gradients(damped, equations.right_hand_side(), p, solver_tolerance, most_solver_steps);
    const std::vector<r8> predicted = predicted_data(equations.model(p));
    write_predicted_iter(options.base_name, "pre", predicted, iteration);

    const r8 misfit = misfit_of(predicted);
    report_row(fmt::format("{:>9} {:>12.4e} {:>8} {:>12.4f} {:>12.4e}", iteration, mu, steps, misfit,
                           std::sqrt(dot(p, p))));
    check_misfit(misfit);
    if (misfit <= options.target && misfit >= (1 - width_of_target) * options.target) return true;
    schedule.next(misfit);
  }
  return false;
}

/// One value for each cell of the mesh in model order: the recovered ones and, for the others, the fixed ones.
void write_model(const std::string& name, std::span<const r8> amodel) {
  owned_array3<r8> grid(uninitialised, mesh.nz, mesh.nx, mesh.ny);
  AMODEL_TO_GRID(amodel, grid.elements());
  remove_file_weights(grid);
  auto out = fmt::output_file(name);
  for (const r8 value : grid) out.print("{}\n", value);
  out.close();
}

}  // namespace

void recover_model(const command_line& options) {
  load(options);
  const r8 exponent = options.depth_exponent.value_or(file_has_weights() ? 0 : 3);
  const normal_equations equations(norm_weights(exponent));
  std::vector<r8> p(static_cast<std::size_t>(cells.ncell));
  const bool reached = iterate(options, equations, p);
  write_model(options.base_name + ".sus", equations.model(p));
  if (!reached)
    stop_program(fmt::format("recover: the misfit has not come to {} in {} iterations", options.target,
                             options.iterations));
}

}  // namespace recover
