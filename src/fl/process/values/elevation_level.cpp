#include <fl/process/elevation_level.hpp>

#include <ostream>

namespace foundation::core::process {

bool operator<(ElevationLevel left, ElevationLevel right) {
  return right == ElevationLevel::Elevated && left != ElevationLevel::Elevated;
}

std::ostream& operator<<(std::ostream& stream, ElevationLevel value) {
  switch (value) {
    case ElevationLevel::Unset:
      return stream << "Unset";
    case ElevationLevel::Elevated:
      return stream << "1";
    case ElevationLevel::NonElevated:
      return stream << "0";
  }
  return stream;
}

}  // namespace foundation::core::process
