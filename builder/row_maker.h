/// Row maker: one datum's row of G from the survey to the bytes of the file.
///
/// Shapes   row(ncol), surface order
/// Errors   value_too_large
/// Threads  an object holds work arrays and belongs to one thread; mesh, survey, form and weights and trial
///          model are shared
#pragma once

#include <cmath>
#include <optional>
#include <span>
#include <vector>

#include "builder/row_compression.h"
#include "builder/sensitivity_builder.h"
#include "builder/sensitivity_writer.h"
#include "responses/survey_response.h"

namespace velko {

class row_maker {
 public:
  row_maker(const mesh_state& m, const survey_state& s, const matrix_form& form, std::span<const r8> wtz,
            std::span<const r8> trial);

  void make(i4 datum);

  // Of the row made last: its record; how many values that holds; the row that they stand for; the squares of the
  // 2-norms of the row as computed and of what it lost; the datum of the trial model as computed, and what that lost.
  const row_payload& payload() const { return payload_; }
  i4 stored() const { return stored_; }
  std::span<const r8> row() const { return row_; }
  r8 norm2() const { return norm2_; }
  r8 loss2() const { return loss2_; }
  /// The 2-norm of what the row lost, relative.
  r8 loss() const { return norm2_ > 0.0 ? std::sqrt(loss2_ / norm2_) : 0.0; }
  r8 trial_datum() const { return trial_datum_; }
  r8 trial_loss() const { return trial_loss_; }

 private:
  void encode_compressed();
  void encode_dense();

  std::span<const r8> wtz_, trial_;
  survey_response response_;
  std::optional<row_compressor> compressor_;  // empty in the dense form
  std::vector<r8> row_;
  row_payload payload_;
  i4 stored_ = 0;
  r8 norm2_ = 0, loss2_ = 0, trial_datum_ = 0, trial_loss_ = 0;
};

}  // namespace velko
