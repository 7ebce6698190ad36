#include "builder/row_maker.h"

#include <cmath>
#include <cstring>

namespace velko {

row_maker::row_maker(const mesh_state& m, const survey_state& s, const matrix_form& form,
                     std::span<const r8> wtz, std::span<const r8> trial)
    : wtz_(wtz), trial_(trial), response_(m, s), row_(wtz.size()) {
  if (form.compressed()) compressor_.emplace(m, cube_around(m.ny, m.nx, m.nz), form.tolerance);
}

void row_maker::make(i4 datum) {
  response_.row(datum, row_);
  for (std::size_t c = 0; c < row_.size(); ++c) row_[c] /= wtz_[c];
  norm2_ = energy_of(row_);
  if (!std::isfinite(norm2_)) throw value_too_large();
  trial_datum_ = scalar_product(row_, trial_);
  if (compressor_)
    encode_compressed();
  else
    encode_dense();
  trial_loss_ = trial_datum_ - scalar_product(row_, trial_);
}

void row_maker::encode_compressed() {
  const compressed_row kept = compressor_->compress(row_);
  encode_compressed_row(kept, payload_);
  stored_ = static_cast<i4>(kept.idx.size());
  loss2_ = compressor_->restore(kept.idx, row_);
}

void row_maker::encode_dense() {
  encode_dense_row(row_, payload_);
  stored_ = static_cast<i4>(row_.size());
  for (r8& value : row_) value -= static_cast<r4>(value);
  loss2_ = energy_of(row_);
  for (std::size_t c = 0; c < row_.size(); ++c) {
    r4 value = 0;
    std::memcpy(&value, payload_.data() + c * sizeof value, sizeof value);
    row_[c] = value;
  }
}

}  // namespace velko
