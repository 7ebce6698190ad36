/// The model file: a value for every cell of the mesh, or the words "VALUE number" in place of a file name.
///
/// What     read_model fills the vector of active cells from a file of one value per line; read_cube fills a whole
///          array in one read, with values across lines as they come and repeats r*c. Both then multiply the cells
///          below the surface by wtz where the caller passes it
/// Shapes   model(1..ncell); cube(k, j, i) of any extents, with wtz at least those of the mesh; wtz in surface
///          order, one for every cell below the surface, active or not
/// Order    of the file: for read_model model order, of which cell_map picks the active cells; for read_cube the
///          array's own, first index fastest. A null value leaves an element of the cube as it was
/// Needs    read_model: get_active_cells, which has built cells.cell_map from this itop and checked it. read_cube:
///          nothing, or with wtz mesh.ny, nx, nz
/// Format   docs/formats/model_file.md
/// Errors   a report with the caller's label, then the program stop: file not found, end reached, a value
///          that is no number, too many values, a constant that can't be read. Stops with a text:
///          "size(model) /= ncell" and "idx1 /= size(wtz)"; with weights also those of check_surface, and for a cube
///          "the cube is smaller than the mesh". The log tells where the values came from
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "arrays/array.h"
#include "arrays/numbers.h"

namespace velko {

void read_model(std::string_view file_name, std::string_view label, std::span<r8> model,
                std::optional<std::span<const r8>> wtz, array2<const i4> itop);

void read_cube(std::string_view file_name, std::string_view label, array3<r8> cube,
               std::optional<std::span<const r8>> wtz, array2<const i4> itop);

}  // namespace velko
