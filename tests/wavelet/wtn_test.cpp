// WTN: the transform of a cube.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <xmmintrin.h>

#include <iostream>
#include <sstream>
#include <thread>

#include "tests/wavelet/filters.h"
#include "tests/wavelet/plain_transform.h"
#include "wavelet/wtn_mod.h"

namespace velko::test {
namespace {

using shape = std::array<i4, 3>;

std::size_t elements(shape nn) {
  return static_cast<std::size_t>(nn[0]) * static_cast<std::size_t>(nn[1]) * static_cast<std::size_t>(nn[2]);
}
std::string text(shape nn) {
  std::ostringstream out;
  out << '(' << nn[0] << ", " << nn[1] << ", " << nn[2] << ')';
  return out.str();
}
values transformed(values a, shape nn, i4 isign) {
  WTN(a, nn, isign);
  return a;
}
values line_by_line(values a, shape nn, i4 isign) {
  plain_WTN(a, nn, isign, [](std::span<r8> line, i4 n, bool forward) { PWT(line, n, forward); });
  return a;
}
values by_formula(values a, shape nn, i4 isign) {
  plain_WTN(a, nn, isign, [](std::span<r8> line, i4 n, bool forward) { plain_PWT(line, n, forward); });
  return a;
}

// Even and odd, above and below eight lines side by side, one line, lines too long to go in batches, dimensions that
// are skipped.
const std::vector<shape> shapes{
    {8, 8, 8},     {16, 16, 16}, {32, 8, 16}, {8, 32, 2},    {16, 4, 8},    {4, 16, 8},    {2, 2, 32},
    {1, 1, 64},    {64, 1, 1},   {1, 16, 1},  {3, 8, 5},     {5, 8, 3},     {7, 6, 5},     {9, 9, 9},
    {8, 5, 8},     {12, 6, 7},   {6, 10, 1},  {11, 13, 2},   {1, 5, 1},     {5, 1, 1},     {1, 1, 5},
    {13, 1, 8},    {1, 64, 64},  {4, 4, 4},   {1, 1, 16384}, {16384, 1, 1}, {1, 16384, 1}, {2, 16385, 3},
    {3, 2, 20000}, {8, 3, 16},   {10, 8, 8},  {128, 2, 8}};

class flush_to_zero {
 public:
  flush_to_zero() : before_(_mm_getcsr()) { _mm_setcsr(before_ | 0x8040); }
  flush_to_zero(const flush_to_zero&) = delete;
  flush_to_zero& operator=(const flush_to_zero&) = delete;
  ~flush_to_zero() { _mm_setcsr(before_); }

 private:
  unsigned before_;
};

TEST(WTN, IsThatOfEachDimensionAfterTheOther) {
  set_filter(daubechies_4());
  for (const i4 isign : {1, -1})
    for (const shape nn : {shape{8, 16, 32}, shape{128, 4, 2}, shape{64, 8, 256}, shape{11, 13, 2}}) {
      const values a = random_values(elements(nn));
      values each = a;
      WTN_along(each, nn[0], 1, isign);
      WTN_along(each, nn[1], nn[0], isign);
      WTN_along(each, nn[2], i8{nn[0]} * nn[1], isign);
      EXPECT_TRUE(same_bits(each, transformed(a, nn, isign))) << text(nn);
    }
}

TEST(WTN, AlongOneDimensionGivesEachOfSeveralBlocksWhatItGivesOne) {
  set_filter(daubechies_4());
  const shape nn{512, 256, 2};  // far enough apart for lines to be copied
  values a = random_values(elements(nn)), each = a;
  WTN_along(a, nn[1], nn[0], 1);
  const std::size_t block = each.size() / 2;
  WTN_along(std::span(each).first(block), nn[1], nn[0], 1);
  WTN_along(std::span(each).last(block), nn[1], nn[0], 1);
  EXPECT_TRUE(same_bits(each, a));
}

TEST(WTN, PartOfTheLinesHasTheBitsOfAllAndTheOthersAreLeftAlone) {
  set_filter(daubechies_4());
  for (const i4 isign : {1, -1})
    for (const auto& [n, nprev, blocks] :
         {std::array<i8, 3>{16, 1, 30}, {16, 4, 9}, {8, 2, 12}, {32, 10, 3}, {128, 1024, 2}, {16384, 3, 2}}) {
      const values a = random_values(static_cast<std::size_t>(n * nprev * blocks));
      values whole = a, parts = a;
      WTN_along(whole, static_cast<i4>(n), nprev, isign);
      const i8 lines = nprev * blocks, from = lines / 5, to = lines - lines / 3;
      WTN_along(parts, static_cast<i4>(n), nprev, isign, from, to - from);
      for (i8 line = 0; line < lines; ++line)
        for (i8 k = 0; k < n; ++k) {
          const auto at = static_cast<std::size_t>(line % nprev + nprev * (k + n * (line / nprev)));
          ASSERT_EQ(parts[at], (line >= from && line < to ? whole : a)[at])
              << n << ' ' << nprev << ' ' << line;
        }
      WTN_along(parts, static_cast<i4>(n), nprev, isign, 0, from);
      WTN_along(parts, static_cast<i4>(n), nprev, isign, to, lines - to);
      EXPECT_TRUE(same_bits(parts, whole)) << n << ' ' << nprev;
    }
}

TEST(WTN, CubesThatLieInterleavedHaveTheBitsOfEachAlone) {
  set_filter(daubechies_4());
  for (const i4 isign : {1, -1})
    for (const shape nn : shapes)
      for (const i8 cubes : {2, 4, 8}) {
        const std::size_t size = elements(nn), width = static_cast<std::size_t>(cubes);
        values all = random_values(size * width);
        std::vector<values> alone(width, values(size));
        for (std::size_t i = 0; i < all.size(); ++i) alone[i % width][i / width] = all[i];
        WTN_along(all, nn[0], cubes, isign);
        WTN_along(all, nn[1], cubes * nn[0], isign);
        WTN_along(all, nn[2], cubes * nn[0] * nn[1], isign);
        for (std::size_t l = 0; l < width; ++l) {
          values together(size);
          for (std::size_t i = 0; i < size; ++i) together[i] = all[i * width + l];
          EXPECT_TRUE(same_bits(together, transformed(alone[l], nn, isign))) << text(nn) << ' ' << cubes;
        }
      }
}

TEST(WTN, DimensionsOfAtMostFourLeaveTheCubeUnchanged) {
  set_filter(haar);
  for (const shape nn : {shape{4, 4, 4}, shape{1, 2, 3}, shape{4, 1, 4}})
    for (const i4 isign : {1, -1}) {
      const values a = random_values(elements(nn));
      EXPECT_TRUE(same_bits(transformed(a, nn, isign), a)) << text(nn);
    }
}

TEST(WTN, DimensionOfEightTakesAStepOfEightAndOneOfFour) {
  set_filter(daubechies_4());
  const values a = random_values(8);
  values steps = a;
  PWT(steps, 8, true);
  PWT(std::span(steps).first(4), 4, true);
  EXPECT_TRUE(same_bits(transformed(a, {8, 1, 1}, 1), steps));

  PWT(std::span(steps).first(4), 4, false);
  PWT(steps, 8, false);
  EXPECT_TRUE(same_bits(transformed(transformed(a, {8, 1, 1}, 1), {8, 1, 1}, -1), steps));
}

TEST(WTN, ForwardThenInverseGivesTheCubeBack) {
  for (std::size_t coefficients = 2; coefficients <= 20; coefficients += 2) {
    set_filter(daubechies(coefficients));
    const shape nn{16, 32, 8};
    const values a = random_values(elements(nn));
    // The tables of filters hold 12 digits or more.
    EXPECT_LT(largest_difference(transformed(transformed(a, nn, 1), nn, -1), a), 1e-10) << coefficients;
  }
}

TEST(WTN, OrthonormalFilterKeepsTheNorm) {
  set_filter(daubechies_4());
  const shape nn{16, 8, 32};
  const values a = random_values(elements(nn));
  EXPECT_NEAR(norm(transformed(a, nn, 1)) / norm(a), 1, 1e-14);
}

TEST(WTN, SkippedSecondDimensionStillCountsForTheStrideOfTheThird) {
  set_filter(daubechies_4());
  const shape nn{16, 4, 8};
  values a(elements(nn), 0.0), line(8);
  for (std::size_t k = 0; k < 8; ++k) a[5 + 64 * k] = line[k] = static_cast<r8>(k * k);
  values first(16, 0.0);
  first[5] = 1;
  WTN(first, {16, 1, 1}, 1);
  WTN(line, {8, 1, 1}, 1);
  const values cube = transformed(a, nn, 1);
  for (std::size_t i3 = 0; i3 < 8; ++i3)
    for (std::size_t i2 = 0; i2 < 4; ++i2)
      for (std::size_t i1 = 0; i1 < 16; ++i1)
        EXPECT_NEAR(cube[i1 + 16 * i2 + 64 * i3], i2 == 0 ? first[i1] * line[i3] : 0.0, 1e-13);
}

TEST(WTN, FilterOfAnySensibleLengthHasTheBitsOfThePlainSums) {
  set_filter(random_values(longest_unfolded));
  for (const i4 isign : {1, -1}) {
    const values a = random_values(512);
    EXPECT_TRUE(same_bits(transformed(a, {8, 16, 4}, isign), by_formula(a, {8, 16, 4}, isign)));
  }
}

TEST(WTN, LongerFilterGivesThePlainSumsUpToRounding) {
  for (const i4 length : {longest_unfolded + 1, 2048, 5001}) {
    set_filter(random_values(static_cast<std::size_t>(length)));
    for (const shape nn : {shape{8, 16, 4}, shape{2048, 1, 1}, shape{6, 12, 8}})
      for (const i4 isign : {1, -1}) {
        const values a = random_values(elements(nn)), plain = by_formula(a, nn, isign);
        EXPECT_LT(largest_difference(transformed(a, nn, isign), plain), 1e-13 * norm(plain))
            << length << text(nn);
      }
  }
}

TEST(WTN, DirectionZeroIsForward) {
  set_filter(haar);
  const values a = random_values(512);
  EXPECT_TRUE(same_bits(transformed(a, {8, 8, 8}, 0), transformed(a, {8, 8, 8}, 1)));
  EXPECT_TRUE(same_bits(transformed(a, {8, 8, 8}, -7), transformed(a, {8, 8, 8}, -1)));
}

TEST(WTN, DirectionsAreTransposesForAnyFilter) {
  set_filter({1.0, -0.5, 0.25});
  const shape nn{8, 16, 8};
  const values a = random_values(elements(nn), 1), b = random_values(elements(nn), 2);
  const values Wa = transformed(a, nn, 1);
  EXPECT_NEAR(dot(Wa, b), dot(a, transformed(b, nn, -1)), 1e-13 * norm(Wa) * norm(b));
}

TEST(WTN, CubeWithAnEmptyDimensionIsLeftAlone) {
  set_filter(haar);
  values a = random_values(64);
  const values before = a;
  WTN(std::span(a).first(0), {0, 8, 8}, 1);
  WTN(std::span(a).first(0), {8, -3, 8}, -1);
  EXPECT_TRUE(same_bits(a, before));
}

TEST(WTN, EqualsPWTLineByLineToTheLastBit) {
  for (const std::size_t length : {1u, 2u, 3u, 4u, 6u, 12u, 20u}) {
    set_filter(random_values(length, 3));
    for (const shape nn : shapes)
      for (const i4 isign : {1, -1}) {
        const values a = random_values(elements(nn));
        EXPECT_TRUE(same_bits(transformed(a, nn, isign), line_by_line(a, nn, isign)))
            << text(nn) << " filter " << length << " direction " << isign;
        EXPECT_TRUE(same_bits(transformed(a, nn, isign), by_formula(a, nn, isign)))
            << text(nn) << " filter " << length << " direction " << isign;
      }
  }
}

TEST(WTN, EveryInstructionSetGivesTheSameBits) {
  for (const instruction_set set : all_instruction_sets) {
    std::cout << name_of(set)
              << (machine_has(set) ? ": compared\n" : ": not on this machine, not compared\n");
    if (!machine_has(set)) continue;
    for (const std::size_t length : {2u, 4u, 5u, 12u}) {
      set_filter(random_values(length, 3));
      for (const shape nn : shapes)
        for (const i4 isign : {1, -1}) {
          values a = random_values(elements(nn));
          const values plain = by_formula(a, nn, isign);
          WTN_for(set, a, nn, isign);
          EXPECT_TRUE(same_bits(a, plain)) << name_of(set) << " " << text(nn) << " filter " << length;
        }
    }
  }
}

TEST(WTN, LinesThatStandFarApartGoInPanelsWithTheSameBits) {
  for (const shape nn :
       {shape{64, 32, 64}, shape{64, 32, 256}, shape{1024, 128, 4}, shape{512, 8, 32}, shape{2048, 1, 64}})
    for (const i4 isign : {1, -1})
      for (const instruction_set set : all_instruction_sets) {
        if (!machine_has(set)) continue;
        set_filter(random_values(6, 3));
        values a = random_values(elements(nn));
        const values plain = line_by_line(a, nn, isign);
        WTN_for(set, a, nn, isign);
        EXPECT_TRUE(same_bits(a, plain)) << name_of(set) << " " << text(nn) << " direction " << isign;
      }
}

TEST(WTN, FlushingTinyNumbersToZeroGivesTheSameBitsInEveryLane) {
  const flush_to_zero mode;
  set_filter(daubechies_4());
  const shape nn{16, 8, 8};
  values a = random_values(elements(nn));
  for (r8& x : a) x *= 2e-308;
  const values plain = by_formula(a, nn, 1);
  for (const instruction_set set : all_instruction_sets) {
    if (!machine_has(set)) continue;
    values b = a;
    WTN_for(set, b, nn, 1);
    EXPECT_TRUE(same_bits(b, plain)) << name_of(set);
  }
}

TEST(WTN, WritesNothingBesideTheCube) {
  set_filter(daubechies(6));
  for (const shape nn : shapes)
    for (const i4 isign : {1, -1}) {
      values a(elements(nn) + 16, 7.0);
      WTN(std::span(a).subspan(8, elements(nn)), nn, isign);
      EXPECT_EQ(values(a.begin(), a.begin() + 8), values(8, 7.0)) << text(nn);
      EXPECT_EQ(values(a.end() - 8, a.end()), values(8, 7.0)) << text(nn);
    }
}

TEST(WTN, LaterCallWithALargerCubeIsServed) {
  reset_WTN_MOD();
  set_filter(haar);
  const values small = random_values(8), large = random_values(8 * 256);
  (void)transformed(small, {8, 1, 1}, 1);
  EXPECT_TRUE(same_bits(transformed(large, {8, 256, 1}, 1), by_formula(large, {8, 256, 1}, 1)));
  EXPECT_TRUE(same_bits(transformed(small, {8, 1, 1}, 1), by_formula(small, {8, 1, 1}, 1)));
}

#if !defined(VELKO_SANITIZED)
TEST(WTN, OneLongLineNeedsNoMoreThanTwiceItsMemory) {
  const auto peak_kilobytes = [] {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
  };
  set_filter(haar);
  constexpr i4 n = 1 << 23;
  values cube(n, 1.0);
  const auto before = peak_kilobytes();
  WTN(cube, {1, 1, n}, 1);
  EXPECT_LT(peak_kilobytes() - before, 3 * (8L * n >> 10));
}
#endif

TEST(WTN, ThreadsTransformDifferentCubesAtTheSameTime) {
  set_filter(daubechies_4());
  const std::vector<shape> nn{{16, 16, 16}, {32, 8, 8}, {8, 64, 8}, {8, 8, 128}};
  std::vector<values> cubes;
  for (const shape s : nn) cubes.push_back(random_values(elements(s)));
  std::vector<values> expected;
  for (std::size_t i = 0; i < nn.size(); ++i) expected.push_back(by_formula(cubes[i], nn[i], 1));
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < nn.size(); ++i) threads.emplace_back([&, i] { WTN(cubes[i], nn[i], 1); });
  for (std::thread& t : threads) t.join();
  for (std::size_t i = 0; i < nn.size(); ++i) EXPECT_TRUE(same_bits(cubes[i], expected[i])) << text(nn[i]);
}

}  // namespace
}  // namespace velko::test
