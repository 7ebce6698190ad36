/// Output through GDAL: tables of points, grids of a map, and grids of a model.
///
/// What     each writes a file under a temporary name beside its target and renames it when it is whole
/// Formats  by the end of the name: .geojson, .gpkg; .tif, .tiff, .nc
/// Systems  the name of the coordinate system goes into the file; empty for none. GeoJSON is in longitude and latitude
///          (WGS 84) whenever a system is told
/// Errors   the program stop with one line: the file and GDAL's reason
#pragma once

#include <span>
#include <string>
#include <vector>

#include "arrays/array.h"
#include "arrays/numbers.h"
#include "exchange/ground.h"
#include "exchange/map_grid.h"
#include "store/state.h"

namespace velko {

struct named_column {
  std::string name;
  std::span<const r8> values;
};

void write_points(const std::string& file, const std::string& system, std::span<const ground_point> places,
                  std::span<const named_column> columns);

/// `name` is that of the values, such as "predicted"; `unit` theirs.
void write_map(const std::string& file, const std::string& system, const map_grid& grid,
               const std::string& name, const std::string& unit);

/// A netCDF file with coordinates by the CF conventions: x, y and elevation of the cells' centres, with their edges as
/// bounds, and the model(nz, nx, ny) in model order. Cells above the surface are missing, where mesh.itop is filled.
void write_model_netcdf(const std::string& file, const std::string& system, const mesh_state& m,
                        array3<const r8> model);

}  // namespace velko
