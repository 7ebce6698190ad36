#include "builder/provenance.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <utility>

#include "builder/checksum.h"
#include "builder/file_bytes.h"
#include "builder/repeated_fault.h"
#include "store/record_reader.h"

namespace velko {

namespace {

constexpr i4 layout_version = 1;

/// The payload of the last record: where the provenance begins, the checksum of its record, and who wrote it.
struct closing_words {
  i8 begin = 0;
  std::uint64_t checksum = 0;
  std::array<char, 8> magic{};
};
constexpr std::array<char, 8> our_magic{'v', 'e', 'l', 'k', 'm', 't', 'x', '1'};
static_assert(sizeof(closing_words) == 24);

/// With its two length words.
struct closing_record {
  i4 length_in_front = 0;
  std::array<std::byte, sizeof(closing_words)> payload{};
  i4 length_behind = 0;
};
static_assert(sizeof(closing_record) == 32);

/// The closing words, where the file ends with those of a provenance.
std::optional<closing_words> closing_of(const file_bytes& file) {
  closing_record record;
  if (!file.read_all(file.size() - i8{sizeof record}, std::span(&record, 1))) return std::nullopt;
  closing_words words;
  std::memcpy(&words, record.payload.data(), sizeof words);
  constexpr i4 length = sizeof words;
  const bool ours =
      words.magic == our_magic && record.length_in_front == length && record.length_behind == length;
  return ours ? std::optional(words) : std::nullopt;
}

/// Reads one record; a count that it can't hold, or its end, makes all that follows fail.
class origin_reader {
 public:
  bool open(std::string_view file_name, i8 begin, i8 file_size) {
    most_ = file_size;
    return in_.open(file_name, begin) && in_.begin_record();
  }
  template <class T>
  bool take(T& value) {
    return in_.read(value);
  }
  bool take(std::string& text) {
    i4 length = 0;
    if (!take(length) || length < 0 || length > most_) return false;
    text.resize(static_cast<std::size_t>(length));
    return in_.read_all(std::span(text));
  }
  template <class T>
  bool take(std::vector<T>& values, i8 count) {
    if (!is_possible(count)) return false;
    values.resize(static_cast<std::size_t>(count));
    return in_.read_all(std::span(values));
  }
  bool take(owned_array1<r8>& values, i8 count) {
    if (!is_possible(count)) return false;
    values = owned_array1<r8>(count);
    return in_.read_all(values.elements());
  }
  bool end() { return !in_.may_hold(1) && in_.end_record(); }

 private:
  bool is_possible(i8 count) const { return 0 <= count && count <= most_ / i8{sizeof(r8)}; }

  record_reader in_;
  i8 most_ = 0;  // no item is longer than the file
};

bool take_stations(origin_reader& in, survey_state& s) {
  const bool complete = in.take(s.incl) && in.take(s.decl) && in.take(s.geomag) && in.take(s.aincl) &&
                        in.take(s.adecl) && in.take(s.idir) && in.take(s.xobs, s.ndata) &&
                        in.take(s.yobs, s.ndata) && in.take(s.zobs, s.ndata);
  return complete && (s.idir != 0 || (in.take(s.aincl_obs, s.ndata) && in.take(s.adecl_obs, s.ndata)));
}

bool take_origin(origin_reader& in, provenance& p) {
  i4 version = 0;
  file_origin& o = p.origin;
  if (!in.take(version) || version != layout_version || !in.take(p.rows.first) || !in.take(p.rows.last) ||
      !in.take(o.ndata) || !in.take(o.settings) || !in.take(o.survey) || !in.take(o.mesh) ||
      !in.take(o.surface) || !in.take(o.weights))
    return false;
  if (p.rows.first < 1 || p.rows.last < p.rows.first - 1 || p.rows.last > o.ndata) return false;
  const i8 rows = p.stations.ndata = p.rows.count();
  return take_stations(in, p.stations) && in.take(p.begin, rows + 4) && in.take(p.checksum, rows + 3) &&
         in.take(p.loss, rows) && in.end();
}

/// Stretches cover the file, one behind another.
bool are_in_order(const std::vector<i8>& begin) {
  return begin.front() == 0 && std::ranges::is_sorted(begin);
}

std::string name_of_stretch(const provenance& p, std::size_t stretch) {
  const auto rows = static_cast<std::size_t>(p.rows.count());
  if (stretch == 0) return "what stands in front of the rows";
  if (stretch <= rows) return fmt::format("row {}", stretch);
  return stretch == rows + 1 ? "record 8 (diagonal)" : "the sums behind record 8";
}

bool same_place(r8 a, r8 b) {
  return std::abs(a - b) <= 1e-9 * std::max(std::abs(a), std::abs(b));
}

bool same_angle(r8 a, r8 b) {
  return std::abs(a - b) <= 0.01;
}

std::string place_text(const survey_state& s, i4 i) {
  return fmt::format("({:.10g}, {:.10g}, {:.10g})", s.xobs(i), s.yobs(i), s.zobs(i));
}

std::string field_text(const survey_state& s) {
  return s.idir == 0
             ? fmt::format("inducing field {} {} {}, a direction for each datum", s.incl, s.decl, s.geomag)
             : fmt::format("inducing field {} {} {}, direction {} {}", s.incl, s.decl, s.geomag, s.aincl,
                           s.adecl);
}

bool same_field(const survey_state& a, const survey_state& b) {
  return same_angle(a.incl, b.incl) && same_angle(a.decl, b.decl) && same_angle(a.geomag, b.geomag) &&
         a.idir == b.idir && (a.idir == 0 || (same_angle(a.aincl, b.aincl) && same_angle(a.adecl, b.adecl)));
}

}  // namespace

file_origin origin_of(std::string settings, const mesh_state& m, const survey_state& s, i4 wtz_kind,
                      std::span<const r8> wtz) {
  file_origin o;
  o.settings = std::move(settings);
  o.ndata = s.ndata;
  o.survey = checksum_of_survey(s);
  o.mesh = checksum_of(bytes_of(m.ny), bytes_of(m.nx), bytes_of(m.nz), bytes_of(m.ynode.elements()),
                       bytes_of(m.xnode.elements()), bytes_of(m.znode.elements()), bytes_of(m.ztop));
  o.surface = checksum_of(bytes_of(m.itop.elements()));
  o.weights = checksum_of(bytes_of(wtz_kind), bytes_of(wtz));
  return o;
}

std::uint64_t checksum_of_survey(const survey_state& s) {
  return checksum_of(bytes_of(s.incl), bytes_of(s.decl), bytes_of(s.geomag), bytes_of(s.aincl),
                     bytes_of(s.adecl), bytes_of(s.idir), bytes_of(s.ndata), bytes_of(s.xobs.elements()),
                     bytes_of(s.yobs.elements()), bytes_of(s.zobs.elements()),
                     bytes_of(s.aincl_obs.elements()), bytes_of(s.adecl_obs.elements()));
}

survey_state stations_of(const survey_state& s, const survey_rows& rows) {
  survey_state part;
  part.incl = s.incl;
  part.decl = s.decl;
  part.geomag = s.geomag;
  part.aincl = s.aincl;
  part.adecl = s.adecl;
  part.idir = s.idir;
  part.ndata = rows.count();
  const auto slice = [&](const owned_array1<r8>& all) {
    owned_array1<r8> some(uninitialised, rows.count());
    std::copy_n(all.begin() + (rows.first - 1), rows.count(), some.begin());
    return some;
  };
  part.xobs = slice(s.xobs);
  part.yobs = slice(s.yobs);
  part.zobs = slice(s.zobs);
  if (s.idir != 0) return part;
  part.aincl_obs = slice(s.aincl_obs);
  part.adecl_obs = slice(s.adecl_obs);
  return part;
}

void write_provenance(record_writer& out, const provenance& p) {
  const file_origin& o = p.origin;
  const survey_state& s = p.stations;
  const auto length = static_cast<i4>(o.settings.size());
  closing_words closing{out.position(), 0, our_magic};
  out.end_stretch();
  out.write({bytes_of(layout_version),
             bytes_of(p.rows.first),
             bytes_of(p.rows.last),
             bytes_of(o.ndata),
             bytes_of(length),
             bytes_of(std::span(o.settings)),
             bytes_of(o.survey),
             bytes_of(o.mesh),
             bytes_of(o.surface),
             bytes_of(o.weights),
             bytes_of(s.incl),
             bytes_of(s.decl),
             bytes_of(s.geomag),
             bytes_of(s.aincl),
             bytes_of(s.adecl),
             bytes_of(s.idir),
             bytes_of(s.xobs.elements()),
             bytes_of(s.yobs.elements()),
             bytes_of(s.zobs.elements()),
             bytes_of(s.aincl_obs.elements()),
             bytes_of(s.adecl_obs.elements()),
             bytes_of(std::span(p.begin)),
             bytes_of(std::span(p.checksum)),
             bytes_of(std::span(p.loss))});
  closing.checksum = out.end_stretch();
  out.write({std::as_bytes(std::span(&closing, 1))});
}

provenance_reading read_provenance(std::string_view file_name) {
  const file_bytes file(file_name);
  const std::optional<closing_words> closing = closing_of(file);
  if (!closing) return {};
  provenance_reading reading;
  const i8 end = file.size() - i8{sizeof(closing_record)};
  origin_reader in;
  provenance& p = reading.found.emplace();
  const bool good = file.checksum(closing->begin, end) == closing->checksum &&
                    in.open(file_name, closing->begin, file.size()) && take_origin(in, p) &&
                    are_in_order(p.begin) && p.end_of_stretches() == closing->begin;
  reading.damaged = !good;
  if (!good) reading.found.reset();
  return reading;
}

void stretch_verifier::add(bytes_view bytes) {
  while (!all_are_seen() && !bytes.empty()) {
    const auto here = bytes.first(std::min(bytes.size(), static_cast<std::size_t>(left())));
    sum_.add(here);
    position_ += std::ssize(here);
    bytes = bytes.subspan(here.size());
    end_stretches();
  }
}

/// Some stretches are empty.
void stretch_verifier::end_stretches() {
  for (; !all_are_seen() && left() == 0; ++stretch_) {
    if (sum_.value() != made_.checksum[stretch_])
      damaged_.push_back(name_of_stretch(made_, stretch_) + " is not what was written: its checksum differs");
    sum_.restart();
  }
}

void stretch_verifier::add_rest(std::string_view file_name) {
  constexpr i8 longest_piece = i8{1} << 20;
  const file_bytes file(file_name);
  std::vector<std::byte> piece;
  while (!all_are_seen()) {
    piece.resize(static_cast<std::size_t>(std::min(left(), longest_piece)));
    if (!file.read(position_, piece)) {
      damaged_.push_back(name_of_stretch(made_, stretch_) + " is not there");
      return;
    }
    add(piece);
  }
}

std::vector<std::string> damaged_stretches(std::string_view file_name, const provenance& p) {
  if (!are_in_order(p.begin)) return {"where its rows begin is out of order"};
  stretch_verifier verifier(p);
  verifier.add_rest(file_name);
  return verifier.damaged();
}

std::vector<std::string> differences(const survey_state& locations, const provenance& p) {
  const survey_state& made_for = p.stations;
  std::vector<std::string> lines;
  if (!same_field(locations, made_for))
    lines.push_back(fmt::format("{}; the file was made for {}", field_text(locations), field_text(made_for)));
  if (locations.ndata != p.origin.ndata) {
    lines.push_back(fmt::format("{} data; the file was made for {}", locations.ndata, p.origin.ndata));
    return lines;
  }
  repeated_fault elsewhere, otherwise;
  for (i4 n = 1; n <= made_for.ndata; ++n) {
    const i4 i = p.rows.first + n - 1;
    if (!same_place(locations.xobs(i), made_for.xobs(n)) ||
        !same_place(locations.yobs(i), made_for.yobs(n)) || !same_place(locations.zobs(i), made_for.zobs(n)))
      elsewhere.note("datum {} lies at {}; the file was made for {}", i, place_text(locations, i),
                     place_text(made_for, n));
    if (locations.idir == 0 && made_for.idir == 0 &&
        (!same_angle(locations.aincl_obs(i), made_for.aincl_obs(n)) ||
         !same_angle(locations.adecl_obs(i), made_for.adecl_obs(n))))
      otherwise.note("datum {} has the direction {} {}; the file was made for {} {}", i,
                     locations.aincl_obs(i), locations.adecl_obs(i), made_for.aincl_obs(n),
                     made_for.adecl_obs(n));
  }
  elsewhere.tell(lines);
  otherwise.tell(lines);
  return lines;
}

}  // namespace velko
