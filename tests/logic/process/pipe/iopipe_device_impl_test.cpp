// Reading and writing pipes against scripted system calls: every chunk boundary, error and call sequence can be laid
// out.
#include <fl/process/iopipe.hpp>

#include "host/pipe_calls.hpp"

#include <boost/numeric/conversion/cast.hpp>
#include <boost/system/system_error.hpp>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

namespace process = foundation::core::process;
using foundation::core::sysdep::windows::error_broken_pipe;
using foundation::core::sysdep::windows::error_handle_eof;
using foundation::core::sysdep::windows::pipe_failure;
using process::iopipe;
using process::iopipe_descriptor;
using process::iopipe_device;
using process::iopipe_handles;
using test_support::pipe_script;
using strings = std::vector<std::string>;

constexpr int text_mode = process::open_mode::read | process::open_mode::write;
constexpr int binary_mode = process::open_mode::binary;

void* handle(std::uintptr_t value) {
  return reinterpret_cast<void*>(value);
}

// One read into a buffer of exactly the size that it is told.
std::string read(const iopipe_device& device, std::size_t size) {
  const std::unique_ptr<char[]> buffer(new char[size]);
  const std::streamsize length = device.read(buffer.get(), static_cast<std::streamsize>(size));
  return std::string(buffer.get(), static_cast<std::size_t>(length));
}

// All reads up to the end of the file.
strings read_all(const iopipe_device& device, std::size_t size) {
  strings pieces;
  for (std::string piece = read(device, size); !piece.empty(); piece = read(device, size)) {
    pieces.push_back(piece);
  }
  return pieces;
}

std::string joined(const strings& pieces) {
  std::string all;
  for (const std::string& piece : pieces) {
    all += piece;
  }
  return all;
}

std::string system_text(const pipe_failure& failure) {
  return boost::system::system_error(static_cast<int>(failure.error), boost::system::system_category(), failure.call)
      .what();
}

// The message of the exception of exactly this kind that `action` throws. The standard library adds the text of its
// code.
template <class Error, class Action>
std::string message_of(Action action) {
  try {
    action();
  } catch (const Error& error) {
    EXPECT_TRUE(typeid(error) == typeid(Error)) << typeid(error).name();
    EXPECT_EQ(error.code(), std::io_errc::stream);
    const std::string text = error.what();
    return text.substr(0, text.rfind(": "));
  }
  return "nothing thrown";
}

TEST(PipeRead, DeliversWhatArrivesAsTheModeSays) {
  const struct {
    int mode;
    std::size_t size;
    strings chunks, reads;
  } cases[] = {
      {text_mode, 9, {"a\r", "\nb"}, {"a", "\nb"}},
      {text_mode, 9, {"\r", "\n"}, {"\n"}},
      {text_mode, 9, {"\r", "\r", "\r", "x"}, {"\r", "\r", "\rx"}},
      {text_mode, 9, {"\r\r\n"}, {"\r\n"}},
      {text_mode, 9, {"x\r"}, {"x", "\r"}},
      {text_mode, 9, {"\r"}, {"\r"}},
      {text_mode, 2, {"\r\n\r\n\r"}, {"\n", "\n", "\r"}},
      {text_mode, 1, {"ab\r\n\rc\r\r\n\r"}, {"a", "b", "\n", "\r", "c", "\r", "\n", "\r"}},
      {text_mode, 1, {"\r", "\n", "\r"}, {"\n", "\r"}},
      {binary_mode, 9, {"a\r\n\r", "\n\r"}, {"a\r\n\r", "\n\r"}},
      {binary_mode, 1, {"\r\n\r"}, {"\r", "\n", "\r"}},
      {binary_mode, 9, {"", "not read: no byte looks like the end"}, {}},
  };
  for (const auto& [mode, size, chunks, reads] : cases) {
    pipe_script script;
    script.arrive(chunks);
    EXPECT_EQ(read_all(iopipe_device(mode), size), reads) << testing::PrintToString(chunks) << " by " << size;
  }
}

TEST(PipeRead, AOneByteReadTakesTwoBytesAndHoldsTheSecondAndAnEmptyReadAsksNobody) {
  for (const bool overlapped : {false, true}) {
    pipe_script script;
    script.arrive({"ab"});
    const iopipe_device device(iopipe_handles(handle(8), nullptr), overlapped, binary_mode);
    EXPECT_EQ(device.read(nullptr, 0), 0);
    EXPECT_EQ(read(device, 1), "a");
    EXPECT_EQ(std::string(device.descriptor(1)), overlapped ? "8 0 0 1 98 1" : "8 0 0 1 98 0");
    EXPECT_EQ(read(device, 1), "b");
    EXPECT_EQ(read(device, 1), "");
    std::string sizes;
    for (const auto& call : script.read_calls) {
      sizes += std::to_string(call.bytes) + ' ';
      EXPECT_EQ(call.handle, handle(8));
      EXPECT_EQ(call.overlapped, overlapped);
    }
    EXPECT_EQ(sizes, "2 1 2 ");
  }
}

TEST(PipeRead, TextModeSurvivesASplitAtEveryPlaceAndAHandOverAfterAnyRead) {
  const std::string text = "\r\n\r\r\nline one\r\nline\rtwo, a longer one\r\n\r\r";
  const std::string translated = "\n\r\nline one\nline\rtwo, a longer one\n\r\r";
  for (std::size_t split = 1; split != text.size(); ++split) {
    for (const std::size_t size : {1, 2, 3, 64}) {
      for (int reads_before = 0; reads_before != 6; ++reads_before) {
        pipe_script script;
        script.arrive({text.substr(0, split), text.substr(split)});
        const iopipe_device first(text_mode);
        std::string got;
        for (int i = 0; i != reads_before; ++i) {
          got += read(first, size);
        }
        const std::string handed_over = first.descriptor(process::open_mode::read);
        first.release_read_handle();
        got += joined(read_all(iopipe_device(iopipe_descriptor(handed_over)), size));
        ASSERT_EQ(got, translated) << split << " by " << size << ", handed over after " << reads_before;
      }
    }
  }
}

TEST(PipeRead, DeliversTheCarriedCharacterAtTheEndOfTheFileAndLosesItToNoError) {
  const pipe_failure failures[] = {{"GetOverlappedResult", error_broken_pipe},
                                   {"AsyncReadFile", error_handle_eof},
                                   {"ReadFile", 5},
                                   {"AsyncReadFile", 5},
                                   {"GetOverlappedResult", 5}};
  for (const pipe_failure& failure : failures) {
    for (const std::size_t size : {1, 8}) {
      pipe_script script;
      script.arrive({"ab"});
      script.reads.push_back({{}, failure});
      script.arrive({"c"});
      const iopipe_device device;
      EXPECT_EQ(read(device, 1), "a");
      if (failure.error == 5) {
        EXPECT_EQ(message_of<process::iopipe_read_error>([&] { read(device, size); }), system_text(failure));
        EXPECT_EQ(joined(read_all(device, size)), "bc");
      } else {
        EXPECT_EQ(read(device, size), "b");
        script.reads.push_front({{}, failure});
        EXPECT_EQ(read(device, size), "");
      }
      EXPECT_TRUE(device.is_open_for_read());
    }
  }
}

TEST(PipeRead, RefusesWhatOneSystemCallCannotCount) {
  pipe_script script;
  script.arrive({"ab"});
  const iopipe_device device;
  EXPECT_EQ(read(device, 1), "a");
  char unused = 0;
  EXPECT_THROW(device.read(&unused, std::streamsize{1} << 33), boost::numeric::positive_overflow);
  EXPECT_THROW(device.read(&unused, -1), boost::numeric::negative_overflow);
  EXPECT_THROW(device.write(&unused, std::streamsize{1} << 32), boost::numeric::positive_overflow);
  EXPECT_THROW(iopipe_device(text_mode).write(&unused, -1), boost::numeric::negative_overflow);
  EXPECT_EQ(read(device, 1), "b");
  EXPECT_TRUE(script.written.empty());
}

TEST(PipeWrite, MakesTheCallsOfItsModeAndCountsTheCallersCharactersThatWereTaken) {
  const struct {
    int mode;
    std::string text;
    strings calls;
    std::vector<std::uint32_t> taken;  // all, where nothing is told
    std::streamsize count;
  } cases[] = {
      {binary_mode, "a\nb", {"a\nb"}, {}, 3},
      {binary_mode, "", {""}, {}, 0},
      {text_mode, "", {""}, {}, 0},
      {text_mode, "a\nb", {"a", "\r\n", "b"}, {}, 3},
      {text_mode, "a\r\n", {"a\r", "\r\n", ""}, {}, 3},
      {text_mode, "\n\n", {"", "\r\n", "", "\r\n", ""}, {}, 2},
      {binary_mode, "ab\ncd", {"ab\ncd"}, {3}, 3},
      {text_mode, "ab\ncd", {"ab", "b", "\r\n", "\n", "cd", "d"}, {1, 1, 1, 1, 1, 1}, 5},
      {text_mode, "ab\ncd", {"ab", "b"}, {1, 0}, 1},
      {text_mode, "ab\ncd", {"ab", "\r\n"}, {2, 0}, 2},
  };
  for (const auto& [mode, text, calls, taken, count] : cases) {
    pipe_script script;
    for (const std::uint32_t each : taken) {
      script.writes.push_back({each, {}});
    }
    EXPECT_EQ(iopipe_device(mode).write(text.data(), static_cast<std::streamsize>(text.size())), count)
        << testing::PrintToString(text) << testing::PrintToString(taken);
    EXPECT_EQ(script.written, calls);
  }
}

TEST(PipeWrite, EveryFailureIsAWriteError) {
  for (const std::size_t failing : {0, 1, 2}) {
    const pipe_failure failure{"WriteFile", error_broken_pipe};
    pipe_script script;
    script.writes.resize(failing);
    script.writes.push_back({0, failure});
    const iopipe_device device(text_mode);
    EXPECT_EQ(message_of<process::iopipe_write_error>([&] { device.write("ab\ncd", 5); }), system_text(failure));
    EXPECT_EQ(script.written.size(), failing + 1);
    EXPECT_TRUE(device.is_open_for_write());
  }
}

TEST(PipeEnds, ClosedAndReleasedEndsRefuseTransfer) {
  pipe_script script;
  script.arrive({"ab"});
  const iopipe_device device;
  const iopipe_handles handles = device.handles();
  EXPECT_EQ(read(device, 1), "a");
  device.close_for_read();
  device.release_write_handle();
  for (const std::streamsize n : {0, 1, 8}) {
    char buffer[8];
    EXPECT_EQ(message_of<process::iopipe_error>([&] { device.read(buffer, n); }), "read called after close_for_read");
    EXPECT_EQ(message_of<process::iopipe_error>([&] { device.write(buffer, n); }),
              "write called after close_for_write");
  }
  EXPECT_EQ(script.read_calls.size(), 1u);
  EXPECT_TRUE(script.written.empty());
  EXPECT_EQ(device.handles().read_handle(), handles.read_handle());
  EXPECT_EQ(device.handles().write_handle(), nullptr);
}

TEST(PipeEnds, AreClosedOnceAndWithTheLastCopyTheReadEndFirstUnlessReleased) {
  pipe_script script;
  std::optional<iopipe_device> device{text_mode};
  const iopipe_device copy = *device;
  const process::const_iopipe_device view = *device;
  void* const write_handle = copy.handles().write_handle();
  device.reset();
  EXPECT_TRUE(script.closed.empty());
  copy.close_for_write();
  copy.close_for_write();
  EXPECT_EQ(script.closed, std::vector<void*>{write_handle});
  EXPECT_FALSE(view.is_open_for_write());
  {
    const iopipe_device owner(iopipe_handles(handle(8), handle(12)), false, 0);
  }
  {
    const iopipe_device nobody(iopipe_descriptor("0 0 0 0 0 0"));
  }
  {
    const iopipe_device releasing(iopipe_handles(handle(16), handle(20)), false, 0);
    releasing.release_read_handle();
    releasing.close_for_read();
    releasing.close_for_write();
    releasing.release_write_handle();
  }
  EXPECT_EQ(script.closed, (std::vector<void*>{write_handle, handle(8), handle(12), handle(20)}));
}

TEST(PipeDevice, ItsDescriptorHasTheEndsThatAreOpenAndAskedFor) {
  pipe_script script;
  const iopipe_device device(iopipe_handles(handle(8), handle(12)), false, text_mode);
  const char* const texts[] = {"0 0 1 0 0 0", "8 0 1 0 0 0", "0 12 1 0 0 0", "8 12 1 0 0 0"};
  for (int mode = 0; mode != 4; ++mode) {
    EXPECT_EQ(std::string(device.descriptor(mode | binary_mode)), texts[mode]);
  }
  device.close_for_read();
  const iopipe_device made(device.descriptor(3));
  EXPECT_EQ(std::string(made.descriptor(3)), "0 12 1 0 0 0");
  EXPECT_FALSE(made.is_open_for_read());
  EXPECT_TRUE(made.is_open_for_write());
  EXPECT_EQ(std::string(iopipe().device().descriptor(0)), "0 0 0 0 0 0");
}

TEST(PipeDevice, IsComparedByIdentityAndPrintedByHandles) {
  pipe_script script;
  const iopipe_device device(iopipe_handles(handle(8), handle(12)), false, 0);
  const iopipe_device copy = device;
  const iopipe_device twin(device.descriptor(3));
  EXPECT_TRUE(device == copy && !(device != copy) && !(device < copy) && !(copy < device));
  EXPECT_TRUE(device != twin && !(device == twin) && (device < twin) != (twin < device));
  device.release_write_handle();
  std::ostringstream printed, expected;
  expected << "pipe { source : " << handle(8) << ", sink : " << handle(0) << " }";
  printed << device;
  EXPECT_EQ(printed.str(), expected.str());
}

TEST(PipeStream, ReadsLinesAndReadsOnAfterItsEndWasClosed) {
  pipe_script script;
  script.arrive({"one\r\ntw", "o\r", "\nthree\r\nfour"});
  iopipe pipe(text_mode);
  std::string lines;
  for (std::string line; lines.size() < 11 && std::getline(pipe, line);) {
    lines += line;
  }
  EXPECT_EQ(lines, "onetwothree");
  EXPECT_EQ(script.read_calls[0].bytes, 4096u);
  pipe.close_for_read();
  std::string rest(4, ' ');
  EXPECT_TRUE(pipe.read(rest.data(), 4));
  EXPECT_EQ(rest, "four");
  pipe.exceptions(std::ios_base::badbit);
  EXPECT_EQ(message_of<process::iopipe_error>([&] { pipe.get(); }), "read called after close_for_read");
}

TEST(PipeStream, ClosingWritesOutWhateverStateTheStreamIsInAndTellsWhatCannotBeWritten) {
  for (const bool both_ends : {false, true}) {
    pipe_script script;
    iopipe pipe;
    pipe << "question";
    EXPECT_EQ(pipe.get(), std::char_traits<char>::eof());
    EXPECT_TRUE(script.written.empty());
    both_ends ? pipe.close() : pipe.close_for_write();
    EXPECT_EQ(script.written, strings{"question"});
    EXPECT_EQ(pipe.is_open_for_read(), !both_ends);
    EXPECT_FALSE(pipe.is_open_for_write() || pipe.bad());
  }
  pipe_script script;
  iopipe pipe;
  pipe << "lost";
  script.writes.push_back({0, {"WriteFile", error_broken_pipe}});
  pipe.exceptions(std::ios_base::badbit);
  EXPECT_THROW(pipe.close(), std::ios_base::failure);
  EXPECT_TRUE(pipe.bad());
  EXPECT_EQ(script.closed.size(), 2u);
}

TEST(PipeStream, OutputTakenInPartsGoesOutOnceAndAFlushGoesOnWhereOneStopped) {
  for (const int mode : {binary_mode, text_mode}) {
    for (std::size_t stop = 0; stop != 16; ++stop) {
      pipe_script script;
      script.writes.assign(40, {1, {}});
      script.writes[stop].taken = 0;
      const auto arrived = [&] {
        std::string all;
        for (std::size_t i = 0; i != script.written.size(); ++i) {
          all += script.written[i].substr(0, i != stop);
        }
        return all;
      };
      const std::string whole = mode == text_mode ? "ab\r\n\r\nc" : "ab\n\nc";
      {
        iopipe pipe(mode);
        pipe << "ab\n\nc";
        const bool done = pipe.flush().good();
        EXPECT_EQ(done, arrived() == whole) << stop;
      }
      EXPECT_EQ(arrived(), whole) << stop;
    }
  }
  pipe_script script;
  script.writes.assign(2, {4095, {}});
  EXPECT_TRUE(iopipe() << std::string(4099, 'x'));
  EXPECT_EQ(script.written, (strings{std::string(4096, 'x'), "x", "xxx"}));
}

TEST(PipeStream, DestructionWritesOutSwallowsErrorsAndLeavesTheEndsToOtherCopies) {
  pipe_script script;
  const iopipe_device device;
  {
    iopipe(device) << "x";
  }
  {
    iopipe pipe(device);
    pipe << "y";
    script.writes.push_back({0, {"WriteFile", 5}});
  }
  EXPECT_EQ(script.written, (strings{"x", "y"}));
  EXPECT_TRUE(script.closed.empty());
}

}  // namespace
