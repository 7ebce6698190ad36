#include "builder/part_joining.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

#include "builder/diagonal.h"
#include "builder/file_bytes.h"
#include "builder/provenance.h"
#include "builder/row_compression.h"
#include "builder/rows_in_order.h"
#include "builder/sensitivity_builder.h"
#include "builder/sensitivity_writer.h"
#include "reports/program_stop.h"
#include "store/cell_geometry.h"
#include "store/record_reader.h"
#include "threads/team.h"
#include "wavelet/wtn_mod.h"

namespace velko {

namespace {

template <class... values>
[[noreturn]] void refuse(fmt::format_string<values...> words, values&&... v) {
  stop_program("velkmtx: " + fmt::format(words, std::forward<values>(v)...));
}

struct part {
  std::string name;
  provenance made;
  std::unique_ptr<file_bytes> bytes;
};

part opened(const std::string& name) {
  provenance_reading reading = read_provenance(name);
  if (reading.damaged) refuse("{}: the provenance behind record 8 is not what was written", name);
  if (!reading.found)
    refuse("{} is no file that velkmtx made, or its end is missing: it has no provenance", name);
  return {name, std::move(*reading.found), std::make_unique<file_bytes>(name)};
}

void check_belong_together(const part& a, const part& b) {
  const file_origin &one = a.made.origin, &other = b.made.origin;
  const auto differ = [&](const char* what) { refuse("{} and {} are parts of {}", a.name, b.name, what); };
  if (one.ndata != other.ndata || one.survey != other.survey) differ("different surveys");
  if (one.mesh != other.mesh) differ("different meshes");
  if (one.surface != other.surface) differ("different surfaces");
  if (one.settings != other.settings || one.weights != other.weights)
    differ("files that were made in different ways; velkmtx info tells them");
}

std::string rows_text(i4 first, i4 last) {
  return first == last ? fmt::format("row {} is", first) : fmt::format("rows {} to {} are", first, last);
}

/// In the order of their rows, which are those of the whole survey.
std::vector<part> checked_parts(const std::vector<std::string>& names) {
  std::vector<part> parts;
  for (const std::string& name : names) {
    parts.push_back(opened(name));
    check_belong_together(parts.front(), parts.back());
    if (!parts.back().made.is_part()) refuse("{} is no part: it has all rows", name);
  }
  std::ranges::sort(parts, {}, [](const part& p) { return p.made.rows.first; });
  i4 next = 1;
  for (std::size_t n = 0; n < parts.size(); ++n) {
    const survey_rows& rows = parts[n].made.rows;
    if (rows.first > next) refuse("{} in none of the parts", rows_text(next, rows.first - 1));
    if (rows.first < next)
      refuse("{} in {} and in {}", rows_text(rows.first, std::min(next - 1, rows.last)), parts[n - 1].name,
             parts[n].name);
    next = rows.last + 1;
  }
  const i4 ndata = parts.front().made.origin.ndata;
  if (next <= ndata) refuse("{} in none of the parts", rows_text(next, ndata));
  return parts;
}

[[noreturn]] void refuse_damaged(const part& p, const std::string& what) {
  refuse("{}: {} is not what was written; velkmtx check tells more", p.name, what);
}

/// What it takes to bring a row back: the records in front of the rows, as far as they matter.
struct row_form {
  mesh_state mesh;
  i4 ncol = 0;
  std::vector<r8> wfilter;
  cube_size cube{};

  bool compressed() const { return !wfilter.empty(); }
};

row_form form_of(const part& p) {
  row_form form;
  mesh_state& m = form.mesh;
  record_reader in;
  i4 ndata = 0, nfilter = 0;
  bool good = in.open(p.name) && in.begin_record() && in.read(ndata) && in.read(form.ncol) && in.read(m.ny) &&
              in.read(m.nx) && in.read(m.nz) && in.end_record() && in.begin_record() && in.end_record() &&
              m.ny > 0 && m.nx > 0 && m.nz > 0 && product_fits(m.ny, m.nx, m.nz) && in.begin_record() &&
              in.may_hold(i8{4} * m.ny * m.nx);
  if (good) {
    m.itop = owned_array2<i4>(m.ny, m.nx);
    good = in.read_all(m.itop.elements()) && in.end_record() && in.begin_record() && in.read(nfilter) &&
           nfilter >= 0 && in.may_hold(i8{8} * nfilter);
  }
  if (good) {
    form.wfilter.resize(static_cast<std::size_t>(nfilter));
    good = in.read_all(std::span(form.wfilter)) && in.end_record();
  }
  form.cube = good ? cube_around(m.ny, m.nx, m.nz) : cube_size{};
  const auto is_possible = [&](i4 itop) { return 0 <= itop && itop <= m.nz; };
  if (!good || !std::ranges::all_of(m.itop.elements(), is_possible) || form.ncol != columns_of(m))
    refuse_damaged(p, "what stands in front of the rows");
  return form;
}

/// Brings rows back from their records. For one thread.
class row_restorer {
 public:
  explicit row_restorer(const row_form& form) : form_(form), row_(static_cast<std::size_t>(form.ncol)) {
    if (form.compressed()) compressor_.emplace(form.mesh, form.cube);
  }

  void restore(const part& p, i4 n) {
    record_reader in;
    const bool good = in.open(p.name, p.made.begin_of_row(n)) && in.begin_record() &&
                      (form_.compressed() ? restore_sparse(in) : restore_dense(in));
    if (!good) refuse_damaged(p, fmt::format("row {}", n));
  }
  std::span<const r4> row() const { return row_; }

 private:
  bool restore_dense(record_reader& in) { return in.read_all(std::span(row_)); }
  bool restore_sparse(record_reader& in) {
    i4 nnz = 0;
    if (!in.read(nnz) || nnz < 0 || !in.may_hold(i8{8} * nnz)) return false;
    idx_.resize(static_cast<std::size_t>(nnz));
    val_.resize(static_cast<std::size_t>(nnz));
    if (!in.read_all(std::span(idx_)) || !in.read_all(std::span(val_))) return false;
    const i8 ncube = i8{form_.cube.z} * form_.cube.x * form_.cube.y;
    if (!std::ranges::all_of(idx_, [&](i4 idx) { return 1 <= idx && idx <= ncube; })) return false;
    const std::vector<r8> values(val_.begin(), val_.end());
    compressor_->restore({idx_, values}, [&](std::size_t place, std::span<const r8> below) {
      for (const r8 value : below) row_[place++] = static_cast<r4>(value);
    });
    return true;
  }

  const row_form& form_;
  std::optional<row_compressor> compressor_;
  std::vector<i4> idx_;
  std::vector<r4> val_, row_;
};

void copy_bytes(record_writer& out, const part& p, i8 begin, i8 end, std::vector<std::byte>& room) {
  constexpr i8 longest_piece = i8{1} << 22;
  for (; begin < end; begin += longest_piece) {
    room.resize(static_cast<std::size_t>(std::min(end - begin, longest_piece)));
    if (!p.bytes->read(begin, room)) refuse("{} can't be read", p.name);
    out.copy(room);
  }
}

/// The records in front of the rows are those of any part, but for the number of rows.
void copy_head(record_writer& out, const part& p, const row_form& form) {
  constexpr i8 header_bytes = 28;
  const i8 end = p.made.begin_of_row(1);
  if (p.bytes->checksum(0, end) != p.made.checksum.front())
    refuse_damaged(p, "what stands in front of the rows");
  const mesh_state& m = form.mesh;
  std::vector<std::byte> room;
  out.write(
      {bytes_of(p.made.origin.ndata), bytes_of(form.ncol), bytes_of(m.ny), bytes_of(m.nx), bytes_of(m.nz)});
  copy_bytes(out, p, header_bytes, end, room);
}

/// Rows at the beginning of a part whose block began in an earlier one.
i4 rows_without_sums(const survey_rows& rows) {
  i4 count = 0;
  while (count < rows.count() && !begins_block(rows.first + count)) ++count;
  return count;
}

class joining {
 public:
  joining(output_file& file, const std::vector<part>& parts,
          const std::function<void(i4, i4)>& row_is_written)
      : parts_(parts),
        row_is_written_(row_is_written),
        out_(file),
        form_(form_of(parts.front())),
        gdiag_(form_.ncol, {1, parts.front().made.origin.ndata}, false) {
    if (form_.compressed()) SET_WTN_FILTER(form_.wfilter, static_cast<i4>(form_.wfilter.size()));
    made_.origin = parts.front().made.origin;
    made_.rows = {1, made_.origin.ndata};
  }

  joined_file run() {
    copy_head(out_, parts_.front(), form_);
    made_.end_stretch(out_);
    for (const part& p : parts_) copy_rows(p);
    for (const part& p : parts_) add_to_diagonal(p);
    made_.stations = joined_stations();
    if (checksum_of_survey(made_.stations) != made_.origin.survey)
      refuse("the stations of the parts are not those of the survey");
    write_end(out_, made_, gdiag_);
    return result_;
  }

 private:
  void copy_rows(const part& p) {
    std::vector<std::byte> room;
    for (i4 n = 1; n <= p.made.rows.count(); ++n) {
      copy_bytes(out_, p, p.made.begin_of_row(n), p.made.begin_of_row(n + 1), room);
      made_.end_stretch(out_);
      if (made_.checksum.back() != p.made.checksum[static_cast<std::size_t>(n)])
        refuse_damaged(p, fmt::format("row {}", n));
      row_is_written_(++result_.rows, made_.rows.count());
    }
    made_.loss.insert(made_.loss.end(), p.made.loss.begin(), p.made.loss.end());
  }

  void add_to_diagonal(const part& p) {
    restore_rows(p, rows_without_sums(p.made.rows));
    if (p.bytes->checksum(p.made.begin_of_sums(), p.made.end_of_stretches()) != p.made.checksum.back())
      refuse_damaged(p, "the sums behind record 8");
    record_reader in;
    bool good = in.open(p.name, p.made.begin_of_sums());
    owned_array1<r8> sums(uninitialised, form_.ncol);
    for (i4 block = 0; block < blocks_begun_in(p.made.rows); ++block) {
      good = good && in.begin_record() && in.read_all(sums.elements()) && in.end_record();
      if (!good) refuse_damaged(p, "the sums behind record 8");
      gdiag_.begin_block(sums.elements());
    }
  }

  void restore_rows(const part& p, i4 count) {
    const int threads = std::min(team_size(), count);
    while (std::ssize(restorers_) < threads) restorers_.push_back(std::make_unique<row_restorer>(form_));
    const auto restorer = [&](int thread) -> row_restorer& {
      return *restorers_[static_cast<std::size_t>(thread)];
    };
    if (count > 0)
      rows_in_order(
          count, threads, gdiag_.pieces(), [&](i4 n, int thread) { restorer(thread).restore(p, n + 1); },
          [&](i4 piece, i4 n, int thread) {
            gdiag_.add(p.made.rows.first + n, restorer(thread).row(), piece);
          });
    result_.restored += count;
  }

  survey_state joined_stations() const {
    survey_state all = stations_of(parts_.front().made.stations, {1, 0});  // the field, and no data
    all.ndata = made_.rows.count();
    for (owned_array1<r8> survey_state::*values :
         {&survey_state::xobs, &survey_state::yobs, &survey_state::zobs, &survey_state::aincl_obs,
          &survey_state::adecl_obs}) {
      const bool is_direction = values == &survey_state::aincl_obs || values == &survey_state::adecl_obs;
      if (is_direction && all.idir != 0) continue;
      (all.*values) = owned_array1<r8>(uninitialised, all.ndata);
      r8* next = (all.*values).begin();
      for (const part& p : parts_)
        next = std::copy((p.made.stations.*values).begin(), (p.made.stations.*values).end(), next);
    }
    return all;
  }

  const std::vector<part>& parts_;
  const std::function<void(i4, i4)>& row_is_written_;
  record_writer out_;
  row_form form_;
  diagonal gdiag_;
  provenance made_;
  std::vector<std::unique_ptr<row_restorer>> restorers_;
  joined_file result_;
};

}  // namespace

joined_file join_parts(output_file& file, const std::vector<std::string>& names,
                       const std::function<void(i4, i4)>& row_is_written) {
  const std::vector<part> parts = checked_parts(names);
  return joining(file, parts, row_is_written).run();
}

}  // namespace velko
