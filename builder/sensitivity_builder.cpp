#include "builder/sensitivity_builder.h"

#include <fmt/format.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <utility>

#include "arrays/resident_memory.h"
#include "builder/daubechies.h"
#include "builder/diagonal.h"
#include "builder/program_version.h"
#include "builder/record_writer.h"
#include "builder/row_maker.h"
#include "builder/row_verification.h"
#include "builder/rows_in_order.h"
#include "builder/sensitivity_writer.h"
#include "builder/trial_models.h"
#include "reports/program_stop.h"
#include "threads/team.h"
#include "wavelet/wtn_mod.h"

namespace velko {

namespace {

/// Data spread over some rows of the survey: one of each of so many stretches of them, drawn at random and the same at each run.
/// Every n-th would run along a line where n is about the length of a grid's.
class data_sample {
 public:
  data_sample(i4 count, const survey_rows& rows) {
    count = std::min(count, rows.count());
    std::mt19937 random(1);
    const auto begin_of = [&](i4 n) { return static_cast<i4>(i8{n} * rows.count() / count); };
    for (i4 n = 0; n < count; ++n) {
      const auto length = static_cast<std::uint32_t>(begin_of(n + 1) - begin_of(n));
      data_.push_back(rows.first + begin_of(n) + static_cast<i4>(random() % length));
    }
  }

  i4 count() const { return static_cast<i4>(data_.size()); }
  i4 datum(i4 n) const { return data_[static_cast<std::size_t>(n)]; }
  bool holds(i4 datum) const { return std::ranges::binary_search(data_, datum); }

 private:
  std::vector<i4> data_;  // ascending
};

/// What is told of trial models is measured on all rows of a small survey, and on so many of a large one: the strong
/// data of a dyke lie at a tenth of the stations.
constexpr i4 rows_to_try = 400;

/// For the tolerance a few rows are made several times over.
i4 rows_to_search_by(i4 ndata) {
  return std::clamp(ndata / 16, 32, 96);
}

/// What is told of the rows, gathered in their order.
class row_account {
 public:
  void add(const row_maker& row) {
    stored_.push_back(row.stored());
    largest_one_norm_ = std::max(largest_one_norm_, row.loss().one_norm);
    norm2_ += row.norm2();
    loss2_ += row.loss().energy;
    if (row.norm2() > 0.0)
      largest_loss_ = std::max(largest_loss_, std::sqrt(row.loss().energy / row.norm2()));
  }
  void add_trials(const row_maker& row) {
    ++tried_;
    for (std::size_t model = 0; model < trial_models::count; ++model) {
      data2_[model] += row.trials().data[model] * row.trials().data[model];
      data_loss2_[model] += row.trials().lost[model] * row.trials().lost[model];
    }
  }

  row_statistics statistics() {
    row_statistics all;
    if (stored_.empty()) return all;
    all.made = static_cast<i4>(stored_.size());
    std::sort(stored_.begin(), stored_.end());
    all.least = stored_.front();
    all.median = stored_[(stored_.size() - 1) / 2];
    all.most = stored_.back();
    for (const i4 n : stored_) all.stored += n;
    if (norm2_ > 0.0) all.loss = std::sqrt(loss2_ / norm2_);
    all.largest_loss = largest_loss_;
    all.largest_one_norm = largest_one_norm_;
    add_trials_to(all);
    return all;
  }

 private:
  void add_trials_to(row_statistics& all) const {
    all.tried = tried_;
    for (std::size_t model = 0; model < trial_models::count; ++model) {
      if (!(data2_[model] > 0.0)) continue;
      const r8 error = std::sqrt(data_loss2_[model] / data2_[model]);
      all.trials.push_back({trial_models::names[model], error});
      all.worst_trial = std::max(all.worst_trial, error);
    }
  }

  std::vector<i4> stored_;
  r8 norm2_ = 0, loss2_ = 0, largest_loss_ = 0, largest_one_norm_ = 0;
  i4 tried_ = 0;
  std::array<r8, trial_models::count> data2_{}, data_loss2_{};
};

void make_row(row_maker& maker, i4 datum) {
  try {
    maker.make(datum);
  } catch (const std::range_error& failure) {
    stop_program(fmt::format("datum {}: {}", datum, failure.what()));
  }
}

/// Makers for so many threads, or for as many as there are rows.
std::vector<std::unique_ptr<row_maker>> makers_for(i4 rows, const mesh_state& m, const survey_state& s,
                                                   const matrix_form& form, std::span<const r8> wtz) {
  std::vector<std::unique_ptr<row_maker>> makers;
  for (int thread = 0; thread < std::min(team_size(), rows); ++thread)
    makers.push_back(std::make_unique<row_maker>(m, s, form, wtz));
  return makers;
}

/// The transform is told the filter, where there is one.
void set_filter(const matrix_form& form) {
  if (form.compressed()) SET_WTN_FILTER(form.wfilter, static_cast<i4>(form.wfilter.size()));
}

}  // namespace

i4 columns_of(const mesh_state& m) {
  i4 columns = 0;
  for (const i4 itop : m.itop.elements()) columns += m.nz - itop;
  return columns;
}

std::string settings_of(const matrix_form& form) {
  std::string lines = fmt::format("program {}\n", program_version());
  if (form.compressed())
    lines += fmt::format("wavelet {}\ntolerance {}\n", wavelet_name(form.wfilter), form.tolerance);
  else
    lines += "dense\n";
  if (form.accuracy) lines += fmt::format("accuracy {}\n", *form.accuracy);
  lines += fmt::format("weights {}\n", weighting_names[static_cast<std::size_t>(form.weights.kind)]);
  if (!form.weights.by_depth()) return lines;
  lines += fmt::format("beta {}\n", form.weights.beta);
  return form.weights.z0 ? lines + fmt::format("z0 {}\n", *form.weights.z0) : lines;
}

row_statistics write_sensitivity(record_writer& out, const mesh_state& m, const survey_state& s,
                                 const matrix_form& form, const survey_rows& rows,
                                 const std::function<void(i4)>& row_is_written, i4 rows_to_verify,
                                 run_notes* notes) {
  set_filter(form);
  const owned_array1<r8> wtz = cell_weights(m, s, form.weights);
  const trial_models trials(m, s);
  provenance made;
  made.origin = origin_of(settings_of(form), m, s, form.weights.kind, wtz.elements());
  made.rows = rows;
  made.stations = stations_of(s, rows);
  diagonal gdiag(wtz.size(), rows, made.is_part());
  const i4 there = notes != nullptr ? notes->restore(made, gdiag) : 0;
  out.go_on_at(made.begin.back());
  if (out.position() == 0) {
    write_geometry(out, m, rows.count(), form.wfilter, cube_around(m.ny, m.nx, m.nz), form.weights.kind,
                   wtz.elements());
    made.end_stretch(out);
  }

  const survey_rows left{rows.first + there, rows.last};
  const data_sample tried(rows_to_try, left), verified(rows_to_verify, left);
  auto makers = makers_for(left.count(), m, s, form, wtz.elements());
  const auto maker_of = [&](int thread) -> row_maker& { return *makers[static_cast<std::size_t>(thread)]; };
  row_account account;
  std::vector<row_payload> records_to_verify;
  const auto make = [&](i4 row, int thread) {
    make_row(maker_of(thread), left.first + row);
    if (tried.holds(left.first + row)) maker_of(thread).try_models(trials);
  };
  const auto pass = [&](i4 stage, i4 row, int thread) {
    const row_maker& row_made = maker_of(thread);
    const i4 datum = left.first + row;
    if (stage > 0) {
      gdiag.add(datum, row_made.row(), stage - 1);
      if (notes != nullptr) notes->note_piece(datum, stage - 1, gdiag);
      return;
    }
    write_row(out, row_made.payload());
    made.end_stretch(out);
    made.loss.push_back(row_made.loss().one_norm);
    account.add(row_made);
    if (tried.holds(datum)) account.add_trials(row_made);
    if (verified.holds(datum)) records_to_verify.push_back(row_made.payload());
    if (notes != nullptr) notes->begin(datum, made);
    row_is_written(there + row + 1);
  };
  if (left.count() > 0)
    rows_in_order(left.count(), static_cast<int>(makers.size()), 1 + gdiag.pieces(), make, pass);
  makers.clear();
  write_end(out, made, gdiag);

  row_statistics all = account.statistics();
  if (verified.count() == 0) return all;
  row_verifier verifier(m, s, form, wtz.elements());
  for (i4 n = 0; n < verified.count(); ++n) {
    const i4 datum = verified.datum(n);
    verifier.verify(datum, records_to_verify[static_cast<std::size_t>(n)],
                    made.loss[static_cast<std::size_t>(datum - rows.first)]);
  }
  all.verified = verifier.result();
  return all;
}

row_sample sample_rows(const mesh_state& m, const survey_state& s, const matrix_form& form) {
  constexpr i4 few = 24;
  set_filter(form);
  const owned_array1<r8> wtz = cell_weights(m, s, form.weights);
  const trial_models trials(m, s);
  malloc_trim(0);  // what earlier steps have freed is none of a maker's
  const i8 before = resident_memory();
  row_maker maker(m, s, form, wtz.elements());
  row_account account;
  const data_sample data(few, {1, s.ndata});
  row_sample sample;
  sample.compressed = form.compressed();
  for (i4 n = 0; n < data.count(); ++n) {
    const i4 datum = data.datum(n);
    const auto start = std::chrono::steady_clock::now();
    make_row(maker, datum);
    sample.seconds +=
        std::chrono::duration<r8>(std::chrono::steady_clock::now() - start).count() / data.count();
    maker.try_models(trials);
    account.add(maker);
    account.add_trials(maker);
  }
  sample.rows = account.statistics();
  sample.bytes = resident_memory();
  sample.bytes_of_maker = sample.bytes - before;
  return sample;
}

i8 memory_for(const mesh_state& m, const survey_state& s, const survey_rows& rows, const row_sample& sample,
              int threads) {
  constexpr i8 bytes_of_row = 12 * sizeof(r8);  // of its station, its place and its loss
  const bool is_part = rows.count() != s.ndata;
  // A part adds its blocks up at the end, when the cubes of the makers are gone.
  const i8 sums = is_part && sample.compressed ? 0 : 1;
  const i8 vectors = sums + diagonal::blocks_kept(rows, is_part);
  const i8 others = std::min(threads, rows.count()) - 1;
  const i8 needed = sample.bytes + others * sample.bytes_of_maker + vectors * columns_of(m) * i8{sizeof(r8)} +
                    rows.count() * bytes_of_row;
  return std::max(needed, most_resident_memory());
}

namespace {

/// Two digits, as people write it, and not above.
r8 rounded_down(r8 tolerance) {
  const r8 nearest = std::stod(fmt::format("{:.1e}", tolerance));
  return nearest <= tolerance ? nearest : std::stod(fmt::format("{:.1e}", tolerance * 0.95));
}

/// Rows made with each tolerance that is asked for.
class tolerance_search {
 public:
  tolerance_search(const mesh_state& m, const survey_state& s, const matrix_form& form, r8 trial_error)
      : form_(form),
        wtz_(cell_weights(m, s, form.weights)),
        trials_(m, s),
        data_(form.accuracy ? 4 : rows_to_search_by(s.ndata), {1, s.ndata}),
        trial_error_(trial_error) {
    accuracy_ = std::exchange(form_.accuracy, std::nullopt);
    makers_ = makers_for(data_.count(), m, s, form_, wtz_.elements());
  }

  /// By what factor the goal is missed: 1 where it is just met.
  r8 miss(r8 tolerance) {
    form_.tolerance = tolerance;
    row_account account;
    const auto make = [&](i4 n, int thread) {
      row_maker& maker = *makers_[static_cast<std::size_t>(thread)];
      make_row(maker, data_.datum(n));
      if (!accuracy_) maker.try_models(trials_);
    };
    const auto pass = [&](i4, i4, int thread) {
      const row_maker& made = *makers_[static_cast<std::size_t>(thread)];
      account.add(made);
      if (!accuracy_) account.add_trials(made);
    };
    rows_in_order(data_.count(), static_cast<int>(makers_.size()), 1, make, pass);
    const row_statistics all = account.statistics();
    return accuracy_ ? all.largest_one_norm / *accuracy_ : all.worst_trial / trial_error_;
  }

 private:
  matrix_form form_;  // without the accuracy: its makers look at the tolerance alone
  std::optional<r8> accuracy_;
  owned_array1<r8> wtz_;
  trial_models trials_;
  data_sample data_;
  r8 trial_error_;
  std::vector<std::unique_ptr<row_maker>> makers_;
};

}  // namespace

r8 tolerance_for(const mesh_state& m, const survey_state& s, const matrix_form& form, r8 trial_error) {
  // Rows and bodies that are not tried may do worse.
  constexpr r8 first = 1e-3, largest = 0.1, aim = 0.7, near_enough = 0.5, between = 0.6;
  constexpr int rounds = 8;
  set_filter(form);
  tolerance_search search(m, s, form, trial_error);
  r8 tolerance = first, found = 0.0;
  for (int round = 0; round < rounds; ++round) {
    const r8 miss = search.miss(tolerance);
    if (miss <= aim) found = std::max(found, tolerance);
    if (miss <= aim && (miss >= near_enough || tolerance == largest)) break;
    // What is lost is about in proportion to the tolerance, and jumps where a coefficient goes.
    const r8 factor = miss > 0.0 ? between / miss : 10.0;
    const r8 next = rounded_down(std::min(tolerance * std::clamp(factor, 0.05, 10.0), largest));
    if (next <= found || next == tolerance) break;
    tolerance = next;
  }
  return found;
}

}  // namespace velko
