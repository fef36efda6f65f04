// Against the system's own function, which under Wine is Wine's.
#include "every_test.hpp"
#include "import_patch.hpp"
#include "seeded_random.hpp"
#include "support.hpp"

#include <kit/arguments.hpp>

#include <windows.h>
#include <shellapi.h>

namespace {

using arguments = std::vector<std::string>;

arguments of_the_system(const std::wstring& line) {
  int count = 0;
  wchar_t** const all = CommandLineToArgvW(line.c_str(), &count);
  arguments made;
  for (int i = 0; i != count; ++i) {
    made.push_back(test_support::narrow(all[i]));
  }
  LocalFree(all);
  return made;
}

TEST(Arguments, AreThoseThatTheSystemSees) {
  EXPECT_EQ(foundation::kit::utf8_arguments(), of_the_system(GetCommandLineW()));
  std::wstring line;
  test_support::injected<decltype(&GetCommandLineW)> given("libqxkit.dll", "GetCommandLineW",
                                                           [&](auto) { return line.data(); });
  test_support::seeded_random random;
  for (int round = 0; round < 20000; ++round) {
    line = random.text(random.between(1, 16), std::wstring(L"ab\u00e4 \t\\\\\"\"\""));
    ASSERT_EQ(foundation::kit::utf8_arguments(), of_the_system(line)) << test_support::narrow(line);
  }
  line = L"";
  EXPECT_EQ(foundation::kit::utf8_arguments(), arguments{""});  // For the system's this is the name of the program.
  line = L"x \xD83D a\xDE00";
  EXPECT_EQ(foundation::kit::utf8_arguments(), (arguments{"x", "\uFFFD", "a\uFFFD"}));
}

}  // namespace
