/// velkmtx import and export, as velkmtx itself knows them: names to pass on.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "velkmtx/commands.h"

namespace velko {

namespace {

/// Beside the running program, as it was built, or where it was installed, wherever that is.
std::string path_of_exchange() {
  const std::filesystem::path here = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::filesystem::path built = here / "velkmtx-exchange";
  if (std::filesystem::exists(built)) return built;
  return (here / VELKO_LIBEXEC_FROM_BIN / "velkmtx-exchange").lexically_normal();
}

/// The program takes the place of this one.
[[noreturn]] void run_exchange(std::vector<std::string> words) {
  const std::string program = path_of_exchange();
  words.insert(words.begin(), "velkmtx");
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  execv(program.c_str(), argv.data());
  throw std::system_error(errno, std::generic_category(), "cannot run " + program);
}

void add_passed_on(CLI::App& app, task& chosen, const std::string& name, const std::string& what) {
  CLI::App& command = *app.add_subcommand(name, what);
  command.prefix_command();
  command.set_help_flag();
  command.callback([&command, &chosen, name] {
    std::vector<std::string> words = command.remaining();
    words.insert(words.begin(), name);
    chosen = [words]() -> int { run_exchange(words); };
  });
}

}  // namespace

void add_exchange(CLI::App& app, task& chosen) {
  add_passed_on(app, chosen, "import", "makes topography and location files of rasters and tables");
  add_passed_on(app, chosen, "export", "makes tables, rasters and grids of data and models");
}

}  // namespace velko
