// The failure of a system call, as the library throws it.
#pragma once

#include <fl/except/iexception.hpp>

#include <boost/system/system_error.hpp>
#include <gmock/gmock.h>

#include <string>

namespace test_support {

/// Matches what throws a `boost::system::system_error` that is an internal exception, too, in the name of `function`.
inline auto throws_system_failure(const std::string& function, unsigned long code) {
  using boost::system::system_error;
  const boost::system::error_code expected(static_cast<int>(code), boost::system::system_category());
  const auto is_internal = [](const system_error& failure) {
    return dynamic_cast<const foundation::core::except::IInternalException*>(&failure) != nullptr;
  };
  return testing::Throws<system_error>(
      testing::AllOf(testing::Property(&system_error::code, expected),
                     testing::Property(&system_error::what, testing::StrEq(function + ": " + expected.what())),
                     testing::Truly(is_internal)));
}

}  // namespace test_support
