// What is made of a text, such as an environment variable, kept for as long as the text is the same.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace foundation::core::util {

template <class Made>
class kept_for_text {
 public:
  /// What `make` makes of the text, never null: that of the last call if it had the same text. It does not change any
  /// more, so who has it need not care whether another thread meanwhile has a new one made. Any number of threads may
  /// call; one at a time makes. Throws std::bad_alloc and what `make` throws; what was kept stays.
  template <class Make>
  std::shared_ptr<const Made> get(std::wstring_view text, Make make) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!made_ || text != text_) {
      std::wstring copy(text);
      made_ = std::make_shared<const Made>(make(copy));
      text_ = std::move(copy);
    }
    return made_;
  }

 private:
  std::mutex mutex_;  // guards the two others
  std::wstring text_;
  std::shared_ptr<const Made> made_;  // null before the first call
};

}  // namespace foundation::core::util
