/// Cell weights: the vector wtz of a sensitivity file.
///
/// What     the file holds G with each column divided by the weight of its cell, and a model is multiplied by the
///          weights before it meets G: predicted data are those of the model, whatever the weights. They decide which
///          cells a compressed row keeps best, and what an inversion makes of G
/// Kinds    none (wtz_kind 0): all 1. depth (wtz_kind 1):
///            w = ((z + z0) / (zmin + z0))^(-beta / 2),
///          z the depth of the cell's centre below the surface of its column, zmin the least of them: w is 1 there and
///          falls like the square root of the response of a cell with depth, so that deep cells are not too weak for
///          an inversion. beta is 3 for the field of a magnetised cell
/// z0       the distance that is to be made up for: half the height of the topmost cell, or the mean height of the data
///          above the surface, if that is more
/// Shapes   (ncol), surface order
/// Units    lengths in that of the mesh; weights have none
/// Sources  Y. Li and D. W. Oldenburg, Geophysics 61 (1996) 394-408, doi 10.1190/1.1443968
#pragma once

#include <optional>

#include "arrays/array.h"
#include "store/state.h"

namespace velko {

struct weighting {
  enum kind_t : i4 { none = 0, depth = 1 };  // as the file numbers them
  kind_t kind = none;
  r8 beta = 3.0;
  std::optional<r8> z0 = std::nullopt;  // default: the survey's
};

/// Mesh and survey have passed their checks, and a cell lies below the surface.
owned_array1<r8> cell_weights(const mesh_state& m, const survey_state& s, const weighting& w);

/// Mean height of the data above the surface of their columns, those that lie beside the mesh above the nearest one. A
/// datum below the surface counts as on it.
r8 mean_height(const mesh_state& m, const survey_state& s);

}  // namespace velko
