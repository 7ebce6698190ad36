/// Text diagnosis: why a reader did not take a text file, in words that help its user.
///
/// What     the readers' own words are those of the suite, and few. Once one of them has stopped, the file is looked at again
///          by the same rules, up to the first place that does not fit: its line and column, what stands there, what was
///          wanted, and where a usual cause is in sight, that
/// Rules    docs/formats/data_file.md, mesh_file.md, topography_file.md, text_values.md
#pragma once

#include <functional>
#include <string>

namespace velko {

/// Each gives a line, or nothing where the file fits or can't be looked at again.
std::string explain_location_file(const std::string& name);
std::string explain_mesh_file(const std::string& name);
std::string explain_topography_file(const std::string& name);

/// Runs the reader. Where it stops, the explanation is added to its words.
void read_or_explain(const std::function<void()>& read, const std::function<std::string()>& explain);

/// Lines with something in them behind the last datum of a location file that was read with so many.
long lines_behind_data(const std::string& name, long ndata);

}  // namespace velko
