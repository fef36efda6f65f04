// Snapshots of scripted processors, through the system calls that the library makes. Wine implements one of these calls
// not at all, and few machines have several groups of processors or cores of several kinds, so nothing here asks the
// machine itself.

#include <fl/system.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"
#include "processor_records.hpp"
#include "support.hpp"
#include "system_failure.hpp"

#include <windows.h>
#include <powrprof.h>

namespace {

using namespace foundation::core::system;
using test_support::record_buffer;
using test_support::scoped_variable;
using test_support::throws_system_failure;
using strings = std::vector<std::string>;

/// Fills a buffer as the system does, or says how much room it needs.
BOOL give(const record_buffer& told, void* buffer, std::size_t room, ULONG* length) {
  *length = static_cast<ULONG>(told.size());
  if (room < told.size()) {
    ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return FALSE;
  }
  std::copy(told.begin(), told.end(), static_cast<std::byte*>(buffer));
  return TRUE;
}

/// A system with other processors than this one's. Cores have two threads.
struct scripted_processors {
  template <class Function, class Tag = decltype([]() -> void {})>
  using injected = test_support::injected<Function, Tag>;

  explicit scripted_processors(std::vector<std::uint8_t> told) : groups(std::move(told)) {}

  const std::vector<std::uint8_t> groups;  ///< how many processors there are in each
  record_buffer records = test_support::processor_records(groups, 2);
  std::vector<std::uint16_t> process_groups{0};  ///< those that the process may use
  std::uint64_t process_mask = ~std::uint64_t{0};

  injected<decltype(&::GetProcessAffinityMask)> affinity{"GetProcessAffinityMask",
                                                         [this](auto, HANDLE, DWORD_PTR* process, DWORD_PTR* machine) {
                                                           *process = process_mask;
                                                           *machine = 255;
                                                           return TRUE;
                                                         }};
  injected<decltype(&::GetActiveProcessorGroupCount)> count_groups{
      "GetActiveProcessorGroupCount", [this](auto) { return static_cast<WORD>(groups.size()); }};
  injected<decltype(&::GetProcessGroupAffinity)> group_affinity{
      "GetProcessGroupAffinity", [this](auto, HANDLE, USHORT* count, USHORT* told) {
        EXPECT_GE(*count, process_groups.size());
        *count = static_cast<USHORT>(process_groups.size());
        std::copy(process_groups.begin(), process_groups.end(), told);
        return TRUE;
      }};
  injected<decltype(&::GetLogicalProcessorInformationEx)> processors{
      "GetLogicalProcessorInformationEx", [this](auto, auto which, void* buffer, DWORD* length) {
        return which == RelationAll && give(records, buffer, buffer ? *length : 0, length);
      }};
  injected<BOOL (*)(void*, ULONG, ULONG*, HANDLE, ULONG)> sets{
      "GetSystemCpuSetInformation", [](auto, void* buffer, ULONG room, ULONG* length, HANDLE, ULONG flags) {
        return flags == 0 && give({}, buffer, room, length);
      }};
  injected<decltype(&::CallNtPowerInformation)> power{
      "CallNtPowerInformation", [](auto, auto what, void* input, ULONG input_length, void* output, ULONG length) {
        EXPECT_TRUE(what == ProcessorInformation && !input && input_length == 0 && length % 24 == 0);
        std::fill_n(static_cast<ULONG*>(output), length / sizeof(ULONG), 5000);
        static_cast<ULONG*>(output)[1] = 3600;  // of the first processor
        return LONG{0};
      }};
};

const test_support::temp_dir log_folder;
const scoped_variable log_file("QX_LOG_FILE", log_folder.file("log")), log_level("QX_LOG", "*=all");

/// The records since this was last called: channel, severity and text. Those of one channel, if it is named.
strings take_records(const std::string& channel = "") {
  static std::size_t taken = 0;
  const std::string log = test_support::read_file(log_folder.file("log"));
  std::istringstream lines(log.substr(taken));
  taken = log.size();
  strings records;
  for (std::string line; std::getline(lines, line);) {
    if (line.find(channel) != std::string::npos) {
      records.push_back(line.substr(line.find('[')));
    }
  }
  return records;
}

CpuInfo refreshed() {
  CpuInfo info;
  info.refresh();
  return info;
}

TEST(CpuInfo, TellsTheGroupsThatTheProcessIsIn) {
  scripted_processors machine({48, 16});
  machine.process_mask = 1;
  machine.process_groups = {1};
  EXPECT_EQ(getAvailableConcurrency(refreshed(), true), 16u);
  machine.process_groups = {0, 1};
  EXPECT_EQ(getAvailableConcurrency(refreshed(), true), 64u);
}

TEST(CpuInfo, AsksAgainIfProcessorsAreAddedMeanwhile) {
  scripted_processors machine({8});
  machine.processors.handle_with([&](auto, auto, void* buffer, DWORD* length) {
    const DWORD room = buffer ? *length : 0;
    if (machine.processors.calls() == 2) {
      EXPECT_EQ(room, machine.records.size()) << "each size is taken";
      machine.records = test_support::processor_records({8, 8}, 2);
    }
    return give(machine.records, buffer, room, length);
  });
  EXPECT_EQ(refreshed().lCores(), 16u);
  EXPECT_EQ(machine.processors.calls(), 3u);
}

TEST(CpuInfo, WritesWhatItFindsToTheLog) {
  scripted_processors machine({4});
  machine.process_mask = 0b101;
  (void)refreshed();
  take_records();
  (void)refreshed();
  const std::string channel = "[foundation::core::system::CpuInfo] ";
  EXPECT_EQ(take_records(),
            (strings{channel + "note:  processAffinityMask=5", channel + "note:  systemAffinityMask=255",
                     channel + "note:  groupCount=1", channel + "note:  groupArrayCount=1",
                     channel + "note:  processorCoreCount=2 processorLogicalCount=4 availableCoreCount=2 "
                               "availableLogicalCount=2",
                     channel + "summary:  details .pCores=2 details .lCores=4 details .aCores=2 "
                               "details .hyperthreaded=1 details .frequencyAvailable=1 details .frequency=3600000000 "
                               "details .performanceCores=-1 details .efficiencyCores=-1"}));
}

TEST(CpuInfo, ThrowsWhatASystemCallSays) {
  using machine = scripted_processors;
  const auto refuse_with = [](DWORD code) {
    return [=](machine& m) {
      m.processors.handle_with([=](auto, auto, void* buffer, DWORD* length) {
        // A length of more is a reason to ask again only if that is what the call failed for.
        *length = code == ERROR_INSUFFICIENT_BUFFER ? 100 : *length + 100;
        ::SetLastError(buffer ? code : ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
      });
    };
  };
  const struct {
    DWORD code;
    std::function<void(machine&)> script;
  } failures[] = {
      {ERROR_ACCESS_DENIED, [](machine& m) { m.affinity.fail_always(FALSE, ERROR_ACCESS_DENIED); }},
      {ERROR_BAD_UNIT, [](machine& m) { m.count_groups.fail_always(0, ERROR_BAD_UNIT); }},
      {ERROR_BAD_COMMAND, [](machine& m) { m.group_affinity.fail_always(FALSE, ERROR_BAD_COMMAND); }},
      {ERROR_NOT_READY, refuse_with(ERROR_NOT_READY)},
      {ERROR_INSUFFICIENT_BUFFER, refuse_with(ERROR_INSUFFICIENT_BUFFER)},
  };
  for (const auto& [code, script] : failures) {
    scripted_processors scripted({16});
    script(scripted);
    EXPECT_THAT([] { (void)refreshed(); },
                throws_system_failure("foundation::core::system::windows::computeNumberOfCores", code));
    EXPECT_LE(scripted.processors.calls(), 2u);
  }
}

TEST(CpuInfo, GoesOnWithoutTiersThatTheSystemDoesNotTell) {
  scripted_processors machine({16});
  (void)refreshed();  // The log's file begins with a first record.
  const auto expect_complaint = [](const std::string& text) {
    take_records();
    const CpuInfo info = refreshed();
    EXPECT_TRUE(info.detailsValid());
    EXPECT_EQ(info.performanceCores(), -1);
    EXPECT_EQ(take_records("PECores"),
              text.empty() ? strings{} : strings{"[fl::system::windows::PECores] complaint: " + text});
  };
  machine.sets.fail_always(FALSE, ERROR_ACCESS_DENIED);
  expect_complaint("GetSystemCpuSetInformation sizing call failed unexpectedly (GetLastError=5)");
  const std::string zeros_were_read =
      "GetSystemCpuSetInformation buffer contained a zero-sized record at offset 0 of 64; aborting parse to avoid an "
      "infinite loop";
  const struct {
    ULONG given;
    BOOL result;
    std::string complaint;
  } answers[] = {
      {64, FALSE, "GetSystemCpuSetInformation read call failed (GetLastError=21, requestedLength=64)"},
      {1000, TRUE, zeros_were_read},
      {0, TRUE, ""},
  };
  for (const auto& answer : answers) {
    machine.sets.reset();
    machine.sets.handle_with([&](auto, void* buffer, ULONG room, ULONG* length, auto...) {
      EXPECT_EQ(room, buffer ? 64u : 0);
      *length = buffer ? answer.given : 64;
      ::SetLastError(buffer ? ERROR_NOT_READY : ERROR_INSUFFICIENT_BUFFER);
      return buffer ? answer.result : FALSE;
    });
    expect_complaint(answer.complaint);
  }
}

/// Four threads ask for the frequency, of which the system refuses the first.
void ask_for_the_frequency() {
  scripted_processors machine({8});
  machine.power.fail_at(1, -1, ERROR_ACCESS_DENIED);
  std::vector<std::jthread> threads(4);
  for (std::jthread& thread : threads) {
    thread = std::jthread([] {
      // The last error, not the status.
      EXPECT_THAT([] { (void)getMaximumProcessorFrequency().value(); },
                  throws_system_failure("foundation::core::system::windows::getMaximumProcessorFrequencyImpl",
                                        ERROR_ACCESS_DENIED));
    });
  }
  threads.clear();
  EXPECT_EQ(machine.power.calls(), 1u);
}

// It is asked once in a process, so this has one of its own.
TEST(ProcessorFrequency, IsAFailureForEverIfTheFirstQuestionFails) {
  EXPECT_EXIT((ask_for_the_frequency(), std::exit(HasFailure())), testing::ExitedWithCode(0), "");
}

}  // namespace
