// One buffer that writes to several.
#include <fl/io/streambuf_aggregator.hpp>

#include <boost/smart_ptr/make_shared.hpp>

#include <exception>
#include <string>

namespace foundation::core::io {
namespace {

using buffer = std::basic_streambuf<char16_t>;

class ustreambuf_aggregator : public buffer {
 public:
  explicit ustreambuf_aggregator(const std::vector<boost::shared_ptr<buffer>>& targets) : targets_(targets) {}

 protected:
  int_type overflow(int_type c) override {
    if (traits_type::eq_int_type(c, traits_type::eof())) {
      return 0;
    }
    const char16_t unit = traits_type::to_char_type(c);
    const bool succeeded =
        all([unit](buffer& target) { return !traits_type::eq_int_type(target.sputc(unit), traits_type::eof()); });
    return succeeded ? c : traits_type::eof();
  }

  std::streamsize xsputn(const char16_t* units, std::streamsize n) override {
    return all([=](buffer& target) { return target.sputn(units, n) == n; }) ? n : 0;
  }

  int sync() override {
    return all([](buffer& target) { return target.pubsync() == 0; }) ? 0 : -1;
  }

 private:
  /// Whether `write` succeeds for each target. All are asked: a failure is remembered, not acted on. The first
  /// exception leaves when all have been.
  template <class Write>
  bool all(Write write) {
    bool succeeded = true;
    std::exception_ptr thrown;
    for (const auto& target : targets_) {
      try {
        succeeded &= write(*target);
      } catch (...) {
        thrown = thrown ? thrown : std::current_exception();
      }
    }
    if (thrown) {
      std::rethrow_exception(thrown);
    }
    return succeeded;
  }

  std::vector<boost::shared_ptr<buffer>> targets_;  ///< none is null
};

}  // namespace

boost::shared_ptr<buffer> make_ustreambuf_aggregator(const std::vector<boost::shared_ptr<buffer>>& targets) {
  return boost::make_shared<ustreambuf_aggregator>(targets);
}

}  // namespace foundation::core::io
