// Looks a command up as the first thing a process does, as seen by which_test: which_child NAME. Prints what was found,
// then the same again after PATHEXT was changed, with the log off.

#include <fl/process/which.hpp>
#include <foundation_log/control.hpp>

#include <cstdio>
#include <cstdlib>

int main(int, char** arguments) {
  for (int lookup = 0; lookup != 2; ++lookup) {
    std::puts(foundation::core::process::which(arguments[1]).value_or("nothing").c_str());
    ::_putenv("PATHEXT=.bat");
    foundation::log::enable_logging(false);
  }
}
