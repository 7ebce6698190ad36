/// velkmtx mesh: a mesh file for a survey and the ground below it.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "builder/cube_size.h"
#include "builder/input_checks.h"
#include "builder/text_diagnosis.h"
#include "design/mesh_design.h"
#include "design/text_writer.h"
#include "files/data_file.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "topography/topography_file.h"
#include "velkmtx/commands.h"
#include "velkmtx/options.h"
#include "velkmtx/whole_file.h"

namespace velko {

namespace {

constexpr auto what_it_does = "writes a mesh file for a survey and the ground below it";

constexpr auto example =
    "\nExamples: cells of 25 m x 25 m x 10 m below the stations of survey.loc, in the terrain of "
    "survey.topography:\n\n"
    "  velkmtx mesh survey.mesh --cell 25,25,10 --locations survey.loc --topography survey.topography\n\n"
    "The same where there is no topography file, and the stations were 30 m above ground:\n\n"
    "  velkmtx mesh survey.mesh --cell 25,25,10 --locations survey.loc --clearance 30\n\n"
    "The core covers the area, and the ground from its highest elevation, which is the top of the mesh,\n"
    "to the depth below its lowest. Core edges are whole multiples of the cell widths.";

struct mesh_options {
  std::string output_file, location_file, topography_file;
  std::vector<r8> cell, extent, ground;
  r8 clearance = 0.0, depth = 0.0;  // a depth of 0: not given
  padding around{6, 1.4, false};
};

interval range_of(const owned_array1<r8>& values, std::string_view axis) {
  for (i8 n = 1; n <= values.size(); ++n)
    if (!std::isfinite(values(n)))
      stop_program(fmt::format("velkmtx: datum {} lies at {} = {}, which is not finite", n, axis, values(n)));
  const auto [low, high] = std::minmax_element(values.begin(), values.end());
  return {*low, *high};
}

/// What the core has to hold. The ground is not known yet where a topography file tells it.
struct survey_space {
  interval x, y;
  std::optional<interval> ground;
};

survey_space space_of_stations(const mesh_options& options) {
  read_or_explain([&] { read_data_file(options.location_file, false); },
                  [&] { return explain_data_file(options.location_file); });
  const interval z = range_of(survey.zobs, "z");
  return {range_of(survey.xobs, "x"),
          range_of(survey.yobs, "y"),
          {{z.low - options.clearance, z.high - options.clearance}}};
}

survey_space space_of_points(const std::string& topography_file) {
  bounding_box box;
  read_or_explain([&] { box = read_extent_of_topography(topography_file); },
                  [&] { return explain_topography_file(topography_file); });
  if (box.min_x > box.max_x) stop_program("velkmtx: " + topography_file + " has no points");
  return {{box.min_x, box.max_x}, {box.min_y, box.max_y}, {}};
}

/// Each option is looked at in the order of its weight.
survey_space space_of(const mesh_options& options) {
  const bool has_topography = !options.topography_file.empty();
  survey_space space{};
  if (!options.location_file.empty())
    space = space_of_stations(options);
  else if (options.extent.empty())
    space = space_of_points(options.topography_file);
  if (!options.extent.empty()) {
    space.x = {options.extent[0], options.extent[1]};
    space.y = {options.extent[2], options.extent[3]};
  }
  if (has_topography) space.ground.reset();
  if (!options.ground.empty()) space.ground = {options.ground.front(), options.ground.back()};
  return space;
}

/// The surface over all columns of the mesh, where its index will be taken from.
interval ground_of(const std::string& topography_file, const mesh_axes& axes) {
  fill_mesh(mesh, axes);
  triangulated_surface surface;
  read_or_explain([&] { surface = read_surface(topography_file); },
                  [&] { return explain_topography_file(topography_file); });
  const owned_array2<r8> gz =
      sample_surface(surface, sample_positions(mesh.ynode, mesh.ny), sample_positions(mesh.xnode, mesh.nx));
  const auto [low, high] = std::minmax_element(gz.begin(), gz.end());
  return {*low, *high};
}

mesh_axes axes_of(const mesh_options& options, const survey_space& space) {
  const r8 shorter_side = std::min(space.x.high - space.x.low, space.y.high - space.y.low);
  const r8 depth = options.depth > 0.0 ? options.depth : shorter_side / 2;
  const std::vector<r8> cell(options.cell.size() == 3 ? options.cell : std::vector(3, options.cell[0]));
  mesh_axes axes{horizontal_axis("x", space.x, cell[0], options.around),
                 horizontal_axis("y", space.y, cell[1], options.around),
                 {}};
  const interval ground = space.ground ? *space.ground : ground_of(options.topography_file, axes);
  axes.z = vertical_axis(ground, depth, cell[2], options.around);
  return axes;
}

void print_summary(const std::string& name) {
  const cube_size cube = cube_around(mesh.ny, mesh.nx, mesh.nz);
  print_summary_of(
      name, fmt::format("{}: {} x {} x {} cells along x, y, z, in a cube of {} x {} x {}\n"
                        "x from {:.8g} to {:.8g}, y from {:.8g} to {:.8g}, elevation from {:.8g} to {:.8g}",
                        name, mesh.nx, mesh.ny, mesh.nz, cube.x, cube.y, cube.z, mesh.xnode(1),
                        mesh.xnode(mesh.nx + 1), mesh.ynode(1), mesh.ynode(mesh.ny + 1),
                        mesh.ztop - mesh.znode(mesh.nz + 1), mesh.ztop));
}

int make_mesh_file(const mesh_options& options) {
  check_output_is_no_input(options.output_file, {options.location_file, options.topography_file});
  const mesh_axes axes = axes_of(options, space_of(options));
  fill_mesh(mesh, axes);
  check_mesh(mesh);
  const int status = write_whole_file(
      options.output_file, [&](output_file& file, const interruption&) { write_mesh_file(file, axes); });
  if (status == 0) print_summary(options.output_file);
  return status;
}

/// For options whose value is a list of numbers.
CLI::Validator every_pair(bool (*is_good)(r8, r8), const std::string& complaint) {
  const auto judge = [=](const std::string& text) {
    const std::vector<r8> v = numbers_of(text);
    for (std::size_t n = 0; n < v.size(); n += 2)
      if (!is_good(v[n], v[std::min(n + 1, v.size() - 1)])) return fmt::format("'{}' {}", text, complaint);
    return std::string();
  };
  return {judge, ""};
}

bool are_positive(r8 a, r8 b) {
  return a > 0.0 && b > 0.0;
}

bool are_ordered(r8 low, r8 high) {
  return low <= high;
}

void add_space(CLI::App& app, mesh_options& into) {
  add_numbers(app, "--cell", into.cell, {1, 3}, "DX,DY,DZ",
              "widths of the core cells, or one for all three axes")
      ->required()
      ->check(every_pair(are_positive, "holds a width that is not positive"));
  app.add_option("--locations", into.location_file,
                 "location file: the area and, less the clearance, the ground")
      ->check(name_of_a_file())
      ->option_text("FILE");
  app.add_option("--topography", into.topography_file,
                 "topography file: the ground and, where there are no\nlocations, the area")
      ->check(name_of_a_file())
      ->option_text("FILE");
  app.add_option("--clearance", into.clearance, "height of the stations above ground; default 0")
      ->check(allowed<r8>([](r8 v) { return std::isfinite(v); }, "a finite number"))
      ->option_text("NUMBER");
  add_numbers(app, "--extent", into.extent, {4}, "WEST,EAST,SOUTH,NORTH",
              "the area, in place of what files tell")
      ->check(every_pair(are_ordered, "has its ends in the wrong order"));
  add_numbers(app, "--ground", into.ground, {1, 2}, "LOWEST,HIGHEST",
              "elevations of the ground, in place of what files tell")
      ->check(every_pair(are_ordered, "has its ends in the wrong order"));
}

void add_depth_and_padding(CLI::App& app, mesh_options& into) {
  const auto is_depth = [](r8 v) { return 0.0 < v && v < 1e300; };
  const auto is_count = [](i4 n) { return 0 <= n && n <= 1000; };
  const auto is_factor = [](r8 v) { return 1.0 <= v && v <= 10.0; };
  app.add_option("--depth", into.depth,
                 "depth of the core below the lowest ground;\ndefault half the shorter side of the area")
      ->check(allowed<r8>(is_depth, "a positive number"))
      ->option_text("NUMBER");
  app.add_option("--padding", into.around.cells, "cells around the core, on each side and below; default 6")
      ->check(allowed<i4>(is_count, "a whole number from 0 to 1000"))
      ->option_text("NUMBER");
  app.add_option("--factor", into.around.factor, "by which each is wider than the one before it; default 1.4")
      ->check(allowed<r8>(is_factor, "a number from 1 to 10"))
      ->option_text("NUMBER");
  app.add_flag("--power-of-two", into.around.power_of_two,
               "more padding, until each count is a power of two:\nthe rows of such a mesh compress best")
      ->option_text(" ");
}

}  // namespace

void add_mesh(CLI::App& app, task& chosen) {
  const auto options = std::make_shared<mesh_options>();
  CLI::App& command = *app.add_subcommand("mesh", what_it_does);
  command.footer(example);
  add_file(command, "OUTPUT", options->output_file, "mesh file to write; replaced when it is whole");
  add_space(command, *options);
  add_depth_and_padding(command, *options);
  command.callback([=, &chosen] {
    if (options->location_file.empty() && options->topography_file.empty() &&
        (options->extent.empty() || options->ground.empty()))
      throw CLI::RequiredError("--locations, --topography, or --extent and --ground,");
    chosen = [options] { return make_mesh_file(*options); };
  });
}

}  // namespace velko
