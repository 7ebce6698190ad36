/// Sensitivity writer: the records of a sensitivity file, each by its name, in the order of the file.
///
/// What     write_geometry writes the records ahead of the rows, write_row one row as an encoder left it,
///          write_diagonal the last record
/// Shapes   wfilter(nfilter), empty for the dense form; wtz(ncol); a row payload is `ncol` r4 (dense), or nnz, idx(nnz),
///          val(nnz) (compressed)
/// Errors   those of output_file; value_too_large from the encoders
/// See      docs/formats/sensitivity_file.md
#pragma once

#include <span>
#include <stdexcept>
#include <vector>

#include "builder/cube_size.h"
#include "builder/diagonal.h"
#include "builder/provenance.h"
#include "builder/record_writer.h"
#include "builder/row_compression.h"
#include "store/state.h"

namespace velko {

using row_payload = std::vector<std::byte>;

/// A value of G that a 32-bit float can't hold.
struct value_too_large : std::range_error {
  value_too_large() : std::range_error("a value of G is too large for a 32-bit float") {}
};

void encode_dense_row(std::span<const r8> row, row_payload& payload);
void encode_compressed_row(const compressed_row& row, row_payload& payload);

/// Header, mesh block, surface index, filter, cube size and weights, as many of those as G has columns.
void write_geometry(record_writer& out, const mesh_state& m, i4 ndata, std::span<const r8> wfilter,
                    const cube_size& cube, i4 wtz_kind, std::span<const r8> wtz);
void write_row(record_writer& out, const row_payload& payload);
void write_diagonal(record_writer& out, std::span<const r8> gdiag);

/// What stands behind the rows: the diagonal and, in a part, its sums over blocks, and the provenance, which lacks only
/// these stretches.
void write_end(record_writer& out, provenance& made, diagonal& gdiag);

}  // namespace velko
