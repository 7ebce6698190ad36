/// velkmtx import terrain: a topography file from rasters, from a table of points, or from the stations of a draped
/// survey.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "exchange/ground.h"
#include "exchange/raster.h"
#include "exchange/table.h"
#include "exchange/text_files.h"
#include "files/data_file.h"
#include "files/mesh_file.h"
#include "reports/program_stop.h"
#include "store/state.h"
#include "topography/surface_grid.h"
#include "topography/topography_file.h"
#include "velkmtx/import.h"
#include "velkmtx/options.h"

namespace velko {

namespace {

constexpr auto what_it_does =
    "writes a topography file from a raster, a table of points, or the stations themselves";

constexpr auto example =
    "\nExamples: an elevation model in degrees, 3 km around the stations, one point in 50 m:\n\n"
    "  velkmtx import terrain survey.topography dem.tif --crs EPSG:32630 --locations survey.loc --margin "
    "3000 --spacing 50\n\n"
    "The same for a mesh that is there already, with as many points as it can see:\n\n"
    "  velkmtx import terrain survey.topography dem.tif --crs EPSG:32630 --mesh survey.mesh\n\n"
    "No elevation model, but stations that were flown 150 m above ground, one point for all in a square of "
    "200 m:\n\n"
    "  velkmtx import terrain survey.topography --from-stations survey.loc --clearance 150 --spacing 200\n\n"
    "Rasters: GeoTIFF, netCDF, GXF, ASCII grids, USGS .dem, gridded xyz, Surfer. A raster that is finer than "
    "the points is\n"
    "averaged. Points without an elevation are left out and counted.";

struct terrain_options {
  std::string output;
  std::vector<std::string> inputs;
  std::string stations, mesh_file, location_file, x, y, z, no_value;
  system_options systems;
  std::vector<r8> extent;
  r8 margin = 0, spacing = 0, clearance = 0;

  bool is_table() const { return !z.empty(); }
};

/// Points, where they come from, and how many places have none.
struct ground_points {
  std::vector<ground_point> points;
  std::string origin;
  std::vector<std::string> remarks;
};

std::vector<ground_point> read_stations(const std::string& location_file) {
  read_data_file(location_file, false);
  std::vector<ground_point> stations(static_cast<std::size_t>(survey.ndata));
  for (i4 i = 1; i <= survey.ndata; ++i) {
    const ground_point p{survey.xobs(i), survey.yobs(i), survey.zobs(i)};
    if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z))
      stop_program(fmt::format("velkmtx: {}: datum {} lies at ({}, {}, {}), which is not finite",
                               location_file, i, p.x, p.y, p.z));
    stations[static_cast<std::size_t>(i - 1)] = p;
  }
  return stations;
}

map_area wider(const map_area& area, r8 margin) {
  return {area.west - margin, area.east + margin, area.south - margin, area.north + margin};
}

map_area area_around(const std::vector<ground_point>& points) {
  bounding_box box;
  for (const ground_point& p : points) box.include(p.x, p.y);
  return {box.min_x, box.max_x, box.min_y, box.max_y};
}

map_area area_of_mesh() {
  return {mesh.xnode(1), mesh.xnode(i8{mesh.nx} + 1), mesh.ynode(1), mesh.ynode(i8{mesh.ny} + 1)};
}

/// In the coordinates that are written.
std::optional<map_area> wanted_area(const terrain_options& options) {
  std::optional<map_area> area;
  if (!options.mesh_file.empty()) area = area_of_mesh();
  if (!options.location_file.empty()) area = area_around(read_stations(options.location_file));
  if (!options.extent.empty()) area = area_of(options.extent);
  if (area) area = wider(*area, options.margin);
  return area;
}

map_area shifted(const map_area& area, r8 x, r8 y) {
  return {area.west + x, area.east + x, area.south + y, area.north + y};
}

/// A mesh looks at its surface at the edges and the midpoints of its cells.
r8 half_of_narrowest_cell() {
  const auto narrowest = [](const owned_array1<r8>& widths) {
    return *std::min_element(widths.begin(), widths.end());
  };
  return std::min(narrowest(mesh.dx), narrowest(mesh.dy)) / 2;
}

map_grid read_grid(const terrain_options& options) {
  raster_request request{.files = options.inputs,
                         .source_system = options.systems.source,
                         .system = options.systems.target,
                         .no_value = options.no_value,
                         .area = {},
                         .spacing = options.spacing};
  if (const auto area = wanted_area(options))
    request.area = shifted(*area, options.systems.origin[0], options.systems.origin[1]);
  if (!options.mesh_file.empty() && options.spacing == 0) {
    request.spacing = half_of_narrowest_cell();
    request.no_finer_than_file = true;
  }
  return read_terrain(request);
}

/// Along one axis of the mesh, with a place more on either side where there is a margin.
std::vector<r8> seen_positions(const owned_array1<r8>& node, i4 n, r8 margin) {
  const owned_array1<r8> positions = sample_positions(node, n);
  std::vector<r8> seen(positions.begin(), positions.end());
  if (margin > 0) {
    seen.insert(seen.begin(), seen.front() - margin);
    seen.push_back(seen.back() + margin);
  }
  return seen;
}

/// The places of a grid that have an elevation; counts the others.
class grid_points {
 public:
  explicit grid_points(const std::vector<r8>& origin) : origin_(origin) {}

  void add(r8 x, r8 y, r8 elevation) {
    if (std::isfinite(elevation))
      points.push_back({x - origin_[0], y - origin_[1], elevation});
    else
      ++holes;
  }

  std::vector<ground_point> points;
  std::size_t holes = 0;

 private:
  const std::vector<r8>& origin_;
};

grid_points points_of_mesh(const terrain_options& options, const map_grid& grid) {
  const std::vector<r8>& origin = options.systems.origin;
  grid_points found(origin);
  for (const r8 y : seen_positions(mesh.ynode, mesh.ny, options.margin))
    for (const r8 x : seen_positions(mesh.xnode, mesh.nx, options.margin))
      found.add(x + origin[0], y + origin[1], grid.at(x + origin[0], y + origin[1]));
  return found;
}

grid_points points_of_grid(const terrain_options& options, const map_grid& grid) {
  grid_points found(options.systems.origin);
  for (i4 row = 0; row < grid.rows; ++row)
    for (i4 column = 0; column < grid.columns; ++column)
      found.add(grid.x(column), grid.y(row), grid.node(column, row));
  return found;
}

ground_points from_rasters(const terrain_options& options) {
  if (!options.mesh_file.empty()) read_mesh_file(options.mesh_file);
  const map_grid grid = read_grid(options);
  const bool for_mesh = !options.mesh_file.empty() && options.spacing == 0;
  const grid_points found = for_mesh ? points_of_mesh(options, grid) : points_of_grid(options, grid);
  ground_points ground{std::move(found.points), fmt::format("{}", fmt::join(options.inputs, ", ")), {}};
  ground.remarks.push_back(for_mesh ? "one for each edge and each middle of the mesh's columns"
                                    : fmt::format("one in {:.6g} along x and y", grid.dx));
  if (found.holes > 0)
    ground.remarks.push_back(fmt::format("{} of {} places have no elevation: holes, or outside of the raster",
                                         found.holes, found.holes + ground.points.size()));
  return ground;
}

/// Records that lack a number, and points outside of the area, are left out.
ground_points from_table(const terrain_options& options) {
  const std::string& file = options.inputs.front();
  table read = read_table({file, {}, {}, {options.x, options.y, options.z}, {}, false});
  const std::string source = options.systems.source.empty() ? read.system : options.systems.source;
  check_lengths(options.systems, file, source);
  std::vector<r8>&x = read.columns[0], &y = read.columns[1], &z = read.columns[2];
  place_in_target(options.systems, source, x, y);
  if (!options.mesh_file.empty()) read_mesh_file(options.mesh_file);
  const std::optional<map_area> area = wanted_area(options);
  std::vector<ground_point> points;
  std::size_t holes = 0;
  for (std::size_t n = 0; n < read.records; ++n) {
    const bool whole = std::isfinite(x[n]) && std::isfinite(y[n]) && std::isfinite(z[n]);
    if (!whole) ++holes;
    if (whole && (!area || area->holds(x[n], y[n]))) points.push_back({x[n], y[n], z[n]});
  }
  ground_points ground{average_squares(points, options.spacing), file, {}};
  ground.remarks.push_back(fmt::format("{} records, {} of them inside", read.records, points.size()));
  if (holes > 0) ground.remarks.push_back(fmt::format("{} records left out: they lack a number", holes));
  return ground;
}

ground_points from_stations(const terrain_options& options, const std::vector<ground_point>& stations) {
  ground_points ground{average_squares(ground_below(stations, options.clearance), options.spacing),
                       fmt::format("{}, {:.6g} below its stations", options.stations, options.clearance),
                       {}};
  ground.remarks.push_back(
      options.spacing > 0 ? fmt::format("{} stations; those in a square of {:.6g} are averaged",
                                        stations.size(), options.spacing)
                          : fmt::format("{} stations; those at one place are averaged", stations.size()));
  return ground;
}

void write(const terrain_options& options, const ground_points& ground) {
  output_file file(options.output);
  write_topography_file(file, ground.origin, ground.points);
  file.keep();
}

void print_summary(const terrain_options& options, const ground_points& ground) {
  const auto [low, high] =
      std::minmax_element(ground.points.begin(), ground.points.end(),
                          [](const ground_point& a, const ground_point& b) { return a.z < b.z; });
  const map_area box = area_around(ground.points);
  print(
      fmt::format("{}: {} points, {}\n{}\nx from {:.10g} to {:.10g}, y from {:.10g} to {:.10g}, elevation "
                  "from {:.6g} to {:.6g}",
                  options.output, ground.points.size(), ground.origin, fmt::join(ground.remarks, "\n"),
                  box.west, box.east, box.south, box.north, low->z, high->z));
}

/// Averages move the surface, and between stations it is straight: below each of them it should still be ground.
void judge_surface(const terrain_options& options, const std::vector<ground_point>& stations) {
  const std::vector<r8> ground = elevations_at(options.output, stations);
  r8 least = stations.front().z - ground.front();
  std::size_t below = 0;
  for (std::size_t n = 0; n < stations.size(); ++n) {
    const r8 height = stations[n].z - ground[n];
    least = std::min(least, height);
    if (height <= 0) ++below;
  }
  print(fmt::format("the lowest station is {:.6g} above it", least));
  if (below > 0) warn(fmt::format("{} of {} stations lie below the surface", below, stations.size()));
}

int import_terrain(const terrain_options& options) {
  std::vector<std::string> inputs = options.inputs;
  inputs.insert(inputs.end(), {options.stations, options.mesh_file, options.location_file});
  check_output_is_no_input(options.output, inputs);
  std::vector<ground_point> stations;
  if (!options.stations.empty()) stations = read_stations(options.stations);
  const ground_points ground = options.is_table()          ? from_table(options)
                               : !options.stations.empty() ? from_stations(options, stations)
                                                           : from_rasters(options);
  write(options, ground);
  print_summary(options, ground);
  if (!options.stations.empty()) judge_surface(options, stations);
  return 0;
}

void add_area(CLI::App& app, terrain_options& into) {
  CLI::Option* mesh_file =
      app.add_option("--mesh", into.mesh_file, "mesh file: its area, and as many points as it sees")
          ->option_text("FILE");
  CLI::Option* locations =
      app.add_option("--locations", into.location_file, "location file: the area of its stations")
          ->option_text("FILE");
  mesh_file->excludes(locations);
  add_extent(app, into.extent);
  add_length(app, "--margin", into.margin, "around the area; default 0");
  app.add_option("--nodata", into.no_value,
                 "the raster's number for no elevation, where it does not\ntell it itself")
      ->check(allowed<r8>([](r8) { return true; }, "a number"))
      ->option_text("NUMBER");
  add_length(app, "--spacing", into.spacing,
             "of the points; default that of the raster, and all\npoints of a table");
}

void add_table(CLI::App& app, terrain_options& into) {
  const auto add = [&](const char* name, std::string& column, const char* what) {
    return app.add_option(name, column, what)->option_text("COLUMN");
  };
  CLI::Option* x = add("--x", into.x, "of a table of points: its column of eastings or longitudes");
  CLI::Option* y = add("--y", into.y, "its column of northings or latitudes");
  CLI::Option* z = add("--z", into.z, "its column of elevations");
  x->needs(y, z);
  y->needs(x, z);
  z->needs(x, y);
}

void add_stations(CLI::App& app, terrain_options& into) {
  CLI::Option* stations = app.add_option("--from-stations", into.stations,
                                         "location file of a draped survey, in place of an input")
                              ->option_text("FILE");
  add_length(app, "--clearance", into.clearance, "height of its stations above ground")->needs(stations);
}

void check_options(const terrain_options& options) {
  const bool has_stations = !options.stations.empty();
  if (has_stations != options.inputs.empty())
    throw CLI::ValidationError(has_stations ? "an INPUT and --from-stations are one too many"
                                            : "INPUT or --from-stations is required");
  if (has_stations && options.clearance <= 0)
    throw CLI::ValidationError("--from-stations needs a --clearance above 0");
  if (options.is_table() && options.inputs.size() > 1)
    throw CLI::ValidationError("--z takes one INPUT, a table");
}

}  // namespace

void add_import_terrain(CLI::App& app, task& chosen) {
  const auto options = std::make_shared<terrain_options>();
  CLI::App& command = *app.add_subcommand("terrain", what_it_does);
  command.footer(example);
  add_file(command, "OUTPUT", options->output, "topography file to write; replaced when it is whole");
  command.add_option("INPUT", options->inputs, "rasters, the later ones on top, or a table of points")
      ->option_text(" ");
  add_stations(command, *options);
  add_area(command, *options);
  add_systems(command, options->systems);
  add_table(command, *options);
  command.callback([=, &chosen] {
    check_options(*options);
    chosen = [options] { return import_terrain(*options); };
  });
}

}  // namespace velko
