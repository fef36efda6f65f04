#include "refusals.hpp"

#include "import_patch.hpp"
#include "support.hpp"

#include <boost/core/demangle.hpp>
#include <boost/system/error_code.hpp>

#include <regex>
#include <typeinfo>

namespace test_support {
namespace {

// By this system's convention a call may hand over more words than the function takes: one type does for all functions.
using word = std::uintptr_t;
using any_call = word (*)(word, word, word, word, word, word, word, word, word, word, word, word);

struct watched_import {
  std::atomic<import_patch::any_function> original;
  std::string name;
  int calls = 0;  // on the watched thread, in this run
};

std::array<watched_import, 160> watched;
DWORD watched_thread = 0;
const watched_import* refused_import = nullptr;
int refused_call = 0;

// Those that cannot fail, and those that are no business of the operation.
const std::regex left_alone(
    ".*(SRWLock|CriticalSection).*|(GetCurrent|Tls|Virtual|Delete|Rtl).*|FormatMessageW|GetACP|"
    "GetLastError|GetProcessHeap|GetTickCount.*|SetLastError|Sleep.*|SwitchToThread");
const std::regex giving_back(".*(Close|Destroy|Free|Unload|Unregister).*");

// What a refused function returns, where that is not 0.
const std::map<std::string, word> failures = {{"CreateFileA", ~word{0}},
                                              {"CreateFileW", ~word{0}},
                                              {"CreateToolhelp32Snapshot", ~word{0}},
                                              {"CreateNamedPipeW", ~word{0}},
                                              {"WaitForMultipleObjects", WAIT_FAILED},
                                              {"GetStdHandle", ~word{0}},
                                              {"RegOpenKeyExA", refused_code},
                                              {"RegQueryValueExA", refused_code},
                                              {"SetFilePointer", 0xFFFFFFFFu},
                                              {"WaitForSingleObject", WAIT_FAILED}};

template <std::size_t Index, class Function = any_call>
struct replacement;

template <std::size_t Index, class... Words>
struct replacement<Index, word (*)(Words...)> {
  static word call(Words... words) {
    watched_import& self = watched[Index];
    const auto original = reinterpret_cast<any_call>(self.original.load());
    if (::GetCurrentThreadId() != watched_thread || ++self.calls != refused_call || &self != refused_import) {
      const word result = original(words...);
      EXPECT_TRUE(self.name != "CloseHandle" || static_cast<BOOL>(result)) << "closes what is not open";
      return result;
    }
    if (self.name == "new") {
      throw std::bad_alloc();
    }
    if (std::regex_match(self.name, giving_back)) {
      original(words...);
    }
    const auto failure = failures.find(self.name);
    ::SetLastError(refused_code);
    return failure == failures.end() ? 0 : failure->second;
  }
};

template <std::size_t... Index>
constexpr std::array<any_call, sizeof...(Index)> make_replacements(std::index_sequence<Index...>) {
  return {&replacement<Index>::call...};
}

using patches = std::vector<std::unique_ptr<import_patch>>;

patches watch_imports(const char* module) {
  static constexpr auto replacements = make_replacements(std::make_index_sequence<std::size(watched)>());
  patches made;
  const auto add = [&](const std::string& import, const std::string& name) {
    const auto call = reinterpret_cast<import_patch::any_function>(replacements.at(made.size()));
    watched_import& next = watched[made.size()];
    next.name = name;
    made.push_back(std::make_unique<import_patch>(module, import.c_str(), call, next.original));
  };
  for (const char* const dll : {"ADVAPI32.dll", "KERNEL32.dll", "SHELL32.dll", "USERENV.dll"}) {
    for (const std::string& import : imports_of(module, dll)) {
      if (!std::regex_match(import, left_alone)) {
        add(import, import);
      }
    }
  }
  add("_Znwy", "new");
  return made;
}

std::string told(const std::exception& e) {
  static const std::regex qualified("(.*::)?(\\w+)>*"), code("(: |^)[^:]* \\[system:1816.*\\]");
  const std::string type = std::regex_replace(boost::core::demangle(typeid(e).name()), qualified, "$2");
  return type + ": " + std::regex_replace(e.what(), code, "!");
}

std::string run(const watched_operation& operate, const watched_import* import = nullptr, int nth = 0) {
  for (watched_import& each : watched) {
    each.calls = 0;
  }
  refused_import = import;
  refused_call = nth;
  watched_thread = ::GetCurrentThreadId();
  std::string outcome;
  try {
    outcome = operate();
  } catch (const std::exception& e) {
    watched_thread = 0;
    outcome = told(e);
  }
  watched_thread = 0;
  return outcome;
}

// Refuses the first `count` calls of one function in turn.
std::string refuse_calls(const watched_import& import, int count, const std::function<watched_operation()>& prepare) {
  std::vector<std::pair<std::string, int>> outcomes;
  EXPECT_TRUE(loses_no_handle([&] {
    outcomes.clear();
    for (int nth = 1; nth <= count; ++nth) {
      const std::string outcome = run(prepare(), &import, nth);
      if (outcomes.empty() || outcomes.back().first != outcome) {
        outcomes.emplace_back(outcome, 0);
      }
      ++outcomes.back().second;
    }
  })) << import.name;
  std::string all;
  for (const auto& [outcome, in_a_row] : outcomes) {
    const bool counted = in_a_row != 1 && import.name != "new";
    all += (all.empty() ? "" : " | ") + (counted ? std::to_string(in_a_row) + " x " : "") + outcome;
  }
  return all;
}

}  // namespace

refusal_outcomes refuse_each_call(const std::function<watched_operation()>& prepare, const char* module) {
  const patches all = watch_imports(module);
  run(prepare());  // Something may be made once, at first.
  const std::string normal = run(prepare());
  std::vector<std::pair<const watched_import*, int>> made;
  for (const watched_import& each : watched) {
    if (each.calls != 0) {
      made.emplace_back(&each, each.calls);
    }
  }
  refusal_outcomes outcomes;
  for (const auto& [import, count] : made) {
    const std::string outcome = refuse_calls(*import, count, prepare);
    if (outcome != normal && outcome != std::to_string(count) + " x " + normal) {
      outcomes[import->name] = outcome;
    }
    EXPECT_EQ(run(prepare()), normal) << "after refusals of " << import->name;
  }
  return outcomes;
}

}  // namespace test_support
