#include "velkmtx/import.h"

#include <fmt/format.h>

#include <cmath>

#include "exchange/projection.h"
#include "reports/program_stop.h"
#include "velkmtx/options.h"

namespace velko {

void add_systems(CLI::App& app, system_options& into) {
  app.add_option("--crs", into.target, "coordinate system to write, in lengths, such as EPSG:32630 (UTM)")
      ->option_text("SYSTEM");
  app.add_option("--source-crs", into.source,
                 "that of the input, where it names none; EPSG:4326 is\nlongitude and latitude")
      ->option_text("SYSTEM");
  add_numbers(app, "--origin", into.origin, {2}, "X,Y",
              "taken off all coordinates that are written; default 0,0");
}

void check_lengths(const system_options& systems, const std::string& file, const std::string& source) {
  if (!systems.target.empty() && source.empty())
    stop_program(
        "velkmtx: " + file +
        ": it names no coordinate system; --source-crs tells it, EPSG:4326 for longitude and latitude");
  if (!systems.target.empty())
    check_is_projected(systems.target);
  else if (!source.empty() && is_geographic(source))
    stop_program("velkmtx: " + file +
                 ": it is in degrees; --crs tells the system of lengths to write, such as EPSG:32630");
}

void place_in_target(const system_options& systems, const std::string& source, std::vector<r8>& x,
                     std::vector<r8>& y) {
  if (!systems.target.empty()) reproject(source, systems.target, x, y);
  for (r8& value : x) value -= systems.origin[0];
  for (r8& value : y) value -= systems.origin[1];
}

void add_extent(CLI::App& app, std::vector<r8>& into) {
  add_numbers(app, "--extent", into, {4}, "WEST,EAST,SOUTH,NORTH",
              "the area, in the coordinates that are written");
}

CLI::Option* add_length(CLI::App& app, const char* name, r8& into, const char* what) {
  return app.add_option(name, into, what)
      ->check(allowed<r8>([](r8 v) { return std::isfinite(v) && v >= 0; }, "a number from 0 up"))
      ->option_text("NUMBER");
}

void add_import(CLI::App& app, task& chosen) {
  CLI::App& command =
      *app.add_subcommand("import", "makes topography and location files of rasters and tables");
  command.require_subcommand(1);
  add_import_stations(command, chosen);
  add_import_terrain(command, chosen);
}

}  // namespace velko
