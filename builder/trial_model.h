/// Trial model: what the data of a deep model lose with the coefficients that a row drops.
///
/// What     cells in the lower half of the mesh are +1 or -1, in blocks of about an eighth of the mesh along each axis;
///          those above are 0. Multiplied by the weights, as a model is before it meets G
/// Why      the norm of a row is that of the cells close to its datum. What the row keeps of deep cells, which are
///          weak, the tolerance does not tell; the data of this model do
/// Shapes   (ncol), surface order
#pragma once

#include <span>

#include "arrays/array.h"
#include "store/state.h"

namespace velko {

owned_array1<r8> trial_model(const mesh_state& m, std::span<const r8> wtz);

}  // namespace velko
