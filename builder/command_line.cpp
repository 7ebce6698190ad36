#include "builder/command_line.h"

#include <CLI/CLI.hpp>
#include <string>

namespace velko {

namespace {

constexpr auto what_it_does = "velkmtx: makes the sensitivity file of a magnetic survey, for velkrund.\n";

constexpr auto usage = "velkmtx [OPTIONS] MESH LOCATIONS OUTPUT";

constexpr auto example =
    "\nExample: the matrix of survey.loc over the cells of survey.mesh, with rows that keep all but\n"
    "a thousandth of their norm:\n\n"
    "  velkmtx survey.mesh survey.loc survey.mtx --filter 4 --tolerance 1e-3\n\n"
    "The surface is flat, at the top of the mesh; the data lie outside of the mesh; all weights are 1.\n"
    "Rows are in nT for a cell of unit susceptibility (SI).";

/// Lets a value pass that converts as its option converts it, and that is allowed.
template <class number, class predicate>
CLI::Validator allowed(predicate is_allowed, const std::string& words) {
  const auto complaint = [=](const std::string& text) {
    number value{};
    const bool good = CLI::detail::lexical_cast(text, value) && is_allowed(value);
    return good ? std::string() : "'" + text + "' is not " + words;
  };
  return {complaint, ""};
}

/// Every line of an error has the name of the program in front.
std::string words_of_error(const CLI::App*, const CLI::Error& error) {
  return std::string("velkmtx: ") + error.what() + "\nvelkmtx: usage: " + usage + "; --help says more\n";
}

void add_files(CLI::App& app, command_line& into) {
  const auto add = [&](const char* name, std::string& file, const char* what) {
    app.add_option(name, file, what)->required()->option_text(" ");
  };
  add("MESH", into.mesh_file, "mesh file: counts, origin, widths along x, y, z");
  add("LOCATIONS", into.location_file, "location file: field, direction, number of data, positions");
  add("OUTPUT", into.output_file, "sensitivity file to write; replaced when it is whole");
}

}  // namespace

std::optional<int> parse_command_line(int argc, const char* const* argv, command_line& into) {
  CLI::App app(what_it_does, "velkmtx");
  app.footer(example);
  app.set_version_flag("--version", "velkmtx, VELKO 5.0");
  app.failure_message(words_of_error);
  add_files(app, into);

  into.form = {.nfilter = 4, .tolerance = 1e-3};
  bool dense = false;
  const auto is_filter = [](i4 n) { return n >= 2 && n <= 12 && n % 2 == 0; };
  const auto is_part = [](r8 part) { return 0.0 <= part && part <= 1.0; };  // false for a NaN
  const auto is_count = [](int n) { return n >= 1 && n <= 1024; };
  CLI::Option* filter =
      app.add_option("--filter", into.form.nfilter,
                     "coefficients of the Daubechies filter:\n2 (Haar), 4, 6, 8, 10 or 12; default 4")
          ->check(allowed<i4>(is_filter, "one of 2, 4, 6, 8, 10, 12"))
          ->type_name("NUMBER")
          ->option_text("NUMBER");
  CLI::Option* tolerance =
      app.add_option("--tolerance", into.form.tolerance,
                     "what a row may lose, relative to its norm:\nfrom 0, for nothing, to 1; default 0.001")
          ->check(allowed<r8>(is_part, "a number from 0 to 1"))
          ->type_name("NUMBER")
          ->option_text("NUMBER");
  app.add_flag("--dense", dense, "write every value of G, without compression;\nneither of the two above")
      ->excludes(filter)
      ->excludes(tolerance)
      ->option_text(" ");
  app.add_option("--threads", into.threads,
                 "threads to work on, 1 to 1024;\ndefault OMP_NUM_THREADS, or else all processors")
      ->check(allowed<int>(is_count, "a whole number from 1 to 1024"))
      ->type_name("NUMBER")
      ->option_text("NUMBER");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& end) {
    return app.exit(end);
  }
  if (dense) into.form = {.nfilter = 0, .tolerance = 0.0};
  return std::nullopt;
}

}  // namespace velko
