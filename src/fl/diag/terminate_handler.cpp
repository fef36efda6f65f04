#include <fl/diag/terminate_handler.hpp>

#include "diag/terminate_engine.hpp"

#include <cstdlib>

namespace foundation::core::test {

namespace {

using diag::terminate_impl;

}  // namespace

terminate_handler::terminate_handler() {
  util::thread_flag& mode = diag::term().test_mode();
  if (mode.get()) {
    std::abort();
  }
  mode.set(true);
}

terminate_handler::~terminate_handler() {
  util::thread_flag& mode = diag::term().test_mode();
  if (!mode.get()) {
    std::abort();
  }
  try {
    mode.set(false);
  } catch (...) {
    // Taking a mark away needs no room.
  }
}

bool terminate_handled() {
  diag::term();
  try {
    throw;
  } catch (const terminate_impl::terminate_exception&) {
    return true;
  }
}

bool terminate_handled(const std::string& expected) {
  diag::term();
  try {
    throw;
  } catch (const terminate_impl::terminate_exception& exception) {
    return exception.message == expected;
  }
}

}  // namespace foundation::core::test
