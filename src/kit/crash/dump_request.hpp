// What a process and the program that writes its dump share: a section of this form, whose handle is the program's only
// argument, in decimal. Both are of one build.
//
//   the process                                       the program
//   fills in handles, `content` and `file`, starts it
//   waits for `done`                                  maps the section, sets `done`
//   … dies: fills in `thread` and `pointers`,         waits for `request`, or for the end of the process
//   sets `request`, waits for `done`                  writes the dump, sets `error`, sets `done`
#pragma once

#include <cstddef>
#include <cstdint>

namespace foundation::kit {

struct dump_request {
  static constexpr std::size_t longest_file = 32767;  ///< units, as the system has it
  static constexpr std::uint32_t present_version = 1;

  std::uint32_t version = present_version;
  std::uint32_t process_id = 0;
  // Handles that the program inherits.
  std::uint64_t process = 0;
  std::uint64_t request = 0;  ///< an event that resets itself
  std::uint64_t done = 0;     ///< another one
  std::uint32_t content = 0;  ///< bits of the system's MINIDUMP_TYPE

  std::uint32_t thread = 0;    ///< the one that has crashed
  std::uint64_t pointers = 0;  ///< the address of its EXCEPTION_POINTERS in the process
  std::uint32_t error = 0;     ///< why there is no dump, a code of the system; 0: it is written

  char16_t file[longest_file + 1] = {};  ///< absolute
};

}  // namespace foundation::kit
