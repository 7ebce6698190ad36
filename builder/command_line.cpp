#include "builder/command_line.h"

#include <CLI/CLI.hpp>

namespace velko {

namespace {

constexpr auto what_it_does = "velkmtx: makes the sensitivity file of a magnetic survey, for velkrund.\n";

constexpr auto example =
    "\nExample: the matrix of survey.loc over the cells of survey.mesh, with rows that keep all but\n"
    "a thousandth of their norm:\n\n"
    "  velkmtx survey.mesh survey.loc survey.mtx --filter 4 --tolerance 1e-3\n\n"
    "The surface is flat, at the top of the mesh; the data lie outside of the mesh; all weights are 1.\n"
    "Rows are in nT for a cell of unit susceptibility (SI).";

}  // namespace

std::optional<int> parse_command_line(int argc, const char* const* argv, command_line& into) {
  CLI::App app(what_it_does, "velkmtx");
  app.footer(example);
  app.set_version_flag("--version", "velkmtx, VELKO 5.0");
  app.add_option("MESH", into.mesh_file, "mesh file: counts, origin, widths along x, y, z")->required();
  app.add_option("LOCATIONS", into.location_file,
                 "location file: field, direction, number of data, positions")
      ->required();
  app.add_option("OUTPUT", into.output_file, "sensitivity file to write; replaced when it is whole")
      ->required();

  into.form = {.nfilter = 4, .tolerance = 1e-3};
  bool dense = false;
  CLI::Option* filter =
      app.add_option("--filter", into.form.nfilter, "coefficients of the Daubechies filter; 2 is Haar")
          ->check(CLI::IsMember({2, 4, 6, 8, 10, 12}))
          ->capture_default_str();
  CLI::Option* tolerance = app.add_option("--tolerance", into.form.tolerance,
                                          "what a row may lose, relative to its norm; 0 for nothing")
                               ->check(CLI::Range(0.0, 1.0))
                               ->capture_default_str();
  app.add_flag("--dense", dense, "write every value of G, without compression")
      ->excludes(filter)
      ->excludes(tolerance);
  app.add_option("--threads", into.threads, "threads to work on")->check(CLI::Range(1, 1024));

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& end) {
    return app.exit(end);
  }
  if (dense) into.form = {.nfilter = 0, .tolerance = 0.0};
  return std::nullopt;
}

}  // namespace velko
