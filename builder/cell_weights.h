/// Cell weights: the vector wtz of a sensitivity file.
///
/// What     the file holds G with each column divided by the weight of its cell, and a model is multiplied by the
///          weights before it meets G: predicted data are those of the model, whatever the weights. They decide which
///          cells a compressed row keeps best, and what an inversion makes of G
/// Kinds    none (wtz_kind 0): all 1. depth (1):
///            w = ((z + z0) / (zmin + z0))^(-beta / 2),
///          z the depth of the cell's centre below the surface of its column, zmin the least of them: w is 1 there and
///          falls like the square root of the response of a cell with depth, so that deep cells are not too weak for
///          an inversion. beta is 3 for the field of a magnetised cell.
///          volume (2): w = sqrt(V / Vmin), V the volume of the cell, Vmin the least of those below the surface: on a padded mesh the
///          values of a row grow with their cells; this takes half of it out, which compressed rows keep best.
///          depth-volume (3): the product of the two, so that an inversion favours neither padding nor shallow cells
/// z0       the distance that is to be made up for: half the height of the topmost cell, or the mean height of the data
///          above the surface, if that is more
/// Shapes   (ncol), surface order
/// Units    lengths in that of the mesh; weights have none
/// Sources  Y. Li and D. W. Oldenburg, Geophysics 61 (1996) 394-408, doi 10.1190/1.1443968
#pragma once

#include <array>
#include <optional>
#include <string_view>

#include "arrays/array.h"
#include "store/state.h"

namespace velko {

struct weighting {
  enum kind_t : i4 { none = 0, depth = 1, volume = 2, depth_volume = 3 };  // as the file numbers them
  kind_t kind = none;
  r8 beta = 3.0;
  std::optional<r8> z0 = std::nullopt;  // default: the survey's

  bool by_depth() const { return kind == depth || kind == depth_volume; }
  bool by_volume() const { return kind == volume || kind == depth_volume; }
};

/// What the kinds are called, as they are numbered.
inline constexpr std::array<std::string_view, 4> weighting_names{"none", "depth", "volume", "depth-volume"};

/// Whether the widths of a mesh differ along an axis by more than a thousandth.
bool is_padded(const mesh_state& m);

/// Mesh and survey have passed their checks, and a cell lies below the surface.
owned_array1<r8> cell_weights(const mesh_state& m, const survey_state& s, const weighting& w);

/// Mean height of the data above the surface of their columns, those that lie beside the mesh above the nearest one. A
/// datum below the surface counts as on it.
r8 mean_height(const mesh_state& m, const survey_state& s);

}  // namespace velko
