#include "mpi/ranks.h"

#include <algorithm>
#include <iterator>

#include "reports/channel.h"

namespace velko {

namespace {

/// Gives pieces of at most largest_message() bytes to `transfer`, first to last.
template <class T, class body>
void in_messages(std::span<T> values, body&& transfer) {
  const auto most = static_cast<std::size_t>(largest_message()) / sizeof(T);
  for (std::size_t at = 0; at < values.size(); at += most) {
    const auto piece = values.subspan(at, std::min(most, values.size() - at));
    transfer(piece, static_cast<int>(piece.size()));
  }
}

constexpr int tag = 0;

}  // namespace

i8& largest_message() {
  static i8 bytes = i8{1} << 30;
  return bytes;
}

mpi_session::mpi_session(int& argc, char**& argv) {
  int provided = 0;
  MPI_Init_thread(&argc, &argv, MPI_THREAD_FUNNELED, &provided);
}

mpi_session::~mpi_session() {
  MPI_Finalize();
}

void messages::wait() {
  for (MPI_Request& request : requests_) MPI_Wait(&request, MPI_STATUS_IGNORE);
  requests_.clear();
}

void messages::make_room_for(std::span<const r8> values) {
  const i8 messages = static_cast<i8>(values.size_bytes()) / largest_message() + 1;
  requests_.reserve(requests_.capacity() + static_cast<std::size_t>(messages));
}

ranks::ranks(MPI_Comm all) : all_(all) {
  MPI_Comm_size(all_, &size_);
  MPI_Comm_rank(all_, &rank_);
}

void ranks::agree(told_end said) const {
  const int stopped = least(said.end.kind == stop_or_done::done ? size_ : rank_);
  if (stopped != size_) {
    broadcast(said.end.kind, stopped);
    broadcast(said.end.text, stopped);
    broadcast(said.console, stopped);
    broadcast(said.log, stopped);
  }
  if (first()) {
    console().write_text(said.console);
    console().flush();
    log_file().write_text(said.log);
  }
  if (stopped != size_) end_as(said.end);
}

int ranks::least(int number) const {
  MPI_Allreduce(MPI_IN_PLACE, &number, 1, MPI_INT, MPI_MIN, all_);
  return number;
}

void ranks::broadcast(std::string& text, int root) const noexcept {
  text.resize(broadcast_size(text.size(), root));
  broadcast(std::span<char>(text), root);
}

void ranks::share(std::span<r8> all, std::span<const i8> begin) const {
  if (static_cast<i8>(all.size_bytes()) <= largest_message()) return share_at_once(all, begin);
  for (int r = 0; r < size_; ++r) {
    const auto from = static_cast<std::size_t>(begin[static_cast<std::size_t>(r)]);
    const auto end = static_cast<std::size_t>(begin[static_cast<std::size_t>(r) + 1]);
    broadcast(all.subspan(from, end - from), r);
  }
}

void ranks::share_at_once(std::span<r8> all, std::span<const i8> begin) const {
  std::vector<int> first, size;
  together([&] {
    first.assign(begin.begin(), begin.end());
    for (std::size_t r = 0; r + 1 < first.size(); ++r) size.push_back(first[r + 1] - first[r]);
  });
  MPI_Allgatherv(MPI_IN_PLACE, 0, MPI_DOUBLE, all.data(), size.data(), first.data(), MPI_DOUBLE, all_);
}

void ranks::sum(std::span<r8> values) const {
  in_messages(values, [&](std::span<r8> piece, int n) {
    MPI_Allreduce(MPI_IN_PLACE, piece.data(), n, MPI_DOUBLE, MPI_SUM, all_);
  });
}

void ranks::send(std::span<const r8> values, int to, messages& under_way) const {
  in_messages(values, [&](std::span<const r8> piece, int n) {
    MPI_Isend(piece.data(), n, MPI_DOUBLE, to, tag, all_, &under_way.requests_.emplace_back());
  });
}

void ranks::receive(std::span<r8> values, int from, messages& under_way) const {
  in_messages(values, [&](std::span<r8> piece, int n) {
    MPI_Irecv(piece.data(), n, MPI_DOUBLE, from, tag, all_, &under_way.requests_.emplace_back());
  });
}

void ranks::broadcast_bytes(std::span<std::byte> bytes, int root) const {
  in_messages(bytes,
              [&](std::span<std::byte> piece, int n) { MPI_Bcast(piece.data(), n, MPI_BYTE, root, all_); });
}

std::size_t ranks::broadcast_size(std::size_t n, int root) const {
  i8 size = static_cast<i8>(n);
  broadcast(size, root);
  return static_cast<std::size_t>(size);
}

}  // namespace velko
