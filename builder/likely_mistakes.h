/// Likely mistakes: what a survey and a mesh may be, and hardly ever are meant to be.
///
/// What     looked at before the long work: stations beside the mesh or far above its ground, a field or directions that the
///          earth has not, stations that repeat, a mesh that is padding for its greater part. Where a usual cause is in
///          sight (an identifier in the first column, projected coordinates over a local mesh, feet, depths for elevations)
///          the line names it
/// Needs    mesh, with its surface, and survey have passed their checks
#pragma once

#include <string>
#include <vector>

#include "store/state.h"

namespace velko {

/// A line for each.
std::vector<std::string> likely_mistakes(const mesh_state& m, const survey_state& s);

/// "3 of 36 data lie in or on a cell below the surface, the first is datum 2"; empty where none does.
std::string burial_of(const mesh_state& m, const survey_state& s);

/// What may have put stations into the ground; empty where nothing shows.
std::string cause_of_burial(const mesh_state& m, const survey_state& s);

}  // namespace velko
