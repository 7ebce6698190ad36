#include "exchange/raster.h"

#include <cpl_string.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gdal_priv.h>
#include <gdal_utils.h>
#include <gdalwarper.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "exchange/gdal_session.h"
#include "exchange/projection.h"
#include "reports/program_stop.h"

namespace velko {

namespace {

GDALDatasetUniquePtr open_raster(const std::string& name) {
  constexpr const char* formats[] = {"GTiff",   "netCDF", "GXF",  "AAIGrid", "GRASSASCIIGrid",
                                     "USGSDEM", "XYZ",    "GSAG", "GSBG",    "GS7BG",
                                     "SRTMHGT", "ENVI",   "HFA",  "MEM",     nullptr};
  check_file_exists(name);
  GDALDatasetUniquePtr file(GDALDataset::Open(name.c_str(), GDAL_OF_RASTER | GDAL_OF_READONLY, formats));
  if (!file) refuse_file(name, "no grid of GeoTIFF, netCDF, GXF, ASCII, .dem, xyz or Surfer");
  return file;
}

/// A netCDF file of several variables has no band of its own.
void check_has_a_band(GDALDataset& file, const std::string& name) {
  if (file.GetRasterCount() > 0) return;
  const CPLStringList parts(file.GetMetadata("SUBDATASETS"), FALSE);
  std::vector<std::string> names;
  for (int n = 1; const char* part = parts.FetchNameValue(fmt::format("SUBDATASET_{}_NAME", n).c_str()); ++n)
    names.emplace_back(part);
  refuse_file(name, fmt::format("which of its grids? One of {}", fmt::join(names, ", ")));
}

struct opened_rasters {
  explicit opened_rasters(const std::vector<std::string>& names) {
    start_gdal();
    for (const std::string& name : names) {
      owners.push_back(open_raster(name));
      check_has_a_band(*owners.back(), name);
      handles.push_back(GDALDataset::ToHandle(owners.back().get()));
    }
  }

  std::vector<GDALDatasetUniquePtr> owners;
  std::vector<GDALDatasetH> handles;
};

/// What the files say themselves where the request says nothing.
struct systems {
  std::string source, target;
};

systems systems_of(const raster_request& request, GDALDataset& first) {
  systems s{request.source_system, request.system};
  if (s.source.empty()) s.source = first.GetProjectionRef();
  if (s.target.empty()) s.target = s.source;
  if (!request.system.empty() && s.source.empty())
    refuse_file(request.files.front(),
                "it names no coordinate system; --source-crs tells it, EPSG:4326 for longitude and latitude");
  return s;
}

/// In degrees there is no terrain to make.
void check_target(const systems& s, const raster_request& request, GDALDataset& first) {
  if (s.target.empty()) return;
  if (request.system.empty() && is_geographic(s.target)) {
    double g[6] = {};
    first.GetGeoTransform(g);
    refuse_file(
        request.files.front(),
        "it is in degrees; --crs tells the system of lengths to write, such as " +
            utm_system(g[0] + g[1] * first.GetRasterXSize() / 2, g[3] + g[5] * first.GetRasterYSize() / 2));
  }
  check_is_projected(s.target);
}

/// The middles of a file's cells, as a grid in the target system.
struct own_grid {
  map_area area;
  r8 spacing;
};

own_grid grid_of(GDALDatasetH file, const systems& s, const std::string& name) {
  const std::unique_ptr<void, decltype(&GDALDestroyGenImgProjTransformer)> way(
      GDALCreateGenImgProjTransformer(file, s.source.c_str(), nullptr, s.target.c_str(), FALSE, 0, 1),
      &GDALDestroyGenImgProjTransformer);
  double g[6] = {};
  int columns = 0, rows = 0;
  if (!way) refuse_file(name, "it does not tell where its cells lie");
  if (GDALSuggestedWarpOutput(file, GDALGenImgProjTransform, way.get(), g, &columns, &rows) != CE_None)
    refuse_file(name, "it cannot be brought into " + s.target);
  const r8 dx = g[1], dy = -g[5];  // rasters begin in the north
  return {{g[0] + dx / 2, g[0] + dx * (columns - 0.5), g[3] - dy * (rows - 0.5), g[3] - dy / 2},
          std::min(dx, dy)};
}

map_area area_of_all(const opened_rasters& files, const systems& s, const raster_request& request) {
  map_area all{};
  for (std::size_t n = 0; n < files.handles.size(); ++n) {
    const map_area area = grid_of(files.handles[n], s, request.files[n]).area;
    if (n == 0) all = area;
    all = {std::min(all.west, area.west), std::max(all.east, area.east), std::min(all.south, area.south),
           std::max(all.north, area.north)};
  }
  return all;
}

bool takes_own_spacing(const raster_request& request, const own_grid& own) {
  return request.spacing <= 0 || (request.no_finer_than_file && request.spacing < own.spacing);
}

/// Nodes on or around the area. They are those of the first file, where its spacing is taken, so that its elevations stay
/// as they are; else whole multiples of the spacing, so that neighbouring areas fit together.
map_grid grid_over(const map_area& area, const raster_request& request, const own_grid& own) {
  const bool takes_own = takes_own_spacing(request, own);
  const r8 spacing = takes_own ? own.spacing : request.spacing;
  const r8 x = takes_own ? own.area.west : 0, y = takes_own ? own.area.south : 0;
  constexpr r8 rounding = 1e-6;  // of a node's place, in steps
  const auto first = [=](r8 low, r8 from) { return std::floor((low - from) / spacing + rounding); };
  const auto last = [=](r8 high, r8 from) { return std::ceil((high - from) / spacing - rounding); };
  const r8 west = first(area.west, x), south = first(area.south, y);
  const r8 columns = last(area.east, x) - west + 1, rows = last(area.north, y) - south + 1;
  if (!(columns * rows <= map_grid::most_nodes))
    stop_program(
        fmt::format("velkmtx: a grid of {:.0f} x {:.0f} nodes is too much; a wider --spacing than {:.6g} or "
                    "a smaller area makes it less",
                    columns, rows, spacing));
  return {x + west * spacing,       y + south * spacing,   spacing, spacing,
          static_cast<i4>(columns), static_cast<i4>(rows), {}};
}

/// The raster's cells have the nodes in their middle.
std::vector<std::string> words_of_warp(const map_grid& grid, const systems& s, const std::string& no_value,
                                       bool is_finer) {
  const r8 half = grid.dx / 2;
  const auto number = [](r8 value) { return fmt::format("{:.17g}", value); };
  std::vector<std::string> words{"-of",
                                 "MEM",
                                 "-ot",
                                 "Float64",
                                 "-dstnodata",
                                 "nan",
                                 "-wo",
                                 "UNIFIED_SRC_NODATA=YES",
                                 "-r",
                                 is_finer ? "average" : "bilinear",
                                 "-te",
                                 number(grid.west - half),
                                 number(grid.south - half),
                                 number(grid.x(grid.columns - 1) + half),
                                 number(grid.y(grid.rows - 1) + half),
                                 "-ts",
                                 std::to_string(grid.columns),
                                 std::to_string(grid.rows)};
  if (!s.source.empty()) words.insert(words.end(), {"-s_srs", s.source, "-t_srs", s.target});
  if (!no_value.empty()) words.insert(words.end(), {"-srcnodata", no_value});
  return words;
}

GDALDatasetUniquePtr warp(opened_rasters& files, const std::vector<std::string>& words,
                          const std::string& name) {
  CPLStringList list;
  for (const std::string& word : words) list.AddString(word.c_str());
  const std::unique_ptr<GDALWarpAppOptions, decltype(&GDALWarpAppOptionsFree)> options(
      GDALWarpAppOptionsNew(list.List(), nullptr), &GDALWarpAppOptionsFree);
  GDALDatasetUniquePtr result(GDALDataset::FromHandle(GDALWarp(
      "", nullptr, static_cast<int>(files.handles.size()), files.handles.data(), options.get(), nullptr)));
  if (!result) refuse_file(name, "it cannot be read into a grid");
  return result;
}

/// Rasters begin in the north.
void take_rows(GDALDataset& from, map_grid& grid, const std::string& name) {
  grid.values.resize(static_cast<std::size_t>(grid.columns) * static_cast<std::size_t>(grid.rows));
  for (i4 row = 0; row < grid.rows; ++row) {
    r8* into = grid.values.data() + static_cast<std::size_t>(row) * static_cast<std::size_t>(grid.columns);
    if (from.GetRasterBand(1)->RasterIO(GF_Read, 0, grid.rows - 1 - row, grid.columns, 1, into, grid.columns,
                                        1, GDT_Float64, 0, 0, nullptr) != CE_None)
      refuse_file(name, "it cannot be read");
  }
}

}  // namespace

map_grid read_terrain(const raster_request& request) {
  opened_rasters files(request.files);
  const systems s = systems_of(request, *files.owners.front());
  check_target(s, request, *files.owners.front());
  const own_grid own = grid_of(files.handles.front(), s, request.files.front());
  map_grid grid = grid_over(request.area ? *request.area : area_of_all(files, s, request), request, own);
  const bool is_finer = own.spacing < grid.dx;
  const GDALDatasetUniquePtr warped =
      warp(files, words_of_warp(grid, s, request.no_value, is_finer), request.files.front());
  take_rows(*warped, grid, request.files.front());
  return grid;
}

}  // namespace velko
