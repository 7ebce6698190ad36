/// Model sampling: bodies become one value for each cell of a mesh.
///
/// What     a cell's value is the mean over samples^3 points, the centres of as many equal parts of the cell; a point
///          has the value of the last body that holds it, or that of the background. With one sample that is the point
///          in the middle of the cell
/// Shapes   values(nz, nx, ny), model order
#pragma once

#include <vector>

#include "arrays/array.h"
#include "design/bodies.h"
#include "store/state.h"

namespace velko {

/// The part of the mesh that a body takes, whether or not a later body covers it.
struct body_share {
  i8 cells = 0;   // with at least one point in the body
  r8 volume = 0;  // of its points, each standing for its part of the cell
};

struct sampled_model {
  owned_array3<r8> values;
  std::vector<body_share> shares;  // one for each body
};

sampled_model sample_bodies(const mesh_state& m, const std::vector<body>& bodies, r8 background, i4 samples);

}  // namespace velko
