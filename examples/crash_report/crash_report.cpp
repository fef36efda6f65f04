// A program that reports how it died, whichever way that is: one call installs the handler.
#include <fl/diag.hpp>

#include <kit/crash_handler.hpp>

#include <cstdio>
#include <stdexcept>
#include <string_view>

// Each call is one of the stack: functions of a file's own, or whose arguments are known, an optimiser would make one
// of.
struct city {
  const city* next;
  int distance;
};

const city* volatile next_city = nullptr;

[[gnu::noinline]] int distance_of(const city* place) {
  return place->distance;  // Nobody has asked whether there is a next city.
}

[[gnu::noinline]] int length_of(const city& start) {
  return start.distance + distance_of(start.next);
}

[[gnu::noinline]] int plan_route() {
  const city first{next_city, 7};
  return length_of(first) + 1;
}

[[gnu::noinline]] int plan_all_routes(int first) {
  volatile char map[20000] = {};
  return first < 0 ? 0 : plan_all_routes(first + 1) + map[first % 20000];
}

namespace {

const char* const usage_text =
    "usage: crash_report [KIND]\n"
    "\n"
    "Dies, and writes a report of it to standard error.\n"
    "\n"
    "  fault     of an access violation, three calls deep (default); exit status 0xC0000005\n"
    "  overflow  of a stack that is used up; exit status 0xC00000FD\n"
    "  throw     of an exception that nobody catches; exit status 0xC0000409\n"
    "  assert    of a fatal error that it finds itself; exit status 3\n";

void find_city() {
  throw std::runtime_error("no such city");
}

void check_route() {
  foundation::core::diag::terminate("the route leads nowhere", __FILE__, __LINE__, __PRETTY_FUNCTION__);
}

void print_route() {
  std::printf("the route is %d long\n", plan_route());
}

void print_all_routes() {
  std::printf("all routes are %d long\n", plan_all_routes(0));
}

constexpr struct {
  std::string_view name;
  void (*run)();
} kinds[] = {
    {"fault", print_route},
    {"overflow", print_all_routes},
    {"throw", find_city},
    {"assert", check_route},
};

}  // namespace

int main(int argc, char** argv) {
  const std::string_view wanted = argc > 1 ? argv[1] : "fault";
  for (const auto& kind : kinds) {
    if (kind.name == wanted) {
      const auto handler = foundation::kit::install_crash_handler();
      foundation::core::diag::setCurrentThreadName("planner");
      kind.run();
    }
  }
  std::fputs(usage_text, wanted == "--help" ? stdout : stderr);
  return wanted == "--help" ? 0 : 2;
}
