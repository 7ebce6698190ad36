// Letters: i along y, j along x, k down a column.
#include "builder/row_verification.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "builder/row_compression.h"
#include "wavelet/wtn_mod.h"

namespace velko {

namespace {

template <class T>
T number_at(std::span<const std::byte> record, std::size_t byte) {
  T value{};
  std::memcpy(&value, record.subspan(byte, sizeof value).data(), sizeof value);
  return value;
}

std::size_t elements_of(const cube_size& cube) {
  return static_cast<std::size_t>(cube.z) * static_cast<std::size_t>(cube.x) *
         static_cast<std::size_t>(cube.y);
}

}  // namespace

row_verifier::row_verifier(const mesh_state& m, const survey_state& s, const matrix_form& form,
                           std::span<const r8> wtz)
    : mesh_(m),
      compressed_(form.compressed()),
      wtz_(wtz),
      response_(m, s),
      cube_(compressed_ ? elements_of(cube_around(m.ny, m.nx, m.nz)) : 0),
      exact_(wtz.size()),
      stored_(wtz.size()) {}

void row_verifier::verify(i4 datum, std::span<const std::byte> record, r8 told_one_norm) {
  if (compressed_)
    decode_compressed(record);
  else
    decode_dense(record);
  response_.row(datum, exact_);
  r8 norm2 = 0.0, loss2 = 0.0, one_norm = 0.0;
  for (std::size_t c = 0; c < exact_.size(); ++c) {
    const r8 exact = exact_[c] / wtz_[c], lost = exact - stored_[c];
    norm2 += exact * exact;
    loss2 += lost * lost;
    one_norm += std::abs(lost * wtz_[c]);
  }
  ++result_.count;
  if (norm2 > 0.0) result_.loss = std::max(result_.loss, std::sqrt(loss2 / norm2));
  result_.one_norm = std::max(result_.one_norm, one_norm);
  if (one_norm > 0.0) result_.beyond = std::max(result_.beyond, one_norm / told_one_norm - 1.0);
}

void row_verifier::decode_compressed(std::span<const std::byte> record) {
  std::ranges::fill(cube_, 0.0);
  const auto nnz = static_cast<std::size_t>(number_at<i4>(record, 0));
  for (std::size_t n = 0; n < nnz; ++n) {
    const auto idx = static_cast<std::size_t>(number_at<i4>(record, 4 + 4 * n));
    cube_.at(idx - 1) = number_at<r4>(record, 4 + 4 * nnz + 4 * n);
  }
  const cube_size cube = cube_around(mesh_.ny, mesh_.nx, mesh_.nz);
  WTN(cube_, {cube.z, cube.x, cube.y}, -1);
  std::size_t cell = 0;
  for (i4 i = 1; i <= mesh_.ny; ++i)
    for (i4 j = 1; j <= mesh_.nx; ++j)
      for (i4 k = mesh_.itop(i, j) + 1; k <= mesh_.nz; ++k)
        stored_[cell++] =
            cube_[static_cast<std::size_t>((i8{i} - 1) * cube.x + j - 1) * static_cast<std::size_t>(cube.z) +
                  static_cast<std::size_t>(k - 1)];
}

void row_verifier::decode_dense(std::span<const std::byte> record) {
  for (std::size_t cell = 0; cell < stored_.size(); ++cell) stored_[cell] = number_at<r4>(record, 4 * cell);
}

}  // namespace velko
