// Streams of UTF-16 over texts, files and other buffers, and pipes. What came out is what was put in, from the first
// on, and nothing of it twice, also where the write was asked for again.

#include <fl/io.hpp>
#include <fl/process.hpp>
#include <fl/sysdep/windows/iopipe_descriptor_impl.hpp>
#include <i18n/stream_converter.hpp>

#include "operation.hpp"
#include "support.hpp"

#include <boost/make_shared.hpp>

namespace faults {
namespace {

using namespace foundation::core;
using process::iopipe;

const fl::ustring wide_line = fl::ustring(700, u'\u00e4') + u"\n";
const std::string utf8_line = [] {
  std::string made;
  for (int i = 0; i < 700; ++i) {
    made += "\u00e4";
  }
  return made + "\n";
}();

const test_support::temp_dir& folder() {
  static const test_support::temp_dir made;
  return made;
}
fl::ustring file_path() {
  const std::string path = folder().file("file");
  return {path.begin(), path.end()};
}

// Whether nothing stands there twice, given that what was put in is `whole`.
void expect_beginning(trial& t, const std::string& whole, const std::string& came) {
  t.expect(whole.starts_with(came), "not the beginning of what was written: " + std::to_string(came.size()) + " bytes");
}

void wide_string_streams(trial& t) {
  io::uostringstream out;
  const bool wrote = t.act([&] { out << wide_line << 42; });
  fl::ustring text;
  const bool read = t.act([&] { text = out.str(); });
  t.expect((wide_line + u"42").starts_with(text), "wrote something else");
  t.expect(!wrote || !read || !out || text == wide_line + u"42", "lacks a part without a sign of it");
  t.act([&] {
    io::uostringstream moved(std::move(out)), other(std::ios_base::out), from(wide_line, std::ios_base::out);
    other = std::move(moved);
    other.str(wide_line);
    io::uistringstream in(wide_line), empty, mode(std::ios_base::in), moved_in(std::move(in));
    empty = std::move(moved_in);
    fl::ustring line;
    std::getline(empty, line);
    empty.str(wide_line);
    t.see(empty && empty.str() == wide_line && line + u"\n" == wide_line ? "read" : "bad stream");
  });
  t.see(out ? "whole" : "bad stream");
}

// The second write is the first one asked for again, whatever came of it.
void write_file(trial& t) {
  bool wrote = false, again = false;
  t.act([&] {
    io::uofstream out(file_path());
    const io::uofstream narrow(fl::filesystem::path(file_path() + u"2")),
        mode(file_path() + u"3", std::ios_base::out, "UTF-8");
    wrote = static_cast<bool>(out << wide_line << std::flush);
    out.clear();
    again = static_cast<bool>(out << wide_line << std::flush);
    out.close();
  });
  std::string came = test_support::read_file(folder().file("file"));
  std::erase(came, '\r');
  expect_beginning(t, utf8_line + utf8_line, came);
  t.expect(came.size() >= utf8_line.size() * (wrote + again), "lacks what was said to be written");
  t.see(wrote && again ? "written" : "bad stream");
  test_support::write_file(folder().file("file"), "");
}

void read_file(trial& t) {
  test_support::write_file(folder().file("read"), utf8_line + utf8_line);
  const std::string narrow = folder().file("read");
  const fl::ustring path(narrow.begin(), narrow.end());
  fl::ustring line;
  bool read = false;
  t.act([&] {
    io::uifstream in(path), other((fl::filesystem::path(path)));
    other = std::move(in);
    other.rdbuf(in.rdbuf());  // A move leaves this to the caller.
    read = static_cast<bool>(std::getline(other, line));
    t.expect(!read || line + u"\n" == wide_line, "read another line");
    other.close();
    t.expect(!other.is_open(), "is open");
  });
  t.see(read ? "read" : "bad stream");
}

// A buffer that keeps what comes, whatever comes, and asks for no memory.
template <class Char>
struct kept : std::basic_streambuf<Char> {
  std::basic_string<Char> text;
  std::size_t next = 0;
  kept() { text.reserve(8000); }
  std::streamsize xsputn(const Char* from, std::streamsize n) override {
    text.append(from, static_cast<std::size_t>(n));
    return n;
  }
  typename kept::int_type overflow(typename kept::int_type c) override {
    text.push_back(kept::traits_type::to_char_type(c));
    return c;
  }
};

void write_adaptor(trial& t) {
  const auto bytes = boost::make_shared<kept<char>>();
  const auto units = boost::make_shared<kept<char16_t>>();
  bool wrote = false;
  t.act([&] {
    io::uostream out(io::make_ustreambuf_adaptor(bytes, "UTF-8"));
    wrote = static_cast<bool>(out << wide_line << wide_line << wide_line);
    out.clear();
    out << wide_line;
  });
  const std::string whole = utf8_line + utf8_line + utf8_line + utf8_line;
  t.expect(!wrote || bytes->text == whole, "lacks a part without a sign of it");
  t.act([&] {
    const auto adaptor = io::make_streambuf_adaptor(units, "UTF-8");
    std::ostream out(adaptor.get());
    t.see(out << utf8_line << utf8_line ? "written" : "bad stream");
  });
  t.see(wrote ? "written" : "bad stream");
}

void more_adaptors(trial& t) {
  std::stringbuf bytes;
  std::ostream narrow_out(&bytes);
  std::istringstream narrow_in(utf8_line);
  const auto latin = boost::make_shared<std::stringbuf>("\xe4\n");
  t.act([&] {
    io::uostream out = io::make_uostream_adaptor(narrow_out, "UTF-8");
    out.setbuf(out.getbuf());
    out << u"\u00e4";
    io::uistream in = io::make_uistream_adaptor(narrow_in, "UTF-8"), other(io::make_ustreambuf_adaptor(latin, "UTF-8"));
    other = std::move(in);
    other.rdbuf(in.rdbuf());  // A move leaves this to the caller.
    fl::ustring line;
    std::getline(other, line);
    const auto adaptor = io::make_utf8streambuf_adaptor(latin, "windows-1252");
    std::istream recoded(adaptor.get());
    std::string text;
    std::getline(recoded, text);
    t.see(out && bytes.str() == "\u00e4" && line + u"\n" == wide_line && text == "\u00e4" ? "passed" : "bad stream");
  });
}

void own_converter(trial& t) {
  const auto units = boost::make_shared<kept<char16_t>>();
  t.act([&] {
    const auto converter = boost::make_shared<fl::i18n::stream_codecvt_string_to_ustring>("UTF-8", true);
    const auto buffer = io::test_helper::make_streambuf_adaptor(units, converter);
    t.see(buffer->sputn("abc", 3) == 3 && units->text == u"abc" ? "written" : "refused");
  });
}

void aggregate(trial& t) {
  const auto first = boost::make_shared<kept<char16_t>>(), second = boost::make_shared<kept<char16_t>>();
  bool wrote = false;
  t.act([&] {
    io::uostream out(io::make_ustreambuf_aggregator({first, second}));
    wrote = static_cast<bool>(out << wide_line << u'x');
  });
  t.expect(!wrote || (first->text == wide_line + u"x" && second->text == first->text), "lacks a part");
  t.see(wrote ? "written" : "bad stream");
}

// ---- pipes ----

std::string drained(iopipe& pipe) {
  pipe.device().close_for_write();
  std::string all, part(4096, '\0');
  try {
    while (const auto n = pipe.device().read(part.data(), 4096)) {
      all.append(part, 0, static_cast<std::size_t>(n));
    }
  } catch (const process::iopipe_error&) {
    all += "(closed)";
  }
  return all;
}

void make_pipe(trial& t) {
  t.act([&] {
    iopipe pipe;
    t.expect(pipe.is_open_for_read() && pipe.is_open_for_write(), "an end is not open");
    pipe.close();
    t.expect(!pipe.is_open_for_read() && !pipe.is_open_for_write(), "an end is open");
    const process::iopipe_device text_mode(0);
  });
}

void write_device(trial& t, int mode) {
  iopipe pipe(mode);
  const std::string text = "one\ntwo\n";
  const process::iopipe_device device = pipe.device();
  std::size_t taken = 0;
  bool known = true;
  for (int turn = 0; turn < 20 && taken < text.size() && known; ++turn) {
    known = t.act([&] {
      taken += static_cast<std::size_t>(
          device.write(text.data() + taken, static_cast<std::streamsize>(text.size() - taken)));
    });
  }
  const std::string came = drained(pipe);
  t.expect(came == text.substr(0, came.size()), "came: " + came);
  t.expect(!known || came == text.substr(0, taken), "says that it took " + std::to_string(taken) + ", took " + came);
  t.see(std::to_string(taken));
}

void write_binary(trial& t) {
  write_device(t, process::open_mode::binary);
}
void write_text(trial& t) {
  write_device(t, 0);
}

// Each read that fails is asked for again.
void read_device(trial& t, int mode) {
  iopipe pipe(mode);
  const std::string text = "one\ntwo\n";
  const process::iopipe_device device = pipe.device();
  device.write(text.data(), static_cast<std::streamsize>(text.size()));
  device.close_for_write();
  std::string all;
  for (int turn = 0; turn < 40; ++turn) {
    char part[5];
    std::streamsize n = -1;
    if (t.act([&] { n = device.read(part, sizeof part); }) && n == 0) {
      break;
    }
    all.append(part, n < 0 ? 0 : static_cast<std::size_t>(n));
  }
  t.expect(text.starts_with(all), "read: " + all);
  t.see(all);
}

void read_binary(trial& t) {
  read_device(t, process::open_mode::binary);
}
void read_text(trial& t) {
  read_device(t, 0);
}

void write_stream(trial& t) {
  const auto pipe = std::make_unique<iopipe>();
  bool wrote = false;
  t.act([&] { wrote = static_cast<bool>(*pipe << "one\n" << std::flush); });
  t.act([&] {
    pipe->clear();
    *pipe << "two\n" << std::flush;
  });
  const bool all = static_cast<bool>(*pipe);
  t.act([&] { pipe->close_for_write(); });
  t.expect(!pipe->is_open_for_write(), "is open");
  const std::string came = drained(*pipe);
  t.expect(std::string("one\ntwo\n").starts_with(came) || (!wrote && came == "two\n"), "came: " + came);
  t.expect(!wrote || came.starts_with("one\n"), "lacks what was said to be written: " + came);
  t.see(came + (wrote && all ? "" : "bad stream"));
}

void read_stream(trial& t) {
  iopipe pipe;
  pipe << "one\ntwo\n" << std::flush;
  pipe.close_for_write();
  std::string lines;
  for (int i = 0; i < 4; ++i) {
    std::string line;
    t.act([&] {
      pipe.clear();
      if (std::getline(pipe, line)) {
        lines += line + '\n';
      }
    });
  }
  t.act([&] { pipe.close_for_read(); });
  t.expect(std::string("one\ntwo\n").starts_with(lines) || lines == "two\n", "read: " + lines);
  t.see(lines);
}

void hand_on_device(trial& t) {
  iopipe pipe;
  const process::iopipe_device device = pipe.device();
  const std::string told = device.descriptor(process::open_mode::read);
  device.release_read_handle();
  const auto handle = process::iopipe_descriptor(told).impl().handles().read_handle();
  const bool made = t.act([&] {
    const iopipe over((process::iopipe_descriptor(told)));
    t.expect(over.is_open_for_read() && !over.is_open_for_write(), "opens another end");
  });
  if (!made && !t.is_bad_alloc()) {
    ::CloseHandle(handle);
  }
  t.act([&] {
    const process::iopipe_device other(process::iopipe_handles(nullptr, device.handles().write_handle()), false, 0);
    other.release_write_handle();
  });
  t.see(made ? "made" : "not");
}

void pipe_views(trial& t) {
  static iopipe pipe;
  static const iopipe& view = pipe;
  t.act([&] {
    const process::iopipe_device device = pipe.device();
    t.expect(device == view.device() && !(device != view.device()) && !(device < view.device()), "another device");
    t.expect(view.is_open_for_read() && device.is_open_for_write() && device.handles().read_handle() != nullptr,
             "closed");
  });
}

}  // namespace

std::vector<operation> stream_operations() {
  return {{"streams over UTF-16 texts", wide_string_streams, "bad stream"},
          {"UTF-16 file: write, twice", write_file, "bad stream"},
          {"UTF-16 file: read", read_file, "bad stream"},
          {"adaptors: write, again after a failure", write_adaptor, "bad stream"},
          {"adaptors: all ways, one line", more_adaptors, "bad stream"},
          {"adaptors: with a converter of one's own", own_converter},
          {"aggregator: write", aggregate, "bad stream"},
          {"pipe: make, close", make_pipe},
          {"pipe device: write, binary, with retries", write_binary},
          {"pipe device: write, text, with retries", write_text},
          // A read of no byte is the end, wherever it comes.
          {"pipe device: read, binary, with retries", read_binary, "^done"},
          {"pipe device: read, text, with retries", read_text, "^done"},
          {"pipe stream: write, twice", write_stream, "bad stream"},
          {"pipe stream: read, with retries", read_stream, "^done"},
          {"pipe: take over by a descriptor", hand_on_device},
          {"none: pipe: views", pipe_views}};
}

}  // namespace faults
