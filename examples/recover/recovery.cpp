#include "recover/recovery.h"

#include <fmt/format.h>
#include <fmt/os.h>
#include <velko/files/active_cells.h>
#include <velko/files/data_file.h>
#include <velko/files/model_file.h>
#include <velko/files/predicted_data.h>
#include <velko/products/model_mapping.h>
#include <velko/products/row_scaling.h>
#include <velko/reports/reports.h>
#include <velko/store/getpar.h>
#include <velko/store/state.h>

#include <cmath>
#include <vector>

#include "recover/conjugate_gradients.h"
#include "recover/cooling.h"
#include "recover/model_weights.h"
#include "recover/normal_equations.h"

namespace recover {

using namespace velko;

namespace {

constexpr r8 solver_tolerance = 1e-2;  // relative error of the model: more than the data can tell
constexpr i4 most_solver_steps = 1000;
constexpr r8 width_of_target = 0.05;

/// Where a recovery stands.
struct progress {
  std::vector<r8> amodel;  // (ncell) m_w, what G acts on
  r8 misfit = 0;           // of this model
  r8 damping = 0;          // under which it was found
  i4 iteration = 0;        // dampings tried so far
};

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
  const r8 misfit = sum / static_cast<r8>(predicted.size());
  if (!std::isfinite(misfit)) stop_program("recover: the misfit is not a finite number");
  return misfit;
}

void report_row(std::string_view row) {
  report(row);
  console().flush();  // an iteration of a large survey takes long
}

/// The model of nothing but the fixed cells.
progress start() {
  progress at;
  at.amodel.resize(static_cast<std::size_t>(cells.ncell));
  at.misfit = misfit_of(predicted_data(at.amodel));
  constexpr auto row = "{:>9} {:>12} {:>8} {:>12} {:>12}";
  report("");
  report(fmt::format(row, "iteration", "damping", "CG steps", "chi^2/N", "norm"));
  report_row(fmt::format(row, 0, "", "", fmt::format("{:.4f}", at.misfit), "0"));
  return at;
}

/// Solves the equations under at.damping, beginning with p, and writes what the solution predicts.
void iterate(const command_line& options, const normal_equations& equations, std::span<r8> p, progress& at) {
  const auto damped = [&](std::span<const r8> x, std::span<r8> y) { equations.product(at.damping, x, y); };
  const i4 steps = conjugate_gradients(damped, at.damping, equations.right_hand_side(), p, solver_tolerance,
                                       most_solver_steps);
  at.amodel = equations.model(p);
  const std::vector<r8> predicted = predicted_data(at.amodel);
  at.misfit = misfit_of(predicted);
  write_predicted_iter(options.base_name, "pre", predicted, ++at.iteration);
  report_row(fmt::format("{:>9} {:>12.4e} {:>8} {:>12.4f} {:>12.4e}", at.iteration, at.damping, steps,
                         at.misfit, std::sqrt(dot(p, p))));
}

/// Seeks the damping under which the misfit is at its target, beginning with at.damping. False where the
/// iterations are used up before.
bool come_to_target(const command_line& options, const normal_equations& equations, progress& at) {
  std::vector<r8> p = equations.variable(at.amodel);
  for (cooling schedule(at.damping, options.target); at.iteration < options.iterations;) {
    at.damping = schedule.damping();
    iterate(options, equations, p, at);
    if (at.misfit <= options.target && at.misfit >= (1 - width_of_target) * options.target) return true;
    schedule.next(at.misfit);
  }
  return false;
}

/// The order of the largest eigenvalue of the undamped equations: under as much damping the model is nearly
/// nothing.
r8 first_damping(const normal_equations& equations) {
  const auto b = equations.right_hand_side();
  std::vector<r8> y(b.size());
  equations.product(0, b, y);
  const r8 damping = dot(b, y) / dot(b, b);
  if (!(damping > 0)) stop_program("recover: the data feel no active cell");
  return damping;
}

r8 squared_norm(const normal_equations& equations, std::span<const r8> amodel) {
  const std::vector<r8> p = equations.variable(amodel);
  return dot(p, p);
}

/// The smallest model that explains the data, then, where asked for, more compact ones. Each begins with the damping
/// under which the model before it costs as much in the new norm as in the old one.
bool find_model(const command_line& options, progress& at) {
  const std::vector<r8> weights = sensitivity_weights(options.weighting.value_or(file_has_weights() ? 0 : 1));
  normal_equations equations(weights);
  at.damping = first_damping(equations);
  bool found = come_to_target(options, equations, at);
  for (i4 pass = 1; found && pass <= options.focus; ++pass) {
    const r8 norm = squared_norm(equations, at.amodel);
    equations = normal_equations(focused_weights(weights, at.amodel));
    at.damping *= norm / squared_norm(equations, at.amodel);
    found = come_to_target(options, equations, at);
  }
  return found;
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
  progress at = start();
  const bool found = at.misfit <= options.target || find_model(options, at);
  write_model(options.base_name + ".sus", at.amodel);
  if (!found)
    stop_program(fmt::format("recover: the misfit has not come to {} in {} iterations", options.target,
                             options.iterations));
}

}  // namespace recover
