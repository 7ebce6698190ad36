/// Objective: misfit and model norm as one quadratic function of the susceptibility, for given weights of the data.
///
/// What     f(m) = |Q S (d - f - G m)|^2 + beta |m - reference|^2, S = diag(weights), Q the projection of the regional
///          field, f what the fixed cells give. Half its gradient is A m - b, with A = G' S Q S G + beta H
/// Misfit   the mean over the fitted data of r^2, r the residual in standard deviations and no larger than the threshold;
///          divided by what normally distributed noise gives, so that 1 is the noise. Without a threshold chi^2 / N.
///          Far from the data, where the residuals are those of a model that is not there yet, the threshold grows with
///          their median
/// Weights  1 / deviation, times the root of threshold / |r| where a residual is beyond it: with these the gradient of f
///          is that of Huber's objective, linear beyond the threshold, at the model they were taken from
/// Sources  P. Huber, Ann. Math. Statist. 35 (1964) 73-101, doi 10.1214/aoms/1177703732, with the scale of its proposal 2
#pragma once

#include "recover/forward.h"
#include "recover/model_norm.h"
#include "recover/observations.h"
#include "recover/regional_field.h"

namespace recover {

struct fit {
  values predicted;        // (ndata) nT, fixed cells and regional field in it
  values residual;         // (ndata) standard deviations
  velko::r8 misfit = 0;    // of the fitted data
  velko::r8 left_out = 0;  // chi^2 / N of the others
};

class objective {
 public:
  objective(const forward_operator& G, const model_norm& norm, const observations& observed, view reference,
            velko::i4 regional_order, velko::r8 robust_threshold);

  velko::r8 beta = 0;

  /// Predicts the data of a model, which the objective stands at from then on. One product; one more where
  /// the weights of the data change.
  fit stand_at(view m);
  /// The model has gone a length along the p of the last data_product.
  void move(velko::r8 length) { add(linear_, length, along_); }
  /// Misfit of the model that moves have led to, whose half gradient is known; the weights of the data become
  /// those of its residuals. No product unless they change.
  fit weigh(view m, view half_gradient);

  /// y = G' S Q S G p, the part of A p that the data ask for
  void data_product(view p, std::span<velko::r8> y);
  /// y += beta H p, the other part
  void add_norm_product(view p, std::span<velko::r8> y) const { norm_.add_product(beta, p, y); }
  /// A m - b at the model that was weighed last. No product.
  values half_gradient(view m) const;
  /// Nearly the diagonal of A: that of G' S^2 G with one mean weight for all data, and of beta H.
  values diagonal() const;
  /// Of a direction p: |Q S G p|^2 and |p|^2.
  velko::r8 data_curvature(view p) const;
  velko::r8 model_curvature(view p) const { return norm_.squared(p); }

  velko::r8 departure(view m) const;

 private:
  values departure_of(view m) const;
  fit look();
  void pull();
  values weighted(view residual) const;
  velko::r8 spread_of_fitted(view residual) const;

  const forward_operator& G_;
  const model_norm& norm_;
  const observations& observed_;
  values reference_, target_;  // target: data less fixed cells
  regional_field regional_;
  velko::r8 threshold_, of_noise_;
  values weights_;
  values linear_;  // (ndata) G m of the model that the objective stands at
  values along_;   // (ndata) G p of the last p
  values pull_;    // (ncell) half the gradient of the misfit there
};

}  // namespace recover
