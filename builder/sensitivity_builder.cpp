#include "builder/sensitivity_builder.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>

#include "builder/daubechies.h"
#include "builder/diagonal.h"
#include "builder/program_version.h"
#include "builder/record_writer.h"
#include "builder/row_maker.h"
#include "builder/rows_in_order.h"
#include "builder/sensitivity_writer.h"
#include "builder/trial_model.h"
#include "reports/program_stop.h"
#include "threads/team.h"
#include "wavelet/wtn_mod.h"

namespace velko {

namespace {

/// What is told of the rows, gathered in their order.
class row_account {
 public:
  void add(const row_maker& row) {
    stored_.push_back(row.stored());
    norm2_ += row.norm2();
    loss2_ += row.loss2();
    trial2_ += row.trial_datum() * row.trial_datum();
    trial_loss2_ += row.trial_loss() * row.trial_loss();
    largest_loss_ = std::max(largest_loss_, row.loss());
  }

  row_statistics statistics() {
    row_statistics all;
    if (stored_.empty()) return all;
    std::sort(stored_.begin(), stored_.end());
    all.least = stored_.front();
    all.median = stored_[(stored_.size() - 1) / 2];
    all.most = stored_.back();
    for (const i4 n : stored_) all.stored += n;
    if (norm2_ > 0.0) all.loss = std::sqrt(loss2_ / norm2_);
    all.largest_loss = largest_loss_;
    if (trial2_ > 0.0) all.deep_loss = std::sqrt(trial_loss2_ / trial2_);
    return all;
  }

 private:
  std::vector<i4> stored_;
  r8 norm2_ = 0, loss2_ = 0, largest_loss_ = 0, trial2_ = 0, trial_loss2_ = 0;
};

void make_row(row_maker& maker, i4 datum) {
  try {
    maker.make(datum);
  } catch (const value_too_large& failure) {
    stop_program(fmt::format("datum {}: {}", datum, failure.what()));
  }
}

void write_end(record_writer& out, provenance& made, diagonal& gdiag) {
  write_diagonal(out, gdiag.finish());
  made.end_stretch(out);
  if (made.is_part())
    for (const std::span<const r8> sums : gdiag.blocks_begun()) write_diagonal(out, sums);
  made.end_stretch(out);
  write_provenance(out, made);
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

i8 memory_for(const mesh_state& m, const matrix_form& form, i4 stored, int threads) {
  const cube_size cube = cube_around(m.ny, m.nx, m.nz);
  const i8 ncol = columns_of(m), ncube = i8{cube.z} * cube.x * cube.y;
  const i8 planes = i8{2} * (m.nx + 1) * (m.nz + 8) * 2;  // distances and faces on two planes of nodes
  const i8 elements = ncol + planes + (form.compressed() ? ncube + ncube / 2 : 0);
  const i8 record = i8{stored} * (form.compressed() ? 8 : 4);
  return threads * (8 * elements + record) + 4 * 8 * ncol;
}

std::string settings_of(const matrix_form& form) {
  std::string lines = fmt::format("program {}\n", program_version);
  if (form.compressed())
    lines += fmt::format("wavelet {}\ntolerance {}\n", wavelet_name(form.wfilter), form.tolerance);
  else
    lines += "dense\n";
  if (form.weights.kind == weighting::none) return lines + "weights none\n";
  lines += fmt::format("weights depth\nbeta {}\n", form.weights.beta);
  return form.weights.z0 ? lines + fmt::format("z0 {}\n", *form.weights.z0) : lines;
}

row_statistics write_sensitivity(output_file& file, const mesh_state& m, const survey_state& s,
                                 const matrix_form& form, const row_range& rows,
                                 const std::function<void(i4)>& row_is_written) {
  set_filter(form);
  const owned_array1<r8> wtz = cell_weights(m, s, form.weights);
  const owned_array1<r8> trial = trial_model(m, wtz.elements());
  record_writer out(file);
  provenance made;
  made.origin = origin_of(settings_of(form), m, s, form.weights.kind, wtz.elements());
  made.rows = rows;
  made.stations = stations_of(s, rows);
  write_geometry(out, m, rows.count(), form.wfilter, cube_around(m.ny, m.nx, m.nz), form.weights.kind,
                 wtz.elements());
  made.end_stretch(out);

  std::vector<std::unique_ptr<row_maker>> makers;  // one for each thread
  for (int thread = 0; thread < std::min(team_size(), rows.count()); ++thread)
    makers.push_back(std::make_unique<row_maker>(m, s, form, wtz.elements(), trial.elements()));
  const auto maker_of = [&](int thread) -> row_maker& { return *makers[static_cast<std::size_t>(thread)]; };
  row_account account;
  diagonal gdiag(wtz.size(), rows, made.is_part());
  const auto make = [&](i4 row, int thread) { make_row(maker_of(thread), rows.first + row); };
  const auto pass = [&](i4 stage, i4 row, int thread) {
    const row_maker& row_made = maker_of(thread);
    if (stage > 0) return gdiag.add(rows.first + row, row_made.row(), stage - 1);
    write_row(out, row_made.payload());
    made.end_stretch(out);
    made.loss.push_back(row_made.loss());
    account.add(row_made);
    row_is_written(row + 1);
  };
  rows_in_order(rows.count(), static_cast<int>(makers.size()), 1 + gdiag.pieces(), make, pass);
  write_end(out, made, gdiag);
  return account.statistics();
}

row_sample sample_rows(const mesh_state& m, const survey_state& s, const matrix_form& form, i4 count) {
  set_filter(form);
  const owned_array1<r8> wtz = cell_weights(m, s, form.weights);
  const owned_array1<r8> trial = trial_model(m, wtz.elements());
  row_maker maker(m, s, form, wtz.elements(), trial.elements());
  row_account account;
  row_sample sample;
  sample.count = std::min(count, s.ndata);
  const auto start = std::chrono::steady_clock::now();
  for (i4 n = 0; n < sample.count; ++n) {
    make_row(maker, 1 + static_cast<i4>((2 * i8{n} + 1) * s.ndata / (2 * i8{sample.count})));
    account.add(maker);
  }
  const std::chrono::duration<r8> taken = std::chrono::steady_clock::now() - start;
  sample.seconds = taken.count() / sample.count;
  sample.rows = account.statistics();
  return sample;
}

}  // namespace velko
