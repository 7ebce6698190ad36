/// Model weights: in which norm the recovered model is small.
///
/// What     G acts on m_w = wtz m, m being the model of a model file. What is kept small is |w m_w|, with one weight w for
///          each active cell. A small model lies right at the surface, where a little of it explains the most; weights
///          that grow with the sensitivity of a cell take that advantage away
/// Shapes   one weight for each active cell, numbered like amodel; their mean square is 1
/// Sources  sensitivity: Y. Li and D. Oldenburg, Geophysics 65 (2000) 540-552, doi 10.1190/1.1444749;
///          focusing: B. Last and K. Kubik, Geophysics 48 (1983) 713-721, doi 10.1190/1.1441501; O. Portniaguine and
///          M. Zhdanov, Geophysics 64 (1999) 874-887, doi 10.1190/1.1444596
#pragma once

#include <velko/arrays/array.h>

#include <span>
#include <vector>

namespace recover {

/// Whether the sensitivity file brings weights, which then do what the sensitivity weights are for.
bool file_has_weights();

/// w = gdiag^(exponent / 4), gdiag being the diagonal of G^T G. An exponent of 0 gives 1 throughout.
std::vector<velko::r8> sensitivity_weights(velko::r8 exponent);

/// w / sqrt(a^2 + m_w^2), a being the root mean square of m_w: in this norm what is large already costs little, so that
/// the next model is more compact. A negative value, which no rock has, counts as 0 and is pressed towards it.
std::vector<velko::r8> focused_weights(std::span<const velko::r8> weights, std::span<const velko::r8> amodel);

/// Divides a full-mesh model by wtz, below the surface: from what G acts on to what a model file holds. Stops where a
/// weight is 0, since no model has an effect there.
void remove_file_weights(velko::array3<velko::r8> model);

}  // namespace recover
