#include "builder/row_maker.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "arrays/instruction_set.h"

namespace velko {

namespace {

/// A piece of a row, as computed and as it comes back; the weights are empty where all are 1.
struct row_piece {
  std::span<const r8> computed, restored, wtz;
  std::span<r4> rounded;  // what comes back, for those who need no more digits
};

VELKO_ALWAYS_INLINE void lose_piece(const row_piece& p, loss_sum& sum) {
  r8x8 squares = sum.squares, magnitudes = sum.magnitudes;
  std::size_t c = 0;
  const auto at = [&c](std::span<const r8> a)
                      VELKO_INLINE_BODY { return reinterpret_cast<const r8x8_mem*>(a.data() + c); };
  for (; c + 8 <= p.computed.size(); c += 8) {
    const r8x8 restored = *at(p.restored), lost = *at(p.computed) - restored;
    *reinterpret_cast<r4x8_mem*>(p.rounded.data() + c) = __builtin_convertvector(restored, r4x8);
    squares += lost * lost;
    const r8x8 unweighted = p.wtz.empty() ? lost : lost * *at(p.wtz);
    magnitudes += unweighted < 0.0 ? -unweighted : unweighted;
  }
  for (; c < p.computed.size(); ++c) {
    const r8 lost = p.computed[c] - p.restored[c];
    p.rounded[c] = static_cast<r4>(p.restored[c]);
    squares[c % 8] += lost * lost;
    magnitudes[c % 8] += std::abs(p.wtz.empty() ? lost : lost * p.wtz[c]);
  }
  sum = {squares, magnitudes};
}

void lose_sse2(const row_piece& p, loss_sum& sum) {
  lose_piece(p, sum);
}
VELKO_TARGET_AVX2 void lose_avx2(const row_piece& p, loss_sum& sum) {
  lose_piece(p, sum);
}
VELKO_TARGET_AVX512 void lose_avx512(const row_piece& p, loss_sum& sum) {
  lose_piece(p, sum);
}

void (*lose_for_machine())(const row_piece&, loss_sum&) {
  const instruction_set best = best_instruction_set();
  return best == instruction_set::avx512 ? lose_avx512
         : best == instruction_set::avx2 ? lose_avx2
                                         : lose_sse2;
}

row_loss total(const loss_sum& sum) {
  row_loss all;
  for (int lane = 0; lane < 8; ++lane) {
    all.energy += sum.squares[lane];
    all.one_norm += sum.magnitudes[lane];
  }
  return all;
}

}  // namespace

row_maker::row_maker(const mesh_state& m, const survey_state& s, const matrix_form& form,
                     std::span<const r8> wtz)
    : mesh_(m),
      form_(form),
      wtz_(wtz),
      weights_differ_(std::ranges::any_of(wtz, [](r8 w) { return w != 1.0; })),
      response_(m, s),
      computed_(static_cast<i8>(wtz.size())),
      restored_(static_cast<i8>(wtz.size())) {
  if (form.compressed()) compressor_.emplace(m, cube_around(m.ny, m.nx, m.nz));
}

void row_maker::make(i4 datum) {
  compute(datum);
  encode();
}

void row_maker::compute(i4 datum) {
  response_.begin(datum);
  norm2_ = 0.0;
  std::size_t done = 0;
  for (i4 i = 1; i <= mesh_.ny; ++i) {
    std::span<r8> plane = computed_.elements().subspan(done);
    plane = plane.first(response_.next_plane(plane));
    if (weights_differ_)
      for (std::size_t c = 0; c < plane.size(); ++c) plane[c] /= wtz_[done + c];
    norm2_ += energy_of(plane);
    if (compressor_) compressor_->lay(i, plane);
    done += plane.size();
  }
  if (!std::isfinite(norm2_)) throw value_too_large();
}

void row_maker::encode() {
  if (!compressor_)
    encode_dense();
  else if (form_.accuracy)
    encode_within_accuracy();
  else
    encode_compressed(form_.tolerance);
  if (form_.accuracy && loss_.one_norm > *form_.accuracy) throw accuracy_out_of_reach();
}

void row_maker::encode_compressed(r8 tolerance) {
  const compressed_row kept = compressor_->choose(tolerance * tolerance * norm2_);
  encode_compressed_row(kept, payload_);
  stored_ = static_cast<i4>(kept.idx.size());
  loss_sum_ = {};
  compressor_->restore(kept, [&](std::size_t place, std::span<const r8> below) { lose(below, place); });
  loss_ = total(loss_sum_);
}

/// What a row loses is about in proportion to its tolerance. At last it keeps all.
void row_maker::encode_within_accuracy() {
  constexpr int attempts = 8;
  r8 tolerance = form_.tolerance;
  for (int attempt = 1; attempt <= attempts; ++attempt) {
    if (attempt > 1) compressor_->lay_all(computed_.elements());
    encode_compressed(attempt < attempts ? tolerance : 0.0);
    if (loss_.one_norm <= *form_.accuracy) return;
    tolerance *= 0.9 * *form_.accuracy / loss_.one_norm;
  }
}

void row_maker::lose(std::span<const r8> restored, std::size_t place) {
  static const auto lose_here = lose_for_machine();
  const auto piece_of = [&](auto all) { return all.subspan(place, restored.size()); };
  lose_here({piece_of(std::as_const(computed_).elements()), restored,
             weights_differ_ ? piece_of(wtz_) : std::span<const r8>(), piece_of(restored_.elements())},
            loss_sum_);
}

void row_maker::encode_dense() {
  encode_dense_row(computed_.elements(), payload_);
  stored_ = static_cast<i4>(computed_.size());
  loss_sum_ = {};
  std::array<r4, 512> narrow{};
  std::array<r8, narrow.size()> wide{};
  for (std::size_t place = 0; place < wtz_.size(); place += narrow.size()) {
    const std::size_t here = std::min(narrow.size(), wtz_.size() - place);
    std::memcpy(narrow.data(), payload_.data() + place * sizeof(r4), here * sizeof(r4));
    std::copy_n(narrow.begin(), here, wide.begin());
    lose(std::span(wide).first(here), place);
  }
  loss_ = total(loss_sum_);
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
      const std::span<const r8> computed = computed_.elements().subspan(cell);
      const std::span<const r4> restored = this->row().subspan(cell);
      for (std::size_t n = 0; n < below; ++n, ++cell) {
        row[n] = wtz_[cell] * computed[n];
        lost[n] = wtz_[cell] * (computed[n] - restored[n]);
      }
      models.add_column(i, j, row, lost, trials_);
    }
}

}  // namespace velko
