// The snapshot of the environment.
#include <safe_env/environment.hpp>

#include <gtest/gtest.h>

#include "import_patch.hpp"
#include "support.hpp"

#include <boost/system/system_error.hpp>

#include <algorithm>
#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <windows.h>

namespace {

using safe_env::get_environment_copy;
using test_support::injected;
using test_support::scoped_variable;

TEST(EnvironmentCopy, TakesTheBlockAsItStandsAndFreesItOrThrowsTheFailure) {
  static wchar_t block[] = L"=C:=C:\\x\0\u00E9=\U0001F600=\0b=2\0=\0noequals\0E=\0L=\xD83D.\0";
  injected<decltype(&GetEnvironmentStringsW)> get("libqxsafe_env.dll", "GetEnvironmentStringsW");
  injected<decltype(&FreeEnvironmentStringsW)> release("libqxsafe_env.dll", "FreeEnvironmentStringsW");
  get.fail_at(2, nullptr, ERROR_NOT_ENOUGH_MEMORY);
  get.handle_with([](auto) { return block; });
  release.handle_with([](auto, wchar_t* what) {
    EXPECT_EQ(what, block);
    return TRUE;
  });
  EXPECT_EQ(get_environment_copy(), (std::vector<std::string>{"=C:=C:\\x", "\xC3\xA9=\xF0\x9F\x98\x80=", "b=2", "=",
                                                              "noequals", "E=", "L=\xEF\xBF\xBD."}));
  try {
    get_environment_copy();
    ADD_FAILURE() << "no exception";
  } catch (const boost::system::system_error& e) {
    EXPECT_EQ(e.code(), boost::system::error_code(ERROR_NOT_ENOUGH_MEMORY, boost::system::system_category()));
    EXPECT_NE(std::string(e.what()).find("GetEnvironmentStringsW"), std::string::npos);
  }
  EXPECT_EQ(release.calls(), 1u);
}

// Each writer sets its variable to values of many lengths that consist of one letter, and removes it now and then. A
// snapshot that mixed two states would hold a mixed, cut or doubled entry, or lose the variable that nobody touches.
TEST(EnvironmentCopy, IsOneStateWhileOtherThreadsChangeTheEnvironment) {
  const scoped_variable steady("QX_SAFE_ENV_STEADY", "untouched");
  const std::string prefix = "QX_SAFE_ENV_WRITER";
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int number = 0; number != 3; ++number) {
    threads.emplace_back([&stop, number] {
      const std::wstring name = L"QX_SAFE_ENV_WRITER" + std::to_wstring(number);
      for (unsigned turn = 0; !stop; ++turn) {
        const std::wstring value(1 + turn * 37 % 900, static_cast<wchar_t>(L'a' + turn % 26));
        SetEnvironmentVariableW(name.c_str(), turn % 5 == 0 ? nullptr : value.c_str());
      }
      SetEnvironmentVariableW(name.c_str(), nullptr);
    });
  }
  bool sound = true;
  std::size_t seen = 0;
  for (int turn = 0; turn != 1000 || (seen == 0 && turn != 100000); ++turn) {
    const auto entries = get_environment_copy();
    sound = sound && std::count(entries.begin(), entries.end(), "QX_SAFE_ENV_STEADY=untouched") == 1;
    std::set<char> writers;
    for (const std::string& entry : entries) {
      if (entry.compare(0, prefix.size(), prefix) != 0)
        continue;
      const std::string value = entry.substr(prefix.size() + 2);
      sound = sound && !value.empty() && value.find_first_not_of(value[0]) == std::string::npos &&
              value.size() <= 900 && writers.insert(entry[prefix.size()]).second;
    }
    seen += writers.size();
  }
  stop = true;
  for (std::thread& each : threads)
    each.join();
  EXPECT_TRUE(sound);
  EXPECT_GT(seen, 0U) << "no writer was ever seen";
}

}  // namespace
