/// The inputs of velkmtx make: mesh, surface and survey, read into the shared state and checked.
#pragma once

#include "velkmtx/make_options.h"

namespace velko {

/// Warns of what hardly anybody means; stops the program where no file can be made, and where stations lie in rock by mistake.
void read_inputs(const make_options& options);

}  // namespace velko
