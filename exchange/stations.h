/// Stations: a survey on its way from somebody's table to a location file.
///
/// What     cut_to leaves the stations of an area, thin_along_lines one of many along a flight line, and average_places
///          one where several share a place
/// Lines    a line is a run of stations in a row that bear the same name
/// Places   two stations share a place when their x, y and z are the same to the millimetres that files hold. Of their
///          values the mean is kept, and of their standard deviations the root of the mean square: it does not sink with
///          their number, since records that share a place are copies more often than independent measurements
/// Units    metres, x east, y north, z up
/// Order    stations keep theirs
/// See      exchange/ground.h, which makes a terrain of them
#pragma once

#include <string>
#include <vector>

#include "arrays/numbers.h"

namespace velko {

struct station {
  r8 x = 0, y = 0, z = 0;
  r8 value = 0, error = 0;
  std::string line;
};

/// The borders belong to it.
struct map_area {
  r8 west, east, south, north;

  bool holds(r8 x, r8 y) const { return west <= x && x <= east && south <= y && y <= north; }
};

/// Each gives the number of stations that it took out.
i8 cut_to(const map_area& area, std::vector<station>& stations);
/// Of each line its first station, and then each that is at least `spacing` from the last one kept, as the map shows it.
i8 thin_along_lines(r8 spacing, std::vector<station>& stations);
i8 average_places(std::vector<station>& stations);

}  // namespace velko
