// soak_children [COUNT]: children with pipes through four threads. Sizes, ways of wiring and ways of waiting are
// random; each child and this program check by sums what came from the other side, and add up what they say.
#include "children.hpp"

#include <fl/process/testing.hpp>

#include "children/traffic.hpp"
#include "measure.hpp"
#include "random_numbers.hpp"

#include <array>
#include <thread>

namespace {

namespace process = foundation::core::process;
using process::open_mode::read;
using test_support::random_numbers;

constexpr std::size_t thread_count = 4;
constexpr std::size_t steps = 20;  // The first, in which everything is made that is made once, is the warm-up.

/// The same things, as this program and as the children counted them.
struct side {
  std::uint64_t to_children, sum_to_children, from_children, sum_from_children, codes;
  side& operator+=(const side& more) {
    to_children += more.to_children;
    sum_to_children += more.sum_to_children;
    from_children += more.from_children;
    sum_from_children += more.sum_from_children;
    codes += more.codes;
    return *this;
  }
  bool operator==(const side&) const = default;
};

struct sides {
  side parent{}, children{};
};

std::size_t any_size(random_numbers& random) {
  return random.below(random.chance(4) ? 200'000 : random.chance(25) ? 20'000 : 500);
}

enum class error_output { inherited, own_pipe, merged };

/// One child: what it is given, how it is wired, and what came of it.
class exchange {
 public:
  explicit exchange(random_numbers& random)
      : random_(random),
        errors_(random.pick(std::array{error_output::inherited, error_output::own_pipe, error_output::merged})),
        input_(traffic::content(random.bits(), any_size(random))) {
    if (random.chance(15)) {
      further_input_ = traffic::content(random.bits(), any_size(random));
    }
  }

  void run(sides& sums) {
    process::process child = start();
    const bool by_future = random_.chance(50);
    const auto status = by_future ? child.exit_status_async() : boost::shared_future<process::exit_status_variant>();
    const bool detaches = by_future && random_.chance(50);
    if (detaches) {
      child.detach();
    }
    feed();
    std::string output = children::read_all(out_.device());
    traffic::header said{};
    const bool complete = output.size() >= sizeof said;
    std::memcpy(&said, output.data(), std::min(sizeof said, output.size()));
    soak::expect(complete, "a child's header arrives");
    output.erase(0, sizeof said);
    if (errors_ == error_output::own_pipe) {
      output += children::read_all(error_.device());
    }
    const std::uint32_t code = by_future ? std::get<process::exited>(status.get()).exit_code : child.exit_status();
    add(sums, said, output, code);
    soak::expect(detaches || child.exited(), "a child that has a status has ended");
  }

 private:
  process::process start() {
    process::context how;
    how.explicitlyInheritHandles(true);
    how.std_in(process::pipe_from(in_));
    how.std_out(process::pipe_to(out_));
    if (errors_ == error_output::own_pipe) {
      how.std_err(process::pipe_to(error_));
    } else if (errors_ == error_output::merged) {
      how.std_err(process::merge_with_stdout());
    }
    const std::size_t error_size = errors_ == error_output::inherited ? 0 : any_size(random_);
    std::vector<std::string> arguments = {std::to_string(any_size(random_)), std::to_string(error_size)};
    if (further_input_) {
      arguments.push_back(how.inherit_pipe(further_, read));
    }
    process::process child(children::command("traffic", arguments), how);
    further_.close_for_read();
    return child;
  }

  void feed() {
    in_ << input_;
    in_.close_for_write();
    if (further_input_) {
      further_ << *further_input_;
      further_.close_for_write();
    }
    soak::expect(in_.good() && further_.good(), "a child takes all that it is given");
  }

  void add(sides& sums, const traffic::header& said, const std::string& output, std::uint32_t code) const {
    traffic::checksum sent, received;
    sent.add(input_);
    sent.add(further_input_.value_or(""));
    received.add(output);
    const std::size_t sent_bytes = input_.size() + further_input_.value_or("").size();
    const side ours = {sent_bytes, sent.value, output.size(), received.value, code};
    const side theirs = {said.bytes_read, said.sum_read, said.bytes_written, said.sum_written,
                         traffic::exit_code(said)};
    soak::expect(ours == theirs, "a child and its parent agree");
    sums.parent += ours;
    sums.children += theirs;
  }

  random_numbers& random_;
  error_output errors_;
  std::string input_;
  std::optional<std::string> further_input_;
  process::iopipe in_, out_, error_, further_;
};

/// The children of these numbers, shared out among the threads.
sides run_children(std::size_t first, std::size_t last) {
  std::array<sides, thread_count> each;
  std::vector<std::jthread> threads;
  for (std::size_t own = 0; own != thread_count; ++own) {
    threads.emplace_back([=, &each] {
      for (std::size_t number = first + own; number < last; number += thread_count) {
        try {
          random_numbers random(number);
          exchange(random).run(each[own]);
        } catch (const std::exception& failure) {
          soak::expect(false, "child " + std::to_string(number) + ": " + failure.what());
        }
        test_support::tell_progress();
      }
    });
  }
  threads.clear();
  process::testing::join_all_async_procs();
  sides all;
  for (const sides& one : each) {
    all.parent += one.parent;
    all.children += one.children;
  }
  return all;
}

void print_sums(const side& parent, const side& children) {
  std::printf("\n");
  soak::print_heads(
      {"sums", "bytes to children", "their checksums", "bytes from children", "their checksums", "exit codes"});
  for (const auto& [name, one] : {std::pair("parent", parent), std::pair("children", children)}) {
    soak::print_row({name, soak::text(one.to_children), soak::text(one.sum_to_children), soak::text(one.from_children),
                     soak::text(one.sum_from_children), soak::text(one.codes)});
  }
}

void soak_children(const std::vector<std::string>& arguments) {
  const std::size_t count = soak::number_or(arguments, 0, 20'000);
  const soak::stopwatch watch;
  sides all;
  soak::holdings warm{};
  soak::print_heads(soak::with_holdings({"children", "seconds"}));
  for (std::size_t step = 0; step != steps; ++step) {
    const sides some = run_children(count * step / steps, count * (step + 1) / steps);
    all.parent += some.parent;
    all.children += some.children;
    const soak::holdings now = soak::measure();
    warm = step == 0 ? now : warm;
    if (step == 0 || step % 2 == 1) {
      soak::print_row(
          soak::with_holdings({soak::text(count * (step + 1) / steps), soak::text(watch.seconds(), 0)}, now));
    }
  }
  soak::expect_flat(warm, soak::measure());
  soak::expect(all.parent == all.children, "the sums of both sides are equal");
  print_sums(all.parent, all.children);
}

}  // namespace

int main(int count, char** arguments) {
  return soak::run(count, arguments, 120, soak_children);
}
