#include "recover/checkpoint.h"

#include <fmt/format.h>
#include <velko/files/output_file.h>
#include <velko/reports/program_stop.h>

#include <fstream>
#include <iterator>

namespace recover {

using namespace velko;

void write_checkpoint(const std::string& name, const std::string& problem, const checkpoint& at) {
  std::string text = problem + '\n' + fmt::format("{} {}\n", at.curve.size(), at.model.size());
  for (const trade_off_point& p : at.curve)
    fmt::format_to(std::back_inserter(text), "{} {} {} {} {}\n", p.iteration, p.damping, p.misfit, p.norm,
                   p.steps);
  for (const r8 m : at.model) fmt::format_to(std::back_inserter(text), "{}\n", m);
  output_file file(name);
  file.write(std::as_bytes(std::span(text)));
  file.keep();
}

std::optional<checkpoint> read_checkpoint(const std::string& name, const std::string& problem) {
  std::ifstream file(name);
  if (!file) return std::nullopt;
  std::string of;
  std::getline(file, of);
  if (of != problem) stop_program("recover: " + name + " is of another problem: " + of);
  std::size_t points = 0, cells = 0;
  file >> points >> cells;
  checkpoint at;
  for (trade_off_point p;
       at.curve.size() < points && file >> p.iteration >> p.damping >> p.misfit >> p.norm >> p.steps;)
    at.curve.push_back(p);
  for (r8 m = 0; at.model.size() < cells && file >> m;) at.model.push_back(m);
  if (at.curve.size() != points || at.model.size() != cells || points == 0)
    stop_program("recover: " + name + " does not fit together");
  return at;
}

}  // namespace recover
