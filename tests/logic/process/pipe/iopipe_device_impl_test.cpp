// Reading and writing pipes against scripted system calls: every chunk boundary, error and call sequence can be laid
// out.
#include <fl/process/iopipe.hpp>

#include "every_test.hpp"
#include "host/pipe_calls.hpp"
#include "seeded_random.hpp"

#include <boost/numeric/conversion/cast.hpp>
#include <boost/system/system_error.hpp>

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
using testing::ThrowsMessage;
using strings = std::vector<std::string>;

constexpr int text_mode = process::open_mode::read | process::open_mode::write;
constexpr int binary_mode = process::open_mode::binary;
constexpr pipe_failure refused{"AsyncReadFile", 5};
const std::string refused_text =
    process::iopipe_error(boost::system::system_error(5, boost::system::system_category(), refused.call).what()).what();

void* handle(std::uintptr_t value) {
  return reinterpret_cast<void*>(value);
}

// One read into a buffer of exactly the size that it is told.
std::string read(const iopipe_device& device, std::size_t size) {
  const std::unique_ptr<char[]> buffer(new char[size]);
  const std::streamsize length = device.read(buffer.get(), static_cast<std::streamsize>(size));
  return std::string(buffer.get(), static_cast<std::size_t>(length));
}

std::string translated(std::string text) {
  for (std::size_t at = 0; (at = text.find("\r\n", at)) != std::string::npos;) {
    text.erase(at, 1);
  }
  return text;
}

TEST(PipeRead, WaitsForNoMoreThanItNeedsAndTakesAnEmptyOneForTheEnd) {
  const struct {
    int mode;
    std::size_t size;
    strings chunks, reads;
  } cases[] = {
      {text_mode, 9, {"a\r", "\nb"}, {"a", "\nb"}},
      {text_mode, 9, {"\r", "\r", "\r", "x"}, {"\r", "\r", "\rx"}},
      {text_mode, 1, {"ab\r\n\rc\r\r\n\r"}, {"a", "b", "\n", "\r", "c", "\r", "\n", "\r"}},
      {binary_mode, 9, {"", "not read: no byte looks like the end"}, {}},
  };
  for (const auto& [mode, size, chunks, reads] : cases) {
    pipe_script script;
    script.arrive(chunks);
    const iopipe_device device(mode);
    strings pieces;
    for (std::string piece = read(device, size); !piece.empty(); piece = read(device, size)) {
      pieces.push_back(piece);
    }
    EXPECT_EQ(pieces, reads) << testing::PrintToString(chunks) << " by " << size;
  }
}

// Whatever arrives at once, however much each read asks for, and whoever reads on by the descriptor: each character
// comes once and in its order, and a failed read loses none.
TEST(PipeRead, LosesNothingByChunksSizesFailuresAndHandOvers) {
  test_support::seeded_random random;
  for (int round = 0; round != 5000; ++round) {
    const bool overlapped = random.chance(50);
    const int mode = random.chance(30) ? binary_mode : text_mode;
    const std::string sent = random.text<std::string>(random.below(30), "a\r\r\n\xff");
    pipe_script script;
    int to_fail = 0, failed = 0;
    for (std::size_t at = 0; at < sent.size(); at += script.reads.back().bytes.size()) {
      for (; random.chance(15); ++to_fail) {
        script.reads.push_back({{}, refused});
      }
      script.arrive({sent.substr(at, 1 + random.below(8))});
    }
    script.reads.push_back({{}, {"GetOverlappedResult", random.chance(50) ? error_broken_pipe : error_handle_eof}});
    std::optional<iopipe_device> device(std::in_place, iopipe_handles(handle(8), nullptr), overlapped, mode);
    std::string got;
    for (bool ended = false; !ended;) {
      const std::size_t size = random.below(6), calls = script.read_calls.size();
      try {
        const std::string piece = read(*device, size);
        got += piece;
        ended = size != 0 && piece.empty();
      } catch (const process::iopipe_read_error& error) {
        ASSERT_EQ(error.what(), refused_text) << error.code();
        ++failed;
      }
      ASSERT_TRUE(size != 0 || script.read_calls.size() == calls) << "nobody is asked for nothing";
      if (random.chance(20)) {
        const std::string handed_over = device->descriptor(process::open_mode::read);
        device->release_read_handle();
        device.emplace(iopipe_descriptor(handed_over));
      }
    }
    ASSERT_EQ(got, mode == binary_mode ? sent : translated(sent)) << testing::PrintToString(sent);
    ASSERT_TRUE(script.reads.empty() && failed == to_fail && device->is_open_for_read());
    for (const auto& call : script.read_calls) {
      ASSERT_TRUE(call.handle == handle(8) && call.overlapped == overlapped);
    }
  }
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
      {text_mode, "a\nb", {"a", "\r\n", "b"}, {}, 3},
      {text_mode, "\n\n", {"", "\r\n", "", "\r\n", ""}, {}, 2},
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
  pipe_script script;
  script.writes = {{1, {}}, {0, refused}};
  EXPECT_THAT([] { iopipe_device(text_mode).write("ab\ncd", 5); },
              ThrowsMessage<process::iopipe_write_error>(refused_text));
  EXPECT_EQ(script.written, (strings{"ab", "b"}));
}

auto refuses(const std::string& call) {
  return ThrowsMessage<process::iopipe_error>(testing::StartsWith(call + " called after close_for_" + call + ": "));
}

TEST(PipeEnds, AreClosedOnceAndWithTheLastCopyUnlessReleasedAndRefuseTransferFromThenOn) {
  pipe_script script;
  script.arrive({"ab"});
  std::optional<iopipe_device> device(std::in_place, iopipe_handles(handle(8), handle(12)), false, 0);
  std::optional<process::const_iopipe_device> view = *device;
  device.reset();
  EXPECT_TRUE(script.closed.empty());
  view.reset();
  device.emplace(iopipe_descriptor("0 0 0 0 0 0"));  // has none
  device.emplace(iopipe_handles(handle(16), handle(20)), false, 0);
  view = *device;
  char buffer[8];
  EXPECT_EQ(read(*device, 1), "a");
  EXPECT_THROW(device->read(buffer, std::streamsize{1} << 33), boost::numeric::positive_overflow);
  device->release_read_handle();
  device->close_for_read();
  device->close_for_write();
  EXPECT_FALSE(view->is_open_for_write());
  device->close_for_write();
  for (const std::streamsize n : {0, 1, 8}) {
    EXPECT_THAT([&] { device->read(buffer, n); }, refuses("read"));
    EXPECT_THAT([&] { device->write(buffer, n); }, refuses("write"));
  }
  EXPECT_TRUE(!view->handles().read_handle() && view->handles().write_handle() == handle(20));
  device->release_write_handle();
  view.reset();
  device.reset();
  EXPECT_TRUE(script.read_calls.size() == 1 && script.written.empty());
  EXPECT_EQ(script.closed, (std::vector<void*>{handle(8), handle(12), handle(20)}));
}

// A one-byte read takes two bytes; the second is the next one's, here or wherever the descriptor goes.
TEST(PipeDevice, ItsDescriptorHasTheEndsThatAreOpenAndAskedForAndThePendingCharacter) {
  pipe_script script;
  script.arrive({"ab"});
  const iopipe_device device(iopipe_handles(handle(8), handle(12)), false, text_mode);
  const char* const texts[] = {"0 0 1 0 0 0", "8 0 1 0 0 0", "0 12 1 0 0 0", "8 12 1 0 0 0"};
  for (int mode = 0; mode != 4; ++mode) {
    EXPECT_EQ(std::string(device.descriptor(mode | binary_mode)), texts[mode]);
  }
  EXPECT_EQ(read(device, 1), "a");
  EXPECT_EQ(std::string(device.descriptor(1)), "8 0 1 1 98 0");
  EXPECT_EQ(read(device, 1), "b");
  EXPECT_TRUE(script.read_calls.at(0).bytes == 2 && script.read_calls.at(1).bytes == 1);
  device.close_for_read();
  EXPECT_EQ(std::string(device.descriptor(3)).rfind("0 12 1 0 ", 0), 0u);
  EXPECT_EQ(std::string(iopipe().device().descriptor(0)), "0 0 0 0 0 0");
}

TEST(PipeStream, ClosingWritesOutWhateverStateTheStreamIsInAndTellsWhatCannotBeWritten) {
  for (const bool both_ends : {false, true}) {
    pipe_script script;
    script.arrive({"an\r", "\nswer"});
    iopipe pipe(text_mode);
    pipe << "question";
    std::string line, rest;
    std::getline(pipe, line) >> rest;
    EXPECT_TRUE(pipe.eof() && line == "an" && rest == "swer" && script.written.empty());
    EXPECT_EQ(script.read_calls[0].bytes, 4096u);
    both_ends ? pipe.close() : pipe.close_for_write();
    EXPECT_EQ(script.written, strings{"question"});
    EXPECT_EQ(pipe.is_open_for_read(), !both_ends);
    EXPECT_FALSE(pipe.is_open_for_write() || pipe.bad());
  }
  pipe_script script;
  script.arrive({"all of it"});
  iopipe pipe;
  pipe << "lost";
  EXPECT_EQ(pipe.get(), 'a');
  script.writes.push_back({0, refused});
  pipe.close();
  EXPECT_TRUE(pipe.bad());
  EXPECT_EQ(script.closed.size(), 2u);
  pipe.clear();
  EXPECT_EQ(pipe.get(), 'l') << "what was read before is there";
  EXPECT_TRUE(pipe.tellp() == -1 && !pipe.seekp(0) && (pipe.clear(), !pipe.seekg(0, std::ios_base::cur)));
  pipe.clear();
  EXPECT_EQ(pipe.get(), 'l') << "a pipe has no positions";
}

// The system takes some of each write, and once nothing.
TEST(PipeStream, OutputTakenInPartsGoesOutOnceAndAFlushGoesOnWhereOneStopped) {
  test_support::seeded_random random;
  for (int round = 0; round != 2000; ++round) {
    const int mode = random.chance(50) ? binary_mode : text_mode;
    const std::string text = random.text<std::string>(random.below(12), "ab\n\n\r");
    std::string whole = text;
    for (std::size_t at = 0; mode == text_mode && (at = whole.find('\n', at)) != std::string::npos; at += 2) {
      whole.insert(at, 1, '\r');
    }
    pipe_script script;
    const auto stop = random.below(16);
    for (std::uint64_t i = 0; i != 60; ++i) {
      script.writes.push_back({static_cast<std::uint32_t>(i == stop ? 0 : 1 + random.below(3)), {}});
    }
    {
      iopipe pipe(mode);
      const bool done = (pipe << text).flush().good();
      ASSERT_EQ(done, script.arrived == whole) << testing::PrintToString(text) << stop;
    }
    ASSERT_EQ(script.arrived, whole) << stop;
  }
  pipe_script script;
  script.writes.assign(2, {4095, {}});
  EXPECT_TRUE(iopipe() << std::string(4099, 'x'));
  EXPECT_EQ(script.written, (strings{std::string(4096, 'x'), "x", "xxx"}));
}

}  // namespace
