// A standard handle that takes and gives what a test says.
#pragma once

#include "console/standard_device.hpp"
#include "every_test.hpp"

namespace kit_test {

struct scripted_device final : foundation::kit::standard_device {
  foundation::kit::device_kind what = foundation::kit::device_kind::console;
  std::size_t takes = 1000000;  // units or bytes at a time
  int refuses = 0;              // so many writes, from now on
  int accepts = 0;              // so many before that
  std::size_t longest = 0;      // that was offered
  std::string bytes;            // written
  std::u16string units;         // likewise
  std::vector<std::u16string> to_read;
  std::vector<std::string> bytes_to_read;

  foundation::kit::device_kind kind() override { return what; }
  bool wants_lines() override { return what == foundation::kit::device_kind::console; }
  std::size_t write_bytes(const char* text, std::size_t count) override { return take(bytes, text, count); }
  std::size_t write_units(const char16_t* text, std::size_t count) override {
    EXPECT_FALSE(takes >= count && (text[count - 1] & 0xFC00) == 0xD800) << "a pair was cut";
    return take(units, text, count);
  }
  std::size_t read_bytes(char* to, std::size_t) override { return give(bytes_to_read, to); }
  std::size_t read_units(char16_t* to, std::size_t) override { return give(to_read, to); }

 private:
  template <class Text>
  std::size_t take(Text& written, const typename Text::value_type* text, std::size_t count) {
    longest = std::max(longest, count);
    if (accepts != 0) {
      --accepts;
    } else if (refuses != 0) {
      --refuses;
      throw std::runtime_error("refused");
    }
    written.append(text, std::min(count, takes));
    return std::min(count, takes);
  }
  template <class Text>
  static std::size_t give(std::vector<Text>& texts, typename Text::value_type* to) {
    if (texts.empty()) {
      return 0;
    }
    const Text text = texts.front();
    texts.erase(texts.begin());
    return text.copy(to, text.size());
  }
};

}  // namespace kit_test
