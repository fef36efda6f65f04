// What a launch comes to, and the texts that its failures have.
#pragma once

#include <fl/process.hpp>

#include "every_test.hpp"
#include "refusals.hpp"

#include <boost/algorithm/string/erase.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <boost/system/system_error.hpp>

namespace launch_texts {

namespace process = foundation::core::process;

/// The error of the system calls that a test refuses.
constexpr DWORD injected_code = test_support::refused_code;

/// How a refused call is told.
inline std::string told(const std::string& call, DWORD code = injected_code) {
  return boost::system::system_error(static_cast<int>(code), boost::system::system_category(), call).what();
}

/// The text of a process_bad_user that `what` fails with, for this reason.
inline std::string bad_user_text(const process::command& what, const std::string& reason) {
  std::ostringstream text;
  text << " While attempting to execute \"" << what << "\": " << reason << "\n";
  return text.str();
}

/// The same for a process_init_error.
inline std::string init_error_text(const process::command& what, const std::string& reason) {
  return "An error occurred while initializing child process: " + bad_user_text(what, reason);
}

/// The text of the exception; a child that starts is waited for.
template <class Exception>
std::string text_of_launch(const process::command& what, const process::context& how) {
  try {
    return "exit status " + std::to_string(process::process(what, how).exit_status());
  } catch (const Exception& e) {
    return e.what();
  }
}

/// The outcomes of refusals with the reason alone where a launch failed with a process_init_error.
inline test_support::refusal_outcomes reasons(const process::command& what, test_support::refusal_outcomes outcomes) {
  const std::string text = "process_init_error: " + init_error_text(what, "");
  for (auto& [call, outcome] : outcomes) {
    boost::algorithm::replace_all(outcome, text.substr(0, text.size() - 1), "");
    boost::algorithm::erase_all(outcome, "\n");
  }
  return outcomes;
}

}  // namespace launch_texts
