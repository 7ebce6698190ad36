/// velkmtx check: whether the contents of a sensitivity file fit together.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "arrays/memory_limit.h"
#include "builder/provenance.h"
#include "builder/run_memory.h"
#include "builder/sensitivity_scan.h"
#include "builder/text_diagnosis.h"
#include "files/data_file.h"
#include "store/state.h"
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
    "are finite; that nothing follows the last record but what velkmtx puts there: its provenance, with a\n"
    "checksum of every record. Where it is, one wrong bit anywhere is found.\n\n"
    "With a location file it also tells whether the file was made for these stations. Positions count as\n"
    "the same up to their tenth digit, the field and directions up to 0.01.\n\n"
    "The last line tells how much memory a run of velkrund takes, beside G, which it reads where the file\n"
    "lies.";

void add_to(std::vector<std::string>& lines, const std::string& name, const std::vector<std::string>& more) {
  for (const std::string& line : more) lines.push_back(name + ": " + line);
}

std::vector<std::string> differences_of_file(const std::string& location_file,
                                             const sensitivity_contents& contents) {
  read_or_explain([&] { read_data_file(location_file, false); },
                  [&] { return explain_data_file(location_file); });
  return differences_to(survey, contents);
}

std::string praise(const sensitivity_contents& contents, const std::string& location_file) {
  if (!contents.made)
    return location_file.empty() ? "no faults; no provenance, so nobody can tell whether values have changed"
                                 : "no faults; no provenance, so of " + location_file +
                                       " nothing but the number of data is compared";
  return location_file.empty()
             ? "no faults, and every byte is as it was written"
             : "no faults, every byte is as it was written, and it belongs to " + location_file;
}

/// What a run takes, and whether this process could have it.
std::string memory_text(const sensitivity_contents& contents) {
  const r8 needed = bytes_of_a_run(contents), limit = static_cast<r8>(memory_limit());
  const std::string text = "a run takes " + size_text(needed) + " of memory";
  return needed > limit ? text + "; this process can have " + size_text(limit) : text;
}

int check_contents(const std::string& name, const std::string& location_file) {
  const sensitivity_contents contents = scan_sensitivity_file(name);
  std::vector<std::string> faults;
  add_to(faults, name, contents.faults);
  add_to(faults, name, contents.damaged);
  if (!location_file.empty()) add_to(faults, location_file, differences_of_file(location_file, contents));
  for (const std::string& fault : faults) print(fault);
  if (faults.empty()) print(name + ": " + praise(contents, location_file));
  if (contents.complete) print(name + ": " + memory_text(contents));
  return faults.empty() ? 0 : 1;
}

}  // namespace

void add_check(CLI::App& app, task& chosen) {
  const auto name = std::make_shared<std::string>(), location_file = std::make_shared<std::string>();
  CLI::App& command = *app.add_subcommand("check", "tells whether a sensitivity file fits together");
  command.footer(what_is_checked);
  add_file(command, "FILE", *name, "sensitivity file");
  command.add_option("LOCATIONS", *location_file, "location file that it should belong to")->option_text(" ");
  command.callback([=, &chosen] { chosen = [=] { return check_contents(*name, *location_file); }; });
}

}  // namespace velko
