/// Table: columns of numbers, by name, from what GDAL reads as records.
///
/// Formats  CSV, also with tabs, semicolons or blanks between the values and under any name; GeoJSON, GeoPackage,
///          shapefiles; netCDF variables along one dimension
/// Columns  a name that differs in case alone will do where it is the only one. "x", "y" and "z" of points stand in
///          `point`, for records that have no such columns
/// Holes    a value that is missing, `*` or not a number is NaN
/// Errors   the program stop with one line: the file, the columns that it has, or the record and the text that is no number
#pragma once

#include <array>
#include <string>
#include <vector>

#include "arrays/numbers.h"

namespace velko {

struct table_request {
  std::string file;
  std::string layer;  // which of several; empty for the only one
  std::string where;  // a condition in the words of SQL; empty for all records
  std::vector<std::string>
      columns;          // of numbers; a number in place of a name stands for itself in each record
  std::string label;    // a column of words; empty for none
  bool points = false;  // the positions of the records are wanted too
};

struct table {
  std::string system;                     // of the points; empty where the file names none
  std::vector<std::vector<r8>> columns;   // in the order of the request
  std::vector<std::string> labels;        // of each record, where asked for
  std::array<std::vector<r8>, 3> points;  // x, y, z, where asked for; z is NaN for points without one
  std::size_t records = 0;
};

table read_table(const table_request& request);

}  // namespace velko
