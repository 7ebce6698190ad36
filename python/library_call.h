/// A call of the library from Python: its turn, its problem in place, its stops as exceptions.
///
/// What     in_library lets the other threads of Python run, waits until no other call is in the library, puts the problem
///          in the place of the shared state and runs the body, with the console silent and denormals as zeros
/// Errors   a stop becomes velko.FileError where the call has a file, else velko.Error, with the library's words and, where
///          the call brings somebody who looks at the file again, the line and what is wrong there; memory that is refused MemoryError; Ctrl-C, which asks the library for an interruption, KeyboardInterrupt. What the library said
///          without a stop becomes a warning of Python, velko.LibraryWarning
/// Threads  bodies run one at a time; none may touch Python but through `with_python`
/// Fork     hold_library and free_library stand around os.fork, so that a child never begins in the middle of a call
#pragma once

#include <functional>
#include <string>

#include "builder/text_diagnosis.h"
#include "store/problem.h"

namespace velko::python {

/// What becomes of lines that the library says without a stop.
enum class console_lines { warnings, dropped };

using diagnosis_of_file = std::function<text_fault()>;

void in_library(problem& p, const std::string& file, const std::function<void()>& body,
                const diagnosis_of_file& explain = {}, console_lines lines = console_lines::warnings);

/// Runs a part of a body, in whatever thread, that uses Python. Its exceptions end the call and come out of it whole.
void with_python(const std::function<void()>& body);

void hold_library();
void free_library();

}  // namespace velko::python
