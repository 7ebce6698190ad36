/// The field of a place and a date, of models that these tests write: a dipole, whose field is known.
#include "exchange/reference_field.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <numbers>

#include "tests/exchange/judges.h"

namespace velko {
namespace {

using testing::HasSubstr;

constexpr r8 radius = 6371200, g10 = -30000, g10_a_year = 20;  // m, nT, nT
constexpr r8 degree = std::numbers::pi / 180;

/// A model of degree 1 in GeographicLib's form: a text beside the coefficients, those of 2010 and their change in a year.
std::string description(int last_year) {
  return "WMMF-2\nName dipole\nDescription a dipole\nReleaseDate 2010-01-01\nRadius 6371200\nNumModels 1\n"
         "Epoch 2010\nDeltaEpoch 5\nMinTime 2010\nMaxTime " +
         std::to_string(last_year) +
         "\nMinHeight -1000\nMaxHeight 850000\nNormalization schmidt\nID DIPOLE10\n";
}

std::string coefficients() {
  std::string bytes = "DIPOLE10";
  const auto append = [&](const auto& value) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
  };
  for (const r8 coefficient : {g10, g10_a_year}) {
    for (const std::int32_t highest : {1, 1}) append(highest);       // degree, order
    for (const r8 cosine : {0.0, coefficient, 0.0}) append(cosine);  // of orders 0, 0, 1
    append(0.0);                                                     // sine of order 1
  }
  return bytes;
}

/// The dipole's field at a place on the ellipsoid WGS 84, from its potential by hand.
main_field dipole_at(const place_on_earth& at, r8 g) {
  constexpr r8 a = 6378137, f = 1 / 298.257223563, e2 = f * (2 - f);
  const r8 latitude = at.latitude * degree;
  const r8 normal = a / std::sqrt(1 - e2 * std::sin(latitude) * std::sin(latitude));
  const r8 from_axis = (normal + at.height) * std::cos(latitude);
  const r8 from_equator = (normal * (1 - e2) + at.height) * std::sin(latitude);
  const r8 r = std::hypot(from_axis, from_equator), geocentric = std::atan2(from_equator, from_axis);
  const r8 outward = 2 * g * std::pow(radius / r, 3) * std::sin(geocentric);
  const r8 northward = -g * std::pow(radius / r, 3) * std::cos(geocentric);
  const r8 turn = latitude - geocentric;
  const r8 north = northward * std::cos(turn) - outward * std::sin(turn);
  const r8 up = northward * std::sin(turn) + outward * std::cos(turn);
  return {std::atan2(-up, north) / degree, 0, std::hypot(north, up)};
}

class ReferenceField : public test::exchange {
 protected:
  ReferenceField() {
    setenv("GEOGRAPHICLIB_MAGNETIC_PATH", folder.path().c_str(), 1);
    write_model("dipole", 2030);
    folder.write("places.csv", "lon,lat,h\n-4,57,100\n-2,57,300\n-3,56.8,200\n-3,57.2,200\n");
  }
  ~ReferenceField() override { unsetenv("GEOGRAPHICLIB_MAGNETIC_PATH"); }

  void write_model(const std::string& name, int last_year) const {
    folder.write(name + ".wmm", description(last_year));
    folder.write(name + ".wmm.cof", coefficients());
  }

  static constexpr auto places =
      "import stations loc places.csv --x lon --y lat --height h --source-crs EPSG:4326 ";
};

TEST_F(ReferenceField, IsThatOfTheModelAtThePlaceAndDate) {
  for (const place_on_earth at : {place_on_earth{-3, 57, 200}, {140, -30, 0}, {10, 0, 5000}}) {
    const main_field field = reference_field("dipole", "2015", at),
                     expected = dipole_at(at, g10 + 5 * g10_a_year);
    EXPECT_NEAR(field.inclination, expected.inclination, 1e-9);
    EXPECT_NEAR(field.declination, 0, 1e-9);
    EXPECT_NEAR(field.strength, expected.strength, 1e-6);
  }
}

TEST_F(ReferenceField, DatesAreDaysOrYears) {
  const place_on_earth at{0, 45, 0};
  const r8 day = reference_field("dipole", "2015-07-02", at).strength;
  EXPECT_NEAR(day, reference_field("dipole", "2015.4986", at).strength, 0.01);
  EXPECT_NE(day, reference_field("dipole", "2015", at).strength);
}

TEST_F(ReferenceField, ImportWritesTheFieldOfTheMiddleWithTheDeclinationFromGridNorth) {
  const std::string said =
      output_of(std::string(places) + "--crs EPSG:32629 --date 2015 --magnetic-model dipole");
  const main_field expected = dipole_at({-3, 57, 200}, g10 + 5 * g10_a_year);
  const std::vector<double> written = numbers(folder.read("loc"));
  ASSERT_EQ(written.size(), 3);
  EXPECT_NEAR(written[0], expected.inclination, 0.01);
  // True north lies to the left of grid north, six degrees east of the central meridian.
  EXPECT_NEAR(written[1], -std::atan(std::tan(6 * degree) * std::sin(57 * degree)) / degree, 0.05);
  EXPECT_NEAR(written[2], expected.strength, 3);
  EXPECT_THAT(said, HasSubstr("field on 2015: inclination "));
}

TEST_F(ReferenceField, NewestIgrfThatIsThereIsTaken) {
  expect_error(
      std::string(places) + "--crs EPSG:32630 --date 2015", 1,
      "no coefficients of igrf14 in " + folder.path() + "; geographiclib-get-magnetic igrf14 fetches them");
  write_model("igrf13", 2025);
  EXPECT_THAT(output_of(std::string(places) + "--crs EPSG:32630 --date 2015"), HasSubstr("field on 2015"));
}

TEST_F(ReferenceField, MistakesAreToldAndNothingIsWritten) {
  folder.write("broken.wmm", "no model\n");
  const auto mistake = [&](const std::string& options, int status, const std::string& words) {
    expect_error(std::string(places) + "--crs EPSG:32630 " + options, status, words);
  };
  mistake("--date yesterday --magnetic-model dipole", 1, "'yesterday' is no date");
  mistake("--date 2031 --magnetic-model dipole", 1, "2031 lies beyond the years of dipole, 2010 to 2030");
  mistake("--date 2015 --magnetic-model none", 1, "no coefficients of none");
  mistake("--date 2015 --magnetic-model broken", 1, "the magnetic model broken can't be read");
  mistake("", 2, "one of --field and --date");
  mistake("--date 2015 --field 70,0,50000", 2, "one of --field and --date");
}

}  // namespace
}  // namespace velko
