#include "builder/sensitivity_scan.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <filesystem>
#include <span>
#include <utility>

#include "builder/daubechies.h"
#include "builder/repeated_fault.h"
#include "reports/reports.h"
#include "store/cell_geometry.h"
#include "store/record_reader.h"
#include "text/number_layout.h"
#include "wavelet/wtn_mod.h"

namespace velko {

namespace {

i8 at_least_0(i8 n) {
  return std::max(n, i8{0});
}

class scanner {
 public:
  explicit scanner(std::string_view file_name) : file_name_(file_name) {
    if (!in_.open(file_name)) report_file_not_found("sensitivity", file_name);
    // The size bounds what the counts of a hostile file can make us allocate; a pipe or a device has none.
    const std::string name(without_trailing_blanks(file_name));
    if (!std::filesystem::is_regular_file(name)) stop_program("velkmtx: " + name + " is not a regular file");
    found_.bytes = static_cast<i8>(std::filesystem::file_size(name));
    provenance_reading reading = read_provenance(file_name);
    found_.made = std::move(reading.found);
    ends_with_provenance_ = found_.made || reading.damaged;
    if (reading.damaged) fault("the provenance behind record 8 is not what was written");
    if (!found_.made) return;
    verifier_.emplace(*found_.made);
    in_.show_to([this](bytes_view bytes) { verifier_->add(bytes); });
  }

  sensitivity_contents scan() {
    found_.complete = header() && mesh_block() && surface() && filter() && cube() && weights() && rows() &&
                      diagonal() && end_of_file();
    if (verifier_) {
      verifier_->add_rest(file_name_);
      found_.damaged = verifier_->damaged();
      verifier_.reset();
    }
    return std::move(found_);
  }

 private:
  template <class... values>
  void fault(fmt::format_string<values...> words, values&&... v) {
    found_.faults.push_back(fmt::format(words, std::forward<values>(v)...));
  }
  void fault(const repeated_fault& f) { f.tell(found_.faults); }

  // Records. `record_` is the one at hand, by name; false means that the file can't be read any further.

  bool begin(std::string name) {
    record_ = std::move(name);
    if (in_.begin_record()) return true;
    fault("{} is missing: the file ends before it", record_);
    return false;
  }
  /// Whether the rest of the record may hold so many items.
  bool has_room_for(i8 count, i8 size) const {
    return count <= found_.bytes / size && in_.may_hold(count * size);
  }
  bool require(i8 count, i8 size) {
    if (has_room_for(count, size)) return true;
    fault("{} is too short for the counts", record_);
    return false;
  }
  template <class T>
  bool take(T& value) {
    return require(1, sizeof value) && (in_.read(value) || cut_off());
  }
  template <class T>
  bool take(std::vector<T>& values, i8 count) {
    if (!require(count, sizeof(T))) return false;
    values.resize(static_cast<std::size_t>(count));
    return in_.read_all(std::span(values)) || cut_off();
  }
  bool end() {
    if (in_.may_hold(1)) fault("{} is longer than its items", record_);
    return in_.end_record() || cut_off();
  }
  bool cut_off() {
    fault("{} is cut off, or its length words differ", record_);
    return false;
  }

  bool header() {
    auto& f = found_;
    if (!begin("record 1 (header)") || !take(f.ndata_mtx) || !take(f.ncol) || !take(f.ny) || !take(f.nx) ||
        !take(f.nz) || !end())
      return false;
    if (f.ndata_mtx < 0) fault("ndata_mtx is {}", f.ndata_mtx);
    if (f.ncol < 0) fault("ncol is {}", f.ncol);
    if (f.ny < 1 || f.nx < 1 || f.nz < 1)
      fault("ny, nx, nz are {}, {}, {}; each should be at least 1", f.ny, f.nx, f.nz);
    else if (!product_fits(f.ny, f.nx, f.nz))
      fault("ny, nx, nz are {}, {}, {}: more cells than 32 bits can count", f.ny, f.nx, f.nz);
    return true;
  }

  bool mesh_block() {
    auto& f = found_;
    const auto nodes = [](i4 cells) { return at_least_0(i8{cells} + 1); };
    if (!begin("record 2 (mesh)") || !take(f.ynode, nodes(f.ny)) || !take(f.xnode, nodes(f.nx)) ||
        !take(f.znode, nodes(f.nz)) || !take(f.ztop) || !end())
      return false;
    check_edges("ynode", f.ynode);
    check_edges("xnode", f.xnode);
    check_edges("znode", f.znode);
    if (!std::isfinite(f.ztop)) fault("ztop is {}", f.ztop);
    return true;
  }

  void check_edges(std::string_view name, const std::vector<r8>& node) {
    repeated_fault not_finite, not_rising;
    for (std::size_t n = 0; n < node.size(); ++n) {
      if (!std::isfinite(node[n])) not_finite.note("{}({}) is {}", name, n + 1, node[n]);
      if (n > 0 && node[n - 1] >= node[n])
        not_rising.note("{}({}) is {}, which is not above {}({})", name, n + 1, node[n], name, n);
    }
    fault(not_finite);
    fault(not_rising);
  }

  bool surface() {
    auto& f = found_;
    const i8 columns = at_least_0(f.ny) * at_least_0(f.nx);
    std::vector<i4> itop;
    if (!begin("record 3 (surface)") || !take(itop, columns) || !end()) return false;
    repeated_fault outside;
    for (i8 n = 0; n < columns; ++n) {
      const i4 above = itop[static_cast<std::size_t>(n)];
      f.itop.note(above);
      f.cells_above += above;
      f.cells_below += at_least_0(i8{f.nz} - above);
      if (above < 0 || above > f.nz)
        outside.note("itop({}, {}) is {}, not from 0 to nz = {}", n % f.ny + 1, n / f.ny + 1, above, f.nz);
    }
    fault(outside);
    if (outside.count == 0 && f.cells_below != f.ncol)
      fault("ncol is {}, but {} cells lie below the surface", f.ncol, f.cells_below);
    return true;
  }

  bool filter() {
    auto& f = found_;
    if (!begin("record 4 (filter)") || !take(f.nfilter) || !take(f.wfilter, at_least_0(f.nfilter)) || !end())
      return false;
    if (f.nfilter > longest_unfolded)
      fault("nfilter is {}: a filter of more than {} coefficients is no wavelet's, and takes long", f.nfilter,
            longest_unfolded);
    check_values("wfilter", f.wfilter, "not finite", [](r8 v) { return std::isfinite(v); });
    return true;
  }

  template <class predicate>
  void check_values(std::string_view name, const std::vector<r8>& values, std::string_view complaint,
                    predicate is_good) {
    repeated_fault bad;
    for (std::size_t n = 0; n < values.size(); ++n)
      if (!is_good(values[n])) bad.note("{}({}) is {}: {}", name, n + 1, values[n], complaint);
    fault(bad);
  }

  /// The dense form has no use for the cube.
  bool cube() {
    auto& f = found_;
    if (!begin("record 5 (cube)") || !take(f.cube.y) || !take(f.cube.x) || !take(f.cube.z) || !end())
      return false;
    if (!f.compressed()) return true;
    check_dimension("ncube_y", f.cube.y, "ny", f.ny);
    check_dimension("ncube_x", f.cube.x, "nx", f.nx);
    check_dimension("ncube_z", f.cube.z, "nz", f.nz);
    if (product_fits(f.cube.y, f.cube.x, f.cube.z))
      ncube_ = at_least_0(f.cube.y) * at_least_0(f.cube.x) * at_least_0(f.cube.z);
    else
      fault("the cube of {} x {} x {} has more elements than 32 bits can count", f.cube.y, f.cube.x,
            f.cube.z);
    return true;
  }

  void check_dimension(std::string_view name, i4 n, std::string_view count, i4 cells) {
    if (n < 1 || !std::has_single_bit(static_cast<std::uint32_t>(n)))
      fault("{} is {}, which is no power of two", name, n);
    if (n < cells) fault("{} is {}, less than {} = {}", name, n, count, cells);
  }

  bool weights() {
    std::vector<r8> wtz;
    if (!begin("record 6 (weights)") || !take(found_.wtz_kind) || !take(wtz, at_least_0(found_.ncol)) ||
        !end())
      return false;
    check_values("wtz", wtz, "not finite and positive", [](r8 v) { return std::isfinite(v) && v > 0.0; });
    for (const r8 weight : wtz) found_.wtz.note(weight);
    return true;
  }

  bool rows() {
    bool readable = true;
    for (i4 datum = 1; readable && datum <= found_.ndata_mtx; ++datum)
      readable =
          begin(fmt::format("row {}", datum)) && (found_.compressed() ? sparse_row(datum) : dense_row(datum));
    for (const repeated_fault* f : {&bad_count_, &short_row_, &long_row_, &outside_, &not_finite_}) fault(*f);
    return readable;
  }

  /// A row whose count does not fit its record is passed over; its length words tell where the next one is.
  bool sparse_row(i4 datum) {
    i4 nnz = 0;
    if (!take(nnz)) return false;
    if (nnz < 0 || nnz > ncube_)
      bad_count_.note("row {}: nnz is {}, not from 0 to ncube = {}", datum, nnz, ncube_);
    const i8 count = at_least_0(nnz);
    if (!has_room_for(count, sizeof(i4) + sizeof(r4))) {
      short_row_.note("row {}: its record is too short for nnz = {}", datum, nnz);
      return in_.end_record() || cut_off();
    }
    if (!take(idx_, count) || !take(val_, count)) return false;
    found_.nnz.push_back(static_cast<i4>(count));
    note_positions(datum);
    note_values(datum);
    return end_row(datum);
  }

  bool dense_row(i4 datum) {
    if (!take(val_, at_least_0(found_.ncol))) return false;
    found_.nnz.push_back(found_.ncol);
    note_values(datum);
    return end_row(datum);
  }

  /// A look at all together, as fast as the file is read, tells whether a closer one is needed.
  void note_positions(i4 datum) {
    extremes<i4> range;
    for (const i4 idx : idx_) range.note(idx);
    if (range.least >= 1 && range.most <= ncube_) return;
    for (const i4 idx : idx_)
      if (idx < 1 || idx > ncube_)
        outside_.note("row {}: idx {} is not from 1 to ncube = {}", datum, idx, ncube_);
  }

  void note_values(i4 datum) {
    extremes<r4> range;
    bool all_finite = true;
    for (const r4 value : val_) {
      all_finite &= std::abs(value) <= std::numeric_limits<r4>::max();
      range.note(value);
    }
    if (!val_.empty()) {
      found_.values.note(range.least);
      found_.values.note(range.most);
    }
    if (all_finite) return;
    for (const r4 value : val_)
      if (!std::isfinite(value)) not_finite_.note("row {}: a value of G is {}", datum, value);
  }

  bool end_row(i4 datum) {
    if (in_.may_hold(1)) long_row_.note("row {}: its record is longer than its items", datum);
    return in_.end_record() || cut_off();
  }

  bool diagonal() {
    std::vector<r8> gdiag;
    if (!begin("record 8 (diagonal)") || !take(gdiag, at_least_0(found_.ncol)) || !end()) return false;
    check_values("gdiag", gdiag, "not finite and at least 0",
                 [](r8 v) { return std::isfinite(v) && v >= 0.0; });
    for (const r8 value : gdiag) found_.gdiag.note(value);
    return true;
  }

  /// What follows the last record may be velkmtx's own account of the file, to the last byte.
  bool end_of_file() {
    if (!ends_with_provenance_ && !in_.at_end()) fault("bytes follow the last record");
    return true;
  }

  std::string_view file_name_;
  record_reader in_;
  sensitivity_contents found_;
  std::optional<stretch_verifier> verifier_;
  std::string record_;
  bool ends_with_provenance_ = false;
  i8 ncube_ = std::numeric_limits<i4>::max();  // what idx can reach at most while the cube does not say
  std::vector<i4> idx_;
  std::vector<r4> val_;
  repeated_fault bad_count_, short_row_, long_row_, outside_, not_finite_;
};

}  // namespace

sensitivity_contents scan_sensitivity_file(std::string_view file_name) {
  return scanner(file_name).scan();
}

/// The published tables of filters have ten digits and more.
std::vector<std::string> differences_to(const survey_state& locations, const sensitivity_contents& contents) {
  if (contents.made) return differences(locations, *contents.made);
  if (locations.ndata == contents.ndata_mtx) return {};
  return {fmt::format("{} data; the file was made for {}", locations.ndata, contents.ndata_mtx)};
}

std::string name_of_filter(const std::vector<r8>& wfilter) {
  const auto n = static_cast<i4>(wfilter.size());
  if (n < 2 || n > longest_daubechies_filter || n % 2 != 0) return {};
  const auto same = [](r8 a, r8 b) { return std::abs(a - b) < 1e-9; };
  for (const auto& [family, known] : {std::pair{n == 2 ? "Haar" : "Daubechies", daubechies_filter(n)},
                                      std::pair{"symlet", symlet_filter(n)}}) {
    if (std::equal(known.begin(), known.end(), wfilter.begin(), same)) return family;
    if (std::equal(known.rbegin(), known.rend(), wfilter.begin(), same))
      return std::string(family) + ", reversed";
  }
  return {};
}

}  // namespace velko
