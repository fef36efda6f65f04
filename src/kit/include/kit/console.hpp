// Standard input, output and error as streams of UTF-8 and of UTF-16 that a console shows and reads right, whatever its
// code page, which stays as it is for the other programs there.
//
//   kit::console().out() << "gr\u00fcn \u2713\n";
//   kit::console().uout() << u"gr\u00fcn \u2713\n";          // the same place, in order
//   for (std::string line; std::getline(kit::console().in(), line);)
//
// What is a console and what is not is looked up whenever the system is called, so that a program may redirect itself
// (SetStdHandle) or get a console later (AllocConsole).
//
// A console: text arrives as UTF-16. What is ill-formed is shown as U+FFFD, but the beginning of a character waits for
// its rest, which may come with a later write. Reading gives lines that end with "\n" alone; Ctrl-Z at the beginning of
// a line is the end of the input, behind which one can read on after `clear()`.
//
// A file or pipe: bytes pass on as they are in both directions, so UTF-8 from `uout` and `uin`, and what is there
// otherwise. Line ends are not translated: write "\r\n" where the reader wants that.
//
// Neither, as in most programs with windows: what is written is gone and counts as written; reading finds the end.
//
// When it is written: `err` and `uerr` at once. `out` and `uout` are buffered; what they hold goes out with `flush()`
// and `std::endl`, with a line end if they write to a console, before a read from `in` or `uin`, before a write to
// `err` or `uerr`, if it becomes more than 16 KiB, and at the end of the process unless that is brought about by force
// (TerminateProcess, abort, a crash). std::cout and printf have buffers of their own: flush one before the other
// writes.
//
// When it cannot be written the stream gets `badbit` (and throws boost::system::system_error if `exceptions` asks for
// it, though a flush only std::ios_base::failure). Nothing is lost by that: what was not written is kept, and goes out
// first when the stream is used again after `clear()`.
//
// Thread safety: the streams of output may be used by any number of threads at once, as std::cout: texts may mix
// between two <<, while formatting (width, flags) is shared and so is better left alone. Input belongs to one thread at
// a time, and `in` and `uin` do not know of what the other one has read ahead: use one of them.
#pragma once

#include <fl/io/uistream.hpp>
#include <fl/io/uostream.hpp>

#include <kit/export.hpp>

#include <istream>
#include <memory>
#include <ostream>

namespace foundation::kit {

namespace io = foundation::core::io;

/// There is one, which `console` gives.
class KIT_API console_streams {
 public:
  console_streams(const console_streams&) = delete;
  console_streams& operator=(const console_streams&) = delete;

  /// Standard input in UTF-8.
  std::istream& in();
  /// Standard output in UTF-8, buffered.
  std::ostream& out();
  /// Standard error in UTF-8, written at once.
  std::ostream& err();
  /// Standard input in UTF-16.
  io::uistream& uin();
  /// Standard output in UTF-16: the same place as `out`.
  io::uostream& uout();
  /// Standard error in UTF-16: the same place as `err`.
  io::uostream& uerr();

 private:
  friend KIT_API console_streams& console();
  console_streams();
  ~console_streams();

  struct state;
  const std::unique_ptr<state> state_;  // not null
};

/// Lives until the process has ended. Any thread. The first call throws std::bad_alloc.
KIT_API console_streams& console();

}  // namespace foundation::kit
