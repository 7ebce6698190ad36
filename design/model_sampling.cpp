#include "design/model_sampling.h"

#include <algorithm>
#include <cmath>

namespace velko {

namespace {

struct cell_box {
  point low, high;
  r8 volume() const { return (high[0] - low[0]) * (high[1] - low[1]) * (high[2] - low[2]); }
};

cell_box box_of(const mesh_state& m, i4 k, i4 j, i4 i) {
  return {{m.xnode(j), m.ynode(i), m.ztop - m.znode(k + 1)},
          {m.xnode(j + 1), m.ynode(i + 1), m.ztop - m.znode(k)}};
}

/// Fills the cells of one column after the other.
class column_sampler {
 public:
  column_sampler(const mesh_state& m, const std::vector<body>& bodies, r8 background, i4 samples)
      : mesh_(m), bodies_(bodies), background_(background), samples_(samples), shares(bodies.size()) {
    for (const body& b : bodies) reach_.push_back(b.reach());
  }

  void column(i4 i, i4 j, owned_array3<r8>& values) {
    for (i4 k = 1; k <= mesh_.nz; ++k) values(k, j, i) = cell(box_of(mesh_, k, j, i));
  }

 private:
  r8 cell(const cell_box& box) {
    near_.clear();
    for (std::size_t n = 0; n < bodies_.size(); ++n)
      if (may_meet(n, box)) near_.push_back(n);
    return near_.empty() ? background_ : mean_over_points(box);
  }

  bool may_meet(std::size_t n, const cell_box& box) const {
    const point &centre = bodies_[n].centre, &reach = reach_[n];
    bool meets = true;
    for (std::size_t d = 0; d < 3; ++d)
      meets = meets && box.low[d] <= centre[d] + reach[d] && centre[d] - reach[d] <= box.high[d];
    return meets;
  }

  /// Points are counted, not summed: a cell that lies in one body has exactly its value.
  r8 mean_over_points(const cell_box& box) {
    const r8 all = r8{1} * samples_ * samples_ * samples_;
    held_.assign(near_.size(), 0);
    seen_.assign(near_.size(), 0);
    for (i4 c = 0; c < samples_; ++c)
      for (i4 b = 0; b < samples_; ++b)
        for (i4 a = 0; a < samples_; ++a) count({within(box, 0, a), within(box, 1, b), within(box, 2, c)});
    r8 sum = 0, others = all;
    for (std::size_t n = 0; n < near_.size(); ++n) {
      const r8 points = static_cast<r8>(seen_[n]);
      sum += points / all * bodies_[near_[n]].value;
      others -= points;
      add_share(shares[near_[n]], static_cast<r8>(held_[n]) / all * box.volume());
    }
    return sum + others / all * background_;
  }

  r8 within(const cell_box& box, std::size_t d, i4 part) const {
    return box.low[d] + (part + 0.5) / samples_ * (box.high[d] - box.low[d]);
  }

  void count(const point& p) {
    i8* last = nullptr;
    for (std::size_t n = 0; n < near_.size(); ++n)
      if (bodies_[near_[n]].holds(p)) {
        ++held_[n];
        last = &seen_[n];
      }
    if (last != nullptr) ++*last;
  }

  static void add_share(body_share& share, r8 volume) {
    if (volume > 0.0) ++share.cells;
    share.volume += volume;
  }

  const mesh_state& mesh_;
  const std::vector<body>& bodies_;
  r8 background_;
  i4 samples_;
  std::vector<point> reach_;
  std::vector<std::size_t> near_;  // bodies whose boxes meet the cell at hand
  std::vector<i8> held_, seen_;    // of each: points that it holds, and those that no later one holds

 public:
  std::vector<body_share> shares;
};

}  // namespace

sampled_model sample_bodies(const mesh_state& m, const std::vector<body>& bodies, r8 background, i4 samples) {
  sampled_model model{owned_array3<r8>(uninitialised, m.nz, m.nx, m.ny), {}};
  column_sampler sampler(m, bodies, background, samples);
  for (i4 i = 1; i <= m.ny; ++i)
    for (i4 j = 1; j <= m.nx; ++j) sampler.column(i, j, model.values);
  model.shares = std::move(sampler.shares);
  return model;
}

}  // namespace velko
