/// velkmtx: the companion of velkrund. What it does is in its subcommands, one file each in this folder.
///
/// Exit status  0 when the subcommand did what it was asked, 1 when it failed (or, for a check, found a fault), 2 for
///              a wrong command line
/// Streams      results and summaries go to the standard output; an error is one line on the standard error stream
#include "programs/run_time.h"
#include "programs/standard_streams.h"
#include "velkmtx/commands.h"

int main(int argc, char** argv) {
  velko::prepare_standard_streams();
  velko::prepare_run_time();
  constexpr velko::add_subcommand subcommands[] = {velko::add_make,     velko::add_join,  velko::add_mesh,
                                                   velko::add_model,    velko::add_info,  velko::add_check,
                                                   velko::add_exchange, velko::add_report};
  return velko::velkmtx(argc, argv, subcommands);
}
