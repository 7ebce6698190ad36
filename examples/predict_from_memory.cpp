/// Two problems from memory, used in turn by a program with its own console: the products, a check of the adjoint, and what
/// a refusal looks like.
#include <velko/library/call.h>
#include <velko/library/problem_parts.h>
#include <velko/library/problem_products.h>

#include <cstdio>
#include <numeric>
#include <vector>

using namespace velko;

r8 dot(const std::vector<r8>& a, const std::vector<r8>& b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

/// Two columns of two cells, the upper one of the first in the air; two data.
problem dense_problem(const std::vector<r4>& Gfull) {
  const std::vector<r8> ynode{0, 10}, xnode{0, 10, 20}, znode{0, 5, 15}, wtz{1, 2, 0.5};
  const std::vector<i4> itop{1, 0};
  problem_parts parts;
  parts.ynode = ynode, parts.xnode = xnode, parts.znode = znode;
  parts.itop = itop, parts.wtz = wtz, parts.Gfull = Gfull, parts.ndata = 2;
  return make_problem(parts);
}

int main() try {
  problem north = dense_problem({1, 2, 3, 4, 5, 6}), south = dense_problem({0, 0, 1, 1, 0, 0});
  const std::vector<r8> susceptibility{0.5, 1, 2}, d{1, -1};
  for (problem* p : {&north, &south}) {
    const std::vector<r8> predicted = predicted_data(*p, susceptibility);
    const r8 one_way = dot(forward(*p, susceptibility), d), other_way = dot(susceptibility, adjoint(*p, d));
    std::printf("predicted %g %g; adjoint %g = %g\n", predicted[0], predicted[1], one_way, other_way);
    if (one_way != other_way) return 1;
  }
  dense_problem({1, 2, 3});
  return 1;  // not reached: half a matrix is refused
} catch (const call_failed& failure) {
  std::printf("refused: %s\n", failure.what());
}
