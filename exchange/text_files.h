/// Text files that come of an import: locations and topography.
///
/// Numbers  coordinates in thousandths of their unit, values and errors with ten digits
/// Errors   those of output_file; no points at all stop the program, and so do more than 32 bits can count
/// See      docs/formats/data_file.md, docs/formats/topography_file.md
#pragma once

#include <span>
#include <string>

#include "exchange/ground.h"
#include "exchange/stations.h"
#include "files/output_file.h"

namespace velko {

/// The first two lines of a location file; the component has the same direction for all data.
struct survey_field {
  r8 incl, decl, geomag;
  r8 aincl, adecl;
};

enum class station_columns { positions, values };

void write_location_file(output_file& file, const survey_field& field, std::span<const station> stations,
                         station_columns columns);

/// `comment` is a line that says where the points come from.
void write_topography_file(output_file& file, const std::string& comment,
                           std::span<const ground_point> points);

}  // namespace velko
