// What an object holds of the run-time's heap while it is in use, itself included: a file stream, a pipe, a running
// child, a catalog of messages. What the first of its kind makes for the whole process is there before.

#include <fl/io/uifstream.hpp>
#include <fl/io/uofstream.hpp>
#include <fl/process/command.hpp>
#include <fl/process/context.hpp>
#include <fl/process/iopipe.hpp>
#include <fl/process/process.hpp>
#include <fl/process/redirection.hpp>
#include <i18n/message_catalog.hpp>

#include "boost_process.hpp"
#include "row.hpp"
#include "windows_support.hpp"

#include <codecvt>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <locale>
#include <map>
#include <memory>
#include <string>

namespace {

namespace bp = boost_process;
namespace fp = foundation::core::process;
namespace io = foundation::core::io;

/// `make()` gives an object that is in use, and what it says for the product.
template <class Make>
std::uint64_t held_by(Make make, bench::product& result) {
  make();
  const std::uint64_t before = bench::bytes_in_use();
  const auto object = make();
  const std::uint64_t held = bench::bytes_in_use() - before;
  result.add_line("in use");
  return held;
}

template <class Make>
bench::byte_count counting(Make make) {
  return [make](bench::product& result) { return held_by(make, result); };
}

void must(bool holds, const char* what) {
  if (!holds) {
    throw std::runtime_error(what);
  }
}

// ---- a folder of files ----

class folder {
 public:
  folder() {
    std::filesystem::create_directories(path_ / "en");
    std::ofstream(path_ / "lines.txt") << "first line\nsecond line\n";
    std::ofstream catalog(path_ / "en" / "CATALOG.json");
    catalog << "{";
    for (unsigned number = 0; number != messages; ++number) {
      catalog << (number == 0 ? "" : ",") << '"' << mnemonic(number) << "\":\"" << text(number) << '"';
    }
    catalog << "}";
  }
  ~folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::string file(const char* name) const { return (path_ / name).string(); }
  fl::ustring wide() const { return path_.u16string(); }

  static constexpr unsigned messages = 1000;
  static std::string mnemonic(unsigned number) { return "message" + std::to_string(number); }
  static std::string text(unsigned number) {
    return "The step number " + std::to_string(number) + " has not come to an end in the time that it had.";
  }

 private:
  const std::filesystem::path path_ =
      std::filesystem::temp_directory_path() / ("qxfl-object-size-" + std::to_string(GetCurrentProcessId()));
};

const folder& files() {
  static const folder instance;
  return instance;
}

// ---- streams ----

std::locale with_utf8() {
  return {std::locale::classic(), new std::codecvt_utf8_utf16<wchar_t>};
}

auto our_output() {
  auto file = std::make_unique<io::uofstream>(u"NUL", std::ios_base::out | std::ios_base::binary, "UTF-8");
  *file << u"a line\n";
  must(file->good(), "uofstream");
  return file;
}

auto peer_output() {
  auto file = std::make_unique<std::wofstream>();
  file->imbue(with_utf8());
  file->open("NUL", std::ios_base::out | std::ios_base::binary);
  *file << L"a line\n";
  must(file->good(), "wofstream");
  return file;
}

auto our_input() {
  const std::string name = files().file("lines.txt");
  auto file = std::make_unique<io::uifstream>(fl::ustring(name.begin(), name.end()),
                                              std::ios_base::in | std::ios_base::binary, "UTF-8");
  fl::ustring line;
  must(static_cast<bool>(std::getline(*file, line)), "uifstream");
  return file;
}

auto peer_input() {
  auto file = std::make_unique<std::wifstream>();
  file->imbue(with_utf8());
  file->open(files().file("lines.txt"), std::ios_base::in | std::ios_base::binary);
  std::wstring line;
  must(static_cast<bool>(std::getline(*file, line)), "wifstream");
  return file;
}

// ---- a pipe, of which a line has been written and read, and a child ----

template <class Pipe>
std::unique_ptr<Pipe> in_use(std::unique_ptr<Pipe> pipe) {
  std::string line;
  *pipe << "a line" << std::endl;
  must(std::getline(*pipe, line) && line == "a line", "pipe");
  return pipe;
}

auto our_pipe() {
  return in_use(std::make_unique<fp::iopipe>(fp::open_mode::read | fp::open_mode::write | fp::open_mode::binary));
}

auto peer_pipe() {
  return in_use(std::make_unique<bp::pstream>());
}

// With the pipe for its output, which it fills; so it lives until that is closed.
struct our_child {
  fp::iopipe pipe{fp::open_mode::read | fp::open_mode::write | fp::open_mode::binary};
  fp::process process;

  our_child() : process(command(), context()) {}
  static fp::command command() { return fp::command(boost::filesystem::path(bench::child_path()).string()); }
  fp::context context() {
    fp::context result;
    result.std_out(fp::pipe_to(pipe));
    return result;
  }
};

struct peer_child {
  bp::pstream pipe;
  bp::child process{boost::filesystem::path(bench::child_path()), bp::std_out > pipe, bp::start_dir(".")};

  ~peer_child() {
    pipe.pipe().close();
    process.wait();
  }
};

// ---- messages ----

struct loaded_catalog {};

auto our_catalog() {
  fl::i18n::MessageCatalog::reload();
  fl::i18n::MessageCatalog::get_message({"CATALOG", folder::mnemonic(1)});
  return loaded_catalog();
}

// There is one set of catalogs in a process, so what it holds is the difference to having forgotten them.
std::uint64_t held_by_catalog(bench::product& result) {
  fl::i18n::MessageCatalog::add_directory(files().wide());
  fl::i18n::MessageCatalog::set_language("en");
  our_catalog();
  fl::i18n::MessageCatalog::reload();
  const std::uint64_t before = bench::bytes_in_use();
  our_catalog();
  result.add_line("in use");
  return bench::bytes_in_use() - before;
}

auto map_of_texts() {
  auto texts = std::make_unique<std::map<std::string, std::u16string>>();
  for (unsigned number = 0; number != folder::messages; ++number) {
    const std::string text = folder::text(number);
    texts->emplace(folder::mnemonic(number), std::u16string(text.begin(), text.end()));
  }
  return texts;
}

}  // namespace

int main(int argc, char** argv) {
  const bench::contender expected{[](bench::product& result) { result.add_line("in use"); }};
  bench::add_byte_row("output_stream_size_vs_wofstream", counting(our_output), counting(peer_output), expected);
  bench::add_byte_row("input_stream_size_vs_wifstream", counting(our_input), counting(peer_input), expected);
  bench::add_byte_row("pipe_size_vs_boost_pstream", counting(our_pipe), counting(peer_pipe), expected);
  bench::add_byte_row("child_size_vs_boost_child", counting([] { return std::make_unique<our_child>(); }),
                      counting([] { return std::make_unique<peer_child>(); }), expected);
  bench::add_byte_row("catalog_1000_size_vs_map", held_by_catalog, counting(map_of_texts), expected);
  return bench::run(argc, argv);
}
