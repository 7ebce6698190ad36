/// Row verification: what rows of a file stand for, beside exact ones.
///
/// What     records of rows are taken as the file has them, and go back from the wavelet domain through WTN on the whole
///          cube, which is not the way that they were made on; the exact row is computed anew
/// Memory   the records that it was given; a cube and two rows
/// Errors   std::bad_alloc
#pragma once

#include <span>
#include <vector>

#include "builder/sensitivity_builder.h"
#include "builder/sensitivity_writer.h"
#include "responses/survey_response.h"

namespace velko {

class row_verifier {
 public:
  row_verifier(const mesh_state& m, const survey_state& s, const matrix_form& form, std::span<const r8> wtz);

  /// Compares the record of a datum, and the 1-norm of its loss that was told.
  void verify(i4 datum, std::span<const std::byte> record, r8 told_one_norm);

  const verification& result() const { return result_; }

 private:
  void decode_compressed(std::span<const std::byte> record);
  void decode_dense(std::span<const std::byte> record);

  const mesh_state& mesh_;
  bool compressed_;
  std::span<const r8> wtz_;
  survey_response response_;
  std::vector<r8> cube_, exact_, stored_;
  verification result_;
};

}  // namespace velko
