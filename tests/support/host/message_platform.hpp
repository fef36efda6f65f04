// The system beneath message catalogs, as a test says it is.
#pragma once

#include <i18n/ustring.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace test_support {

struct message_system {
  fl::ustring path;                                 ///< the value of QX_MESSAGE_PATH, which the first use reads
  std::string language;                             ///< the user's
  std::map<fl::ustring, std::string> files;         ///< contents by path
  std::function<void(const fl::ustring&)> reading;  ///< called with the path of what is read; may be empty, and throw
  int reads = 0;                                    ///< how often a file was asked for
  std::uint64_t milliseconds = 0;
  std::string log;  ///< what was said of directories out of reach
};

message_system& messages();

}  // namespace test_support
