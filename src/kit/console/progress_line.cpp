#include <kit/progress_line.hpp>

#include <algorithm>
#include <utility>

namespace foundation::kit {

namespace {

using namespace std::chrono_literals;

std::string tenths_of_mebibytes(std::uint64_t bytes) {
  constexpr std::uint64_t mebibyte = 1024 * 1024;
  return std::to_string(bytes / mebibyte) + '.' + std::to_string(bytes % mebibyte * 10 / mebibyte);
}

/// As many as there are code points in UTF-8.
std::size_t columns(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

}  // namespace

progress_line::progress_line(std::ostream& out, std::function<time_point()> now)
    : out_(out), now_(std::move(now)), next_(now_() + 1s) {}

progress_line::~progress_line() {
  if (length_ != 0) {
    try {
      out_ << '\n' << std::flush;
    } catch (...) {  // A stream that throws of its failures has had its say.
    }
  }
}

bool progress_line::is_due() {
  const time_point now = now_();
  const bool due = now >= next_;
  next_ = due ? now + 500ms : next_;
  return due;
}

void progress_line::write(const std::string& text) {
  const std::size_t length = columns(text);
  const std::size_t blanks = length_ > length ? length_ - length : 0;  // over what is left of the former
  out_ << '\r' + text + std::string(blanks, ' ') << std::flush;
  length_ = length;
}

void progress_line::show(const std::string& text) {
  if (is_due()) {
    write(text);
  }
}

void progress_line::show_bytes(std::uint64_t done, std::optional<std::uint64_t> total) {
  if (is_due()) {
    write(tenths_of_mebibytes(done) + (total ? " of " + tenths_of_mebibytes(*total) : "") + " MiB");
  }
}

}  // namespace foundation::kit
