// Snapshots of scripted processors, through the system calls that the library makes. Wine implements one of these calls
// not at all, so nothing here asks the machine itself.

#include <fl/except/iexception.hpp>
#include <fl/system.hpp>
#include <foundation_log/control.hpp>

#include "scripted_processors.hpp"
#include "support.hpp"

#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

namespace {

using namespace foundation::core::system;
using test_support::put_cpu_set;
using test_support::scoped_variable;
using strings = std::vector<std::string>;

const test_support::temp_dir log_folder;
const scoped_variable log_file("QX_LOG_FILE", log_folder.file("log")), log_level("QX_LOG", "*=all");

/// The records since this was last called: channel, severity and text.
strings take_records() {
  static std::size_t taken = 0;
  const std::string log = test_support::read_file(log_folder.file("log"));
  std::istringstream lines(log.substr(taken));
  taken = log.size();
  strings records;
  for (std::string line; std::getline(lines, line);) {
    records.push_back(line.substr(line.find('[')));
  }
  return records;
}

CpuInfo refreshed() {
  CpuInfo info;
  info.refresh();
  return info;
}

void expect_failure(int code) {
  try {
    (void)refreshed();
    ADD_FAILURE() << "no exception";
  } catch (const boost::system::system_error& failure) {
    EXPECT_EQ(failure.code(), boost::system::error_code(code, boost::system::system_category()));
    EXPECT_EQ(std::string(failure.what()).find("foundation::core::system::windows::computeNumberOfCores: "), 0u);
    EXPECT_NE(dynamic_cast<const foundation::core::except::IInternalException*>(&failure), nullptr);
  }
}

TEST(CpuInfo, TellsTheGroupsThatTheProcessIsIn) {
  scripted_processors machine({48, 16}, 2);
  machine.process_groups = {1};
  machine.process_mask = 1;
  EXPECT_EQ(getAvailableConcurrency(refreshed(), true), 16u);
  machine.process_groups = {0, 1};
  EXPECT_EQ(getAvailableConcurrency(refreshed(), true), 64u);
}

TEST(CpuInfo, AsksAgainIfProcessorsAreAddedMeanwhile) {
  scripted_processors machine({8}, 2);
  machine.processors.handle_with([&](auto, auto, void* buffer, DWORD* length) {
    const auto& told = machine.records;
    const bool fits = buffer && *length >= told.size();
    if (buffer && !fits) {
      ADD_FAILURE() << "each size is taken";
    }
    if (buffer && machine.processors.calls() == 2) {
      machine.records = test_support::processor_records({8, 8}, 2);
    } else if (fits) {
      std::copy(told.begin(), told.end(), static_cast<std::byte*>(buffer));
    }
    *length = static_cast<DWORD>(told.size());
    ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return fits && machine.processors.calls() != 2;
  });
  EXPECT_EQ(refreshed().lCores(), 16u);
  EXPECT_EQ(machine.processors.calls(), 3u);
}

TEST(CpuInfo, WritesWhatItFindsToTheLog) {
  scripted_processors machine({4}, 2);
  machine.process_mask = 0b101;
  machine.records.resize(machine.records.size() + 4);
  for (const unsigned efficiency : {0, 1}) {
    put_cpu_set(machine.cpu_sets, 0, efficiency);
  }
  (void)refreshed();
  take_records();
  (void)refreshed();
  const std::string channel = "[foundation::core::system::CpuInfo] ", tiers = "[fl::system::windows::PECores] ";
  EXPECT_EQ(take_records(),
            (strings{channel + "note:  processAffinityMask=5", channel + "note:  systemAffinityMask=255",
                     channel + "note:  groupCount=1", channel + "note:  groupArrayCount=1",
                     channel + "complaint: GetLogicalProcessorInformationEx buffer ended inside a record at offset 176 "
                               "of 180; aborting parse",
                     channel + "note:  processorCoreCount=2 processorLogicalCount=4 availableCoreCount=2 "
                               "availableLogicalCount=2",
                     tiers + "complaint: Windows CPU-set probe: SMT siblings disagree on EfficiencyClass for coreId=0 "
                             "(saw 0 and 1)",
                     channel + "summary:  details .pCores=2 details .lCores=4 details .aCores=2 "
                               "details .hyperthreaded=1 details .frequencyAvailable=1 details .frequency=3600000000 "
                               "details .performanceCores=-1 details .efficiencyCores=-1"}));
}

TEST(CpuInfo, ThrowsWhatASystemCallSays) {
  using machine = scripted_processors;
  const auto refuse_buffers_with = [](DWORD code, DWORD wanted) {
    return [=](machine& m) {
      m.processors.handle_with([=](auto, auto, void* buffer, DWORD* length) {
        // A length of more is a reason to ask again only if that is what the call failed for.
        *length = buffer && code != ERROR_INSUFFICIENT_BUFFER ? *length + wanted : wanted;
        ::SetLastError(buffer ? code : ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
      });
    };
  };
  struct failure {
    const char* call;
    std::function<void(machine&)> script;
    int code;
  };
  for (const auto& [call, script, code] :
       {failure{"mask", [](machine& m) { m.affinity.fail_always(FALSE, ERROR_ACCESS_DENIED); }, ERROR_ACCESS_DENIED},
        failure{"group count", [](machine& m) { m.count_groups.fail_always(0, ERROR_GEN_FAILURE); }, ERROR_GEN_FAILURE},
        failure{"groups", [](machine& m) { m.group_affinity.fail_always(FALSE, ERROR_NOT_READY); }, ERROR_NOT_READY},
        failure{"size of the records", [](machine& m) { m.processors.fail_always(FALSE, ERROR_GEN_FAILURE); },
                ERROR_GEN_FAILURE},
        failure{"records", refuse_buffers_with(ERROR_NOT_READY, 100), ERROR_NOT_READY},
        failure{"never enough", refuse_buffers_with(ERROR_INSUFFICIENT_BUFFER, 100), ERROR_INSUFFICIENT_BUFFER},
        failure{"of no size", refuse_buffers_with(ERROR_INSUFFICIENT_BUFFER, 0), ERROR_INSUFFICIENT_BUFFER}}) {
    SCOPED_TRACE(call);
    scripted_processors scripted({16}, 2);
    script(scripted);
    expect_failure(code);
    EXPECT_LE(scripted.processors.calls(), 2u);
  }
}

TEST(CpuInfo, GoesOnWithoutTiersThatTheSystemDoesNotTell) {
  scripted_processors machine({16}, 2);
  const auto expect_complaint = [](const std::string& text) {
    take_records();
    const CpuInfo info = refreshed();
    EXPECT_TRUE(info.detailsValid());
    EXPECT_EQ(info.performanceCores(), -1);
    strings complaints;
    for (const std::string& record : take_records()) {
      if (record.find("PECores") != std::string::npos) {
        complaints.push_back(record);
      }
    }
    EXPECT_EQ(complaints, text.empty() ? strings{} : strings{"[fl::system::windows::PECores] complaint: " + text});
  };
  machine.sets.fail_always(FALSE, ERROR_ACCESS_DENIED);
  expect_complaint("GetSystemCpuSetInformation sizing call failed unexpectedly (GetLastError=5)");
  BOOL sized = FALSE;
  ULONG wanted = 64, given = 64;
  machine.sets.reset();
  machine.sets.handle_with([&](auto, void* buffer, ULONG room, ULONG* length, auto...) {
    *length = buffer ? given : wanted;
    EXPECT_TRUE(!buffer ||
                (room == wanted && std::count(static_cast<char*>(buffer), static_cast<char*>(buffer) + room, 0) == 64));
    ::SetLastError(buffer ? ERROR_NOT_READY : ERROR_INSUFFICIENT_BUFFER);
    return buffer ? sized : FALSE;
  });
  expect_complaint("GetSystemCpuSetInformation read call failed (GetLastError=21, requestedLength=64)");
  sized = TRUE;
  for (const ULONG told : {64, 1000}) {  // as much as fits, and more
    given = told;
    expect_complaint(
        "GetSystemCpuSetInformation buffer contained a zero-sized record at offset 0 of 64; "
        "aborting parse to avoid an infinite loop");
  }
  given = 0;
  expect_complaint("");
  wanted = 0;
  expect_complaint("");
}

TEST(CpuInfo, ItsLogIsTheLastThatIsMadeWhenTheLibraryIsLoaded) {
  strings channels;
  for (const auto& channel : foundation::log::channels()) {
    channels.push_back(channel.channel);
  }
  channels.resize(8);  // Others are made at first use.
  EXPECT_EQ(channels,
            (strings{"foundation::core::mem::manager::mobservation", "fl::process::deelevate_utils",
                     "fl::process::process_impl", "fl::process::process", "fl::process::process_reaper",
                     "fl::process::which", "foundation::core::system::CpuInfo", "fl::system::windows::PECores"}));
}

TEST(CpuInfo, ItsInstructionSetCanBeReadFromASourceOfTheClient) {
  struct : x86_64::ICpuidSource {
    x86_64::CpuidRegisters cpuid(std::uint32_t leaf, std::uint32_t) const override {
      return {leaf == 0, 0, leaf == 1 ? 1u << 23 : 0, 0};
    }
    std::uint64_t xgetbv(std::uint32_t) const override { throw std::logic_error("not enabled"); }
  } const source;
  EXPECT_EQ(x86_64::InstructionSet(source).getFeatureString(), " POPCNT ");
  EXPECT_EQ(CpuInfo().instructionSet().vendor(), x86_64::InstructionSet().vendor());
}

}  // namespace
