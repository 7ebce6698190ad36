/// Observations: what was measured, how far it may be off, and which of it is fitted.
///
/// What     the positions go into the library's survey, where the products and the writers look for them; the values stay
///          here, in nT, undivided
/// Noise    the standard deviations of the file, or floor + share |value| where the command line gives either; the file
///          then needs none
/// Every    of n > 1 fits the first of every n data in the order of the file. The others are predicted all the same, and
///          say how well the model does where it was not told
/// Errors   those of read_data_file, in its words; a datum without a value; a deviation that is not above 0
#pragma once

#include <string>

#include "recover/vectors.h"

namespace recover {

struct noise_model {
  velko::r8 floor = 0, share = 0;
  bool given() const { return floor != 0 || share != 0; }
};

struct observations {
  values data, deviation;    // (ndata) nT
  std::vector<char> fitted;  // (ndata) 0 for a datum that is left out
};

/// Asks that the sensitivity file is loaded.
observations read_observations(const std::string& file_name, const noise_model& noise, velko::i4 every);

}  // namespace recover
