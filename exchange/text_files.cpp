#include "exchange/text_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "exchange/text_pieces.h"
#include "reports/program_stop.h"

namespace velko {

namespace {

void check_count(std::size_t count, const char* what) {
  if (count == 0) stop_program(fmt::format("velkmtx: no {} is left to write", what));
  if (count > std::size_t{std::numeric_limits<i4>::max()})
    stop_program(fmt::format("velkmtx: {} {}s are more than a file can number", count, what));
}

/// A line end in it would end the comment.
std::string one_line(std::string words) {
  std::replace_if(
      words.begin(), words.end(), [](unsigned char c) { return c < ' '; }, ' ');
  return words;
}

}  // namespace

void write_location_file(output_file& file, const survey_field& field, std::span<const station> stations,
                         station_columns columns) {
  check_count(stations.size(), "station");
  text_pieces text(file);
  text.add("{} {} {}  inclination, declination, strength of the inducing field\n", field.incl, field.decl,
           field.geomag);
  text.add("{} {} 1  inclination, declination of the component; idir\n", field.aincl, field.adecl);
  text.add("{}  number of data\n", stations.size());
  for (const station& s : stations)
    if (columns == station_columns::values)
      text.add("{:.3f} {:.3f} {:.3f} {:.10g} {:.10g}\n", s.x, s.y, s.z, s.value, s.error);
    else
      text.add("{:.3f} {:.3f} {:.3f}\n", s.x, s.y, s.z);
  text.flush();
}

void write_topography_file(output_file& file, const std::string& comment,
                           std::span<const ground_point> points) {
  check_count(points.size(), "point");
  text_pieces text(file);
  text.add("! {}\n{} points: x, y, elevation\n", one_line(comment), points.size());
  for (const ground_point& p : points) text.add("{:.3f} {:.3f} {:.3f}\n", p.x, p.y, p.z);
  text.flush();
}

}  // namespace velko
