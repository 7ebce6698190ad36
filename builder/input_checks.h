/// Input checks: what velkmtx asks of a mesh and a survey beyond what their readers test.
///
/// Errors   each ends in the program stop with one line that names the culprit
#pragma once

#include "store/state.h"

namespace velko {

/// Counts of at least 1, cells and cube in 32 bits, edges that rise.
void check_mesh(const mesh_state& m);

/// At least one cell below the surface; itop is filled.
void check_surface(const mesh_state& m);

/// Numbers that are finite.
void check_survey(const survey_state& s);

/// Data in or on a cell below the surface: they have the field inside of rock, and on an edge a field without bounds.
i4 count_data_in_cells(const survey_state& s, const mesh_state& m);

/// The first of them; 0 where there is none.
i4 first_datum_in_cells(const survey_state& s, const mesh_state& m);

}  // namespace velko
