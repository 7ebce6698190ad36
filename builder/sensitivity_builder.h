/// Sensitivity builder: from mesh and survey to a sensitivity file.
///
/// What     rows of G are computed and encoded in parallel, a block at a time, and written in order by the calling
///          thread; gdiag(c) is the sum over data of the square of G(c), before compression and narrowing
/// Memory   one block of rows, one cube per thread, and gdiag; never G
/// Threads  those of OpenMP; the bytes of the file are the same for every number of them
/// Errors   std::bad_alloc; those of output_file; the program stop for a value of G beyond 32-bit floats
#pragma once

#include "builder/cube_size.h"
#include "builder/output_file.h"
#include "store/state.h"

namespace velko {

/// Which form of G, and how much of it.
struct matrix_form {
  i4 nfilter = 0;      // coefficients of the Daubechies filter; 0: dense
  r8 tolerance = 0.0;  // relative 2-norm of what a compressed row may lose
};

struct matrix_summary {
  i4 ndata = 0, ncol = 0;
  cube_size cube{};
  i8 stored = 0;  // values of G in the file
};

/// Mesh (with its itop) and survey have passed check_mesh and check_survey.
matrix_summary write_sensitivity(output_file& file, const mesh_state& m, const survey_state& s,
                                 const matrix_form& form);

}  // namespace velko
