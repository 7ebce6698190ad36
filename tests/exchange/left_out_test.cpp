/// What a build without GDAL answers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "exchange/gdal_output.h"
#include "exchange/projection.h"
#include "exchange/raster.h"
#include "exchange/table.h"
#include "reports/program_stop.h"

namespace velko {
namespace {

TEST(WithoutGdal, EachPartSaysThatItWasLeftOut) {
  std::vector<r8> x{1}, y{2};
  const std::vector<std::function<void()>> parts{[] { read_table({}); },
                                                 [] { read_terrain({}); },
                                                 [&] { reproject("a", "b", x, y); },
                                                 [&] { heights_above_sea("a", x, y, x); },
                                                 [] { is_geographic("a"); },
                                                 [] { check_is_projected("a"); },
                                                 [] { utm_system(1, 2); },
                                                 [] { write_points("a", "", {}, {}); },
                                                 [] { write_map("a", "", {}, "", ""); },
                                                 [] { write_model_netcdf("a", "", mesh, {}); }};
  for (const auto& part : parts)
    EXPECT_THAT(run_until_stop(part).text, testing::HasSubstr("VELKO_BUILD_EXCHANGE=ON"));
}

}  // namespace
}  // namespace velko
