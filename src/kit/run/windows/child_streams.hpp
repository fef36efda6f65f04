// What goes on between this process and the standard streams of a child: all of it in small steps that never wait.
// Belongs to one thread.
#pragma once

#include "run/head_and_tail.hpp"
#include "run/windows/overlapped_end.hpp"

#include <kit/run.hpp>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace foundation::kit::detail {

/// Steps that one stream takes before the others have their turn, and the time limit is looked at.
inline constexpr int steps_in_a_row = 4;

/// Reads one output of the child.
class output_reader {
 public:
  /// Throws boost::system::system_error, and what copying the receiver throws: it is one's own, since it may have a
  /// state that is left in the middle.
  output_reader(const std::optional<std::size_t>& limit, output_receiver receiver);

  process::iopipe_device take_child_end() { return end_.take_child_end(); }
  bool is_open() const noexcept { return end_.is_open(); }
  HANDLE event() const noexcept { return end_.event(); }

  /// Takes what has arrived and has more read in the background. Throws boost::system::system_error, and what the
  /// receiver throws.
  void go_on();

  /// What was kept. If the output is still open, it is given up. Tells the receiver the end. Called once.
  run_output finish();

 private:
  void deliver(std::string_view piece);

  const output_receiver receiver_;
  head_and_tail kept_;
  const std::unique_ptr<char[]> buffer_;  // of `pipe_block`; above the end, which lets go of it
  overlapped_end end_;
};

/// Writes the child's input.
class input_writer {
 public:
  /// `options` are borrowed, with an input; `next_input` is copied. Throws boost::system::system_error, and what the
  /// copying throws.
  explicit input_writer(const run_options& options);

  process::iopipe_device take_child_end() { return end_.take_child_end(); }
  bool is_open() const noexcept { return end_.is_open(); }
  HANDLE event() const noexcept { return end_.event(); }

  /// Has as much written as the child takes now, and closes the pipe behind the last of it. Throws
  /// boost::system::system_error, and what `next_input` throws.
  void go_on();

  /// Whether the child did not take all. No more is written.
  bool finish() noexcept;

 private:
  bool next_piece();

  const run_options& options_;
  const std::function<std::string()> next_input_;  // may be empty
  std::string piece_;                              // of `next_input`
  std::string_view rest_;                          // what is still to be written, of `piece_` or the options' text
  bool text_given_ = false;
  bool refused_ = false;
  overlapped_end end_;  // below what it writes from
};

}  // namespace foundation::kit::detail
