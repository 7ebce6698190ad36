/// Ranks: the processes of an MPI job, and what they tell one another.
///
/// What     messages of any length; steps that all ranks take, and that end on all where they end on one
/// Counts   MPI counts in 32 bits. What is longer goes in several messages, of at most largest_message() bytes each
/// Errors   a stop is a value: together() runs a step on every rank; where some of them stop, all end with the stop of the first of these,
///          and its words go to the console of rank 0, once. So nobody waits for a rank that is not coming. A rank that dies ends the job: that is the
///          work of mpirun, and of MPI's own error handler
/// Memory   whatever a rank asks for here it asks for in a step, so that one that is refused ends all; but for the words of a stop, and for
///          MPI's own: who is refused these dies, which ends the job
/// Collective  every member but size, rank, first, send and receive: all ranks call them in the same order
/// Threads  the main thread alone
/// Assumes  all ranks on machines of one kind: elements travel as their bytes
#pragma once

#include <mpi.h>

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "arrays/array.h"
#include "arrays/numbers.h"
#include "reports/told_end.h"

namespace velko {

/// In bytes, a multiple of 8. It is set by tests, which have no gigabytes to send, before the first message.
i8& largest_message();

/// MPI from its start to its end, for a main.
class mpi_session {
 public:
  mpi_session(int& argc, char**& argv);
  mpi_session(const mpi_session&) = delete;
  mpi_session& operator=(const mpi_session&) = delete;
  ~mpi_session();
};

/// Messages under way, of one rank. What they read or write stays as it is until wait().
class messages {
 public:
  messages() = default;
  messages(const messages&) = delete;
  messages& operator=(const messages&) = delete;
  ~messages() { wait(); }
  void wait();
  /// Behind it, messages with these values ask for no memory.
  void make_room_for(std::span<const r8> values);

 private:
  friend class ranks;
  std::vector<MPI_Request> requests_;
};

class ranks {
 public:
  explicit ranks(MPI_Comm all = MPI_COMM_WORLD);

  int size() const { return size_; }
  int rank() const { return rank_; }
  bool first() const { return rank_ == 0; }
  bool last() const { return rank_ == size_ - 1; }

  /// Runs a step on every rank.
  template <class body>
  void together(body&& step) const {
    agree(run_and_tell(std::ref(step)));
  }
  /// The same for a step of rank 0 alone.
  template <class body>
  void first_alone(body&& step) const {
    told_end mine;
    if (first()) mine = run_and_tell(std::ref(step));
    agree(std::move(mine));
  }
  /// Together, for a step that was run before; by reference, since a std::function may ask for memory of its own.
  void agree(told_end mine) const;

  /// The least number that one of them has.
  int least(int number) const;

  /// Everybody gets what `root` has.
  template <class T>
  void broadcast(std::span<T> values, int root = 0) const {
    broadcast_bytes(std::as_writable_bytes(values), root);
  }
  template <class T>
  void broadcast(T& value, int root = 0) const {
    static_assert(std::is_trivially_copyable_v<T>);
    broadcast(std::span<T>(&value, 1), root);
  }
  /// For words: no memory for them ends the process.
  void broadcast(std::string& text, int root = 0) const noexcept;
  template <class T>
  void broadcast(std::vector<T>& values, int root = 0) const {
    const std::size_t n = broadcast_size(values.size(), root);
    together([&] { values.resize(n); });
    broadcast(std::span<T>(values), root);
  }
  template <class T>
  void broadcast(owned_array1<T>& values, int root = 0) const {
    const std::size_t n = broadcast_size(static_cast<std::size_t>(values.size()), root);
    together([&] {
      if (rank_ != root) values = owned_array1<T>(uninitialised, n);
    });
    broadcast(values.elements(), root);
  }

  /// Everybody gets all pieces; piece r, which rank r has, goes from begin[r] to begin[r + 1] - 1 of `all`, where it stands
  /// on rank r before.
  void share(std::span<r8> all, std::span<const i8> begin) const;

  /// Everybody gets the sum over ranks, in the order that MPI takes: its bits depend on the number of ranks.
  void sum(std::span<r8> values) const;

  void send(std::span<const r8> values, int to, messages& under_way) const;
  void receive(std::span<r8> values, int from, messages& under_way) const;

 private:
  void share_at_once(std::span<r8> all, std::span<const i8> begin) const;
  void broadcast_bytes(std::span<std::byte> bytes, int root) const;
  std::size_t broadcast_size(std::size_t n, int root) const;

  MPI_Comm all_;
  int size_ = 1, rank_ = 0;
};

}  // namespace velko
