// A system that does not tell the processor's frequency. It is asked once in a process, so these tests have a program
// of their own.

#include <fl/except/iexception.hpp>
#include <fl/system.hpp>

#include "scripted_processors.hpp"
#include "support.hpp"

#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

namespace {

using namespace foundation::core::system;
using outcome = foundation::core::util::Expected<unsigned long long>;

const test_support::temp_dir log_folder;
const test_support::scoped_variable log_file("QX_LOG_FILE", log_folder.file("log")),
    log_level("QX_LOG", "foundation::core::system::CpuInfo=complaint");

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

TEST(ProcessorFrequency, IsNotNeededForARefresh) {
  scripted_processors machine({8}, 2);
  machine.power.fail_always(-1, ERROR_ACCESS_DENIED);  // should this test run alone
  CpuInfo info;
  info.refresh();
  EXPECT_TRUE(info.detailsValid());
  EXPECT_EQ(info.lCores(), 8u);
  EXPECT_FALSE(info.frequencyAvailable());
  EXPECT_EQ(info.frequency(), 0u);
  const std::string log = test_support::read_file(log_folder.file("log"));
  EXPECT_NE(log.find("] complaint: Exception caught: "), std::string::npos);
  EXPECT_NE(log.find("getMaximumProcessorFrequencyImpl"), std::string::npos) << log;
}

}  // namespace
