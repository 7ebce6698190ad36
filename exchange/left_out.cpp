/// What stands in for GDAL's part of this room in a build without it.
#include "exchange/gdal_output.h"
#include "exchange/projection.h"
#include "exchange/raster.h"
#include "exchange/table.h"
#include "reports/program_stop.h"

namespace velko {

namespace {

[[noreturn]] void tell_left_out() {
  stop_program(
      "velkmtx: this build has no part for rasters, tables and coordinate systems; build it again with GDAL "
      "(Debian's "
      "libgdal-dev) and VELKO_BUILD_EXCHANGE=ON");
}

}  // namespace

table read_table(const table_request&) {
  tell_left_out();
}

map_grid read_terrain(const raster_request&) {
  tell_left_out();
}

void reproject(const std::string&, const std::string&, std::span<r8>, std::span<r8>) {
  tell_left_out();
}

void heights_above_sea(const std::string&, std::span<const r8>, std::span<const r8>, std::span<r8>) {
  tell_left_out();
}

bool is_geographic(const std::string&) {
  tell_left_out();
}

void check_is_projected(const std::string&) {
  tell_left_out();
}

std::string utm_system(r8, r8) {
  tell_left_out();
}

void write_points(const std::string&, const std::string&, std::span<const ground_point>,
                  std::span<const named_column>) {
  tell_left_out();
}

void write_map(const std::string&, const std::string&, const map_grid&, const std::string&,
               const std::string&) {
  tell_left_out();
}

void write_model_netcdf(const std::string&, const std::string&, const mesh_state&, array3<const r8>) {
  tell_left_out();
}

}  // namespace velko
