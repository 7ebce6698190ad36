#include "recover/objective.h"

#include <velko/reports/program_stop.h>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace recover {

using namespace velko;

namespace {

/// The mean of the clipped squares over normally distributed residuals of deviation 1.
r8 mean_of_noise(r8 t) {
  if (t == 0) return 1;
  const r8 density = std::exp(-t * t / 2) / std::sqrt(2 * std::numbers::pi);
  const r8 beyond = std::erfc(t / std::numbers::sqrt2);  // of both sides
  const r8 inside = 1 - beyond - 2 * t * density;        // mean of r^2 within the threshold
  return inside + t * t * beyond;
}

r8 clipped_square(r8 r, r8 t) {
  return t == 0 ? r * r : std::min(r * r, t * t);
}

}  // namespace

objective::objective(const forward_operator& G, const model_norm& norm, const observations& observed,
                     view reference, i4 regional_order, r8 robust_threshold)
    : G_(G),
      norm_(norm),
      observed_(observed),
      reference_(reference.begin(), reference.end()),
      target_(observed.data),
      regional_(regional_order),
      threshold_(robust_threshold),
      of_noise_(mean_of_noise(robust_threshold)) {
  add(target_, -1, G.fixed());
  for (std::size_t i = 0; i < target_.size(); ++i)
    weights_.push_back(observed.fitted[i] != 0 ? 1 / observed.deviation[i] : 0.0);
  regional_.set_weights(weights_);
}

fit objective::stand_at(view m) {
  linear_.resize(target_.size());
  G_.apply(m, linear_);
  const fit at = look();
  pull();
  return at;
}

fit objective::weigh(view m, view half_gradient) {
  const values before = weights_;
  const fit at = look();
  if (weights_ != before)
    pull();
  else {
    pull_ = values(half_gradient.begin(), half_gradient.end());
    norm_.add_product(-beta, departure_of(m), pull_);
  }
  return at;
}

/// What the data say of the model, and new weights.
fit objective::look() {
  fit at{.predicted = linear_, .residual = target_};
  add(at.residual, -1, linear_);
  const values regional = regional_.fitted_to(at.residual);
  add(at.residual, -1, regional);
  add(at.predicted, 1, regional);
  add(at.predicted, 1, G_.fixed());

  for (std::size_t i = 0; i < target_.size(); ++i) at.residual[i] /= observed_.deviation[i];
  const r8 threshold = threshold_ * spread_of_fitted(at.residual);
  r8 fitted = 0, left_out = 0, count = 0;
  for (std::size_t i = 0; i < target_.size(); ++i) {
    const r8 r = at.residual[i];
    if (observed_.fitted[i] == 0) {
      left_out += r * r;
      continue;
    }
    ++count;
    fitted += clipped_square(r, threshold);
    const r8 trust = threshold == 0 ? 1 : std::min(1.0, threshold / std::max(std::abs(r), 1e-300));
    weights_[i] = std::sqrt(trust) / observed_.deviation[i];
  }
  regional_.set_weights(weights_);
  at.misfit = fitted / count / of_noise_;
  at.left_out = left_out / std::max(1.0, static_cast<r8>(target_.size()) - count);
  if (!std::isfinite(at.misfit)) stop_program("recover: the misfit is not a finite number");
  return at;
}

void objective::data_product(view p, std::span<r8> y) {
  along_.resize(target_.size());
  G_.apply(p, along_);
  G_.transpose(weighted(along_), y);
}

void objective::pull() {
  values residual = linear_;
  add(residual, -1, target_);
  pull_.resize(reference_.size());
  G_.transpose(weighted(residual), pull_);
}

values objective::half_gradient(view m) const {
  values gradient = pull_;
  norm_.add_product(beta, departure_of(m), gradient);
  return gradient;
}

/// The deviation of normally distributed residuals with this median of sizes, and no less than that of the noise.
r8 objective::spread_of_fitted(view residual) const {
  constexpr r8 deviation_per_median = 1.4826;
  values sizes;
  for (std::size_t i = 0; i < residual.size(); ++i)
    if (observed_.fitted[i] != 0) sizes.push_back(std::abs(residual[i]));
  const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
  std::nth_element(sizes.begin(), middle, sizes.end());
  return std::max(1.0, deviation_per_median * *middle);
}

/// S Q S r
values objective::weighted(view residual) const {
  values r = times(residual, weights_);
  regional_.project(r);
  return times(r, weights_);
}

values objective::diagonal() const {
  const r8 mean_weight = dot(weights_, weights_) / static_cast<r8>(weights_.size());
  values d = times(norm_.diagonal(), values(norm_.diagonal().size(), beta));
  add(d, mean_weight, G_.squared_columns());
  for (r8& v : d)
    if (v == 0) v = 1;
  return d;
}

r8 objective::data_curvature(view p) const {
  values d(target_.size());
  G_.apply(p, d);
  d = times(d, weights_);
  regional_.project(d);
  return dot(d, d);
}

values objective::departure_of(view m) const {
  values u(m.begin(), m.end());
  add(u, -1, reference_);
  return u;
}

r8 objective::departure(view m) const {
  return norm_.squared(departure_of(m));
}

}  // namespace recover
