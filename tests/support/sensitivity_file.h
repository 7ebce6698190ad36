/// Sensitivity files made by named steps and spoilt by name.
///
/// Starts as a mesh of ny x nx x nz cells with the surface at its top, weights 1, a cube of the mesh's size. Each step
/// changes one thing; bytes() gives the file.
#pragma once

#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "arrays/numbers.h"
#include "tests/support/entry.h"

namespace velko::test {

template <class T>
std::string bytes_of(T value) {
  std::string bytes(sizeof value, '\0');
  std::memcpy(bytes.data(), &value, sizeof value);
  return bytes;
}

template <class T>
std::string bytes_of(const std::vector<T>& all) {
  std::string bytes;
  for (const T& value : all) bytes += bytes_of(value);
  return bytes;
}

/// A record, in segments of at most `segment` bytes.
inline std::string framed(const std::string& payload, std::size_t segment = 0x7fffffff) {
  std::string bytes;
  std::size_t at = 0;
  do {
    const std::string part = payload.substr(at, segment);
    const auto length = static_cast<i4>(part.size());
    const bool another_before = at > 0, another_behind = at + part.size() < payload.size();
    bytes += bytes_of(another_behind ? -length : length) + part + bytes_of(another_before ? -length : length);
    at += part.size();
  } while (at < payload.size());
  return bytes;
}

class sensitivity_file {
 public:
  explicit sensitivity_file(i4 ny = 2, i4 nx = 2, i4 nz = 2)
      : ny_(ny), nx_(nx), nz_(nz), cube_{ny, nx, nz}, itop_(count(ny) * count(nx), 0) {}

  sensitivity_file& itop(std::vector<i4> y_fastest) { return set(itop_, std::move(y_fastest)); }
  sensitivity_file& ncol(i4 n) { return set(ncol_, n); }
  sensitivity_file& ndata(i4 n) { return set(ndata_, n); }
  sensitivity_file& filter(std::vector<r8> coefficients) { return set(filter_, std::move(coefficients)); }
  sensitivity_file& haar() { return filter({std::sqrt(0.5), std::sqrt(0.5)}); }
  sensitivity_file& nfilter(i4 n) { return set(nfilter_, n); }
  sensitivity_file& cube(i4 ncube_y, i4 ncube_x, i4 ncube_z) {
    return set(cube_, {ncube_y, ncube_x, ncube_z});
  }
  sensitivity_file& wtz(std::vector<r8> weights) { return set(wtz_, std::move(weights)); }
  sensitivity_file& gdiag(std::vector<r8> diagonal) { return set(gdiag_, std::move(diagonal)); }
  sensitivity_file& ztop(r8 elevation) { return set(ztop_, elevation); }
  sensitivity_file& znode(std::vector<r8> edges) { return set(znode_, std::move(edges)); }

  sensitivity_file& row(const std::vector<entry>& entries) {
    std::string idx, val;
    for (const entry& e : entries) {
      idx += bytes_of(e.idx);
      val += bytes_of(e.val);
    }
    return row_bytes(bytes_of(static_cast<i4>(entries.size())) + idx + val);
  }
  sensitivity_file& dense_row(const std::vector<r4>& row) { return row_bytes(bytes_of(row)); }
  /// A row record whose payload is given to the byte.
  sensitivity_file& row_bytes(std::string payload) {
    rows_.push_back(std::move(payload));
    return *this;
  }

  /// The payload of record n, counted from 1 in file order, is replaced.
  sensitivity_file& payload(std::size_t n, std::string bytes) {
    payloads_[n] = std::move(bytes);
    return *this;
  }
  sensitivity_file& segments_of(std::size_t bytes) { return set(segment_, bytes); }
  sensitivity_file& cut_bytes(std::size_t n) { return set(cut_, n); }
  sensitivity_file& append(const std::string& bytes) { return set(behind_, bytes); }

  /// Payloads in file order.
  std::vector<std::string> payloads() const {
    std::vector<std::string> all{
        bytes_of(std::vector<i4>{ndata_.value_or(static_cast<i4>(rows_.size())), columns(), ny_, nx_, nz_}),
        bytes_of(edges(ny_)) + bytes_of(edges(nx_)) + bytes_of(znode_.value_or(edges(nz_))) + bytes_of(ztop_),
        bytes_of(itop_),
        bytes_of(nfilter_.value_or(static_cast<i4>(filter_.size()))) + bytes_of(filter_),
        bytes_of(std::vector<i4>(cube_.begin(), cube_.end())),
        bytes_of(i4{1}) + bytes_of(column_vector(wtz_, 1.0))};
    all.insert(all.end(), rows_.begin(), rows_.end());
    all.push_back(bytes_of(column_vector(gdiag_, 0.0)));
    for (const auto& [n, bytes] : payloads_) all.at(n - 1) = bytes;
    return all;
  }

  std::string bytes() const {
    std::string file;
    for (const std::string& payload : payloads()) file += framed(payload, segment_);
    file += behind_;
    file.resize(file.size() - cut_);
    return file;
  }

 private:
  template <class T, class U>
  sensitivity_file& set(T& member, U value) {
    member = std::move(value);
    return *this;
  }
  sensitivity_file& set(std::array<i4, 3>& member, std::array<i4, 3> value) {
    member = value;
    return *this;
  }

  static std::size_t count(i4 n) { return n > 0 ? static_cast<std::size_t>(n) : 0; }
  static std::vector<r8> edges(i4 n) {
    std::vector<r8> nodes;
    for (i4 i = 0; i <= n; ++i) nodes.push_back(10.0 * i);
    return nodes;
  }
  std::vector<r8> column_vector(const std::optional<std::vector<r8>>& given, r8 value) const {
    return given ? *given : std::vector<r8>(count(columns()), value);
  }
  i4 columns() const {
    if (ncol_) return *ncol_;
    i4 below = 0;
    for (i4 above : itop_) below += nz_ - above;
    return below;
  }

  i4 ny_, nx_, nz_;
  std::array<i4, 3> cube_;
  std::vector<i4> itop_;
  std::vector<r8> filter_;
  r8 ztop_ = 0;
  std::optional<i4> ncol_, ndata_, nfilter_;
  std::optional<std::vector<r8>> wtz_, gdiag_, znode_;
  std::vector<std::string> rows_;
  std::map<std::size_t, std::string> payloads_;
  std::size_t segment_ = 0x7fffffff, cut_ = 0;
  std::string behind_;
};

}  // namespace velko::test
