/// velkmtx-exchange: the part of velkmtx that is linked with GDAL. velkmtx runs it for import and export, with its own
/// arguments; exit status and streams are those of velkmtx.
#include "programs/run_time.h"
#include "programs/standard_streams.h"
#include "velkmtx/commands.h"

int main(int argc, char** argv) {
  velko::prepare_standard_streams();
  velko::prepare_run_time();
  constexpr velko::add_subcommand subcommands[] = {velko::add_import, velko::add_export};
  return velko::velkmtx(argc, argv, subcommands);
}
