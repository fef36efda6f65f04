// All objects that are built when the library loads, in the order that is part of its contract; each is destroyed when
// the library is unloaded, in reverse. No other unit has a namespace-scope object with a dynamic initialiser.
// Nothing here reads the environment or starts a thread.

#include "loggers.hpp"

namespace foundation::core::loggers {

logger deelevate_utils("fl::process::deelevate_utils");
logger process_impl("fl::process::process_impl");
logger process("fl::process::process");
logger process_reaper("fl::process::process_reaper");

}  // namespace foundation::core::loggers
