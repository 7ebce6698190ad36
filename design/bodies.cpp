#include "design/bodies.h"

#include <fmt/format.h>

#include <cmath>
#include <numbers>
#include <span>

#include "files/line_reader.h"
#include "files/text_input.h"
#include "reports/program_stop.h"
#include "text/number_layout.h"
#include "text/number_text.h"

namespace velko {

namespace {

constexpr std::array<point, 3> upright{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

/// A line of text, to be taken apart; every complaint names it and its place.
class body_line {
 public:
  body_line(std::string_view text, std::string_view where) : text_(text), where_(where), rest_(text) {}

  [[noreturn]] void refuse(const std::string& complaint) const {
    stop_program(fmt::format("velkmtx: {}: '{}' {}", where_, text_, complaint));
  }

  std::string_view word() {
    constexpr auto blanks = " \t";
    rest_.remove_prefix(std::min(rest_.find_first_not_of(blanks), rest_.size()));
    const std::string_view found = rest_.substr(0, rest_.find_first_of(blanks));
    rest_.remove_prefix(found.size());
    return found;
  }

  /// The rest of the line, which has to be so many finite numbers.
  template <std::size_t count>
  std::array<r8, count> numbers(std::string_view names) {
    std::array<r8, count> values{};
    bool good = true;
    for (r8& value : values) good = good && is_number(word(), value) && std::isfinite(value);
    if (!good || !word().empty()) refuse(fmt::format("should be {}", names));
    return values;
  }

  std::string text() const { return std::string(text_); }

 private:
  std::string_view text_, where_, rest_;
};

body block_of(body_line& line) {
  const auto [west, east, south, north, bottom, top, value] =
      line.numbers<7>("block WEST EAST SOUTH NORTH BOTTOM TOP VALUE");
  if (!(west < east && south < north && bottom < top)) line.refuse("has two sides in the wrong order");
  const point centre{(west + east) / 2, (south + north) / 2, (bottom + top) / 2};
  return {centre, upright, {east - centre[0], north - centre[1], top - centre[2]}, false, value, line.text()};
}

body sphere_of(body_line& line) {
  const auto [x, y, z, radius, value] = line.numbers<5>("sphere X Y ELEVATION RADIUS VALUE");
  if (!(radius > 0.0)) line.refuse("has a radius that is not positive");
  return {{x, y, z}, upright, {radius, radius, radius}, true, value, line.text()};
}

body dyke_of(body_line& line) {
  const auto [x, y, z, strike, dip, length, thickness, extent, value] =
      line.numbers<9>("dyke X Y ELEVATION STRIKE DIP LENGTH THICKNESS EXTENT VALUE");
  if (!(length > 0.0 && thickness > 0.0 && extent > 0.0)) line.refuse("has a side that is not positive");
  if (!(0.0 <= dip && dip <= 90.0)) line.refuse("has a dip that is not from 0 to 90");
  constexpr r8 degree = std::numbers::pi / 180;
  const r8 sin_s = std::sin(strike * degree), cos_s = std::cos(strike * degree);
  const r8 sin_d = std::sin(dip * degree), cos_d = std::cos(dip * degree);
  const point along{sin_s, cos_s, 0}, down{cos_s * cos_d, -sin_s * cos_d, -sin_d},
      across{cos_s * sin_d, -sin_s * sin_d, cos_d};
  const r8 half = extent / 2;
  const point centre{x + half * down[0], y + half * down[1], z + half * down[2]};
  return {centre, {along, down, across}, {length / 2, half, thickness / 2}, false, value, line.text()};
}

}  // namespace

bool body::holds(const point& p) const {
  r8 farthest = 0, squares = 0;
  for (std::size_t a = 0; a < 3; ++a) {
    r8 u = 0;
    for (std::size_t d = 0; d < 3; ++d) u += axes[a][d] * (p[d] - centre[d]);
    u /= half_widths[a];
    farthest = std::max(farthest, std::abs(u));
    squares += u * u;
  }
  return (is_round ? squares : farthest) <= 1.0;
}

point body::reach() const {
  point half{};
  for (std::size_t d = 0; d < 3; ++d)
    for (std::size_t a = 0; a < 3; ++a) half[d] += std::abs(axes[a][d]) * half_widths[a];
  return half;
}

void add_body(std::string_view text, std::string_view where, body_list& to) {
  body_line line(text, where);
  const std::string_view kind = line.word();
  if (kind == "background")
    to.background = line.numbers<1>("background VALUE")[0];
  else if (kind == "block")
    to.bodies.push_back(block_of(line));
  else if (kind == "sphere")
    to.bodies.push_back(sphere_of(line));
  else if (kind == "dyke")
    to.bodies.push_back(dyke_of(line));
  else
    line.refuse("should begin with block, sphere, dyke or background");
}

void add_body_file(const std::string& file_name, body_list& to) {
  text_input unit1(file_name, "body");
  std::array<char, 1000> line{};
  i4 line_number = 0;
  while (read_next_line(unit1, line, &line_number)) {
    strip_comment(line);
    const std::string_view text = without_trailing_blanks({line.data(), line.size()});
    if (!text.empty()) add_body(text, fmt::format("{} line {}", file_name, line_number), to);
  }
}

}  // namespace velko
