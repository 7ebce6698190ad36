// The node sort on small vectors, worked out by hand; the index of larger ones is compared in
// properties_test.cpp.
#include "topography/node_sort.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "tests/topography/built_table.h"

namespace velko::test {
namespace {

using testing::ElementsAre;

array1<r8> view(std::vector<r8>& values) {
  return array1<r8>(values.data(), static_cast<i8>(values.size()));
}
array1<const r8> keys_of(const std::vector<r8>& values) {
  return array1<const r8>(values.data(), static_cast<i8>(values.size()));
}

std::vector<i4> index_of(const std::vector<r8>& keys) {
  std::vector<i4> ind(keys.size(), untouched);
  sort_index(static_cast<i4>(keys.size()), keys_of(keys), test::view(ind));
  return ind;
}

std::vector<i4> identity(std::size_t n) {
  std::vector<i4> ind(n);
  std::iota(ind.begin(), ind.end(), 1);
  return ind;
}

TEST(NodeSort, OfNoKeysSetsNothing) {
  std::vector<i4> ind{untouched};
  for (const i4 n : {0, -1}) {
    sort_index(n, {}, test::view(ind));
    reorder_nodes(n, 3, {}, {}, {}, test::view(ind));
    EXPECT_THAT(ind, ElementsAre(untouched));
  }
}

TEST(NodeSort, OfOneKeyGivesOneAndLeavesTheArrays) {
  std::vector<r8> a{7}, b{8}, c{9};
  std::vector<i4> ind{untouched};
  reorder_nodes(1, 3, view(a), view(b), view(c), test::view(ind));
  EXPECT_THAT(ind, ElementsAre(1));
  EXPECT_THAT((std::vector{a[0], b[0], c[0]}), ElementsAre(7, 8, 9));
}

TEST(NodeSort, LeavesTheKeysAndGivesTheirOrder) {
  const std::vector<r8> keys{0.5, -2, 9, 3};
  EXPECT_THAT(index_of(keys), ElementsAre(2, 1, 4, 3));
}

/// The partition exchanges each pair of equal keys around the middle, and ends with two halves. By the same
/// token a short segment at the far left is partitioned: insertion would leave equal keys as they are.
TEST(NodeSort, ExchangesEqualKeysByItsFixedRule) {
  EXPECT_THAT(index_of({5, 5}), ElementsAre(1, 2));
  EXPECT_THAT(index_of({5, 5, 5}), ElementsAre(1, 2, 3));
  EXPECT_THAT(index_of({5, 5, 5, 5}), ElementsAre(1, 3, 2, 4));
  EXPECT_THAT(index_of({5, 5, 5, 5, 5}), ElementsAre(1, 4, 3, 2, 5));
}

TEST(NodeSort, GivesTheIdentityForSortedKeysAndTheReversalForReversedOnes) {
  for (std::size_t n = 1; n < 200; ++n) {
    std::vector<r8> keys(n);
    std::iota(keys.begin(), keys.end(), -5);
    std::vector<i4> expected = identity(n);
    EXPECT_EQ(index_of(keys), expected) << n;
    std::reverse(keys.begin(), keys.end());
    std::reverse(expected.begin(), expected.end());
    EXPECT_EQ(index_of(keys), expected) << n;
  }
}

TEST(NodeSort, SortsAMillionEqualKeysAndKeepsAPermutation) {
  std::vector<i4> ind = index_of(std::vector<r8>(1'000'000, 3.0));
  std::sort(ind.begin(), ind.end());
  EXPECT_EQ(ind, identity(ind.size()));
}

#if !defined(VELKO_SANITIZED)
/// Two equal keys in ascending ones trade places if one of them is the first middle key. That one stands
/// 0.4140625 of 16,777,221 steps behind the first; but a float of 32 bits knows only every second number
/// there and makes these 16,777,220: 6,946,817 steps, not 6,946,818.
TEST(NodeSort, RoundsTheLengthOfASegmentTo32Bits) {
  constexpr std::size_t n = (1 << 24) + 6, middle = 1 + 6'946'817;
  std::vector<r8> keys(n);
  std::iota(keys.begin(), keys.end(), 1);
  keys[middle - 1] = keys[middle - 2];
  const std::vector<i4> ind = index_of(keys);
  EXPECT_EQ(ind[middle - 2], static_cast<i4>(middle));
  EXPECT_EQ(ind[middle - 1], static_cast<i4>(middle - 1));
}
#endif

TEST(NodeSort, MovesAsManyArraysAsAsked) {
  for (const i4 nvec : {-1, 0, 1, 2, 3, 4}) {
    std::vector<r8> a{3, 1, 2}, b{30, 10, 20}, c{300, 100, 200};
    std::vector<i4> ind(3);
    reorder_nodes(3, nvec, view(a), view(b), view(c), test::view(ind));
    EXPECT_THAT(ind, ElementsAre(2, 3, 1));
    EXPECT_EQ(a, nvec >= 1 ? (std::vector<r8>{1, 2, 3}) : (std::vector<r8>{3, 1, 2}));
    EXPECT_EQ(b, nvec >= 2 ? (std::vector<r8>{10, 20, 30}) : (std::vector<r8>{30, 10, 20}));
    EXPECT_EQ(c, nvec >= 3 ? (std::vector<r8>{100, 200, 300}) : (std::vector<r8>{300, 100, 200}));
  }
}

TEST(NodeSort, TouchesNothingBehindTheNodesThatItIsGiven) {
  std::vector<r8> a{3, 1, 2, 0}, b{30, 10, 20, 0};
  std::vector<i4> ind(4, untouched);
  reorder_nodes(3, 2, view(a), view(b), {}, test::view(ind));
  EXPECT_THAT(a, ElementsAre(1, 2, 3, 0));
  EXPECT_THAT(b, ElementsAre(10, 20, 30, 0));
  EXPECT_THAT(ind, ElementsAre(2, 3, 1, untouched));
}

TEST(NodeSort, PermutesByCyclesAndGivesTheIndexBack) {
  std::vector<r8> v{10, 20, 30, 40, 50};
  std::vector<i4> ind{3, 2, 5, 1, 4};  // one cycle of four, and one place that stays
  permute_by_index(5, test::view(ind), view(v));
  EXPECT_THAT(v, ElementsAre(30, 20, 50, 10, 40));
  EXPECT_THAT(ind, ElementsAre(3, 2, 5, 1, 4));
}

TEST(NodeSort, PermutesNothingForFewerThanTwoPlaces) {
  std::vector<r8> v{10};
  std::vector<i4> ind{untouched};
  permute_by_index(1, test::view(ind), view(v));
  EXPECT_THAT(v, ElementsAre(10));
  EXPECT_THAT(ind, ElementsAre(untouched));
}

/// Keys must be numbers; others may end anywhere, but the scans stay inside the vector and lose no key.
TEST(NodeSort, KeepsAPermutationOfKeysThatAreNoNumbers) {
  std::mt19937 generator(11);
  for (std::size_t n = 1; n < 300; ++n) {
    std::vector<r8> keys(n);
    for (r8& key : keys) {
      const unsigned drawn = generator() % 8;
      key = drawn == 0 ? std::nan("") : drawn == 1 ? -std::numeric_limits<r8>::infinity() : drawn;
    }
    std::vector<i4> ind = index_of(keys);
    std::sort(ind.begin(), ind.end());
    EXPECT_EQ(ind, identity(n));
  }
}

}  // namespace
}  // namespace velko::test
