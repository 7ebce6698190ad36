/// velkmtx import: what its subcommands share.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "exchange/stations.h"
#include "velkmtx/commands.h"

namespace velko {

/// From the coordinates of an input to those of the suite's files.
struct system_options {
  std::string source, target;        // coordinate systems; empty where none is told
  std::vector<r8> origin{0.0, 0.0};  // of the coordinates that are written, in the target system
};

void add_systems(CLI::App& app, system_options& into);

/// A system in degrees with no other to go to would be written as lengths.
void check_lengths(const system_options& systems, const std::string& file, const std::string& source);

/// Positions to the coordinates that are written; those without an image become NaN.
void place_in_target(const system_options& systems, const std::string& source, std::vector<r8>& x,
                     std::vector<r8>& y);

/// "--extent", WEST,EAST,SOUTH,NORTH in the coordinates that are written.
void add_extent(CLI::App& app, std::vector<r8>& into);

inline map_area area_of(const std::vector<r8>& extent) {
  return {extent[0], extent[1], extent[2], extent[3]};
}

CLI::Option* add_length(CLI::App& app, const char* name, r8& into, const char* what);

void add_import_stations(CLI::App& app, task& chosen);
void add_import_terrain(CLI::App& app, task& chosen);

}  // namespace velko
