#include "velkmtx/commands.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "builder/program_version.h"
#include "reports/channel.h"
#include "reports/program_stop.h"
#include "velkmtx/options.h"

namespace velko {

namespace {

constexpr auto what_it_does =
    "velkmtx: makes the sensitivity file of a magnetic survey, for velkrund, and what belongs to it.\n";
constexpr auto where_to_look = "\nvelkmtx SUBCOMMAND --help tells the options of each.";

constexpr int failed = 1, wrong_command_line = 2;

/// As the user calls it: velkmtx import terrain.
std::string subcommand_of(const CLI::App& app) {
  std::string name = "velkmtx";
  for (auto parsed = app.get_subcommands(); !parsed.empty(); parsed = parsed.front()->get_subcommands())
    name += " " + parsed.front()->get_name();
  return name;
}

/// One line, whatever the error. The words of the parser may hold line ends.
std::string words_of_error(const CLI::App* app, const CLI::Error& error) {
  std::string words = error.what();
  std::replace(words.begin(), words.end(), '\n', ' ');
  const std::string name = subcommand_of(*app);
  return name + ": " + masked(words) + "; see " + name + " --help\n";
}

/// The parser's own words for an unknown one would hold the whole command line.
void check_subcommand(const CLI::App& app, const std::string& name) {
  const auto has_the_name = [&](const CLI::App* subcommand) { return subcommand->get_name() == name; };
  if (!name.starts_with('-') && app.get_subcommands(has_the_name).empty())
    throw CLI::ParseError("no subcommand is called " + name, wrong_command_line);
}

/// The lines of a report of the library, without blank ones, and without the blanks around each.
std::vector<std::string_view> lines_of(std::string_view report) {
  std::vector<std::string_view> lines;
  while (!report.empty()) {
    const std::size_t end = std::min(report.find('\n'), report.size());
    std::string_view line = report.substr(0, end);
    report.remove_prefix(std::min(end + 1, report.size()));
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    line = line.substr(0, line.find_last_not_of(' ') + 1);
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

/// Of a long report, such as that of all duplicate points, the first lines and the last.
std::string in_one_line(std::string_view report) {
  constexpr std::size_t most = 5;
  std::vector<std::string_view> lines = lines_of(report);
  if (lines.size() > most) {
    lines.erase(lines.begin() + most - 2, lines.end() - 1);
    lines.insert(lines.end() - 1, "...");
  }
  std::string joined;
  for (const std::string_view line : lines) {
    if (joined.ends_with(':') || (joined.ends_with('.') && !joined.ends_with("..."))) joined.pop_back();
    if (!joined.empty()) joined += ": ";
    joined += line;
  }
  return joined;
}

/// Stops of our own begin with our name, failures of the run-time with that of the suite.
void tell(std::string_view text) {
  for (const std::string_view name : {"velkmtx: ", "velko: "})
    if (text.starts_with(name)) text.remove_prefix(name.size());
  if (!text.empty()) std::fprintf(stderr, "velkmtx: %s\n", masked(text).c_str());
}

/// What the library's routines report on the way, or at their stop, goes to the standard error stream too.
int run(const task& chosen) {
  int status = failed;
  capture reports(console());
  const stop_or_done end = run_until_stop([&] { status = chosen(); });
  tell(in_one_line(reports.text));
  tell(in_one_line(end.text));
  return end.kind == stop_or_done::done ? status : failed;
}

int parse_and_run(int argc, const char* const* argv, std::span<const add_subcommand> subcommands) {
  CLI::App app(what_it_does, "velkmtx");
  app.footer(where_to_look);
  app.set_version_flag("--version", program_version());
  app.failure_message(words_of_error);
  app.require_subcommand(0, 1);
  task chosen;
  for (const add_subcommand add : subcommands) add(app, chosen);
  try {
    if (argc > 1) check_subcommand(app, argv[1]);
    app.parse(argc, argv);
    if (!chosen) throw CLI::RequiredError("A subcommand");
  } catch (const CLI::ParseError& end) {
    return app.exit(end) == 0 ? 0 : wrong_command_line;
  }
  return run(chosen);
}

}  // namespace

/// Memory can be refused to the command line too.
int velkmtx(int argc, const char* const* argv, std::span<const add_subcommand> subcommands) {
  int status = failed;
  const stop_or_done end = run_until_stop([&] { status = parse_and_run(argc, argv, subcommands); });
  tell(in_one_line(end.text));
  return status;
}

}  // namespace velko
