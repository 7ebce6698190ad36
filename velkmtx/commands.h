/// The command line of velkmtx, and its subcommands.
///
/// What     each add_ function gives the program one subcommand with its options, and has `chosen` set to what it
///          does once the command line has been read
/// Status   a task gives the exit status: 0, or 1 for an answer that is no; it ends in the program stop when it fails
#pragma once

#include <functional>
#include <span>

namespace CLI {
class App;
}

namespace velko {

using task = std::function<int()>;

using add_subcommand = void (*)(CLI::App& app, task& chosen);

void add_check(CLI::App& app, task& chosen);
void add_info(CLI::App& app, task& chosen);
void add_join(CLI::App& app, task& chosen);
void add_make(CLI::App& app, task& chosen);
void add_mesh(CLI::App& app, task& chosen);
void add_model(CLI::App& app, task& chosen);
void add_report(CLI::App& app, task& chosen);

void add_import(CLI::App& app, task& chosen);
void add_export(CLI::App& app, task& chosen);

/// Has import and export done by velkmtx-exchange, the program beside this one that is linked with GDAL: its hundred
/// shared libraries take longer to load than a short command takes to run.
void add_exchange(CLI::App& app, task& chosen);

/// The whole program with these subcommands; gives its exit status.
int velkmtx(int argc, const char* const* argv, std::span<const add_subcommand> subcommands);

}  // namespace velko
