// Identifiers of errors, cut at their colons and each part judged by itself.
#include "except/error_id.hpp"

#include <fl/except.hpp>

#include "fuzzing.hpp"

#include <string>

namespace {

bool valid_by_parts(const std::string& id) {
  const std::string letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ", others = "0123456789_";
  int parts = 0;
  for (std::string rest = id + ':'; !rest.empty(); rest.erase(0, rest.find(':') + 1), ++parts) {
    const std::string part = rest.substr(0, rest.find(':'));
    if (part.empty() || letters.find(part[0]) == std::string::npos ||
        part.find_first_not_of(letters + others) != std::string::npos) {
      return false;
    }
  }
  return parts >= 2;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string id(reinterpret_cast<const char*>(data), size);
  fuzzing::require(foundation::core::except::is_error_id(id) == valid_by_parts(id));
  return 0;
}
