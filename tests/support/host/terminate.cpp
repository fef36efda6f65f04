#include "host/terminate.hpp"

#include <fl/diag/terminate.hpp>

#include <boost/format.hpp>

#include <sstream>

namespace test_support {

namespace {

std::vector<termination> calls;

[[noreturn]] void keep(std::string message, const char* file, int line, const char* function) {
  calls.push_back({std::move(message), file != nullptr ? file : "", line, function != nullptr ? function : ""});
  throw calls.back();
}

}  // namespace

const std::vector<termination>& terminations() {
  return calls;
}

void forget_terminations() {
  calls.clear();
}

}  // namespace test_support

namespace foundation::core::diag {

using test_support::keep;

void terminate(const char* message, const char* file, int line, const char* function) {
  keep(message, file, line, function);
}

void terminate(const boost::format& message, const char* file, int line, const char* function) {
  keep(message.str(), file, line, function);
}

void terminate(const std::stringstream& message, const char* file, int line, const char* function) {
  keep(message.str(), file, line, function);
}

}  // namespace foundation::core::diag

bool fl_diag_terminate() {
  return true;
}
