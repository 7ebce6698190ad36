#include "builder/sensitivity_writer.h"

#include <cmath>
#include <cstring>
#include <limits>

namespace velko {

namespace {

/// Appends to a payload whose size is settled beforehand.
class payload_cursor {
 public:
  payload_cursor(row_payload& payload, std::size_t bytes) {
    payload.resize(bytes);
    next_ = payload.data();
  }
  template <class T>
  void put(T value) {
    std::memcpy(next_, &value, sizeof value);
    next_ += sizeof value;
  }

 private:
  std::byte* next_;
};

r4 narrowed(r8 value) {
  if (!(std::abs(value) <= std::numeric_limits<r4>::max())) throw value_too_large();
  return static_cast<r4>(value);
}

}  // namespace

void encode_dense_row(std::span<const r8> row, row_payload& payload) {
  payload_cursor to(payload, row.size() * sizeof(r4));
  for (const r8 value : row) to.put(narrowed(value));
}

void encode_compressed_row(const compressed_row& row, row_payload& payload) {
  payload_cursor to(payload, sizeof(i4) + row.idx.size() * (sizeof(i4) + sizeof(r4)));
  to.put(static_cast<i4>(row.idx.size()));
  for (const i4 idx : row.idx) to.put(idx);
  for (const r8 value : row.values) to.put(narrowed(value));
}

void write_geometry(record_writer& out, const mesh_state& m, i4 ndata, std::span<const r8> wfilter,
                    const cube_size& cube, i4 wtz_kind, std::span<const r8> wtz) {
  const i4 nfilter = static_cast<i4>(wfilter.size()), ncol = static_cast<i4>(wtz.size());
  out.write({bytes_of(ndata), bytes_of(ncol), bytes_of(m.ny), bytes_of(m.nx), bytes_of(m.nz)});
  out.write({bytes_of(m.ynode.elements()), bytes_of(m.xnode.elements()), bytes_of(m.znode.elements()),
             bytes_of(m.ztop)});
  out.write({bytes_of(m.itop.elements())});
  out.write({bytes_of(nfilter), bytes_of(wfilter)});
  out.write({bytes_of(cube.y), bytes_of(cube.x), bytes_of(cube.z)});
  out.write({bytes_of(wtz_kind), bytes_of(wtz)});
}

void write_row(record_writer& out, const row_payload& payload) {
  out.write({payload});
}

void write_diagonal(record_writer& out, std::span<const r8> gdiag) {
  out.write({bytes_of(gdiag)});
}

void write_end(record_writer& out, provenance& made, diagonal& gdiag) {
  write_diagonal(out, gdiag.finish());
  made.end_stretch(out);
  if (made.is_part())
    for (const std::span<const r8> sums : gdiag.blocks_begun()) write_diagonal(out, sums);
  made.end_stretch(out);
  write_provenance(out, made);
}

}  // namespace velko
