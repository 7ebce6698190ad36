/// What stands in for the reference field in a build without GeographicLib.
#include "exchange/reference_field.h"
#include "reports/program_stop.h"

namespace velko {

main_field reference_field(const std::string&, const std::string&, const place_on_earth&) {
  stop_program(
      "velkmtx: this build knows no field by date; build it again with GeographicLib (Debian's "
      "libgeographiclib-dev), or tell the field by --field");
}

}  // namespace velko
