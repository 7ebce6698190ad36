/// velkmtx import stations: a location or data file from somebody's table.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <cmath>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "exchange/ground.h"
#include "exchange/projection.h"
#include "exchange/reference_field.h"
#include "exchange/table.h"
#include "exchange/text_files.h"
#include "reports/program_stop.h"
#include "velkmtx/import.h"
#include "velkmtx/options.h"

namespace velko {

namespace {

constexpr auto what_it_does = "writes a location or data file from a table: CSV, GeoJSON, GeoPackage, netCDF";

constexpr auto example =
    "\nExample: flight lines in longitude and latitude, as total-field anomaly with an error of 2 nT, one "
    "station in 100 m\n"
    "of each line:\n\n"
    "  velkmtx import stations survey.obs lines.csv --source-crs EPSG:4326 --crs EPSG:32630 --x longitude "
    "--y latitude\n"
    "      --height altitude_m --value anomaly_nt --error 2 --line line --spacing 100 --field 71,-4,50200\n\n"
    "Angles are in degrees: inclination downward from the horizontal, declination clockwise from the y axis "
    "(grid north).\n"
    "--date takes the field of the middle of the stations from the IGRF, whose coefficients\n"
    "geographiclib-get-magnetic igrf14 fetches.\n"
    "A record that lacks a number (empty, '*', NaN) is left out. Stations at one place, to the millimetre, "
    "become one:\n"
    "the mean of the values, with the standard deviation of one of them.";

struct stations_options {
  std::string output, input, layer, where;
  std::string x, y, height, value, error, line, above = "sea", terrain;
  system_options systems;
  std::string date, magnetic_model;
  std::vector<r8> field, direction, extent;
  r8 spacing = 0;

  bool has_columns_of_position() const { return !x.empty(); }
  bool has_values() const { return !value.empty(); }
};

/// What became of the records.
struct tally {
  std::size_t records = 0;
  i8 incomplete = 0, unplaced = 0, outside = 0, thinned = 0, averaged = 0;
};

table_request request_of(const stations_options& options) {
  table_request request{
      options.input, options.layer, options.where, {}, options.line, !options.has_columns_of_position()};
  if (options.has_columns_of_position()) request.columns = {options.x, options.y};
  for (const std::string* name : {&options.height, &options.value, &options.error})
    if (!name->empty()) request.columns.push_back(*name);
  return request;
}

/// The columns where they belong. Points bring their own height where no column is named.
struct station_table {
  std::vector<r8> x, y, z, value, error;
  std::vector<std::string> line;
};

station_table take_columns(const stations_options& options, table& from) {
  station_table to;
  std::size_t next = 0;
  if (options.has_columns_of_position()) {
    to.x = std::move(from.columns[next++]);
    to.y = std::move(from.columns[next++]);
  } else {
    to.x = std::move(from.points[0]);
    to.y = std::move(from.points[1]);
  }
  to.z = std::move(options.height.empty() ? from.points[2] : from.columns[next++]);
  to.value = options.has_values() ? std::move(from.columns[next++]) : std::vector<r8>(from.records);
  to.error = options.has_values() ? std::move(from.columns[next++]) : std::vector<r8>(from.records);
  to.line = std::move(from.labels);
  to.line.resize(from.records);
  return to;
}

/// Takes out the records that lack a number; gives their count.
i8 drop_incomplete(station_table& t) {
  std::size_t kept = 0;
  for (std::size_t n = 0; n < t.x.size(); ++n) {
    const bool whole = std::isfinite(t.x[n]) && std::isfinite(t.y[n]) && std::isfinite(t.z[n]) &&
                       std::isfinite(t.value[n]) && std::isfinite(t.error[n]);
    if (!whole) continue;
    for (std::vector<r8>* column : {&t.x, &t.y, &t.z, &t.value, &t.error}) (*column)[kept] = (*column)[n];
    t.line[kept] = std::move(t.line[n]);
    ++kept;
  }
  const std::size_t before = t.x.size();
  for (std::vector<r8>* column : {&t.x, &t.y, &t.z, &t.value, &t.error}) column->resize(kept);
  t.line.resize(kept);
  return static_cast<i8>(before - kept);
}

bool begins_like(const std::string& name, const std::string& beginning) {
  return name.size() >= beginning.size() &&
         std::equal(beginning.begin(), beginning.end(), name.begin(),
                    [](char a, char b) { return a == std::tolower(static_cast<unsigned char>(b)); });
}

/// The names of the columns tell degrees where nothing else does.
void check_no_degrees(const stations_options& options, const std::string& source, const station_table& t) {
  const bool told = !source.empty() || !options.systems.target.empty() || t.x.empty();
  if (told || !(begins_like(options.x, "lon") || begins_like(options.y, "lat"))) return;
  stop_program(fmt::format(
      "velkmtx: {}: {} and {} are degrees; --source-crs EPSG:4326 with --crs {} makes lengths of them",
      options.input, options.x, options.y, utm_system(t.x.front(), t.y.front())));
}

std::vector<ground_point> places_of(const station_table& t) {
  std::vector<ground_point> places(t.x.size());
  for (std::size_t n = 0; n < places.size(); ++n) places[n] = {t.x[n], t.y[n], t.z[n]};
  return places;
}

void stand_on_terrain(const std::string& topography_file, station_table& t) {
  const std::vector<r8> ground = elevations_at(topography_file, places_of(t));
  for (std::size_t n = 0; n < ground.size(); ++n) t.z[n] += ground[n];
}

/// Heights above sea level, and positions in the coordinates that are written.
void place(const stations_options& options, const std::string& source, station_table& t, tally& count) {
  if (options.above == "ellipsoid") heights_above_sea(source, t.x, t.y, t.z);
  place_in_target(options.systems, source, t.x, t.y);
  count.unplaced = drop_incomplete(t);
  if (options.above == "ground") stand_on_terrain(options.terrain, t);
}

std::vector<station> stations_of(station_table& t) {
  std::vector<station> stations(t.x.size());
  for (std::size_t n = 0; n < stations.size(); ++n)
    stations[n] = {t.x[n], t.y[n], t.z[n], t.value[n], t.error[n], std::move(t.line[n])};
  return stations;
}

void check_errors(const stations_options& options, const station_table& t) {
  const auto bad = std::find_if(t.error.begin(), t.error.end(), [](r8 error) { return !(error > 0); });
  if (options.has_values() && bad != t.error.end())
    stop_program(fmt::format("velkmtx: {}: an error of {} in the column {}; each should be above 0",
                             options.input, *bad, options.error));
}

void choose(const stations_options& options, std::vector<station>& stations, tally& count) {
  if (!options.extent.empty()) count.outside = cut_to(area_of(options.extent), stations);
  if (options.spacing > 0) count.thinned = thin_along_lines(options.spacing, stations);
  count.averaged = average_places(stations);
}

std::string range_text(const char* name, const std::vector<station>& stations, r8 station::*member) {
  const auto [low, high] =
      std::minmax_element(stations.begin(), stations.end(),
                          [=](const station& a, const station& b) { return a.*member < b.*member; });
  return fmt::format("{} from {:.10g} to {:.10g}", name, (*low).*member, (*high).*member);
}

void print_summary(const stations_options& options, const std::vector<station>& stations,
                   const tally& count) {
  std::string text =
      fmt::format("{}: {} stations of {} records", options.output, stations.size(), count.records);
  const auto tell = [&](i8 number, const char* what) {
    if (number > 0) text += fmt::format("\n{} {}", number, what);
  };
  tell(count.incomplete, "records left out: they lack a number");
  tell(count.unplaced, "left out: the coordinate system does not reach them");
  tell(count.outside, "left out: outside the area");
  tell(count.thinned, "left out: too near to the one before on their line");
  tell(count.averaged, "averaged with another one at their place");
  text += "\n" + range_text("x", stations, &station::x) + ", " + range_text("y", stations, &station::y) +
          ", " + range_text("elevation", stations, &station::z);
  if (options.has_values()) text += "\n" + range_text(options.value.c_str(), stations, &station::value);
  print(text);
}

/// Their middle, in the coordinates of `system`.
station middle_of(const stations_options& options, const std::vector<station>& stations) {
  const auto middle = [&](r8 station::*member) {
    const auto [low, high] =
        std::minmax_element(stations.begin(), stations.end(),
                            [=](const station& a, const station& b) { return a.*member < b.*member; });
    return ((*low).*member + (*high).*member) / 2;
  };
  station at{};
  at.x = middle(&station::x) + options.systems.origin[0];
  at.y = middle(&station::y) + options.systems.origin[1];
  at.z = middle(&station::z);
  return at;
}

/// Of true north at a place of the earth, clockwise from the y axis of a map, in degrees.
r8 azimuth_of_true_north(const std::string& system, const place_on_earth& at) {
  constexpr r8 step = 1e-3;
  std::vector<r8> x{at.longitude, at.longitude}, y{at.latitude - step, at.latitude + step};
  reproject("EPSG:4326", system, x, y);
  return std::atan2(x[1] - x[0], y[1] - y[0]) * 180 / std::numbers::pi;
}

/// The main field in the middle of the stations; heights above the sea serve as those above the ellipsoid, which is
/// a matter of 2 nT.
std::vector<r8> field_by_date(const stations_options& options, const std::string& source,
                              const std::vector<station>& stations) {
  const std::string& system = options.systems.target.empty() ? source : options.systems.target;
  if (system.empty())
    stop_program("velkmtx: --date asks where on the earth the stations are: --source-crs or --crs tells it");
  const station middle = middle_of(options, stations);
  std::vector<r8> longitude{middle.x}, latitude{middle.y};
  reproject(system, "EPSG:4326", longitude, latitude);
  const place_on_earth at{longitude[0], latitude[0], middle.z};
  const main_field field = reference_field(options.magnetic_model, options.date, at);
  const auto rounded = [](r8 v, r8 steps) { return std::round(v * steps) / steps; };
  return {rounded(field.inclination, 1e3),
          rounded(field.declination + azimuth_of_true_north(system, at), 1e3), rounded(field.strength, 10)};
}

survey_field field_of(const stations_options& options, const std::string& source,
                      const std::vector<station>& stations) {
  const std::vector<r8> field =
      options.date.empty() ? options.field : field_by_date(options, source, stations);
  const std::vector<r8>& direction = options.direction.empty() ? field : options.direction;
  return {field[0], field[1], field[2], direction[0], direction[1]};
}

void write(const stations_options& options, const survey_field& field, const std::vector<station>& stations) {
  output_file file(options.output);
  write_location_file(file, field, stations,
                      options.has_values() ? station_columns::values : station_columns::positions);
  file.keep();
}

void print_field(const survey_field& field, const std::string& date) {
  print(fmt::format("field on {}: inclination {:g}, declination {:g} from the y axis, {:.1f} nT", date,
                    field.incl, field.decl, field.geomag));
}

int import_stations(const stations_options& options) {
  check_output_is_no_input(options.output, {options.input, options.terrain});
  table read = read_table(request_of(options));
  const std::string source = options.systems.source.empty() ? read.system : options.systems.source;
  tally count{.records = read.records};
  station_table t = take_columns(options, read);
  count.incomplete = drop_incomplete(t);
  check_no_degrees(options, source, t);
  check_lengths(options.systems, options.input, source);
  check_errors(options, t);
  place(options, source, t, count);
  std::vector<station> stations = stations_of(t);
  choose(options, stations, count);
  const survey_field field = field_of(options, source, stations);
  write(options, field, stations);
  print_summary(options, stations, count);
  if (!options.date.empty()) print_field(field, options.date);
  return 0;
}

void add_columns(CLI::App& app, stations_options& into) {
  const auto add = [&](const char* name, std::string& column, const char* what) {
    return app.add_option(name, column, what)->option_text("COLUMN");
  };
  CLI::Option* x = add("--x", into.x, "column of eastings or longitudes; without it the\npoints of the file");
  CLI::Option* y = add("--y", into.y, "column of northings or latitudes");
  x->needs(y);
  y->needs(x);
  add("--height", into.height, "column of heights, or a number for all; without it\nthose of the points");
  CLI::Option* value = add("--value", into.value, "column of observed values, for a data file");
  CLI::Option* error = add("--error", into.error, "column of their standard deviations, or a number for all");
  value->needs(error);
  error->needs(value);
  add("--line", into.line, "column that names the flight line, for --spacing");
}

void add_choice(CLI::App& app, stations_options& into) {
  app.add_option("--layer", into.layer, "which table, in a file of several")->option_text("NAME");
  app.add_option("--where", into.where,
                 "which records, such as \"area = 'A'\"; the numbers of CSV\nare compared as CAST(height AS "
                 "FLOAT) < 200")
      ->option_text("CONDITION");
  add_extent(app, into.extent);
  add_length(app, "--spacing", into.spacing, "least distance of stations along a line");
}

void add_heights(CLI::App& app, stations_options& into) {
  app.add_option("--above", into.above,
                 "what heights are above: sea (default), ellipsoid (WGS 84),\nor ground")
      ->check(CLI::IsMember({"sea", "ellipsoid", "ground"}))
      ->option_text("LEVEL");
  app.add_option("--terrain", into.terrain,
                 "topography file, in the coordinates that are written, for\nheights above ground")
      ->option_text("FILE");
}

void add_directions(CLI::App& app, stations_options& into) {
  add_numbers(app, "--field", into.field, {3}, "INCL,DECL,NT", "the inducing field");
  app.add_option("--date", into.date, "date of the survey, such as 2021-06-15, instead of --field")
      ->option_text("DATE");
  app.add_option("--magnetic-model", into.magnetic_model,
                 "model of the main field for --date; default the newest IGRF\nthat is installed")
      ->option_text("NAME");
  add_numbers(app, "--direction", into.direction, {2}, "INCL,DECL",
              "of the component; default that of the field, which makes\nit the total-field anomaly");
}

void check_options(const stations_options& options) {
  if (options.height.empty() && options.has_columns_of_position()) throw CLI::RequiredError("--height");
  if ((options.above == "ground") == options.terrain.empty())
    throw CLI::ValidationError("--above ground and --terrain belong together");
  if (options.field.empty() == options.date.empty())
    throw CLI::ValidationError("one of --field and --date tells the inducing field");
  if (options.above == "ellipsoid" && options.systems.target.empty())
    throw CLI::ValidationError("--above ellipsoid needs --crs");
}

}  // namespace

void add_import_stations(CLI::App& app, task& chosen) {
  const auto options = std::make_shared<stations_options>();
  CLI::App& command = *app.add_subcommand("stations", what_it_does);
  command.footer(example);
  add_file(command, "OUTPUT", options->output, "location or data file to write; replaced when it is whole");
  add_file(command, "INPUT", options->input, "table to read");
  add_columns(command, *options);
  add_heights(command, *options);
  add_systems(command, options->systems);
  add_choice(command, *options);
  add_directions(command, *options);
  command.callback([=, &chosen] {
    check_options(*options);
    chosen = [options] { return import_stations(*options); };
  });
}

}  // namespace velko
