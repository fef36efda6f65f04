// Registers 1,000 waits on duplicates of one child's handle, makes the child end and waits until every exit code has
// been delivered: the reaper and its futures against bare RegisterWaitForSingleObject. The child and the duplicates are
// made outside the time.

#include "reaping.hpp"

#include <optional>
#include <vector>

namespace {

constexpr std::size_t waits = 1000;

// A running child that ends when its input ends, and the handles to wait on, which the contender takes over.
struct round {
  bench::child child;
  bench::unique_handle input;
  std::vector<HANDLE> duplicates;
};

std::optional<round> current;

void prepare() {
  bench::pipe_ends input = bench::make_pipe();
  bench::check(SetHandleInformation(input.read.get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT),
               "SetHandleInformation");
  current.emplace(bench::start_child(L"wait", input.read.get()), std::move(input.write), std::vector<HANDLE>());
  char ready;
  bench::check(bench::read_some(current->child.output.get(), &ready, 1) == 1, "the child's sign that it runs");
  for (std::size_t i = 0; i < waits; ++i) {
    current->duplicates.push_back(bench::duplicate(current->child.process.get()));
  }
}

void tell_child_to_end() {
  current->input.reset();
}

void reap_ours(bench::product& result) {
  bench::reap_ours(current->duplicates, tell_child_to_end, result);
}
void reap_bare(bench::product& result) {
  bench::reap_bare(current->duplicates, tell_child_to_end, result);
}

}  // namespace

int main(int argc, char** argv) {
  bench::add_row("reap_1000_vs_register_wait", {reap_ours, prepare}, {reap_bare, prepare});
  return bench::run(argc, argv);
}
