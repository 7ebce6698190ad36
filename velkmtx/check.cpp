/// velkmtx check: whether the contents of a sensitivity file fit together.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "builder/sensitivity_scan.h"
#include "velkmtx/commands.h"
#include "velkmtx/options.h"

namespace velko {

namespace {

constexpr auto what_is_checked =
    "\nEach fault is one line on the standard output, and the exit status is then 1. Checked are: the "
    "framing\n"
    "and the length of every record; counts; edges that rise; the surface against the mesh and ncol; the "
    "cube\n"
    "(powers of two, not below the mesh); weights finite and positive; nnz and idx of every row; values "
    "that\n"
    "are finite; that nothing follows the last record.";

int check_contents(const std::string& name) {
  const sensitivity_contents contents = scan_sensitivity_file(name);
  for (const std::string& fault : contents.faults) print(fmt::format("{}: {}", name, fault));
  if (contents.faults.empty()) print(name + ": no faults");
  return contents.faults.empty() ? 0 : 1;
}

}  // namespace

void add_check(CLI::App& app, task& chosen) {
  const auto name = std::make_shared<std::string>();
  CLI::App& command = *app.add_subcommand("check", "tells whether a sensitivity file fits together");
  command.footer(what_is_checked);
  add_file(command, "FILE", *name, "sensitivity file");
  command.callback([=, &chosen] { chosen = [name] { return check_contents(*name); }; });
}

}  // namespace velko
