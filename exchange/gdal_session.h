/// GDAL, as this room uses it: formats by name, no network, and its complaints as text.
///
/// What     start_gdal registers the formats, once, and has errors kept instead of printed
/// Network  PROJ fetches no grids, and no format that reads from a server is ever asked for
#pragma once

#include <ogr_spatialref.h>

#include <string>
#include <string_view>

namespace velko {

void start_gdal();

/// GDAL's words for what failed last, as an end of a sentence: ": no such file"; empty if it said nothing.
std::string gdal_reason();

/// The program stop with "velkmtx: NAME: WORDS" and GDAL's reason.
[[noreturn]] void refuse_file(std::string_view name, std::string_view words);

/// The coordinate system, with x east and y north; the program stop for a name that is none.
OGRSpatialReference system_called(const std::string& name);

/// A file that is not there is told as such; names of parts, such as NETCDF:"file":variable, are GDAL's to judge.
void check_file_exists(const std::string& name);

}  // namespace velko
