#include "exchange/table.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gdal_priv.h>
#include <ogrsf_frmts.h>

#include <limits>
#include <optional>
#include <string_view>

#include "exchange/gdal_session.h"
#include "reports/program_stop.h"
#include "text/number_text.h"

namespace velko {

namespace {

constexpr r8 hole = std::numeric_limits<r8>::quiet_NaN();

GDALDatasetUniquePtr open_as_records(const std::string& name) {
  constexpr const char* formats[] = {"CSV", "GeoJSON", "GPKG", "ESRI Shapefile", "netCDF", nullptr};
  return GDALDatasetUniquePtr(GDALDataset::Open(name.c_str(), GDAL_OF_VECTOR | GDAL_OF_READONLY, formats));
}

/// A table of text may have any name.
GDALDatasetUniquePtr open_table(const std::string& name) {
  start_gdal();
  check_file_exists(name);
  GDALDatasetUniquePtr file = open_as_records(name);
  if (!file) file = open_as_records("CSV:" + name);
  if (!file || file->GetLayerCount() == 0)
    refuse_file(name, "no table of CSV, GeoJSON, GeoPackage, shapefile or netCDF");
  return file;
}

OGRLayer& layer_of(GDALDataset& file, const table_request& request) {
  if (request.layer.empty() && file.GetLayerCount() == 1) return *file.GetLayer(0);
  if (OGRLayer* named = file.GetLayerByName(request.layer.c_str())) return *named;
  std::vector<std::string> names;
  for (OGRLayer* layer : file.GetLayers()) names.emplace_back(layer->GetName());
  stop_program(fmt::format("velkmtx: {}: {}; its layers are {}", request.file,
                           request.layer.empty() ? "which of its layers? --layer tells"
                                                 : "no layer is called '" + request.layer + "'",
                           fmt::join(names, ", ")));
}

std::vector<std::string> names_of_columns(const OGRFeatureDefn& fields) {
  std::vector<std::string> names;
  for (int n = 0; n < fields.GetFieldCount(); ++n) names.emplace_back(fields.GetFieldDefn(n)->GetNameRef());
  return names;
}

std::optional<int> column_called(const std::string& name, const OGRFeatureDefn& fields) {
  const std::vector<std::string> names = names_of_columns(fields);
  std::vector<int> alike;
  for (int n = 0; n < fields.GetFieldCount(); ++n) {
    const std::string& candidate = names[static_cast<std::size_t>(n)];
    if (candidate == name) return n;
    if (EQUAL(candidate.c_str(), name.c_str())) alike.push_back(n);
  }
  if (alike.size() != 1) return {};
  return alike.front();
}

[[noreturn]] void refuse_column(const table_request& request, const std::string& name,
                                const OGRFeatureDefn& fields) {
  stop_program(fmt::format("velkmtx: {}: no column is called '{}'; its columns are {}", request.file, name,
                           fmt::join(names_of_columns(fields), ", ")));
}

/// A column, or a number that stands for itself in each record.
struct source {
  int field = -1;
  r8 constant = 0;
};

source source_of(const std::string& name, const table_request& request, const OGRFeatureDefn& fields) {
  source from;
  if (const auto field = column_called(name, fields))
    from.field = *field;
  else if (!is_number(name, from.constant))
    refuse_column(request, name, fields);
  return from;
}

std::string_view without_blanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t\r");
  return first == text.npos ? std::string_view()
                            : text.substr(first, text.find_last_not_of(" \t\r") + 1 - first);
}

r8 number_in(const OGRFeature& record, int field, const std::string& file) {
  if (record.IsFieldSetAndNotNull(field) == 0) return hole;
  const OGRFieldDefn& definition = *record.GetFieldDefnRef(field);
  if (definition.GetType() != OFTString) return record.GetFieldAsDouble(field);
  const std::string_view text = without_blanks(record.GetFieldAsString(field));
  r8 value = hole;
  if (!text.empty() && text != "*" && !is_number(text, value))
    stop_program(fmt::format("velkmtx: {}: record {}: its {} is '{}', which is no number", file,
                             record.GetFID(), definition.GetNameRef(), text));
  return value;
}

class table_columns {
 public:
  table_columns(const table_request& request, const OGRFeatureDefn& fields) : request_(request) {
    for (const std::string& name : request.columns) sources_.push_back(source_of(name, request, fields));
    result.columns.resize(sources_.size());
    if (request.label.empty()) return;
    const auto label = column_called(request.label, fields);
    if (!label) refuse_column(request, request.label, fields);
    label_ = *label;
  }

  void add(const OGRFeature& record) {
    ++result.records;
    for (std::size_t n = 0; n < sources_.size(); ++n)
      result.columns[n].push_back(
          sources_[n].field < 0 ? sources_[n].constant : number_in(record, sources_[n].field, request_.file));
    if (!request_.label.empty()) result.labels.emplace_back(record.GetFieldAsString(label_));
    if (request_.points) add_point(record);
  }

  table result;

 private:
  void add_point(const OGRFeature& record) {
    const OGRGeometry* shape = record.GetGeometryRef();
    const bool is_point =
        shape != nullptr && wkbFlatten(shape->getGeometryType()) == wkbPoint && !shape->IsEmpty();
    if (shape != nullptr && !is_point)
      stop_program(fmt::format("velkmtx: {}: record {} is a {}; stations are points", request_.file,
                               record.GetFID(), shape->getGeometryName()));
    const OGRPoint* point = is_point ? shape->toPoint() : nullptr;
    result.points[0].push_back(point != nullptr ? point->getX() : hole);
    result.points[1].push_back(point != nullptr ? point->getY() : hole);
    result.points[2].push_back(point != nullptr && point->Is3D() != 0 ? point->getZ() : hole);
  }

  const table_request& request_;
  std::vector<source> sources_;
  int label_ = -1;
};

std::string system_of(const OGRLayer& layer) {
  const OGRSpatialReference* system = const_cast<OGRLayer&>(layer).GetSpatialRef();
  if (system == nullptr) return {};
  char* text = nullptr;
  system->exportToWkt(&text);
  const std::string wkt = text;
  CPLFree(text);
  return wkt;
}

void select(OGRLayer& layer, const table_request& request) {
  if (!request.where.empty() && layer.SetAttributeFilter(request.where.c_str()) != OGRERR_NONE)
    refuse_file(request.file, "the condition '" + request.where + "' cannot be read");
}

}  // namespace

table read_table(const table_request& request) {
  const GDALDatasetUniquePtr file = open_table(request.file);
  OGRLayer& layer = layer_of(*file, request);
  if (request.points && layer.GetGeomType() == wkbNone)
    refuse_file(request.file,
                "it has no points; --x and --y tell the columns of the positions, of " +
                    fmt::format("{}", fmt::join(names_of_columns(*layer.GetLayerDefn()), ", ")));
  select(layer, request);
  table_columns columns(request, *layer.GetLayerDefn());
  columns.result.system = system_of(layer);
  for (const OGRFeatureUniquePtr& record : layer) columns.add(*record);
  return std::move(columns.result);
}

}  // namespace velko
