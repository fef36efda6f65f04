// What exceptions cost: a text that is kept, the throw, and the first text.

#include <fl/except.hpp>

#include "row.hpp"

#include <boost/exception/diagnostic_information.hpp>
#include <boost/exception/exception.hpp>

#include <cstring>
#include <map>
#include <shared_mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <typeindex>

namespace {

using boost::system::system_error;
using foundation::core::except::detail::AnonymousInternalException;

constexpr char text[] = "the index is out of date";

const AnonymousInternalException kept_error{std::runtime_error(text)};

const char* kept_text_ours() {
  return kept_error.what();
}

// The same promise by standard means, with as many records as the exception has.
std::shared_mutex text_mutex;
const std::map<std::type_index, std::string> texts = {{typeid(std::runtime_error), text}};

const char* kept_text_peer() {
  const std::shared_lock lock(text_mutex);
  return texts.find(typeid(std::runtime_error))->second.c_str();
}

template <const char* (*Text)()>
void ask_often(bench::product& result) {
  const char* found = nullptr;
  for (int i = 0; i != 10000; ++i) {
    benchmark::DoNotOptimize(found = Text());
  }
  result.add(found);
}

template <const char* (*Text)()>
void ask_often_on_two_threads(bench::product& result) {
  const auto ask = [] {
    for (int i = 0; i != 100000; ++i) {
      benchmark::DoNotOptimize(Text());
    }
  };
  std::thread other(ask);
  ask();
  other.join();
  result.add(Text());
}

std::runtime_error make_plain() {
  return std::runtime_error(text);
}

auto make_ours() {
  return AnonymousInternalException(std::runtime_error(text));
}

auto make_enabled() {
  return boost::enable_current_exception(std::runtime_error(text));
}

template <auto Make>
[[noreturn]] void raise() {
  throw Make();
}

// The same frames for all contenders.
[[gnu::noinline]] void call_below(int depth, void (*function)()) {
  if (depth == 0) {
    function();
  } else {
    call_below(depth - 1, function);
  }
  benchmark::ClobberMemory();  // Something to come back for, or the calls would become a loop.
}

template <auto Make>
void throw_and_catch(bench::product& result) {
  for (int i = 0; i != 100; ++i) {
    try {
      call_below(10, raise<Make>);
    } catch (const std::runtime_error&) {
      result.add_value(i);
    }
  }
}

system_error make_refusal() {
  return system_error(5, boost::system::system_category(), text);
}

void first_text_ours(bench::product& result) {
  const AnonymousInternalException error(make_refusal());
  result.add_value(std::strstr(error.what(), text) != nullptr);
}

void first_text_peer(bench::product& result) {
  const auto error = boost::enable_current_exception(boost::enable_error_info(make_refusal()));
  result.add_value(std::strstr(boost::diagnostic_information(error).c_str(), text) != nullptr);
}

}  // namespace

int main(int argc, char** argv) {
  bench::add_row("kept_what_vs_mutex_and_map", {ask_often<kept_text_ours>}, {ask_often<kept_text_peer>});
  bench::add_row("kept_what_two_threads_vs_mutex_and_map", {ask_often_on_two_threads<kept_text_ours>},
                 {ask_often_on_two_threads<kept_text_peer>});
  bench::add_row("throw_catch_vs_runtime_error", {throw_and_catch<make_ours>}, {throw_and_catch<make_plain>});
  bench::add_row("throw_catch_vs_boost_enabled", {throw_and_catch<make_ours>}, {throw_and_catch<make_enabled>});
  bench::add_row("first_what_vs_boost_diagnostics", {first_text_ours}, {first_text_peer});
  return bench::run(argc, argv);
}
