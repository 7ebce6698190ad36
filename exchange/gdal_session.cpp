#include "exchange/gdal_session.h"

#include <cpl_conv.h>
#include <cpl_error.h>
#include <gdal.h>
#include <ogr_srs_api.h>

#include <algorithm>
#include <filesystem>

#include "reports/program_stop.h"

namespace velko {

void start_gdal() {
  static const bool started = [] {
    CPLSetErrorHandler(CPLQuietErrorHandler);
    OSRSetPROJEnableNetwork(0);
    GDALAllRegister();
    return true;
  }();
  static_cast<void>(started);
  CPLErrorReset();
}

std::string gdal_reason() {
  std::string words = CPLGetLastErrorMsg();
  std::replace(words.begin(), words.end(), '\n', ' ');
  return words.empty() ? words : ": " + words;
}

void refuse_file(std::string_view name, std::string_view words) {
  stop_program(std::string("velkmtx: ").append(name).append(": ").append(words) + gdal_reason());
}

OGRSpatialReference system_called(const std::string& name) {
  start_gdal();
  OGRSpatialReference system;
  if (system.SetFromUserInput(name.c_str(), OGRSpatialReference::SET_FROM_USER_INPUT_LIMITATIONS_get()) !=
      OGRERR_NONE)
    stop_program("velkmtx: '" + name + "' is no coordinate system; one is named like EPSG:32630");
  system.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
  return system;
}

void check_file_exists(const std::string& name) {
  std::error_code unknown;
  if (name.find(':') == std::string::npos && !std::filesystem::exists(name, unknown))
    stop_program("velkmtx: " + name + ": no such file");
}

}  // namespace velko
