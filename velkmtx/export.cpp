/// velkmtx export: data and models in the formats of other programs.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "exchange/data_grid.h"
#include "exchange/gdal_output.h"
#include "exchange/model_text.h"
#include "exchange/text_pieces.h"
#include "files/active_cells.h"
#include "files/data_file.h"
#include "files/mesh_file.h"
#include "files/model_file.h"
#include "reports/program_stop.h"
#include "store/getpar.h"
#include "store/state.h"
#include "topography/topography_file.h"
#include "velkmtx/commands.h"
#include "velkmtx/import.h"
#include "velkmtx/options.h"

namespace velko {

namespace {

std::string end_of(const std::string& name) {
  std::string end = std::filesystem::path(name).extension();
  for (char& c : end) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return end;
}

/// A validator for the names of outputs.
CLI::Validator ends_in(const std::vector<std::string>& ends) {
  const auto complaint = [=](const std::string& name) {
    if (std::find(ends.begin(), ends.end(), end_of(name)) != ends.end()) return std::string();
    return fmt::format("'{}' ends in none of {}", name, fmt::join(ends, ", "));
  };
  return {complaint, ""};
}

struct data_options {
  std::string input, output, system;
  std::vector<r8> origin{0.0, 0.0};
  r8 spacing = 0;
};

/// The columns of a data file with names.
struct data_columns {
  std::vector<ground_point> places;
  std::vector<named_column> columns;
};

/// The views of `values` and of the survey last as long as these.
data_columns columns_of(const data_values& values, const std::vector<r8>& origin) {
  data_columns data;
  for (i4 i = 1; i <= survey.ndata; ++i)
    data.places.push_back({survey.xobs(i) + origin[0], survey.yobs(i) + origin[1], survey.zobs(i)});
  if (survey.idir == 0) {
    data.columns.push_back({"inclination", survey.aincl_obs.elements()});
    data.columns.push_back({"declination", survey.adecl_obs.elements()});
  }
  if (values.value.size() > 0) data.columns.push_back({"value", values.value.elements()});
  if (values.deviation.size() > 0) data.columns.push_back({"error", values.deviation.elements()});
  return data;
}

void write_csv(const std::string& name, const data_columns& data) {
  output_file file(name);
  text_pieces text(file);
  text.add("x,y,z");
  for (const named_column& column : data.columns) text.add(",{}", column.name);
  for (std::size_t n = 0; n < data.places.size(); ++n) {
    const ground_point& p = data.places[n];
    text.add("\n{},{},{}", p.x, p.y, p.z);
    for (const named_column& column : data.columns) text.add(",{}", column.values[n]);
  }
  text.add("\n");
  text.flush();
  file.keep();
}

/// A map of the values: the stations' own grid, or one between them.
map_grid map_of(const data_options& options, const data_values& values, const data_columns& data) {
  if (values.value.size() == 0)
    stop_program("velkmtx: " + options.input + ": it has no values to make a map of");
  std::vector<ground_point> points = data.places;
  for (std::size_t n = 0; n < points.size(); ++n) points[n].z = values.value.elements()[n];
  return options.spacing > 0 ? interpolated(points, options.spacing) : stations_on_grid(points);
}

void print_map(const data_options& options, const map_grid& grid) {
  const auto holes =
      std::count_if(grid.values.begin(), grid.values.end(), [](r8 v) { return std::isnan(v); });
  print(fmt::format("{}: {} x {} nodes along x and y, {:.6g} and {:.6g} apart; {} of them without a value",
                    options.output, grid.columns, grid.rows, grid.dx, grid.dy, holes));
}

int export_data(const data_options& options) {
  check_output_is_no_input(options.output, {options.input});
  const data_values values = read_survey_file(options.input);
  const data_columns data = columns_of(values, options.origin);
  const std::string end = end_of(options.output);
  if (end == ".tif" || end == ".tiff" || end == ".nc") {
    const map_grid grid = map_of(options, values, data);
    write_map(options.output, options.system, grid, "value", "nT");
    print_map(options, grid);
    return 0;
  }
  if (end == ".csv")
    write_csv(options.output, data);
  else
    write_points(options.output, options.system, data.places, data.columns);
  print(fmt::format("{}: {} stations", options.output, data.places.size()));
  return 0;
}

struct model_options {
  std::string mesh_file, model, output, topography, system;
};

/// A sensitivity file begins with the length of its first record, five numbers of four bytes. No text does.
bool is_sensitivity_file(const std::string& name) {
  std::array<char, 4> bytes{};
  std::ifstream(name, std::ios::binary).read(bytes.data(), bytes.size());
  return bytes == std::array<char, 4>{20, 0, 0, 0};
}

/// The mesh, and its surface where one is told.
void read_mesh_and_surface(const model_options& options) {
  if (is_sensitivity_file(options.mesh_file)) {
    if (!options.topography.empty())
      stop_program("velkmtx: " + options.mesh_file +
                   " has a surface of its own; --topography is one too many");
    getpar(options.mesh_file);
  } else {
    read_mesh_file(options.mesh_file);
    if (!options.topography.empty()) read_topography(options.topography);
  }
}

/// Every line of a model file counts, also those of cells above the surface.
owned_array3<r8> read_cells(const std::string& name) {
  owned_array3<r8> values(mesh.nz, mesh.nx, mesh.ny);
  owned_array2<i4> no_surface(mesh.ny, mesh.nx);
  get_active_cells("null", no_surface);
  read_model(name, "model", values.elements(), {}, no_surface);
  return values;
}

int export_model(const model_options& options) {
  check_output_is_no_input(options.output, {options.mesh_file, options.model, options.topography});
  read_mesh_and_surface(options);
  const owned_array3<r8> values = read_cells(options.model);
  const std::string end = end_of(options.output);
  if (end == ".nc") {
    write_model_netcdf(options.output, options.system, mesh, values);
  } else {
    output_file file(options.output);
    if (end == ".vtr")
      write_vtr(file, mesh, values);
    else
      write_xyz(file, mesh, values, end == ".csv" ? ',' : ' ');
    file.keep();
  }
  print(fmt::format("{}: {} x {} x {} cells along x, y, z", options.output, mesh.nx, mesh.ny, mesh.nz));
  return 0;
}

constexpr auto data_example =
    "\nExamples: a table, points for a map, and grids of stations that lie on one, or of any stations:\n\n"
    "  velkmtx export data velkrund.vlk predicted.csv\n"
    "  velkmtx export data velkrund.vlk predicted.gpkg --crs EPSG:32630\n"
    "  velkmtx export data velkrund.vlk predicted.tif --crs EPSG:32630\n"
    "  velkmtx export data velkrund.vlk predicted.nc --spacing 50\n\n"
    "Between stations a grid is linear over their Delaunay triangulation, and empty beyond its hull.";

constexpr auto model_example =
    "\nExamples: for ParaView, for programs that read netCDF, and the cells below the surface as text:\n\n"
    "  velkmtx export model survey.mtx survey.sus model.vtr\n"
    "  velkmtx export model survey.mesh survey.sus model.nc --crs EPSG:32630\n"
    "  velkmtx export model survey.mesh \"VALUE 0.01\" model.xyz --topography survey.topography";

void add_system(CLI::App& app, std::string& into) {
  app.add_option("--crs", into, "coordinate system of the survey, to be told in the file")
      ->option_text("SYSTEM");
}

void add_export_data(CLI::App& app, task& chosen) {
  const auto options = std::make_shared<data_options>();
  CLI::App& command = *app.add_subcommand("data", "writes a data file as a table, as points, or as a grid");
  command.footer(data_example);
  add_file(command, "INPUT", options->input, "predicted-data, data or location file");
  add_file(command, "OUTPUT", options->output, "table (.csv), points (.geojson, .gpkg) or grid (.tif, .nc)")
      ->check(ends_in({".csv", ".geojson", ".gpkg", ".tif", ".tiff", ".nc"}));
  add_system(command, options->system);
  add_numbers(command, "--origin", options->origin, {2}, "X,Y", "added to all coordinates; default 0,0");
  add_length(command, "--spacing", options->spacing,
             "of a grid's nodes, interpolated; default the stations' own");
  command.callback([=, &chosen] { chosen = [options] { return export_data(*options); }; });
}

void add_export_model(CLI::App& app, task& chosen) {
  const auto options = std::make_shared<model_options>();
  CLI::App& command =
      *app.add_subcommand("model", "writes mesh and model for ParaView, as netCDF, or as text");
  command.footer(model_example);
  add_file(command, "MESH", options->mesh_file,
           "mesh file, or sensitivity file, which brings its surface along");
  add_file(command, "MODEL", options->model, "model file, or \"VALUE number\"");
  add_file(command, "OUTPUT", options->output, "grid (.vtr, .nc) or centres of cells (.xyz, .csv)")
      ->check(ends_in({".vtr", ".nc", ".xyz", ".csv"}));
  command.add_option("--topography", options->topography, "topography file: the surface of a mesh file")
      ->option_text("FILE");
  add_system(command, options->system);
  command.callback([=, &chosen] { chosen = [options] { return export_model(*options); }; });
}

}  // namespace

void add_export(CLI::App& app, task& chosen) {
  CLI::App& command = *app.add_subcommand("export", "makes tables, rasters and grids of data and models");
  command.require_subcommand(1);
  add_export_data(command, chosen);
  add_export_model(command, chosen);
}

}  // namespace velko
