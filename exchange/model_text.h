/// Models as text for other programs.
///
/// VTK      write_vtr: a rectilinear grid (.vtr) for ParaView. Each cell has "susceptibility", and with a surface also
///          "ground": 1 below it, 0 above, to be cut away by a threshold. x is east, y north, z the elevation
/// xyz      write_xyz: a line of x, y, elevation and value for the centre of each cell below the surface, of all cells
///          where there is no surface; CSV with a header line where the separator is a comma
/// Order    of the model: z fastest from the top down, then x, then y; of VTK: x fastest, then y, then z upward
/// Shapes   model(nz, nx, ny); m.itop (ny, nx), or empty where there is no surface
/// Numbers  in .vtr exact, as base64; in text with the fewest digits that read back to the same number
/// Errors   those of output_file
#pragma once

#include "arrays/array.h"
#include "arrays/numbers.h"
#include "files/output_file.h"
#include "store/state.h"

namespace velko {

void write_vtr(output_file& file, const mesh_state& m, array3<const r8> model);
void write_xyz(output_file& file, const mesh_state& m, array3<const r8> model, char separator);

}  // namespace velko
