/// The standard streams of a program, whatever it was started with.
///
/// What     a missing descriptor 0, 1 or 2 is opened on /dev/null, so that none of them is given to a file of the program's own,
///          which its words would then go into. A closed pipe and a file that may not grow become failures with words, like all
///          others, not signals
/// For      the first line of a main
#pragma once

namespace velko {

void prepare_standard_streams();

}  // namespace velko
