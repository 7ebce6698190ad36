/// Arrays of rank 1 to 3, counted from 1, first index fastest: one view and one owner.
///
/// What     array1<T>, array2<T>, array3<T> see elements that somebody else holds; owned_array1<T>,
///          owned_array2<T>, owned_array3<T> hold their own, can be moved and not copied
/// Order    a(i, j, l) stands at flat position i + n1 (j - 1) + n1 n2 (l - 1), computed in 64 bits
/// Sizes    an extent below 1 counts as 0, and an array with such an extent is empty
/// Start    a new owner is zero throughout, holds a copy of a span or vector, or anything if `uninitialised` is asked for
/// Errors   std::bad_alloc (arrays/memory.h); std::invalid_argument for a copy that has not the extents; an index out of bounds is caught by assert and costs
///          nothing in release builds
///
/// Example  owned_array2<i4> itop(ny, nx);  itop(i, j) = 0;  read(itop.elements());
#pragma once

#include <algorithm>
#include <array>
#include <cassert>
#include <cstddef>
#include <iterator>
#include <span>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "arrays/memory.h"
#include "arrays/numbers.h"

namespace velko {

struct uninitialised_t {};
inline constexpr uninitialised_t uninitialised{};

/// Extents of an array, each at least 0, and the rule that turns indices into a position.
template <int rank>
struct array_shape {
  static_assert(1 <= rank && rank <= 3);
  std::array<i8, rank> extents{};

  array_shape() = default;
  template <class... N>
  requires(sizeof...(N) == rank && (std::is_integral_v<N> && ...)) explicit array_shape(N... n)
      : extents{(n > 0 ? static_cast<i8>(n) : 0)...} {}

  /// Number of elements. Extents whose product is beyond 64 bits can belong to no array.
  i8 size() const {
    i8 product = 1;
    for (i8 n : extents)
      if (__builtin_mul_overflow(product, n, &product)) throw std::bad_alloc();
    return product;
  }

  /// Position of an element, counted from 0.
  template <class... I>
  requires(sizeof...(I) == rank) std::ptrdiff_t position(I... index)
  const {
    const std::array<i8, rank> at{static_cast<i8>(index)...};
    i8 p = 0;
    for (std::size_t d = rank; d-- > 0;) {
      assert(1 <= at[d] && at[d] <= extents[d]);
      p = p * extents[d] + at[d] - 1;
    }
    return p;
  }
};

template <class T, int rank>
class array_view {
 public:
  array_view() = default;
  template <class... N>
  requires(sizeof...(N) == rank) explicit array_view(T* elements, N... n) : p_(elements), shape_(n...) {}
  array_view(T* elements, array_shape<rank> shape) : p_(elements), shape_(shape) {}

  template <class... I>
  T& operator()(I... index) const {
    return p_[shape_.position(index...)];
  }
  i8 extent(int dimension) const { return shape_.extents[static_cast<std::size_t>(dimension - 1)]; }
  i8 size() const { return shape_.size(); }
  T* data() const { return p_; }
  T* begin() const { return p_; }
  T* end() const { return p_ + size(); }
  std::span<T> elements() const { return {p_, static_cast<std::size_t>(size())}; }
  operator array_view<const T, rank>() const { return {p_, shape_}; }

 private:
  T* p_ = nullptr;
  array_shape<rank> shape_;
};

template <class T, int rank>
class owned_array {
  // Elements are plain numbers, or structs of them: all bytes zero is their empty state, and none needs an
  // end.
  static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

 public:
  owned_array() = default;
  template <class... N>
  requires(sizeof...(N) == rank && (std::is_integral_v<N> && ...)) explicit owned_array(N... n)
      : owned_array(array_shape<rank>(n...), true) {}
  template <class... N>
  requires(sizeof...(N) == rank && (std::is_integral_v<N> && ...)) owned_array(uninitialised_t, N... n)
      : owned_array(array_shape<rank>(n...), false) {}
  /// A copy of elements in the array's order, as a span or a vector holds them: as many as the extents ask for.
  template <class... N>
  requires(sizeof...(N) == rank && (std::is_integral_v<N> && ...))
      owned_array(std::span<const T> from, N... n)
      : owned_array(array_shape<rank>(n...), false) {
    if (std::ssize(from) != size())
      throw std::invalid_argument("an array of other extents than its elements");
    std::copy(from.begin(), from.end(), begin());
  }
  explicit owned_array(std::span<const T> from) requires(rank == 1) : owned_array(from, std::ssize(from)) {}

  owned_array(owned_array&& other) noexcept
      : p_(std::exchange(other.p_, nullptr)), shape_(std::exchange(other.shape_, {})) {}
  owned_array& operator=(owned_array&& other) noexcept {
    std::swap(p_, other.p_);
    std::swap(shape_, other.shape_);
    return *this;
  }
  ~owned_array() {
    if (p_ != nullptr) release_bytes(p_, static_cast<std::size_t>(shape_.size()) * sizeof(T));
  }

  template <class... I>
  T& operator()(I... index) {
    return p_[shape_.position(index...)];
  }
  template <class... I>
  const T& operator()(I... index) const {
    return p_[shape_.position(index...)];
  }
  i8 extent(int dimension) const { return shape_.extents[static_cast<std::size_t>(dimension - 1)]; }
  i8 size() const { return shape_.size(); }
  T* data() { return p_; }
  const T* data() const { return p_; }
  T* begin() { return p_; }
  T* end() { return p_ + size(); }
  const T* begin() const { return p_; }
  const T* end() const { return p_ + size(); }
  std::span<T> elements() { return {p_, static_cast<std::size_t>(size())}; }
  std::span<const T> elements() const { return {p_, static_cast<std::size_t>(size())}; }
  operator array_view<T, rank>() { return {p_, shape_}; }
  operator array_view<const T, rank>() const { return {p_, shape_}; }

 private:
  owned_array(array_shape<rank> shape, bool zeroed) : shape_(shape) {
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(static_cast<std::size_t>(shape.size()), sizeof(T), &bytes))
      throw std::bad_alloc();
    p_ = static_cast<T*>(acquire_bytes(bytes, zeroed));
  }

  T* p_ = nullptr;
  array_shape<rank> shape_;
};

template <class T>
using array1 = array_view<T, 1>;
template <class T>
using array2 = array_view<T, 2>;
template <class T>
using array3 = array_view<T, 3>;
template <class T>
using owned_array1 = owned_array<T, 1>;
template <class T>
using owned_array2 = owned_array<T, 2>;
template <class T>
using owned_array3 = owned_array<T, 3>;

}  // namespace velko
