#include "recover/recovery.h"

#include <fmt/format.h>
#include <unistd.h>
#include <velko/files/active_cells.h>
#include <velko/files/model_file.h>
#include <velko/files/output_file.h>
#include <velko/files/predicted_data.h>
#include <velko/products/model_mapping.h>
#include <velko/reports/reports.h>
#include <velko/store/getpar.h>
#include <velko/store/state.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "recover/bounded_minimum.h"
#include "recover/checkpoint.h"
#include "recover/cooling.h"
#include "recover/objective.h"

namespace recover {

using namespace velko;

namespace {

// Of the projected gradient: against its beginning, under a damping that is passed through; against the pull of residuals
// of the size of the noise, at the end (--tolerance).
constexpr r8 tolerance_on_the_way = 0.2, tolerance_near_target = 0.7;
constexpr std::size_t most_pairs = 60;
constexpr i4 most_steps_on_the_way = 25, most_steps = 300;  // for one damping
constexpr r8 near =
    2;  // times the target; from here on the minimum is found as at the end, so that the misfit is true
constexpr r8 width_of_target = 0.05;  // the misfit may be off by this share
constexpr int most_weighings = 12;    // of the data, at the last damping of a robust misfit

void report_row(std::string_view row) {
  report(row);
  console().flush();  // a damping of a large survey takes long
}

/// A model file, or "VALUE number", at the active cells.
values model_of(const std::string& file_name, std::string_view label) {
  owned_array3<r8> grid(uninitialised, mesh.nz, mesh.nx, mesh.ny);
  read_cube(file_name, label, grid, std::nullopt, mesh.itop);
  values active(static_cast<std::size_t>(cells.ncell));
  GRID_TO_AMODEL(grid.elements(), active);
  return active;
}

/// Cells that are not active keep these values. They are weighted by wtz, as all that G acts on.
void store_fixed_values(const std::string& fixed_values) {
  owned_array3<r8> grid(uninitialised, mesh.nz, mesh.nx, mesh.ny);
  read_cube(fixed_values, "fixed values", grid, store.wtz.elements(), mesh.itop);
  store_inactive_values(grid, mesh.itop);
}

observations load(const command_line& options) {
  getpar(options.sensitivity_file);
  observations observed = read_observations(options.observed_file, options.noise, options.every);
  get_active_cells(options.active_file, mesh.itop);
  store_fixed_values(options.fixed_values);
  return observed;
}

bounds bounds_of(const command_line& options) {
  bounds box{model_of(options.lower, "lower bounds"), model_of(options.upper, "upper bounds")};
  for (std::size_t c = 0; c < box.lower.size(); ++c)
    if (!(box.lower[c] <= box.upper[c])) stop_program("recover: a lower bound is above its upper bound");
  return box;
}

std::array<r8, 3> lengths_of(const command_line& options) {
  const auto smallest = [](const owned_array1<r8>& widths) {
    return *std::min_element(widths.begin(), widths.end());
  };
  return options.lengths.value_or(std::array{smallest(mesh.dx), smallest(mesh.dy), smallest(mesh.dz)});
}

/// What a checkpoint has to agree with.
std::string name_of_problem(const command_line& options) {
  return fmt::format("recover: {} data, {} cells; regional {}, robust {}, weighting {}, every {}",
                     survey.ndata, cells.ncell, options.regional, options.robust,
                     static_cast<int>(options.kind), options.every);
}

/// What a person at a terminal sees while a damping is solved. The gradient falls by about the same factor at every step,
/// which says how many more there will be.
class progress_line {
 public:
  progress_line(i4 iteration, r8 gradient, r8 tolerance)
      : iteration_(iteration), first_(gradient), tolerance_(tolerance) {}
  ~progress_line() {
    if (visible_) fmt::print(stderr, "\r{:70}\r", "");
  }
  void show(r8 gradient) {
    ++step_;
    if (!visible_) return;
    const r8 done = std::log(first_ / gradient), whole = std::log(first_ / tolerance_);
    const r8 more = done > 0 ? step_ * std::max(0.0, whole / done - 1) : most_steps;
    const std::chrono::duration<r8> spent = std::chrono::steady_clock::now() - started_;
    fmt::print(stderr, "\rdamping {}, step {}, {:.2g} s each; about {:.0f} s more for this damping  ",
               iteration_, step_, spent.count() / step_,
               spent.count() / step_ * std::min<r8>(more, most_steps));
  }

 private:
  i4 iteration_, step_ = 0;
  r8 first_, tolerance_;
  bool visible_ = isatty(STDERR_FILENO) != 0;
  std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
};

class recovery {
 public:
  explicit recovery(const command_line& options)
      : options_(options),
        observed_(load(options)),
        norm_(options.kind, G_.squared_columns(), lengths_of(options)),
        minimum_(bounds_of(options), most_pairs),
        reference_(model_of(options.reference, "reference model")),
        f_(G_, norm_, observed_, reference_, options.regional, options.robust),
        model_(reference_) {
    for (std::size_t c = 0; c < model_.size(); ++c)
      model_[c] = std::clamp(model_[c], box().lower[c], box().upper[c]);
  }

  void run() {
    start();
    const bool found = curve_.back().misfit <= options_.target.value_or(0) || search();
    if (f_.beta > 0) report_conditions();
    write_model();
    write_curve();
    if (!found)
      stop_program(fmt::format("recover: the misfit has not come to {} in {} dampings; it is {:.4f}",
                               *options_.target, curve_.size() - 1, at_.misfit));
  }

 private:
  const bounds& box() const { return minimum_.box(); }

  /// The model that the data have not changed yet, or that of an earlier run.
  void start() {
    report("");
    report(fmt::format(row, "damping", "beta", "steps", "misfit", "model norm"));
    at_ = f_.stand_at(model_);
    f_.beta = 0;
    pull_of_data_ = f_.half_gradient(model_);
    if (options_.resume)
      if (auto earlier = read_checkpoint(options_.base_name + ".state", name_of_problem(options_)))
        return go_on(*earlier);
    note(0, 0);
  }

  void go_on(const checkpoint& earlier) {
    if (earlier.model.size() != model_.size()) stop_program("recover: the state has another number of cells");
    model_ = earlier.model;
    for (const trade_off_point& p : earlier.curve) {
      curve_.push_back(p);
      report_point();
    }
    at_ = f_.stand_at(model_);
  }

  void note(r8 damping, i4 steps) {
    curve_.push_back({static_cast<i4>(curve_.size()), damping, at_.misfit, f_.departure(model_), steps});
    report_point();
  }

  void report_point() const {
    const trade_off_point& p = curve_.back();
    report_row(fmt::format(row, p.iteration, p.damping == 0 ? "" : fmt::format("{:.4e}", p.damping), p.steps,
                           fmt::format("{:.4f}", p.misfit), fmt::format("{:.4e}", p.norm)));
  }

  /// Where the model follows the broad shape of the data: a part of their curvature over that of the norm, along
  /// their pull, where it would only begin to.
  r8 first_damping() const {
    values direction(model_.size());
    for (std::size_t c = 0; c < direction.size(); ++c) {
      const r8 pull = -pull_of_data_[c];
      if (pull > 0 ? model_[c] < box().upper[c] : model_[c] > box().lower[c])
        direction[c] = pull / norm_.diagonal()[c];
    }
    constexpr r8 part = 0.3;
    const r8 damping = part * f_.data_curvature(direction) / f_.model_curvature(direction);
    if (!(damping > 0)) stop_program("recover: the data feel no active cell");
    return damping;
  }

  bool search() { return options_.target ? come_to_target(*options_.target) : come_to_corner(); }

  bool at_target(r8 target) const { return std::abs(at_.misfit / target - 1) <= width_of_target; }

  bool come_to_target(r8 target) {
    cooling schedule(first_damping(), target);
    for (std::size_t n = 1; n < curve_.size(); ++n) schedule.take({curve_[n].damping, curve_[n].misfit});
    while (dampings_left()) {
      solve(schedule.damping());
      if (at_target(target)) {
        polish(schedule.damping());
        if (at_target(target)) return true;
      }
      if (stands_still()) break;
      schedule.next(at_.misfit);
    }
    return false;
  }

  /// Less and less damping changes nothing: the bounds or the active cells allow no better model.
  bool stands_still() const {
    constexpr std::size_t dampings = 3;
    constexpr r8 nothing = 1e-3;
    if (curve_.size() <= dampings) return false;
    const auto before = curve_.end() - 1 - dampings;
    return before->damping > curve_.back().damping && std::abs(before->misfit / at_.misfit - 1) < nothing;
  }

  /// The curve down to where less damping explains hardly more; then once more with the damping of its corner.
  bool come_to_corner() {
    constexpr r8 factor = 4, hardly = 0.98;
    r8 damping = curve_.back().damping == 0 ? first_damping() : curve_.back().damping / factor;
    for (r8 before = 0; dampings_left(); damping /= factor) {
      solve(damping);
      if (curve_.size() > 4 && at_.misfit > hardly * before) break;
      before = at_.misfit;
    }
    const std::vector<trade_off_point> cooled(curve_.begin() + 1, curve_.end());
    polish(cooled[corner_of(cooled)].damping);
    return true;
  }

  bool dampings_left() const { return static_cast<i4>(curve_.size()) <= options_.iterations; }

  bool near_target() const { return options_.target && at_.misfit < near * *options_.target; }

  /// About the minimum under a damping, from the model at hand; what it predicts is written, and the state.
  void solve(r8 damping) {
    f_.beta = damping;
    const r8 gradient = conditions_at(model_, f_.half_gradient(model_), f_.diagonal(), box()).both();
    const i4 steps = options_.target ? approach_target(gradient) : find_point_of_curve(gradient);
    note(damping, steps);
    keep();
  }

  /// Far from the target a rough model does; near it the misfit has to be that of the minimum, and the model is to take
  /// up even a small change of the damping.
  i4 approach_target(r8 gradient) {
    i4 steps = 0;
    if (!near_target())
      steps =
          minimise(std::max(tolerance_on_the_way * gradient, tolerance_of_the_end()), most_steps_on_the_way);
    if (!near_target()) return steps;
    const r8 end = tolerance_of_the_end();
    return steps + minimise(std::clamp(tolerance_near_target * gradient, 0.3 * end, end), most_steps);
  }

  /// The corner is looked for among misfits that are all those of minima.
  i4 find_point_of_curve(r8 gradient) {
    return minimise(std::min(tolerance_on_the_way * gradient, tolerance_of_the_end()), most_steps_on_the_way);
  }

  i4 minimise(r8 tolerance, i4 most) {
    const quadratic q{[this](view p, std::span<r8> y) { f_.data_product(p, y); },
                      [this](view p, std::span<r8> y) { f_.add_norm_product(p, y); },
                      [this](r8 length) { f_.move(length); }, f_.diagonal()};
    values gradient = f_.half_gradient(model_);
    progress_line progress(static_cast<i4>(curve_.size()),
                           conditions_at(model_, gradient, q.diagonal, box()).both(), tolerance);
    const i4 steps =
        minimum_.find(q, model_, gradient, tolerance, most, [&](r8 left) { progress.show(left); });
    if (steps > 0) at_ = f_.weigh(model_, gradient);
    return steps;
  }

  /// The pull of the data on the model that they have not changed yet, in the norm of the conditions.
  r8 pull(view diagonal) const {
    r8 sum = 0;
    for (std::size_t c = 0; c < diagonal.size(); ++c)
      sum += pull_of_data_[c] * pull_of_data_[c] / diagonal[c];
    return std::sqrt(sum);
  }

  r8 tolerance_of_the_end() const {
    return options_.tolerance * pull(f_.diagonal()) *
           std::sqrt(std::min(1.0, at_.misfit / curve_.front().misfit));
  }

  /// The last damping once more, to the end; a robust misfit until its weights no longer change the model.
  void polish(r8 damping) {
    f_.beta = damping;
    i4 steps = 0;
    for (int weighing = 0; weighing < most_weighings; ++weighing) {
      const i4 more = minimise(tolerance_of_the_end(), most_steps);
      steps += more;
      if (more == 0 || options_.robust == 0) break;
    }
    if (steps == 0) return;
    note(damping, steps);
    keep();
  }

  void report_conditions() {
    at_ = f_.stand_at(model_);
    const values diagonal = f_.diagonal(), gradient = f_.half_gradient(model_);
    const conditions at = conditions_at(model_, gradient, diagonal, box());
    const r8 whole = pull(diagonal);
    report("");
    report(fmt::format("conditions of the minimum, as shares of the pull of the data on the first model:"));
    report(fmt::format("  gradient of {} free cells {:.1e}; pointing inward at {} cells on a bound {:.1e}",
                       model_.size() - at.at_bounds, at.free / whole, at.at_bounds, at.inward / whole));
    report(fmt::format("values from {:.4g} to {:.4g}; {} products with G and its transpose",
                       *std::min_element(model_.begin(), model_.end()),
                       *std::max_element(model_.begin(), model_.end()), G_.products()));
    if (options_.every > 1) report(fmt::format("misfit of the data that were left out {:.4f}", at_.left_out));
  }

  void keep() {
    write_predicted_iter_of(curve_.back().iteration);
    write_checkpoint(options_.base_name + ".state", name_of_problem(options_), {curve_, model_});
  }

  /// The writer multiplies by the deviations, which an inversion has divided its data by.
  void write_predicted_iter_of(i4 iteration) {
    survey.derr = owned_array1<r8>(uninitialised, survey.ndata);
    std::fill(survey.derr.begin(), survey.derr.end(), 1.0);
    write_predicted_iter(options_.base_name, "pre", at_.predicted, iteration);
  }

  /// One value for each cell of the mesh in model order: the recovered ones and, for the others, the fixed ones.
  void write_model() const {
    owned_array3<r8> grid(uninitialised, mesh.nz, mesh.nx, mesh.ny);
    read_cube(options_.fixed_values, "fixed values", grid, std::nullopt, mesh.itop);
    for (i4 i = 1; i <= mesh.ny; ++i)
      for (i4 j = 1; j <= mesh.nx; ++j)
        for (i4 k = 1; k <= mesh.nz; ++k) {
          const i4 cell = cells.cell_map(k, j, i);
          if (cell > 0) grid(k, j, i) = model_[static_cast<std::size_t>(cell - 1)];
          if (k <= mesh.itop(i, j)) grid(k, j, i) = 0;
        }
    std::string text;
    for (const r8 value : grid) fmt::format_to(std::back_inserter(text), "{}\n", value);
    write_text(options_.base_name + ".sus", text);
  }

  void write_curve() const {
    std::string text = "! damping  beta  misfit  model norm  steps\n";
    for (const trade_off_point& p : curve_)
      fmt::format_to(std::back_inserter(text), "{} {:.6e} {:.6e} {:.6e} {}\n", p.iteration, p.damping,
                     p.misfit, p.norm, p.steps);
    write_text(options_.base_name + ".curve", text);
  }

  static void write_text(const std::string& name, const std::string& text) {
    output_file file(name);
    file.write(std::as_bytes(std::span(text)));
    file.keep();
  }

  static constexpr auto row = "{:>9} {:>12} {:>8} {:>12} {:>12}";

  const command_line& options_;
  observations observed_;
  forward_operator G_;
  model_norm norm_;
  bounded_minimum minimum_;
  values reference_;
  objective f_;
  values model_;         // (ncell) where the recovery stands
  fit at_;               // what it predicts
  values pull_of_data_;  // (ncell) half the gradient of the misfit at the first model
  std::vector<trade_off_point> curve_;
};

}  // namespace

void recover_model(const command_line& options) {
  recovery(options).run();
}

}  // namespace recover
