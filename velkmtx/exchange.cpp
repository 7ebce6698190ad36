/// velkmtx import and export, as velkmtx itself knows them: names to pass on.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <string>
#include <vector>

#include "velkmtx/commands.h"
#include "velkmtx/other_program.h"

namespace velko {

namespace {

/// Beside the running program, as it was built, or where it was installed, wherever that is.
std::string path_of_exchange() {
  const std::filesystem::path here = folder_of_programs(), built = here / "velkmtx-exchange";
  if (exists(built)) return built;
  return (here / VELKO_LIBEXEC_FROM_BIN / "velkmtx-exchange").lexically_normal();
}

void add_passed_on(CLI::App& app, task& chosen, const std::string& name, const std::string& what) {
  CLI::App& command = *app.add_subcommand(name, what);
  command.prefix_command();
  command.set_help_flag();
  command.callback([&command, &chosen, name] {
    std::vector<std::string> words = command.remaining();
    words.insert(words.begin(), {"velkmtx", name});
    chosen = [words]() -> int { become(path_of_exchange(), words); };
  });
}

}  // namespace

void add_exchange(CLI::App& app, task& chosen) {
  add_passed_on(app, chosen, "import", "makes topography and location files of rasters and tables");
  add_passed_on(app, chosen, "export", "makes tables, rasters and grids of data and models");
}

}  // namespace velko
