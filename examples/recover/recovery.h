/// The recovery: from the command line's files to the recovered model.
///
/// What     loads the survey, cools the damping until the misfit has come to its target, and writes the predicted data of
///          each damping, the model and the trade-off curve. A table of the dampings goes to the console and to the log,
///          and behind it the conditions of the minimum at the model that is written
/// Errors   those of the library; the target is not reached (the last model is written all the same); data that no active
///          cell touches; a misfit that is not finite. Every end is a program stop (reports/program_stop.h)
#pragma once

#include "recover/command_line.h"

namespace recover {

void recover_model(const command_line& options);

}  // namespace recover
