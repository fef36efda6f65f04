// soak_scale: what one thing costs when there are more and more of its kind. The least of several measurements counts,
// and the growth is that of the cost of all things together: 1 is linear.
#include <fl/diag/termination_observer.hpp>
#include <fl/except/anonymous_internal_exception.hpp>
#include <fl/except/notification.hpp>
#include <fl/process/testing.hpp>
#include <fl/process/which.hpp>
#include <foundation_log/control.hpp>
#include <foundation_log/exception_chain.hpp>
#include <foundation_log/logger.hpp>
#include <i18n/message_catalog.hpp>

#include "children.hpp"
#include "measure.hpp"

#include <cmath>
#include <deque>
#include <filesystem>

namespace {

namespace core = foundation::core;
namespace process = core::process;

constexpr double most_growth = 1.3;          // over the whole range
constexpr double most_growth_of_step = 1.5;  // from one number to the next, where caches have their part

/// Gives the seconds that one thing took with `number` of them.
using measurement = std::function<double(std::size_t number)>;

double least(const measurement& of, std::size_t number) {
  const soak::stopwatch watch;
  double best = of(number);
  for (int more = 1; more < 2 || (more < 1000 && watch.seconds() < 0.5); ++more) {
    best = std::min(best, of(number));
    test_support::tell_progress();
  }
  return best;
}

void draw(const std::string& name, const std::vector<std::size_t>& numbers, const measurement& of) {
  struct point {
    std::size_t number;
    double cost;
  };
  const auto growth = [](const point& from, const point& to) {
    return 1 +
           std::log(to.cost / from.cost) / std::log(static_cast<double>(to.number) / static_cast<double>(from.number));
  };
  std::printf("\n");
  soak::print_heads({name, "ns for each", "relative", "growth"});
  std::vector<point> curve;
  for (const std::size_t number : numbers) {
    curve.push_back({number, least(of, number)});
    const point &now = curve.back(), &first = curve.front(),
                &last = curve[curve.size() - std::min<std::size_t>(2, curve.size())];
    const double step = number == first.number ? 1 : growth(last, now);
    soak::print_row({soak::text(number), soak::text(now.cost * 1e9, 0), soak::text(now.cost / first.cost),
                     number == first.number ? "" : soak::text(step)});
    soak::expect(step < most_growth_of_step, name + ": no step grows faster than linearly");
  }
  soak::expect(growth(curve.front(), curve.back()) < most_growth, name + " grows no faster than linearly");
}

/// For each of `number` things, what `work` takes in all.
template <class Work>
double each(std::size_t number, Work work) {
  const soak::stopwatch watch;
  work();
  return watch.seconds() / static_cast<double>(number);
}

const std::vector<std::size_t> up_to_ten_thousand = {10, 100, 1000, 10'000};
const std::vector<std::size_t> crowds = {100, 1000, 10'000};

// ---- children and waits, for which events stand ----

struct crowd {
  explicit crowd(std::size_t number) {
    while (children.size() != number) {
      children.emplace_back(process::command("C:\\a.exe"));
    }
  }
  void await() {
    for (process::process& child : children) {
      statuses.push_back(child.exit_status_async());
    }
  }
  void end() {
    std::for_each(children.begin(), children.end(), children::end_stand_in);
    for (const auto& status : statuses) {
      status.wait();
    }
    process::testing::join_all_async_procs();
  }
  std::deque<process::process> children;
  std::vector<boost::shared_future<process::exit_status_variant>> statuses;
};

double registration_and_end(std::size_t number) {
  crowd all(number);
  return each(number, [&] {
    all.await();
    all.end();
  });
}

double another_child(std::size_t number) {
  constexpr std::size_t others = 100;
  crowd open(number);
  open.await();
  const double cost = each(others, [] {
    for (std::size_t i = 0; i != others; ++i) {
      process::process child(process::command("C:\\a.exe"));
      const auto status = child.exit_status_async();
      children::end_stand_in(child);
      status.wait();
    }
  });
  open.end();
  return cost;
}

void draw_children() {
  const children::stand_ins no_processes(false);
  draw("waits, from their registration to the status", crowds, registration_and_end);
  draw("open waits, and the cost of another child", crowds, another_child);
}

// ---- looking for a program in PATH ----

void draw_which() {
  const test_support::temp_dir folder;
  const auto former = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  std::map<std::size_t, std::string> paths;
  std::string path;
  for (std::size_t number = 1; number <= 1000; ++number) {
    const std::string directory = std::to_string(number);
    std::filesystem::create_directory(directory);
    path += directory + ";";
    if (number == 10 || number == 100 || number == 1000) {
      test_support::write_file(directory + "\\at" + directory + ".exe", "");
      paths[number] = path;
    }
  }
  const auto find = [&](std::size_t number, bool is_new) {
    const test_support::scoped_variable variable("PATH", paths[number]);
    const std::string name = "at" + std::to_string(number) + ".exe";
    if (is_new) {
      const test_support::scoped_variable another("PATH", "");
      process::which(name);
    } else {
      process::which(name);
    }
    return each(number, [&] { soak::expect(process::which(name).has_value(), "which finds it"); });
  };
  draw("directories in PATH", {10, 100, 1000}, [&](std::size_t number) { return find(number, false); });
  draw("directories in a new PATH", {10, 100, 1000}, [&](std::size_t number) { return find(number, true); });
  std::filesystem::current_path(former);
}

// ---- exceptions ----

void throw_nested(std::size_t depth) {
  if (depth == 1) {
    throw core::except::detail::AnonymousInternalException(std::runtime_error("the first"));
  }
  try {
    throw_nested(depth - 1);
  } catch (...) {
    std::throw_with_nested(std::runtime_error("what comes of it"));
  }
}

void draw_exceptions() {
  using error = decltype(core::except::detail::AnonymousInternalException(std::runtime_error("")));
  draw("texts of exceptions that are kept", up_to_ten_thousand, [](std::size_t number) {
    std::deque<error> all;
    return each(number, [&] {
      for (std::size_t i = 0; i != number; ++i) {
        soak::expect(all.emplace_back(std::runtime_error("a text")).what() != nullptr, "a text");
      }
    });
  });
  draw("copies of an exception that share its text", up_to_ten_thousand, [](std::size_t number) {
    const error source(std::runtime_error("a text"));
    source.what();
    std::deque<error> all;
    return each(number, [&] {
      for (std::size_t i = 0; i != number; ++i) {
        soak::expect(all.emplace_back(source).what() == source.what(), "the same text");
      }
    });
  });
  draw("exceptions that are nested in one", {5, 15, 50}, [](std::size_t number) {
    try {
      throw_nested(number);
    } catch (...) {
      return each(number, [] { foundation::log::detail::current_exception_chain_as_string(); });
    }
    return 0.0;
  });
  draw("entries of a notification", up_to_ten_thousand, [](std::size_t number) {
    return each(number, [=] {
      core::except::Notification notes;
      for (std::size_t i = 0; i != number; ++i) {
        notes.append({"CATALOG", "mnemonic", {std::int64_t{5}, "text"}});
      }
      const auto copy = notes;
    });
  });
}

// ---- observers, rules of the log, catalogs ----

void draw_observers() {
  draw("observers, one above the other", up_to_ten_thousand, [](std::size_t number) {
    return each(number, [=] {
      std::vector<std::unique_ptr<core::diag::termination_observer>> all;
      while (all.size() != number) {
        all.push_back(std::make_unique<core::diag::termination_observer>(nullptr));
      }
      while (!all.empty()) {
        all.pop_back();
      }
    });
  });
}

void draw_log() {
  using logger = foundation::log::basic_diagnostic_logger<char>;
  draw("loggers, made and gone", up_to_ten_thousand, [](std::size_t number) {
    return each(number, [=] {
      std::vector<std::unique_ptr<logger>> all;
      while (all.size() != number) {
        all.push_back(std::make_unique<logger>("soak::logger"));
      }
    });
  });
  const auto set = [](std::size_t number) {
    for (std::size_t i = 0; i != number; ++i) {
      foundation::log::set_level("soak::" + std::to_string(i) + "::*", 0);
    }
  };
  draw("rules of the log, each set again", up_to_ten_thousand,
       [&](std::size_t number) { return each(number, [&] { set(number); }); });
}

void draw_catalogs() {
  const auto id = [](std::size_t i) { return "SOAK" + std::to_string(i); };
  draw("catalogs in memory, each given again", up_to_ten_thousand, [&](std::size_t number) {
    return each(number, [&] {
      for (std::size_t i = 0; i != number; ++i) {
        fl::i18n::MessageCatalog::add_catalog("en", id(i), R"({"a": "text"})");
      }
    });
  });
  draw("texts, each in a catalog of its own", up_to_ten_thousand, [&](std::size_t number) {
    return each(number, [&] {
      for (std::size_t i = 0; i != number; ++i) {
        fl::i18n::MessageCatalog::get_message({id(i), "a"});
      }
    });
  });
}

void soak_scale(const std::vector<std::string>&) {
  draw_which();
  draw_exceptions();
  draw_observers();
  draw_log();
  draw_catalogs();
  draw_children();
}

}  // namespace

int main(int count, char** arguments) {
  return soak::run(count, arguments, 120, soak_scale);
}
