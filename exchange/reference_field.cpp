#include "exchange/reference_field.h"

#include <fmt/format.h>

#include <GeographicLib/MagneticModel.hpp>
#include <GeographicLib/Utility.hpp>
#include <filesystem>
#include <vector>

#include "reports/program_stop.h"

namespace velko {

namespace {

using GeographicLib::MagneticModel;

const std::vector<std::string> newest_first{"igrf14", "igrf13", "igrf12", "igrf11"};

bool is_there(const std::string& model) {
  std::error_code none;
  return std::filesystem::exists(
      std::filesystem::path(MagneticModel::DefaultMagneticPath()) / (model + ".wmm"), none);
}

std::string chosen(const std::string& model) {
  if (!model.empty() && is_there(model)) return model;
  if (model.empty())
    for (const std::string& name : newest_first)
      if (is_there(name)) return name;
  const std::string& wanted = model.empty() ? newest_first.front() : model;
  stop_program(fmt::format(
      "velkmtx: no coefficients of {} in {}; geographiclib-get-magnetic {} fetches them (Debian's "
      "geographiclib-tools has it), or tell the field by --field",
      wanted, MagneticModel::DefaultMagneticPath(), wanted));
}

r8 year_of(const std::string& date) {
  try {
    return GeographicLib::Utility::fractionalyear<double>(date);
  } catch (const std::exception&) {
    stop_program("velkmtx: '" + date + "' is no date; write 2021-06-15, or a year such as 2021.46");
  }
}

/// The library goes on beyond the years of a model, where the field is anybody's guess.
void check_year(const MagneticModel& model, r8 year, const std::string& date) {
  if (!(year >= model.MinTime() && year <= model.MaxTime()))
    stop_program(fmt::format("velkmtx: {} lies beyond the years of {}, {:g} to {:g}", date,
                             model.MagneticModelName(), model.MinTime(), model.MaxTime()));
}

}  // namespace

main_field reference_field(const std::string& model_name, const std::string& date, const place_on_earth& at) {
  const r8 year = year_of(date);
  const std::string name = chosen(model_name);
  try {
    const MagneticModel model(name);
    check_year(model, year, date);
    r8 east = 0, north = 0, up = 0, horizontal = 0;
    model(year, at.latitude, at.longitude, at.height, east, north, up);
    main_field field;
    MagneticModel::FieldComponents(east, north, up, horizontal, field.strength, field.declination,
                                   field.inclination);
    return field;
  } catch (const GeographicLib::GeographicErr& error) {
    stop_program(fmt::format("velkmtx: the magnetic model {} can't be read: {}", name, error.what()));
  }
}

}  // namespace velko
