#include "exchange/model_text.h"

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "exchange/text_pieces.h"

namespace velko {

namespace {

/// RFC 4648.
std::string base64(std::span<const std::byte> bytes) {
  constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t n = 0; n < bytes.size(); n += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - n);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k)
      group = group << 8 | (k < count ? std::to_integer<std::uint32_t>(bytes[n + k]) : 0U);
    for (std::size_t k = 0; k < 4; ++k) text += k <= count ? letters[group >> (18 - 6 * k) & 63U] : '=';
  }
  return text;
}

/// Values behind their length in bytes; `kind` is VTK's word for their type.
template <class number>
void add_array(text_pieces& text, const char* kind, const char* name, const std::vector<number>& values) {
  const std::uint64_t length = values.size() * sizeof(number);
  std::vector<std::byte> bytes(sizeof length + length);
  std::memcpy(bytes.data(), &length, sizeof length);
  if (length > 0) std::memcpy(bytes.data() + sizeof length, values.data(), length);
  text.add("<DataArray type=\"{}\" Name=\"{}\" format=\"binary\">{}</DataArray>\n", kind, name,
           base64(bytes));
}

/// cell(i, j, k) for all cells with x fastest, then y, then z upward.
template <class number, class function>
std::vector<number> in_vtk_order(const mesh_state& m, function&& cell) {
  std::vector<number> values;
  values.reserve(static_cast<std::size_t>(m.nx) * static_cast<std::size_t>(m.ny) *
                 static_cast<std::size_t>(m.nz));
  for (i4 k = m.nz; k >= 1; --k)
    for (i4 i = 1; i <= m.ny; ++i)
      for (i4 j = 1; j <= m.nx; ++j) values.push_back(cell(i, j, k));
  return values;
}

std::vector<r8> elevations_upward(const mesh_state& m) {
  std::vector<r8> edges;
  for (i8 k = m.znode.size(); k >= 1; --k) edges.push_back(m.ztop - m.znode(k));
  return edges;
}

std::vector<r8> copy_of(const owned_array1<r8>& values) {
  return {values.begin(), values.end()};
}

bool has_surface(const mesh_state& m) {
  return m.itop.size() > 0;
}

}  // namespace

void write_vtr(output_file& file, const mesh_state& m, array3<const r8> model) {
  text_pieces text(file);
  const std::string extent = fmt::format("0 {} 0 {} 0 {}", m.nx, m.ny, m.nz);
  text.add(
      "<?xml version=\"1.0\"?>\n"
      "<VTKFile type=\"RectilinearGrid\" version=\"1.0\" byte_order=\"LittleEndian\" "
      "header_type=\"UInt64\">\n"
      "<RectilinearGrid WholeExtent=\"{}\">\n<Piece Extent=\"{}\">\n<CellData Scalars=\"susceptibility\">\n",
      extent, extent);
  add_array(text, "Float64", "susceptibility",
            in_vtk_order<r8>(m, [&](i4 i, i4 j, i4 k) { return model(k, j, i); }));
  if (has_surface(m))
    add_array(text, "UInt8", "ground", in_vtk_order<std::uint8_t>(m, [&](i4 i, i4 j, i4 k) {
                return static_cast<std::uint8_t>(k > m.itop(i, j));
              }));
  text.add("</CellData>\n<Coordinates>\n");
  add_array(text, "Float64", "x", copy_of(m.xnode));
  add_array(text, "Float64", "y", copy_of(m.ynode));
  add_array(text, "Float64", "elevation", elevations_upward(m));
  text.add("</Coordinates>\n</Piece>\n</RectilinearGrid>\n</VTKFile>\n");
  text.flush();
}

void write_xyz(output_file& file, const mesh_state& m, array3<const r8> model, char separator) {
  text_pieces text(file);
  if (separator == ',') text.add("x,y,elevation,susceptibility\n");
  for (i4 i = 1; i <= m.ny; ++i)
    for (i4 j = 1; j <= m.nx; ++j)
      for (i4 k = has_surface(m) ? m.itop(i, j) + 1 : 1; k <= m.nz; ++k) {
        const r8 x = (m.xnode(j) + m.xnode(j + 1)) / 2, y = (m.ynode(i) + m.ynode(i + 1)) / 2,
                 elevation = m.ztop - (m.znode(k) + m.znode(k + 1)) / 2;
        text.add("{1}{0}{2}{0}{3}{0}{4}\n", separator, x, y, elevation, model(k, j, i));
      }
  text.flush();
}

}  // namespace velko
