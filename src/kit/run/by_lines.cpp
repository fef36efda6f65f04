#include <kit/by_lines.hpp>

#include <string>
#include <utility>

namespace foundation::kit {
namespace {

class line_splitter {
 public:
  explicit line_splitter(std::function<void(std::string_view)> line) : line_(std::move(line)) {}

  void operator()(std::string_view piece) {
    if (piece.empty()) {
      finish();
      return;
    }
    for (std::size_t end = piece.find('\n'); end != std::string_view::npos; end = piece.find('\n')) {
      const std::string_view rest = piece.substr(0, end);
      piece.remove_prefix(end + 1);
      if (begun_.empty()) {
        deliver(rest);  // the usual case: nothing is copied
      } else {
        begun_ += rest;
        deliver(std::exchange(begun_, {}));
      }
    }
    begun_ += piece;
  }

 private:
  void finish() {
    if (!begun_.empty()) {
      line_(std::exchange(begun_, {}));
    }
  }

  void deliver(std::string_view line) const {
    if (!line.empty() && line.back() == '\r') {
      line.remove_suffix(1);
    }
    line_(line);
  }

  std::function<void(std::string_view)> line_;
  std::string begun_;  // of a line whose end has not come
};

}  // namespace

std::function<void(std::string_view)> by_lines(std::function<void(std::string_view)> line) {
  return line_splitter(std::move(line));
}

}  // namespace foundation::kit
