/// velkmtx join: one sensitivity file of its parts.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "builder/part_joining.h"
#include "velkmtx/commands.h"
#include "velkmtx/options.h"
#include "velkmtx/progress.h"
#include "velkmtx/whole_file.h"

namespace velko {

namespace {

constexpr auto what_it_does = "makes one sensitivity file of parts, the same bytes as one run";

constexpr auto example =
    "\nExample: two halves, made on two machines:\n\n"
    "  velkmtx make survey.mesh terrain.topo survey.loc a.mtx --rows 1:5000\n"
    "  velkmtx make survey.mesh terrain.topo survey.loc b.mtx --rows 5001:10000\n"
    "  velkmtx join survey.mtx a.mtx b.mtx\n\n"
    "The parts may come in any order, and have any rows, as long as each row is in one of them. The join is\n"
    "fastest where a part begins with row 1, 1025, 2049, ... Parts of another survey, mesh or surface, "
    "parts\n"
    "that were made in another way, and parts that have changed since are refused.";

struct join_options {
  std::string output_file;
  std::vector<std::string> parts;
  bool quiet = false;
};

int join_files(const join_options& options) {
  check_output_is_no_input(options.output_file, options.parts);
  joined_file joined;
  r8 bytes = 0;
  const int status =
      write_whole_file(options.output_file, [&](output_file& file, const interruption& signals) {
        std::optional<progress_line> progress;
        joined = join_parts(file, options.parts, [&](i4 done, i4 all) {
          signals.look();
          if (!progress) progress.emplace(all, options.quiet);
          progress->show(done);
        });
        bytes = static_cast<r8>(file.bytes_written());
      });
  if (status == 0 && !options.quiet)
    print_summary_of(
        options.output_file,
        fmt::format("{}: {} rows of {} parts, {}; {} rows brought back for gdiag", options.output_file,
                    joined.rows, options.parts.size(), size_text(bytes), joined.restored));
  return status;
}

}  // namespace

void add_join(CLI::App& app, task& chosen) {
  const auto options = std::make_shared<join_options>();
  CLI::App& command = *app.add_subcommand("join", what_it_does);
  command.footer(example);
  add_file(command, "OUTPUT", options->output_file, "sensitivity file to write; replaced when it is whole");
  command.add_option("PART", options->parts, "parts, as velkmtx make --rows makes them")
      ->required()
      ->option_text(" ");
  command.add_flag("--quiet", options->quiet, "neither progress nor summary")->option_text(" ");
  command.callback([=, &chosen] { chosen = [options] { return join_files(*options); }; });
}

}  // namespace velko
