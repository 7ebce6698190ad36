#include "exchange/gdal_output.h"

#include <fmt/format.h>
#include <gdal_priv.h>
#include <ogrsf_frmts.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <memory>
#include <system_error>

#include "exchange/gdal_session.h"
#include "reports/program_stop.h"

namespace velko {

namespace {

constexpr r8 hole = std::numeric_limits<r8>::quiet_NaN();

/// The file while it is written. GDAL takes names, no open files, and judges by their end.
class unfinished_file {
 public:
  explicit unfinished_file(const std::string& target) : target_(target) {
    const std::filesystem::path path(target);
    std::error_code unknown;
    if (std::filesystem::exists(path, unknown) && !std::filesystem::is_regular_file(path, unknown))
      stop_program("velkmtx: cannot write " + target + ": not a regular file");
    name_ = (path.parent_path() / fmt::format(".velko-{}{}", getpid(), path.extension().string())).string();
  }
  unfinished_file(const unfinished_file&) = delete;
  unfinished_file& operator=(const unfinished_file&) = delete;
  ~unfinished_file() { std::remove(name_.c_str()); }

  const std::string& name() const { return name_; }

  void keep() {
    if (std::rename(name_.c_str(), target_.c_str()) != 0)
      throw std::system_error(errno, std::generic_category(), "cannot write " + target_);
  }

 private:
  std::string target_, name_;
};

GDALDriver& driver_for(const std::string& file) {
  start_gdal();
  const std::string end = std::filesystem::path(file).extension();
  const char* name = end == ".geojson" ? "GeoJSON"
                     : end == ".gpkg"  ? "GPKG"
                     : end == ".nc"    ? "netCDF"
                                       : "GTiff";
  GDALDriver* driver = GetGDALDriverManager()->GetDriverByName(name);
  if (driver == nullptr) stop_program("velkmtx: GDAL was built without " + std::string(name));
  return *driver;
}

void check(bool good, const std::string& file) {
  if (!good) refuse_file(file, "it cannot be written");
}

/// None for an empty name.
std::unique_ptr<OGRSpatialReference> told_system(const std::string& name) {
  return name.empty() ? nullptr : std::make_unique<OGRSpatialReference>(system_called(name));
}

/// What a file says of its cells has reached the disk only when it is closed.
void close(GDALDatasetUniquePtr data, const std::string& file) {
  CPLErrorReset();
  data.reset();
  check(CPLGetLastErrorType() < CE_Failure, file);
}

void write_records(OGRLayer& layer, std::span<const ground_point> places,
                   std::span<const named_column> columns, const std::string& file) {
  for (std::size_t n = 0; n < places.size(); ++n) {
    const OGRFeatureUniquePtr record(OGRFeature::CreateFeature(layer.GetLayerDefn()));
    const OGRPoint point(places[n].x, places[n].y, places[n].z);
    record->SetGeometry(&point);
    for (std::size_t c = 0; c < columns.size(); ++c)
      record->SetField(static_cast<int>(c), columns[c].values[n]);
    check(layer.CreateFeature(record.get()) == OGRERR_NONE, file);
  }
}

/// Rasters begin in the north.
GDALDatasetUniquePtr in_memory(const map_grid& grid, const OGRSpatialReference* system,
                               const std::string& file) {
  GDALDriver* memory = GetGDALDriverManager()->GetDriverByName("MEM");
  GDALDatasetUniquePtr data(memory->Create("", grid.columns, grid.rows, 1, GDT_Float64, nullptr));
  check(data != nullptr, file);
  double corner[6] = {grid.west - grid.dx / 2, grid.dx, 0, grid.y(grid.rows - 1) + grid.dy / 2, 0, -grid.dy};
  data->SetGeoTransform(corner);
  if (system != nullptr) data->SetSpatialRef(system);
  GDALRasterBand& band = *data->GetRasterBand(1);
  band.SetNoDataValue(hole);
  for (i4 row = 0; row < grid.rows; ++row) {
    std::vector<r8> line(static_cast<std::size_t>(grid.columns));
    for (i4 column = 0; column < grid.columns; ++column)
      line[static_cast<std::size_t>(column)] = grid.node(column, row);
    check(band.RasterIO(GF_Write, 0, grid.rows - 1 - row, grid.columns, 1, line.data(), grid.columns, 1,
                        GDT_Float64, 0, 0, nullptr) == CE_None,
          file);
  }
  return data;
}

/// One axis of a model: the dimension, its centres, and their bounds.
std::shared_ptr<GDALDimension> add_axis(GDALGroup& group, const std::shared_ptr<GDALDimension>& two,
                                        const std::string& name, const char* standard_name,
                                        std::span<const r8> edges, const std::string& file) {
  const std::size_t count = edges.size() - 1;
  const auto dimension = group.CreateDimension(name, "", "", count);
  check(dimension != nullptr, file);
  const GDALExtendedDataType number = GDALExtendedDataType::Create(GDT_Float64);
  const auto centres = group.CreateMDArray(name, {dimension}, number);
  const auto bounds = group.CreateMDArray(name + "_bounds", {dimension, two}, number);
  check(centres != nullptr && bounds != nullptr, file);
  std::vector<r8> middle(count), pairs(2 * count);
  for (std::size_t n = 0; n < count; ++n) {
    middle[n] = (edges[n] + edges[n + 1]) / 2;
    pairs[2 * n] = edges[n];
    pairs[2 * n + 1] = edges[n + 1];
  }
  const auto tell = [&](const char* attribute, const char* words) {
    const auto text = centres->CreateAttribute(attribute, {}, GDALExtendedDataType::CreateString());
    check(text != nullptr && text->Write(words), file);
  };
  tell("standard_name", standard_name);
  tell("units", "m");
  tell("bounds", (name + "_bounds").c_str());
  const GUInt64 start[2] = {0, 0};
  const std::size_t all[2] = {count, 2};
  check(centres->Write(start, all, nullptr, nullptr, number, middle.data()), file);
  check(bounds->Write(start, all, nullptr, nullptr, number, pairs.data()), file);
  return dimension;
}

std::vector<r8> elevations_of_edges(const mesh_state& m) {
  std::vector<r8> edges;
  for (const r8 down : m.znode.elements()) edges.push_back(m.ztop - down);
  return edges;
}

/// In model order, with holes above the surface.
std::vector<r8> without_air(const mesh_state& m, array3<const r8> model) {
  std::vector<r8> values(model.elements().begin(), model.elements().end());
  if (m.itop.size() == 0) return values;
  for (i4 i = 1; i <= m.ny; ++i)
    for (i4 j = 1; j <= m.nx; ++j) {
      const i8 column = i8{m.nz} * (j - 1 + i8{m.nx} * (i - 1));
      std::fill_n(values.begin() + column, m.itop(i, j), hole);
    }
  return values;
}

}  // namespace

void write_points(const std::string& file, const std::string& system, std::span<const ground_point> places,
                  std::span<const named_column> columns) {
  GDALDriver& driver = driver_for(file);
  unfinished_file unfinished(file);
  const auto reference = told_system(system);
  GDALDatasetUniquePtr data(driver.Create(unfinished.name().c_str(), 0, 0, 0, GDT_Unknown, nullptr));
  check(data != nullptr, file);
  CPLStringList options;
  if (reference && driver.GetDescription() == std::string("GeoJSON")) options.SetNameValue("RFC7946", "YES");
  OGRLayer* layer = data->CreateLayer("stations", reference.get(), wkbPoint25D, options.List());
  check(layer != nullptr, file);
  for (const named_column& column : columns) {
    OGRFieldDefn field(column.name.c_str(), OFTReal);
    check(layer->CreateField(&field) == OGRERR_NONE, file);
  }
  write_records(*layer, places, columns, file);
  close(std::move(data), file);
  unfinished.keep();
}

void write_map(const std::string& file, const std::string& system, const map_grid& grid,
               const std::string& name, const std::string& unit) {
  GDALDriver& driver = driver_for(file);
  unfinished_file unfinished(file);
  const auto reference = told_system(system);
  const GDALDatasetUniquePtr memory = in_memory(grid, reference.get(), file);
  GDALRasterBand& band = *memory->GetRasterBand(1);
  band.SetDescription(name.c_str());
  band.SetUnitType(unit.c_str());
  band.SetMetadataItem("NETCDF_VARNAME", name.c_str());
  band.SetMetadataItem("units", unit.c_str());
  GDALDatasetUniquePtr data(
      driver.CreateCopy(unfinished.name().c_str(), memory.get(), FALSE, nullptr, nullptr, nullptr));
  check(data != nullptr, file);
  close(std::move(data), file);
  unfinished.keep();
}

void write_model_netcdf(const std::string& file, const std::string& system, const mesh_state& m,
                        array3<const r8> model) {
  GDALDriver& driver = driver_for(file);
  unfinished_file unfinished(file);
  const auto reference = told_system(system);
  GDALDatasetUniquePtr data(driver.CreateMultiDimensional(unfinished.name().c_str(), nullptr, nullptr));
  check(data != nullptr, file);
  {
    const auto group = data->GetRootGroup();
    const auto two = group->CreateDimension("edges", "", "", 2);
    const std::vector<r8> down = elevations_of_edges(m);
    const auto y = add_axis(*group, two, "y", "projection_y_coordinate", m.ynode.elements(), file),
               x = add_axis(*group, two, "x", "projection_x_coordinate", m.xnode.elements(), file),
               z = add_axis(*group, two, "elevation", "height_above_mean_sea_level", down, file);
    const GDALExtendedDataType number = GDALExtendedDataType::Create(GDT_Float64);
    const auto values = group->CreateMDArray("susceptibility", {y, x, z}, number);
    check(values != nullptr, file);
    values->SetNoDataValue(hole);
    if (reference) values->SetSpatialRef(reference.get());
    std::vector<r8> values_or_holes = without_air(m, model);
    const GUInt64 start[3] = {0, 0, 0};
    const std::size_t all[3] = {static_cast<std::size_t>(m.ny), static_cast<std::size_t>(m.nx),
                                static_cast<std::size_t>(m.nz)};
    check(values->Write(start, all, nullptr, nullptr, number, values_or_holes.data()), file);
  }
  close(std::move(data), file);
  unfinished.keep();
}

}  // namespace velko
