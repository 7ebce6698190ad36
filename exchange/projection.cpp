#include "exchange/projection.h"

#include <fmt/format.h>
#include <ogr_spatialref.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "exchange/gdal_session.h"
#include "reports/program_stop.h"

namespace velko {

namespace {

void carry(const std::string& from, const std::string& to, std::span<r8> x, std::span<r8> y, r8* z) {
  const OGRSpatialReference source = system_called(from), target = system_called(to);
  OGRCoordinateTransformationOptions options;
  options.SetBallparkAllowed(z == nullptr);  // without the geoid's grid, heights would stay as they are
  const std::unique_ptr<OGRCoordinateTransformation> way(
      OGRCreateCoordinateTransformation(&source, &target, options));
  if (!way) stop_program("velkmtx: no way leads from " + from + " to " + to + gdal_reason());
  std::vector<int> good(x.size());
  way->Transform(static_cast<int>(x.size()), x.data(), y.data(), z, good.data());
  for (std::size_t n = 0; n < x.size(); ++n)
    if (good[n] == 0 || !std::isfinite(x[n]) || !std::isfinite(y[n]))
      x[n] = y[n] = std::numeric_limits<r8>::quiet_NaN();
}

}  // namespace

void reproject(const std::string& from, const std::string& to, std::span<r8> x, std::span<r8> y) {
  carry(from, to, x, y, nullptr);
}

void heights_above_sea(const std::string& system, std::span<const r8> x, std::span<const r8> y,
                       std::span<r8> height) {
  constexpr auto on_ellipsoid = "EPSG:4979", on_geoid = "EPSG:4326+5773";
  std::vector<r8> longitude(x.begin(), x.end()), latitude(y.begin(), y.end());
  reproject(system, "EPSG:4326", longitude, latitude);
  carry(on_ellipsoid, on_geoid, longitude, latitude, height.data());
  for (std::size_t n = 0; n < height.size(); ++n)
    if (std::isnan(longitude[n]) || !std::isfinite(height[n]))
      height[n] = std::numeric_limits<r8>::quiet_NaN();
}

bool is_geographic(const std::string& system) {
  return system_called(system).IsGeographic() != 0;
}

void check_is_projected(const std::string& system) {
  const OGRSpatialReference target = system_called(system);
  if (!target.IsProjected() && !target.IsLocal())
    stop_program("velkmtx: " + system +
                 " is no system of lengths on a map; --crs takes one like EPSG:32630 (UTM)");
}

std::string utm_system(r8 longitude, r8 latitude) {
  const int zone = std::clamp(static_cast<int>(std::floor((longitude + 180) / 6)) + 1, 1, 60);
  return fmt::format("EPSG:{} (UTM zone {} {})", (latitude < 0 ? 32700 : 32600) + zone, zone,
                     latitude < 0 ? "south" : "north");
}

}  // namespace velko
