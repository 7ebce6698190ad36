// A product that is asked to end ends with its stop, and the next one is whole.
#include "reports/interruption.h"

#include "products/model_block.h"
#include "products/products.h"
#include "tests/products/random_problem.h"

namespace velko::test {
namespace {

class Interruption : public products_test, public testing::WithParamInterface<form> {
 public:
  ~Interruption() override { forget_interruption(); }
};

TEST_P(Interruption, EveryProductEndsWithTheStop) {
  const random_problem p(GetParam(), 3);
  const values m = random_values(p.model_size()), d = random_values(p.rows());
  values data(p.rows()), model(p.model_size());
  ask_for_interruption();
  EXPECT_EQ(stop_of([&] { GPROD(m, data); }), "interrupted");
  EXPECT_EQ(stop_of([&] { GTPROD(model, d); }), "interrupted");
  EXPECT_EQ(stop_of([&] { GTGPROD(m, model); }), "interrupted");
  owned_array2<r8> models(p.model_size(), 2), other_models(p.model_size(), 2), data_of_both(p.rows(), 2);
  EXPECT_EQ(stop_of([&] { GPROD_BLOCK(models, data_of_both); }), "interrupted");
  EXPECT_EQ(stop_of([&] { GTPROD_BLOCK(models, data_of_both); }), "interrupted");
  EXPECT_EQ(stop_of([&] { GTGPROD_BLOCK(models, other_models); }), "interrupted");
}

TEST_P(Interruption, RowsThatAreLeftArePassedOver) {
  const random_problem p(GetParam(), 3);
  const values m = random_values(p.model_size());
  ASSERT_GT(p.rows(), 0U);
  values data(p.rows(), untouched);
  ask_for_interruption();
  EXPECT_EQ(stop_of([&] { GPROD(m, data); }), "interrupted");
  EXPECT_EQ(data, values(p.rows(), untouched));
}

TEST_P(Interruption, ForgottenItChangesNothing) {
  const random_problem p(GetParam(), 3);
  const values m = random_values(p.model_size());
  values before(p.rows()), after(p.rows());
  GPROD(m, before);
  ask_for_interruption();
  stop_of([&] { GPROD(m, after); });
  forget_interruption();
  GPROD(m, after);
  EXPECT_TRUE(same_bits(before, after));
}

INSTANTIATE_TEST_SUITE_P(Forms, Interruption, testing::Values(form::compressed, form::dense_compact),
                         [](const auto& of) { return std::string(name_of(of.param)); });

}  // namespace
}  // namespace velko::test
