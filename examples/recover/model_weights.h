/// Model weights: in which norm the recovered model is small.
///
/// What     G acts on m_w = wtz m, m being the model of a model file. The norm that is kept small is that of w m_w, with
///          w = sqrt(volume of the cell) h^(-exponent / 2) and h the depth of its centre below the mean elevation of
///          the data. The volume makes it the norm of a function, whatever the mesh. The depth undoes the fall of the
///          field with distance, without which the smallest model lies right at the surface
/// Shapes   one weight for each active cell, numbered like amodel; their mean square is 1
/// Sources  Y. Li and D. Oldenburg, Geophysics 61 (1996) 394-408, doi 10.1190/1.1443968, whose exponent for magnetic
///          data is 3
#pragma once

#include <vector>

#include "arrays/array.h"

namespace recover {

/// Whether the sensitivity file brings weights, and with them, as a rule, a weighting by depth.
bool file_has_weights();

std::vector<velko::r8> norm_weights(velko::r8 depth_exponent);

/// Divides a full-mesh model by wtz, below the surface: from what G acts on to what a model file holds.
void remove_file_weights(velko::array3<velko::r8> model);

}  // namespace recover
