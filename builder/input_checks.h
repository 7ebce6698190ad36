/// Input checks: what velkmtx asks of a mesh and a survey beyond what their readers test.
///
/// Errors   each ends in the program stop with one line that names the culprit
#pragma once

#include "store/state.h"

namespace velko {

/// Counts of at least 1, cells and cube in 32 bits, edges that rise.
void check_mesh(const mesh_state& m);

/// Numbers that are finite, and data outside of the closed mesh: inside it the field of the cell around the datum is
/// another one, and on an edge it is infinite.
void check_survey(const survey_state& s, const mesh_state& m);

}  // namespace velko
