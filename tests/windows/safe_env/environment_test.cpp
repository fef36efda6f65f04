// The snapshot of the environment.
#include <safe_env/environment.hpp>

#include "every_test.hpp"
#include "import_patch.hpp"

#include <boost/system/system_error.hpp>

#include <windows.h>

namespace {

using safe_env::get_environment_copy;
using test_support::injected;

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
  EXPECT_THAT(
      get_environment_copy,
      testing::Throws<boost::system::system_error>(testing::AllOf(
          testing::Property(&boost::system::system_error::code,
                            boost::system::error_code(ERROR_NOT_ENOUGH_MEMORY, boost::system::system_category())),
          testing::Property(&std::exception::what, testing::HasSubstr("GetEnvironmentStringsW")))));
  EXPECT_EQ(release.calls(), 1u);
}

}  // namespace
