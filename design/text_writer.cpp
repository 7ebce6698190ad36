#include "design/text_writer.h"

#include <fmt/format.h>

#include <iterator>
#include <string>

namespace velko {

namespace {

void write(output_file& file, const std::string& text) {
  file.write(std::as_bytes(std::span(text)));
}

std::string line_of_widths(std::span<const r8> widths) {
  std::string line;
  while (!widths.empty()) {
    std::size_t same = 1;
    while (same < widths.size() && widths[same] == widths[0]) ++same;
    if (!line.empty()) line += ' ';
    if (same > 1) fmt::format_to(std::back_inserter(line), "{}*", same);
    fmt::format_to(std::back_inserter(line), "{}", widths[0]);
    widths = widths.subspan(same);
  }
  return line + '\n';
}

}  // namespace

void write_mesh_file(output_file& file, const mesh_axes& axes) {
  write(file, fmt::format("{} {} {}\n{} {} {}\n", axes.x.cells(), axes.y.cells(), axes.z.cells(),
                          axes.x.start, axes.y.start, axes.z.start));
  for (const mesh_axis* axis : {&axes.x, &axes.y, &axes.z}) write(file, line_of_widths(axis->widths));
}

namespace {

/// Lines by their number, from 0, written in large pieces.
template <class line_writer>
void write_lines(output_file& file, std::size_t count, line_writer&& append_line) {
  constexpr std::size_t chunk = 4096;
  std::string lines;
  for (std::size_t n = 0; n < count; ++n) {
    append_line(std::back_inserter(lines), n);
    if ((n + 1) % chunk == 0 || n + 1 == count) {
      write(file, lines);
      lines.clear();
    }
  }
}

void write_survey_header(output_file& file, const survey_state& s) {
  write(file,
        fmt::format("{} {} {}  !! incl, decl, geomag\n{} {} {}  !! aincl, adecl, idir\n{}  !! # of data\n",
                    s.incl, s.decl, s.geomag, s.aincl, s.adecl, s.idir, s.ndata));
}

}  // namespace

void write_model_file(output_file& file, std::span<const r8> values, model_digits digits) {
  write_lines(file, values.size(), [&](auto out, std::size_t n) {
    if (digits == model_digits::all)
      fmt::format_to(out, "{}\n", values[n]);
    else
      fmt::format_to(out, "{:.9g}\n", values[n]);
  });
}

void write_active_file(output_file& file, std::span<const i4> active) {
  write_lines(file, active.size(), [&](auto out, std::size_t n) { fmt::format_to(out, "{}\n", active[n]); });
}

void write_survey_file(output_file& file, const survey_state& s, std::span<const r8> values,
                       std::span<const r8> deviations) {
  write_survey_header(file, s);
  write_lines(file, static_cast<std::size_t>(s.ndata), [&](auto out, std::size_t n) {
    const i8 i = static_cast<i8>(n) + 1;
    fmt::format_to(out, "{} {} {}", s.xobs(i), s.yobs(i), s.zobs(i));
    if (s.idir == 0) fmt::format_to(out, " {} {}", s.aincl_obs(i), s.adecl_obs(i));
    if (!values.empty()) fmt::format_to(out, " {}", values[n]);
    if (!deviations.empty()) fmt::format_to(out, " {}", deviations[n]);
    *out = '\n';
  });
}

void write_topography_file(output_file& file, std::span<const r8> points) {
  const std::size_t count = points.size() / 3;
  write(file, fmt::format("{} points\n", count));
  write_lines(file, count, [&](auto out, std::size_t n) {
    fmt::format_to(out, "{} {} {}\n", points[3 * n], points[3 * n + 1], points[3 * n + 2]);
  });
}

}  // namespace velko
