/// velkmtx report: the command line of what the Python package velko does (python/velko/report_command.py).
///
/// Where    the package of the build tree or of the installation that this program belongs to, with the Python that it
///          was built for; else whichever the python3 of the command search path has
#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "velkmtx/commands.h"
#include "velkmtx/options.h"
#include "velkmtx/other_program.h"

namespace velko {

namespace {

constexpr auto what_it_tells =
    "\nExamples: a whole run; a model and what its matrix predicts for it; data alone:\n\n"
    "  velkmtx report report.html --matrix survey.mtx --data velkrund.vlk --observed survey.obs \\\n"
    "    --model survey.sus --topography terrain.topo --title \"Hill of May\"\n"
    "  velkmtx report report.html --matrix survey.mtx --model \"VALUE 0.01\"\n"
    "  velkmtx report report.html --data velkrund.vlk\n\n"
    "The page is one file of HTML, for screens, phones and paper, and asks the network for nothing. With a\n"
    "matrix it tells whether each byte of it is as it was written, whether it was made for these stations,\n"
    "this mesh and this surface, whether the predicted data are those of this model, and what compression\n"
    "costs them, by exact rows at a few stations. What does not fit together is told on the standard error\n"
    "stream too; the page is written all the same.\n\n"
    "The page is drawn by the Python package velko, with Debian's python3-matplotlib and python3-jinja2.";

// The current folder, which Python would look into first, is none of ours.
constexpr auto start = R"python(import sys
folder, words = sys.argv[1], sys.argv[2:]
sys.path[:] = ([folder] if folder else []) + [p for p in sys.path if p]
try:
    from velko.report_command import main
except ImportError as failure:
    sys.exit("velkmtx: a report is made by the Python package velko, which " + sys.executable + " cannot load: install "
             "python3-velko, or build it from the source tree, with python3-scipy, python3-matplotlib and python3-jinja2 ("
             + str(failure).splitlines()[0] + ")")
sys.exit(main(words))
)python";

/// Empty where neither is there.
std::string folder_of_package() {
  const std::filesystem::path above = folder_of_programs().parent_path();
  for (const std::filesystem::path& folder : {above / "python", above / VELKO_PYTHON_INSTALL_DIR})
    if (exists(folder / "velko" / "report_command.py")) return folder;
  return {};
}

struct report_options {
  std::string output;
  std::vector<std::string> chosen;  // name and value of each option that was given, in turn
};

[[noreturn]] void write_report(const report_options& options) {
  const std::string folder = folder_of_package();
  std::vector<std::string> words{"python3", "-c", start, folder, options.output};
  words.insert(words.end(), options.chosen.begin(), options.chosen.end());
  become(folder.empty() ? "python3" : VELKO_PYTHON, words);
}

/// An option that goes to Python with its value as it is.
CLI::Option* add_passed_on(CLI::App& app, report_options& into, const std::string& name,
                           const std::string& what) {
  const auto take = [name, &into](const std::string& value) {
    into.chosen.insert(into.chosen.end(), {name, value});
  };
  return app.add_option_function<std::string>("--" + name, take, what)->option_text("TEXT");
}

void add_file_option(CLI::App& app, report_options& into, const std::string& name, const std::string& what) {
  add_passed_on(app, into, name, what)->check(name_of_a_file())->option_text("FILE");
}

void add_places(CLI::App& app, report_options& into, const std::string& name, const std::string& what) {
  const auto are_numbers = [](const std::string& text) { return !numbers_of(text).empty(); };
  add_passed_on(app, into, name, what)
      ->check(allowed<std::string>(are_numbers, "one number, or several with commas between them"))
      ->option_text("NUMBER,...");
}

void add_options(CLI::App& app, report_options& into) {
  add_file(app, "REPORT", into.output, "page to write, such as report.html; replaced when it is whole");
  add_file_option(app, into, "matrix", "sensitivity file; brings its mesh and surface");
  add_file_option(app, into, "data", "predicted data; unless given, computed from matrix and model");
  add_file_option(app, into, "observed",
                  "observed data with their standard deviations,\nat the same stations");
  add_file_option(app, into, "locations",
                  "location file, where there are no data, or to be\ncompared with the matrix");
  add_file_option(app, into, "model", "model file, or \"VALUE number\"");
  add_file_option(app, into, "mesh", "mesh file, where there is no matrix, or to be\ncompared with it");
  add_file_option(app, into, "topography",
                  "topography file: the terrain in sections, and to be\ncompared with the matrix");
  add_file_option(app, into, "commands", "text file with the commands of the run, to be shown\nas it is");
  add_passed_on(app, into, "title", "unless given, the name of a file");
  add_places(app, into, "x",
             "sections from south to north there; unless given,\nthrough the most anomalous cell");
  add_places(app, into, "y", "the same of sections from west to east");
  add_places(app, into, "elevation", "the same of plans");
  const auto is_count = [](i4 n) { return n >= 0; };
  add_passed_on(app, into, "verify", "stations at which data are compared with exact rows;\ndefault 16")
      ->check(allowed<i4>(is_count, "a whole number from 0"))
      ->option_text("N");
}

/// Something to tell of.
void check_inputs(const CLI::App& command) {
  for (const char* name : {"--matrix", "--data", "--observed", "--locations", "--model", "--mesh"})
    if (command.count(name) > 0) return;
  throw CLI::RequiredError("A matrix, data, or a model with its mesh");
}

}  // namespace

void add_report(CLI::App& app, task& chosen) {
  const auto options = std::make_shared<report_options>();
  CLI::App& command = *app.add_subcommand("report", "writes a page of data, model and how far to trust them");
  command.footer(what_it_tells);
  add_options(command, *options);
  command.callback([=, &chosen, &command] {
    check_inputs(command);
    chosen = [options]() -> int { write_report(*options); };
  });
}

}  // namespace velko
