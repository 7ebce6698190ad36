#include "builder/input_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <string_view>

#include "builder/cube_size.h"
#include "reports/program_stop.h"

namespace velko {

namespace {

template <class... values>
[[noreturn]] void refuse(fmt::format_string<values...> words, values&&... v) {
  stop_program("velkmtx: " + fmt::format(words, std::forward<values>(v)...));
}

bool product_fits(i4 a, i4 b, i4 c) {
  i4 product = 0;
  return !__builtin_mul_overflow(a, b, &product) && !__builtin_mul_overflow(product, c, &product);
}

void check_counts(const mesh_state& m) {
  if (m.nx < 1 || m.ny < 1 || m.nz < 1)
    refuse("the mesh has {} x {} x {} cells; each count should be at least 1", m.nx, m.ny, m.nz);
  if (!product_fits(m.nx, m.ny, m.nz))
    refuse("the mesh has {} x {} x {} cells, more than 32 bits can count", m.nx, m.ny, m.nz);
}

void check_cube(const mesh_state& m) {
  constexpr i4 highest_power = i4{1} << 30;
  const bool powers_fit = m.nx <= highest_power && m.ny <= highest_power && m.nz <= highest_power;
  const cube_size cube = powers_fit ? cube_around(m.ny, m.nx, m.nz) : cube_size{};
  if (!powers_fit || !product_fits(cube.x, cube.y, cube.z))
    refuse("the cube of powers of two around {} x {} x {} cells has more elements than 32 bits can count",
           m.nx, m.ny, m.nz);
}

void check_edges(std::string_view axis, std::span<const r8> width, std::span<const r8> node) {
  for (std::size_t n = 0; n < width.size(); ++n) {
    if (!(width[n] > 0.0)) refuse("width {} along {} is {}; it should be positive", n + 1, axis, width[n]);
    if (!(node[n + 1] > node[n] && std::isfinite(node[n + 1])))
      refuse("cell {} along {} vanishes between its edges {} and {}", n + 1, axis, node[n], node[n + 1]);
  }
}

/// First and last interval, from 1, of ascending nodes that holds a value, its ends included; last < first if none does.
struct intervals {
  i4 first, last;
};
intervals holding(std::span<const r8> nodes, r8 value) {
  const auto from = std::lower_bound(nodes.begin(), nodes.end(), value) - nodes.begin();
  const auto to = std::upper_bound(nodes.begin(), nodes.end(), value) - nodes.begin();
  return {static_cast<i4>(std::max<std::ptrdiff_t>(from, 1)),
          static_cast<i4>(std::min(to, std::ssize(nodes) - 1))};
}

bool in_or_on_a_cell(const mesh_state& m, r8 x, r8 y, r8 z) {
  const intervals along_x = holding(m.xnode.elements(), x), along_y = holding(m.ynode.elements(), y),
                  down = holding(m.znode.elements(), m.ztop - z);
  for (i4 i = along_y.first; i <= along_y.last; ++i)
    for (i4 j = along_x.first; j <= along_x.last; ++j)
      if (down.first <= down.last && down.last > m.itop(i, j)) return true;
  return false;
}

void check_datum(const survey_state& s, i4 i) {
  const r8 x = s.xobs(i), y = s.yobs(i), z = s.zobs(i);
  if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z))
    refuse("datum {} has the position ({}, {}, {}), which is not finite", i, x, y, z);
  if (s.idir == 0 && !(std::isfinite(s.aincl_obs(i)) && std::isfinite(s.adecl_obs(i))))
    refuse("datum {} has the direction ({}, {}), which is not finite", i, s.aincl_obs(i), s.adecl_obs(i));
}

}  // namespace

void check_mesh(const mesh_state& m) {
  check_counts(m);
  check_cube(m);
  check_edges("x", m.dx.elements(), m.xnode.elements());
  check_edges("y", m.dy.elements(), m.ynode.elements());
  check_edges("z", m.dz.elements(), m.znode.elements());
  if (!std::isfinite(m.ztop)) refuse("the top of the mesh is at {}, which is not finite", m.ztop);
}

void check_surface(const mesh_state& m) {
  for (const i4 itop : m.itop.elements())
    if (itop < m.nz) return;
  refuse("no cell of the mesh lies below the surface");
}

void check_survey(const survey_state& s) {
  for (const r8 value : {s.incl, s.decl, s.geomag, s.aincl, s.adecl})
    if (!std::isfinite(value)) refuse("the header of the location file holds {}, which is not finite", value);
  for (i4 i = 1; i <= s.ndata; ++i) check_datum(s, i);
}

i4 first_datum_in_cells(const survey_state& s, const mesh_state& m) {
  for (i4 i = 1; i <= s.ndata; ++i)
    if (in_or_on_a_cell(m, s.xobs(i), s.yobs(i), s.zobs(i))) return i;
  return 0;
}

i4 count_data_in_cells(const survey_state& s, const mesh_state& m) {
  i4 count = 0;
  for (i4 i = 1; i <= s.ndata; ++i)
    if (in_or_on_a_cell(m, s.xobs(i), s.yobs(i), s.zobs(i))) ++count;
  return count;
}

}  // namespace velko
