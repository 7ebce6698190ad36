#include "exchange/stations.h"

#include <cmath>
#include <cstddef>

#include "exchange/places.h"

namespace velko {

i8 cut_to(const map_area& area, std::vector<station>& stations) {
  return static_cast<i8>(std::erase_if(stations, [&](const station& s) { return !area.holds(s.x, s.y); }));
}

i8 thin_along_lines(r8 spacing, std::vector<station>& stations) {
  const std::size_t before = stations.size();
  std::size_t kept = 0;
  for (std::size_t n = 0; n < before; ++n) {
    const station& s = stations[n];
    const bool begins_a_line = n == 0 || s.line != stations[kept - 1].line;
    if (begins_a_line || std::hypot(s.x - stations[kept - 1].x, s.y - stations[kept - 1].y) >= spacing) {
      if (kept != n) stations[kept] = std::move(stations[n]);
      ++kept;
    }
  }
  stations.resize(kept);
  return static_cast<i8>(before - kept);
}

i8 average_places(std::vector<station>& stations) {
  place_numbers<3> places(millimetre);
  std::vector<station> averaged;
  std::vector<r8> count;
  for (station& s : stations) {
    const std::size_t place = places.of({s.x, s.y, s.z});
    if (place == averaged.size()) {
      s.error *= s.error;
      averaged.push_back(std::move(s));
      count.push_back(1);
    } else {
      averaged[place].value += s.value;
      averaged[place].error += s.error * s.error;
      ++count[place];
    }
  }
  for (std::size_t n = 0; n < averaged.size(); ++n) {
    averaged[n].value /= count[n];
    averaged[n].error = std::sqrt(averaged[n].error / count[n]);
  }
  const auto taken = static_cast<i8>(stations.size() - averaged.size());
  stations = std::move(averaged);
  return taken;
}

}  // namespace velko
