/// Text diagnosis: why a reader did not take a text file, in words that help its user.
///
/// What     the readers' own words are those of the suite, and few. Once one of them has stopped, the file is looked at again
///          by the same rules, up to the first place that does not fit: its line and column, what stands there, what was
///          wanted, and where a usual cause is in sight, that
/// Rules    docs/formats/data_file.md, mesh_file.md, topography_file.md, model_file.md, active_cell_file.md, text_values.md
#pragma once

#include <functional>
#include <string>

#include "arrays/numbers.h"

namespace velko {

struct text_fault {
  std::string words =
      {};  // "line 5, column 4: 'abc' where y of datum 2 is wanted"; empty where nothing was found
  i8 line = 0, column = 0;  // from 1; 0 where no place is to blame, such as in a file that ends early
  std::string text = {};    // of the line, as it stands

  bool empty() const { return words.empty(); }
};

/// Each is empty where the file fits or can't be looked at again. Columns are those that read_survey_file takes behind
/// the station (files/data_file.h); values those that the mesh asks for.
text_fault explain_data_file(const std::string& name, i4 columns = 0);
text_fault explain_mesh_file(const std::string& name);
text_fault explain_topography_file(const std::string& name);
text_fault explain_model_file(const std::string& name, i8 values);
text_fault explain_active_file(const std::string& name, i8 values);

/// Runs the reader. Where it stops, the explanation is added to its words.
void read_or_explain(const std::function<void()>& read, const std::function<text_fault()>& explain);

/// What is said of lines with something in them behind the last datum of a location file that was read with so many; empty
/// where there are none.
std::string told_of_lines_behind(const std::string& name, i4 ndata);

}  // namespace velko
