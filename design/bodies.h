/// Bodies: simple shapes in the ground, each with a value, as a line of text tells them.
///
/// Lines    block WEST EAST SOUTH NORTH BOTTOM TOP VALUE
///          sphere X Y ELEVATION RADIUS VALUE              of the centre
///          dyke X Y ELEVATION STRIKE DIP LENGTH THICKNESS EXTENT VALUE
///                                                         of the middle of the upper end; see below
///          background VALUE                               of the ground around the bodies
/// Dyke     a slab: LENGTH along STRIKE (degrees clockwise from north, which is +y), EXTENT down the dip, THICKNESS
///          square to both. It dips to the right of somebody who looks along the strike, by DIP degrees from 0, flat,
///          to 90, upright
/// Units    positions and lengths those of the mesh, elevations upward
/// Order    where bodies overlap, the later one counts
/// Errors   the program stop with one line that says where the culprit stands
/// See      docs/formats/body_file.md
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "arrays/numbers.h"

namespace velko {

using point = std::array<r8, 3>;  // east, north, up

/// The cube or the ball of half-width 1, stretched along its own axes, turned, and moved to its centre.
struct body {
  point centre;
  std::array<point, 3> axes;  // unit vectors, square to one another
  point half_widths;          // along the axes
  bool is_round;
  r8 value;
  std::string words;  // the line that it came from

  bool holds(const point& p) const;
  /// Half-widths along east, north and up of the box around the body.
  point reach() const;
};

struct body_list {
  std::vector<body> bodies;
  std::optional<r8> background;
};

/// Adds what the line says; `where` names its place in an error.
void add_body(std::string_view line, std::string_view where, body_list& to);

/// Adds every line of a file. A '!' begins a comment; blank lines say nothing.
void add_body_file(const std::string& file_name, body_list& to);

}  // namespace velko
