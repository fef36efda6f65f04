// What every stop of the tour checks with.
#pragma once

#include <stdexcept>
#include <string>

inline void check(bool holds, const char* what) {
  if (!holds) {
    throw std::runtime_error(std::string("this did not hold: ") + what);
  }
}
