#include "recover/bounded_minimum.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace recover {

using velko::i4;
using velko::r8;

namespace {

/// Whether a variable may move against its gradient.
bool is_free(r8 m, r8 gradient, r8 lower, r8 upper) {
  return gradient > 0 ? m > lower : m < upper;
}

/// x' y over the free variables.
r8 dot_over(const std::vector<char>& free, view x, view y) {
  r8 sum = 0;
  for (std::size_t c = 0; c < x.size(); ++c)
    if (free[c] != 0) sum += x[c] * y[c];
  return sum;
}

/// How far one may go along a change that stays within the bounds.
r8 longest(view m, view change, const bounds& box) {
  r8 most = std::numeric_limits<r8>::infinity();
  for (std::size_t c = 0; c < m.size(); ++c) {
    if (change[c] < 0) most = std::min(most, (box.lower[c] - m[c]) / change[c]);
    if (change[c] > 0) most = std::min(most, (box.upper[c] - m[c]) / change[c]);
  }
  return most < 1 + 1e-9 ? 1.0 : most;
}

}  // namespace

r8 conditions::both() const {
  return std::hypot(free, inward);
}

conditions conditions_at(view m, view gradient, view diagonal, const bounds& box) {
  conditions at;
  r8 within = 0, inward = 0;
  for (std::size_t c = 0; c < m.size(); ++c) {
    const bool inside = m[c] > box.lower[c] && m[c] < box.upper[c];
    if (!inside) ++at.at_bounds;
    if (is_free(m[c], gradient[c], box.lower[c], box.upper[c]))
      (inside ? within : inward) += gradient[c] * gradient[c] / diagonal[c];
  }
  at.free = std::sqrt(within);
  at.inward = std::sqrt(inward);
  return at;
}

/// Minus the step: the gradient times the inverse of A as the pairs know it, over the variables that are free; to the
/// bound for those that the gradient over the diagonal alone would carry there.
values bounded_minimum::direction(const quadratic& f, view m, view gradient) const {
  std::vector<char> free(m.size());
  values d(m.size()), held(m.size());
  for (std::size_t c = 0; c < m.size(); ++c) {
    const r8 bound = gradient[c] > 0 ? box_.lower[c] : box_.upper[c];
    free[c] = std::abs(gradient[c]) / f.diagonal[c] < std::abs(m[c] - bound) ? 1 : 0;
    (free[c] != 0 ? d : held)[c] = free[c] != 0 ? gradient[c] : m[c] - bound;
  }
  std::vector<r8> share(pairs_.size()), curvature(pairs_.size());
  r8 scale = 1;
  for (std::size_t n = pairs_.size(); n-- > 0;) {
    curvature[n] = dot_over(free, pairs_[n].step, pairs_[n].A_step);
    if (!(curvature[n] > 0)) continue;
    share[n] = dot_over(free, pairs_[n].step, d) / curvature[n];
    add(d, -share[n], pairs_[n].A_step);
  }
  if (!pairs_.empty()) {
    const values& y = pairs_.back().A_step;
    r8 sum = 0;
    for (std::size_t c = 0; c < y.size(); ++c)
      if (free[c] != 0) sum += y[c] * y[c] / f.diagonal[c];
    if (curvature.back() > 0 && sum > 0) scale = curvature.back() / sum;
  }
  for (std::size_t c = 0; c < d.size(); ++c) d[c] = free[c] != 0 ? d[c] * scale / f.diagonal[c] : 0.0;
  for (std::size_t n = 0; n < pairs_.size(); ++n) {
    if (!(curvature[n] > 0)) continue;
    add(d, share[n] - dot_over(free, pairs_[n].A_step, d) / curvature[n], pairs_[n].step);
  }
  for (std::size_t c = 0; c < d.size(); ++c)
    if (free[c] == 0) d[c] = held[c];
  return d;
}

/// Along the direction, clipped to the bounds. False where nothing falls.
bool bounded_minimum::move(const quadratic& f, view direction, std::span<r8> m, values& gradient) {
  pair next{values(m.size()), values(m.size()), {}};
  for (std::size_t c = 0; c < m.size(); ++c)
    next.step[c] = std::clamp(m[c] - direction[c], box_.lower[c], box_.upper[c]) - m[c];
  const r8 slope = dot(gradient, next.step);
  if (!(slope < 0)) return false;
  f.product1(next.step, next.A1_step);
  next.A_step = next.A1_step;
  f.add_product2(next.step, next.A_step);
  const r8 lowest = -slope / dot(next.step, next.A_step), most = longest(m, next.step, box_);
  const r8 length = most == 1 && lowest > 0.6 ? 1 : std::min(lowest, most);
  for (std::size_t c = 0; c < m.size(); ++c)
    m[c] = std::clamp(m[c] + length * next.step[c], box_.lower[c], box_.upper[c]);
  add(gradient, length, next.A_step);
  f.moved(length);
  if (pairs_.size() == most_pairs_) pairs_.erase(pairs_.begin());
  pairs_.push_back(std::move(next));
  return true;
}

i4 bounded_minimum::find(const quadratic& f, std::span<r8> m, values& gradient, r8 tolerance, i4 most_steps,
                         const std::function<void(r8)>& after_step) {
  for (pair& known : pairs_) {
    known.A_step = known.A1_step;
    f.add_product2(known.step, known.A_step);
  }
  i4 steps = 0;
  const auto left = [&] { return conditions_at(m, gradient, f.diagonal, box_).both(); };
  for (r8 now = left(); steps < most_steps && now > tolerance;) {
    if (!move(f, direction(f, m, gradient), m, gradient)) {
      if (pairs_.empty()) break;
      pairs_.clear();  // the plain gradient falls wherever anything does
      continue;
    }
    ++steps;
    after_step(now = left());
  }
  return steps;
}

}  // namespace recover
