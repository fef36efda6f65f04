// A file that takes another one's place when it is whole: who reads the other one sees the old content or all of the
// new, never a part of it, whatever happens in between.
//
//   kit::replacing_file file(fl::filesystem::path(u"settings.json"));
//   file.stream() << text;
//   file.keep();             // without this, settings.json stays as it was
//
// What is written stands in a file beside the other one, whose name has ".part" at its end. One that was left there by
// a program that crashed is overwritten. From its creation until it has the other one's place, or is removed, nobody
// else can write it, so that two who want to replace the same file do not mix. For a moment behind that, who opens the
// other one and lets nobody write may be refused.
//
// Thread safety: none; one thread at a time.
#pragma once

#include <i18n/path.hpp>

#include <kit/export.hpp>

#include <memory>
#include <ostream>

namespace foundation::kit {

/// A file that replaces another one, or leaves it as it was.
class KIT_API replacing_file {
 public:
  /// Creates the file with ".part". Throws boost::system::system_error, and std::bad_alloc.
  explicit replacing_file(const fl::filesystem::path& name);
  replacing_file(const replacing_file&) = delete;
  replacing_file& operator=(const replacing_file&) = delete;
  /// Removes what was written, unless it was kept.
  ~replacing_file();

  /// Takes bytes, without any translation of line ends, and buffers them. `badbit` after a failure.
  std::ostream& stream();

  /// Writes what is buffered, waits until the disk has it, and puts the file in the other one's place, which need not
  /// exist. Who has that one open must have let it be deleted (most have not). Throws boost::system::system_error; the
  /// other file is as it was then, and it may be tried again. Nothing can be written afterwards.
  ///
  /// What the stream could not write is tried again here. But what it is given while it has `badbit` or `failbit` is
  /// lost, so that the file cannot be kept before somebody who knows better calls `clear()`. Mind that `<<` of a
  /// std::streambuf that has nothing sets `failbit`.
  void keep();

 private:
  struct state;
  const std::unique_ptr<state> state_;  // not null
};

}  // namespace foundation::kit
