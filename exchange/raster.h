/// Raster: a terrain on a grid, from what GDAL reads as one, cut, thinned and brought into another coordinate system.
///
/// Formats  GeoTIFF, netCDF, GXF, ASCII grids, USGS .dem, gridded xyz, Surfer grids, SRTM tiles, ENVI
/// What     read_terrain gives the elevations at the nodes of a grid along x and y: means of the raster's cells where it
///          is finer than the grid, linear between them where it is coarser. Several files are laid one over the other,
///          the later ones on top
/// Holes    NaN, where the files have no value or do not reach
/// Errors   the program stop with one line: the file and GDAL's reason, a coordinate system that is missing or not one of
///          lengths, an area that no file reaches, more nodes than `most_nodes`
/// Memory   8 bytes a node, and what GDAL keeps of the files
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "arrays/numbers.h"
#include "exchange/map_grid.h"
#include "exchange/stations.h"

namespace velko {

struct raster_request {
  std::vector<std::string> files;
  std::string source_system;        // where the files name none, or a wrong one; empty for theirs
  std::string system;               // of the grid; empty for that of the files
  std::string no_value;             // the number that stands for none, where the files do not tell it
  std::optional<map_area> area;     // of the grid's nodes; all of the files without one
  r8 spacing = 0;                   // of the grid's nodes; 0 for that of the first file
  bool no_finer_than_file = false;  // a spacing below that of the first file is taken up to it
};

map_grid read_terrain(const raster_request& request);

}  // namespace velko
