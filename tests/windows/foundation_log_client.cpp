// A DLL with a static logger, which writes its last record when the process detaches from it: the other threads are
// gone by then, and the program's own static objects too.

#include "foundation_log_client.hpp"

#include <foundation_log/logger.hpp>

namespace {

foundation::log::basic_diagnostic_logger<char> logger("client");

struct last_words {
  bool wanted = false;
  ~last_words() {
    if (wanted)
      logger.log(foundation::log::severity::note, "last words");
  }
} words;

}  // namespace

void client_speaks_when_unloaded() {
  words.wanted = true;
}
