/// velkmtx info: what a sensitivity file holds.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "builder/sensitivity_scan.h"
#include "reports/program_stop.h"
#include "velkmtx/commands.h"
#include "velkmtx/options.h"

namespace velko {

namespace {

template <class T>
std::string range_text(const extremes<T>& e) {
  if (e.least > e.most) return "no values";
  return fmt::format("from {:.6g} to {:.6g}", static_cast<r8>(e.least), static_cast<r8>(e.most));
}

/// Counts below 0 leave no edges at all.
std::string span_text(std::string_view axis, const std::vector<r8>& node, r8 start = 0, r8 direction = 1) {
  if (node.empty()) return fmt::format("no {}", axis);
  const r8 first = start + direction * node.front(), last = start + direction * node.back();
  return fmt::format("{} from {:.8g} to {:.8g}", axis, std::min(first, last), std::max(first, last));
}

std::string mesh_text(const sensitivity_contents& c) {
  return fmt::format("mesh     {} x {} x {} cells along x, y, z\n", c.nx, c.ny, c.nz) +
         fmt::format("         {}, {}, {}\n", span_text("x", c.xnode), span_text("y", c.ynode),
                     span_text("elevation", c.znode, c.ztop, -1));
}

std::string surface_text(const sensitivity_contents& c) {
  return fmt::format("surface  itop {}; {} cells below it, {} above\n", range_text(c.itop), c.cells_below,
                     c.cells_above);
}

std::string filter_text(const sensitivity_contents& c) {
  if (!c.compressed()) return {};
  const std::string name = name_of_filter(c.wfilter);
  return fmt::format("filter   {}, {} coefficients\n", name.empty() ? "unknown" : name, c.nfilter) +
         fmt::format("cube     {} x {} x {} elements along x, y, z\n", c.cube.x, c.cube.y, c.cube.z);
}

/// Entries of the rows, and how much of a dense G they are.
std::string rows_text(const sensitivity_contents& c) {
  if (!c.compressed() || c.nnz.empty()) return {};
  std::vector<i4> sorted = c.nnz;
  std::sort(sorted.begin(), sorted.end());
  i8 total = 0;
  for (const i4 n : sorted) total += n;
  const r8 rows = static_cast<r8>(sorted.size()), kept = static_cast<r8>(total);
  const r8 dense = rows * c.ncol;
  return fmt::format("rows     {} coefficients in the least, {} in the median, {} in the most; {} in all\n",
                     sorted.front(), sorted[sorted.size() / 2], sorted.back(), total) +
         fmt::format("         {:.3g} % of the values of a dense G, {:.3g} % of its bytes\n",
                     100 * kept / dense, 100 * (8 * kept + 4 * rows) / (4 * dense));
}

/// "program velkmtx, VELKO 5.0; wavelet d4; tolerance 0.001; weights none"
std::string in_one_line(std::string settings) {
  if (settings.ends_with('\n')) settings.pop_back();
  for (std::size_t at = settings.find('\n'); at != settings.npos; at = settings.find('\n'))
    settings.replace(at, 1, "; ");
  return settings;
}

std::string stations_text(const survey_state& s) {
  const std::string direction =
      s.idir == 0 ? "one for each datum" : fmt::format("inclination {}, declination {}", s.aincl, s.adecl);
  return fmt::format("field    inclination {}, declination {}, {} nT\nmeasured {}\n", s.incl, s.decl,
                     s.geomag, direction);
}

template <class values>
auto range_of(const values& all) {
  extremes<r8> range;
  for (const r8 v : all) range.note(v);
  return range;
}

std::string provenance_text(const std::optional<provenance>& made) {
  if (!made) return {};
  const survey_state& s = made->stations;
  const std::string part = made->is_part() ? fmt::format("part     rows {} to {} of {}\n", made->rows.first,
                                                         made->rows.last, made->origin.ndata)
                                           : std::string();
  const extremes<r8> loss = range_of(made->loss);
  return fmt::format("made     {}\n", in_one_line(made->origin.settings)) + part + stations_text(s) +
         fmt::format("stations x {}, y {}, z {}\n", range_text(range_of(s.xobs)),
                     range_text(range_of(s.yobs)), range_text(range_of(s.zobs))) +
         fmt::format(
             "loss     a datum is off by at most this, in nT, times the largest value of the model: {}\n",
             range_text(loss));
}

std::string contents_text(const std::string& name, const sensitivity_contents& c) {
  return fmt::format("{}: {} data x {} cells, {}, {}\n", name, c.ndata_mtx, c.ncol,
                     c.compressed() ? "compressed" : "dense", size_text(static_cast<r8>(c.bytes))) +
         provenance_text(c.made) + mesh_text(c) + surface_text(c) + filter_text(c) +
         fmt::format("weights  wtz_kind {}, {}\n", c.wtz_kind, range_text(c.wtz)) + rows_text(c) +
         fmt::format("G        {}{}\n", range_text(c.values), c.compressed() ? ", transformed" : "") +
         fmt::format("gdiag    {}", range_text(c.gdiag));
}

int tell_contents(const std::string& name) {
  const sensitivity_contents contents = scan_sensitivity_file(name);
  if (!contents.complete) stop_program(fmt::format("velkmtx: {}: {}", name, contents.faults.back()));
  std::string text = contents_text(name, contents);
  if (!contents.faults.empty())
    text += fmt::format("\nfaults   {}; velkmtx check tells them", contents.faults.size());
  print(text);
  return 0;
}

}  // namespace

void add_info(CLI::App& app, task& chosen) {
  const auto name = std::make_shared<std::string>();
  CLI::App& command = *app.add_subcommand("info", "tells what a sensitivity file holds");
  add_file(command, "FILE", *name, "sensitivity file");
  command.callback([=, &chosen] { chosen = [name] { return tell_contents(*name); }; });
}

}  // namespace velko
