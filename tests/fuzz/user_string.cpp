// How a user is written: the parts, put together again, are the text.
#include "process/values/user_string.hpp"

#include <fl/process/errors.hpp>

#include "fuzzing.hpp"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace foundation::core::process;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const char sign = text.find('\\') != std::string::npos ? '\\' : '@';
  const std::size_t at = text.find(sign);
  const bool is_split = at != std::string::npos;
  if (text.empty() || (is_split && (at == 0 || at + 1 == size))) {
    try {
      parse_user(text);
      fuzzing::require(false);
    } catch (const process_bad_user& error) {
      fuzzing::require(
          std::string(error.what()).starts_with("Failed to parse user string \"" + std::string(text.c_str())));
    }
    return 0;
  }
  const auto parts = parse_user(text);
  const std::string &user = parts.get<0>(), &domain = parts.get<1>();
  const std::string& first = sign == '@' ? user : domain;
  const std::string& second = sign == '@' ? domain : user;
  if (is_split) {
    fuzzing::require(first + sign + second == text && first.find(sign) == std::string::npos);
  } else {
    fuzzing::require(user == text && domain == ".");
  }
  return 0;
}
