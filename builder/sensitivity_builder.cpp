#include "builder/sensitivity_builder.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "builder/daubechies.h"
#include "builder/parallel_rows.h"
#include "builder/row_compression.h"
#include "builder/sensitivity_writer.h"
#include "builder/survey_response.h"
#include "tool/program_stop.h"
#include "wavelet/wtn_mod.h"

namespace velko {

namespace {

/// What one thread needs to make rows.
struct row_maker {
  row_maker(const mesh_state& m, const survey_state& s, const matrix_form& form, const cube_size& cube)
      : response(m, s) {
    if (form.nfilter > 0) compressor.emplace(m, cube, form.tolerance);
  }

  void make(i4 datum, std::span<r8> row, row_payload& payload) {
    response.row(datum, row);
    if (compressor)
      encode_compressed_row(compressor->compress(row), payload);
    else
      encode_dense_row(row, payload);
  }

  survey_response response;
  std::optional<row_compressor> compressor;  // empty in the dense form
};

/// Consecutive rows, as computed and as the file holds them.
class row_block {
 public:
  row_block(i4 ncol, i4 ndata) : payloads_(static_cast<std::size_t>(rows_that_fit(ncol, ndata))) {
    rows_ = owned_array2<r8>(uninitialised, ncol, rows());
  }

  i4 rows() const { return static_cast<i4>(payloads_.size()); }
  std::span<r8> row(i4 n) { return {&rows_(1, n + 1), static_cast<std::size_t>(rows_.extent(1))}; }
  row_payload& payload(i4 n) { return payloads_[static_cast<std::size_t>(n)]; }

 private:
  /// As many as 64 MiB hold, but enough to keep a large machine busy.
  static i4 rows_that_fit(i4 ncol, i4 ndata) {
    constexpr i8 block_bytes = i8{64} << 20;
    const i8 fit = block_bytes / (std::max(i8{ncol}, i8{1}) * i8{sizeof(r8)});
    return std::min(ndata, static_cast<i4>(std::max(fit, i8{2} * omp_get_max_threads())));
  }

  owned_array2<r8> rows_;  // (ncol, rows)
  std::vector<row_payload> payloads_;
};

/// Makes the rows of one block after the other; each step works on the data first, first + 1, ..., `count` of them.
class row_stream {
 public:
  row_stream(const mesh_state& m, const survey_state& s, const matrix_form& form, const matrix_summary& sizes)
      : block_(sizes.ncol, sizes.ndata), gdiag_(sizes.ncol) {
    for (int thread = 0; thread < omp_get_max_threads(); ++thread)
      makers_.push_back(std::make_unique<row_maker>(m, s, form, sizes.cube));
  }

  i4 block_rows() const { return block_.rows(); }
  row_payload& payload(i4 n) { return block_.payload(n); }
  std::span<const r8> gdiag() const { return gdiag_.elements(); }

  void make_rows(i4 first, i4 count) {
    parallel_rows(count, [&](i4 n, int thread) {
      try {
        makers_[static_cast<std::size_t>(thread)]->make(first + n, block_.row(n), block_.payload(n));
      } catch (const value_too_large& failure) {
        stop_program(fmt::format("velkmtx: datum {}: {}", first + n, failure.what()));
      }
    });
  }

  /// Each cell sums its squares in the order of the data, whatever the blocks and threads.
  void add_squares(i4 count) {
    constexpr i4 cells_at_a_time = 4096;  // their sums stay in the nearest cache while the rows pass
    const std::size_t ncol = static_cast<std::size_t>(gdiag_.size());
    const i4 chunks = static_cast<i4>((gdiag_.size() + cells_at_a_time - 1) / cells_at_a_time);
#pragma omp parallel for schedule(static)
    for (i4 chunk = 0; chunk < chunks; ++chunk) {
      const std::size_t begin = static_cast<std::size_t>(chunk) * cells_at_a_time;
      const std::size_t end = std::min(begin + cells_at_a_time, ncol);
      for (i4 n = 0; n < count; ++n) {
        const r8* g = block_.row(n).data();
        for (std::size_t c = begin; c < end; ++c) gdiag_.data()[c] += g[c] * g[c];
      }
    }
  }

 private:
  row_block block_;
  owned_array1<r8> gdiag_;
  std::vector<std::unique_ptr<row_maker>> makers_;  // one for each thread
};

i8 values_in(const row_payload& payload, const matrix_form& form) {
  const i8 bytes = static_cast<i8>(payload.size());
  return form.nfilter > 0 ? (bytes - 4) / 8 : bytes / 4;
}

/// The filter of the form, which the transform is told too; none when dense.
std::vector<r8> set_filter(const matrix_form& form) {
  if (form.nfilter <= 0) return {};
  std::vector<r8> wfilter = daubechies_filter(form.nfilter);
  SET_WTN_FILTER(wfilter, form.nfilter);
  return wfilter;
}

}  // namespace

matrix_summary write_sensitivity(output_file& file, const mesh_state& m, const survey_state& s,
                                 const matrix_form& form) {
  matrix_summary sizes{s.ndata, m.nx * m.ny * m.nz, cube_around(m.ny, m.nx, m.nz)};
  record_writer out(file);
  write_geometry(out, m, sizes.ndata, sizes.ncol, set_filter(form), sizes.cube);

  row_stream stream(m, s, form, sizes);
  for (i4 done = 0; done < s.ndata;) {
    const i4 count = std::min(stream.block_rows(), s.ndata - done);
    stream.make_rows(done + 1, count);
    for (i4 n = 0; n < count; ++n) {
      write_row(out, stream.payload(n));
      sizes.stored += values_in(stream.payload(n), form);
    }
    stream.add_squares(count);
    done += count;
  }
  write_diagonal(out, stream.gdiag());
  return sizes;
}

}  // namespace velko
