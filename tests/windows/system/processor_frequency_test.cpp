// A system that does not tell the processor's frequency. It is asked once in a process, so this has a program of its
// own.

#include <fl/except/iexception.hpp>
#include <fl/system.hpp>

#include "scripted_processors.hpp"

#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

namespace {

using namespace foundation::core::system;
using outcome = foundation::core::util::Expected<unsigned long long>;

TEST(ProcessorFrequency, IsAFailureForEverIfTheFirstQuestionFails) {
  scripted_processors machine({8}, 2);
  machine.power.fail_always(-1, ERROR_ACCESS_DENIED);
  std::vector<outcome> outcomes(4, outcome(0));
  std::vector<std::thread> threads;
  for (outcome& result : outcomes) {
    threads.emplace_back([&result] { result = getMaximumProcessorFrequency(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(machine.power.calls(), 1u);

  machine.power.reset();
  outcomes.push_back(getMaximumProcessorFrequency());
  EXPECT_EQ(machine.power.calls(), 0u);
  for (const outcome& result : outcomes) {
    EXPECT_FALSE(result.has_value());
    EXPECT_NE(result.exception(), nullptr);
    EXPECT_EQ(result.exception(), outcomes[0].exception()) << "one object for all";
  }
  try {
    (void)outcomes[0].value();
    ADD_FAILURE() << "no exception";
  } catch (const boost::system::system_error& failure) {
    EXPECT_EQ(failure.code(), boost::system::error_code(ERROR_ACCESS_DENIED, boost::system::system_category()))
        << "the last error, not the status";
    EXPECT_EQ(std::string(failure.what()).find("foundation::core::system::windows::getMaximumProcessorFrequencyImpl: "),
              0u);
    EXPECT_NE(dynamic_cast<const foundation::core::except::IInternalException*>(&failure), nullptr);
  }
}

}  // namespace
