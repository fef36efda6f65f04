#include "run/windows/child_streams.hpp"

#include <algorithm>
#include <utility>

namespace foundation::kit::detail {

using state = overlapped_end::state;

output_reader::output_reader(const std::optional<std::size_t>& limit, output_receiver receiver)
    : receiver_(std::move(receiver)), kept_(limit), buffer_(new char[pipe_block]), end_(pipe_direction::from_child) {}

void output_reader::go_on() {
  for (int step = 0; step != steps_in_a_row && is_open(); ++step) {
    const overlapped_end::outcome outcome = end_.poll();
    switch (outcome.what) {
      case state::under_way:
        return;
      case state::ended:
        end_.close();
        return;
      case state::done:
        deliver({buffer_.get(), outcome.bytes});
        break;
      case state::idle:
        break;
    }
    end_.begin_read(buffer_.get(), pipe_block);
  }
}

void output_reader::deliver(std::string_view piece) {
  kept_.append(piece);
  if (receiver_ && !piece.empty()) {
    receiver_(piece);
  }
}

run_output output_reader::finish() {
  const bool given_up = is_open();
  end_.close();
  if (receiver_) {
    receiver_({});
  }
  run_output output = std::move(kept_).take();
  output.given_up = given_up;
  return output;
}

input_writer::input_writer(const run_options& options)
    : options_(options), next_input_(options.next_input), end_(pipe_direction::to_child) {}

void input_writer::go_on() {
  for (int step = 0; step != steps_in_a_row && is_open(); ++step) {
    const overlapped_end::outcome outcome = end_.poll();
    if (outcome.what == state::under_way) {
      return;
    }
    rest_.remove_prefix(outcome.bytes);
    refused_ = outcome.what == state::ended;
    if (refused_ || !next_piece()) {
      end_.close();
      return;
    }
    end_.begin_write(rest_.data(), static_cast<DWORD>(std::min<std::size_t>(rest_.size(), pipe_block)));
  }
}

// Whether there is something left to write.
bool input_writer::next_piece() {
  if (rest_.empty() && next_input_) {
    piece_ = next_input_();
    rest_ = piece_;
  } else if (!text_given_ && !next_input_) {
    text_given_ = true;
    rest_ = *options_.input;
  }
  return !rest_.empty();
}

bool input_writer::finish() noexcept {
  const bool refused = refused_ || is_open();
  end_.close();
  return refused;
}

}  // namespace foundation::kit::detail
