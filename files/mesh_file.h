/// The mesh file: cell counts, origin, and cell widths along the three axes.
///
/// What     read_mesh_file fills `mesh`, all but the surface. The edges are running sums of the widths;
///          znode(1) is 0 and the edges along z count downward from the top of the mesh
/// Shapes   a count below 0 gives empty arrays
/// Memory   is touched as the widths come; a repeat form counts as so many widths, so a few bytes can fill a mesh of
///          any size
/// Format   docs/formats/mesh_file.md
/// Errors   the file-not-found report with the label "mesh", or "ERROR reading mesh file: " for an end of
///          file and for a bad value alike, then the program stop. Nothing tests signs of widths or values
///          behind the last one
#pragma once

#include <string_view>

namespace velko {

void read_mesh_file(std::string_view file_name);

}  // namespace velko
