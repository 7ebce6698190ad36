/// Row maker: one datum's row of G from the survey to the bytes of the file.
///
/// What     a row is computed, divided by the weights, encoded, and brought back from its bytes, which tells what it
///          lost. With a tolerance it may lose so much of its norm; with an accuracy, so much in the 1-norm of its loss
///          in the model's own units: then the tolerance is made finer until it does
/// Bound    a predicted datum is off by at most loss().one_norm times the largest value of the model (inequality of
///          Hoelder)
/// Shapes   row(ncol), surface order
/// Errors   value_too_large; accuracy_out_of_reach
/// Threads  an object holds work arrays and belongs to one thread; mesh, survey, form, weights and trial
///          models are shared
#pragma once

#include <optional>
#include <span>
#include <stdexcept>
#include <vector>

#include "arrays/instruction_set.h"
#include "builder/row_compression.h"
#include "builder/sensitivity_builder.h"
#include "builder/sensitivity_writer.h"
#include "builder/trial_models.h"
#include "responses/survey_response.h"

namespace velko {

/// What the file's 32-bit floats lose is more than a row may.
struct accuracy_out_of_reach : std::range_error {
  accuracy_out_of_reach() : std::range_error("no row of 32-bit floats is as accurate as is asked for") {}
};

/// What a row has lost so far, in eight partial sums: of squares, and of magnitudes times the weights.
struct loss_sum {
  r8x8 squares{}, magnitudes{};
};

class row_maker {
 public:
  row_maker(const mesh_state& m, const survey_state& s, const matrix_form& form, std::span<const r8> wtz);

  void make(i4 datum);

  /// What the data of the trial models are, and what they lose by the row made last.
  void try_models(const trial_models& models);

  // Of the row made last: its record; how many values that holds; the row that they stand for, rounded; the squares of the
  // 2-norms of the row as computed and of what it lost; the 1-norm of the loss in nT for a susceptibility of 1, the
  // weights taken out.
  const row_payload& payload() const { return payload_; }
  i4 stored() const { return stored_; }
  std::span<const r4> row() const { return restored_.elements(); }
  r8 norm2() const { return norm2_; }
  const row_loss& loss() const { return loss_; }

  // Of the row that was tried last.
  const trial_models::sums& trials() const { return trials_; }

 private:
  void compute(i4 datum);
  void encode();
  void encode_compressed(r8 tolerance);
  void encode_within_accuracy();
  void encode_dense();
  void lose(std::span<const r8> restored, std::size_t place);

  const mesh_state& mesh_;
  const matrix_form& form_;
  std::span<const r8> wtz_;
  bool weights_differ_;
  survey_response response_;
  std::optional<row_compressor> compressor_;  // empty in the dense form
  owned_array1<r8> computed_;                 // row over weights
  owned_array1<r4> restored_;
  row_payload payload_;
  i4 stored_ = 0;
  r8 norm2_ = 0;
  row_loss loss_;
  loss_sum loss_sum_;
  trial_models::sums trials_;
};

}  // namespace velko
