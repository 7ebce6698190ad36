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

void write_model_file(output_file& file, std::span<const r8> values) {
  constexpr std::size_t chunk = 4096;
  std::string lines;
  for (std::size_t n = 0; n < values.size(); ++n) {
    fmt::format_to(std::back_inserter(lines), "{:.9g}\n", values[n]);
    if ((n + 1) % chunk == 0 || n + 1 == values.size()) {
      write(file, lines);
      lines.clear();
    }
  }
}

}  // namespace velko
