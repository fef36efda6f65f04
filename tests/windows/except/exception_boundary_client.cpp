#include "exception_boundary_client.hpp"

std::vector<exception_samples::sample> client_samples() {
  return exception_samples::samples();
}

std::string caught_by_client_as(const exception_samples::thrower& raise) {
  return caught_as(raise, exception_samples::all_classes());
}
