/// velkmtx: the companion of velkrund. What it does is in its subcommands, one file each in this folder.
///
/// Exit status  0 when the subcommand did what it was asked, 1 when it failed (or, for a check, found a fault), 2 for
///              a wrong command line
/// Streams      results and summaries go to the standard output; an error is one line on the standard error stream
#include <csignal>

#include "velkmtx/commands.h"

int main(int argc, char** argv) {
  // A closed pipe and a file that may not grow are failures with words, like all others, not signals.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  return velko::velkmtx(argc, argv);
}
