// One buffer that writes to several.
#include <fl/io/streambuf_aggregator.hpp>

#include <boost/smart_ptr/make_shared.hpp>

#include <string>

namespace foundation::core::io {
namespace {

using buffer = std::basic_streambuf<char16_t>;

class ustreambuf_aggregator : public buffer {
 public:
  explicit ustreambuf_aggregator(const std::vector<boost::shared_ptr<buffer>>& targets) : targets_(targets) {}

 protected:
  // Each goes to all targets: a failure is remembered, not acted on.

  int_type overflow(int_type c) override {
    if (traits_type::eq_int_type(c, traits_type::eof())) {
      return 0;
    }
    const char16_t unit = traits_type::to_char_type(c);
    bool succeeded = true;
    for (const auto& target : targets_) {
      succeeded &= !traits_type::eq_int_type(target->sputc(unit), traits_type::eof());
    }
    return succeeded ? c : traits_type::eof();
  }

  std::streamsize xsputn(const char16_t* units, std::streamsize n) override {
    bool succeeded = true;
    for (const auto& target : targets_) {
      succeeded &= target->sputn(units, n) == n;
    }
    return succeeded ? n : 0;
  }

  int sync() override {
    bool succeeded = true;
    for (const auto& target : targets_) {
      succeeded &= target->pubsync() == 0;
    }
    return succeeded ? 0 : -1;
  }

 private:
  std::vector<boost::shared_ptr<buffer>> targets_;  ///< none is null
};

}  // namespace

boost::shared_ptr<buffer> make_ustreambuf_aggregator(const std::vector<boost::shared_ptr<buffer>>& targets) {
  return boost::make_shared<ustreambuf_aggregator>(targets);
}

}  // namespace foundation::core::io
