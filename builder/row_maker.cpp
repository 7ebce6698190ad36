#include "builder/row_maker.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "arrays/instruction_set.h"

namespace velko {

namespace {

/// Sums over a piece of a row, of what it lost: of the squares, and of the magnitudes times the weights, where there
/// are any. Eight partial sums each.
row_loss loss_of(std::span<const r8> computed, std::span<const r8> restored, std::span<const r8> wtz) {
  r8x8 squares{}, magnitudes{};
  std::size_t c = 0;
  const auto at = [&c](std::span<const r8> a) { return reinterpret_cast<const r8x8_mem*>(&a[c]); };
  for (; c + 8 <= computed.size(); c += 8) {
    const r8x8 lost = *at(computed) - *at(restored);
    squares += lost * lost;
    const r8x8 unweighted = wtz.empty() ? lost : lost * *at(wtz);
    magnitudes += unweighted < 0.0 ? -unweighted : unweighted;
  }
  row_loss sum;
  for (int lane = 0; lane < 8; ++lane) {
    sum.energy += squares[lane];
    sum.one_norm += magnitudes[lane];
  }
  for (; c < computed.size(); ++c) {
    const r8 lost = computed[c] - restored[c];
    sum.energy += lost * lost;
    sum.one_norm += std::abs(wtz.empty() ? lost : lost * wtz[c]);
  }
  return sum;
}

}  // namespace

row_maker::row_maker(const mesh_state& m, const survey_state& s, const matrix_form& form,
                     std::span<const r8> wtz)
    : mesh_(m),
      form_(form),
      wtz_(wtz),
      weights_differ_(std::ranges::any_of(wtz, [](r8 w) { return w != 1.0; })),
      response_(m, s),
      computed_(wtz.size()),
      restored_(wtz.size()) {
  if (form.compressed()) compressor_.emplace(m, cube_around(m.ny, m.nx, m.nz));
}

void row_maker::make(i4 datum) {
  compute(datum);
  encode();
}

void row_maker::compute(i4 datum) {
  response_.row(datum, computed_);
  if (weights_differ_)
    for (std::size_t c = 0; c < computed_.size(); ++c) computed_[c] /= wtz_[c];
  norm2_ = energy_of(computed_);
  if (!std::isfinite(norm2_)) throw value_too_large();
}

void row_maker::encode() {
  if (!compressor_)
    encode_dense();
  else if (form_.accuracy)
    encode_within_accuracy();
  else {
    compressor_->transform(computed_);
    encode_compressed(form_.tolerance);
  }
  if (form_.accuracy && loss_.one_norm > *form_.accuracy) throw accuracy_out_of_reach();
}

void row_maker::encode_compressed(r8 tolerance) {
  const compressed_row kept = compressor_->choose(tolerance * tolerance * norm2_);
  encode_compressed_row(kept, payload_);
  stored_ = static_cast<i4>(kept.idx.size());
  loss_ = {};
  compressor_->restore(kept.idx,
                       [&](std::size_t place, std::span<const r8> below) { take_column(below, place); });
}

/// What a row loses is about in proportion to its tolerance. At last it keeps all.
void row_maker::encode_within_accuracy() {
  constexpr int attempts = 8;
  r8 tolerance = form_.tolerance;
  for (int attempt = 1; attempt <= attempts; ++attempt) {
    compressor_->transform(computed_);
    encode_compressed(attempt < attempts ? tolerance : 0.0);
    if (loss_.one_norm <= *form_.accuracy) return;
    tolerance *= 0.9 * *form_.accuracy / loss_.one_norm;
  }
}

void row_maker::take_column(std::span<const r8> restored, std::size_t place) {
  const auto piece_of = [&](const auto& all) { return std::span(all).subspan(place, restored.size()); };
  std::ranges::copy(restored, restored_.begin() + static_cast<std::ptrdiff_t>(place));
  const row_loss of_column =
      loss_of(piece_of(computed_), restored, weights_differ_ ? piece_of(wtz_) : std::span<const r8>());
  loss_.energy += of_column.energy;
  loss_.one_norm += of_column.one_norm;
}

void row_maker::encode_dense() {
  encode_dense_row(computed_, payload_);
  stored_ = static_cast<i4>(computed_.size());
  for (std::size_t c = 0; c < restored_.size(); ++c) {
    r4 value = 0;
    std::memcpy(&value, payload_.data() + c * sizeof value, sizeof value);
    restored_[c] = value;
  }
  loss_ = loss_of(computed_, restored_, weights_differ_ ? wtz_ : std::span<const r8>());
}

void row_maker::try_models(const trial_models& models) {
  trials_ = {};
  std::vector<r8> row, lost;
  std::size_t cell = 0;
  for (i4 i = 1; i <= mesh_.ny; ++i)
    for (i4 j = 1; j <= mesh_.nx; ++j) {
      const auto below = static_cast<std::size_t>(mesh_.nz - mesh_.itop(i, j));
      row.resize(below);
      lost.resize(below);
      for (std::size_t n = 0; n < below; ++n, ++cell) {
        row[n] = wtz_[cell] * computed_[cell];
        lost[n] = wtz_[cell] * (computed_[cell] - restored_[cell]);
      }
      models.add_column(i, j, row, lost, trials_);
    }
}

}  // namespace velko
