// The versions of headers and DLL: as functions, as the record of the log, and as the file properties show them.

#include <fl/process/process.hpp>
#include <fl/version.hpp>

#include "every_test.hpp"
#include "support.hpp"

#include <windows.h>

#include <regex>

namespace {

using namespace foundation::core;
using test_support::scoped_variable;

const test_support::temp_dir folder("version");
const scoped_variable log_file("QX_LOG_FILE", folder.file("log")), log_level("QX_LOG", "fl::version=note+complaint");

/// All records so far, without time and thread.
std::string records() {
  return std::regex_replace(test_support::read_file(folder.file("log")), std::regex("[^\n]*\\[fl::version\\] "), "");
}

TEST(Version, StandsInTheLogAtTheFirstLaunchAndForTheHeadersOfEachThatAsks) {
  for (int launch = 0; launch < 2; ++launch) {
    EXPECT_ANY_THROW(process::process(process::command("no such program")));
  }
  const std::string first = "note: libqxfl " QXFL_VERSION_STRING;
  EXPECT_EQ(records(), first + "\n");
  EXPECT_TRUE(loaded_version_fits());
  EXPECT_TRUE(loaded_version_fits());
  const std::string second = first + "\n" + first + ", used with headers of " QXFL_VERSION_STRING "\n";
  EXPECT_EQ(records(), second);
  EXPECT_FALSE(loaded_version_fits(QXFL_VERSION + 1));
  EXPECT_FALSE(loaded_version_fits(2'034'056));
  EXPECT_THAT(records(), testing::EndsWith("\ncomplaint: libqxfl " QXFL_VERSION_STRING
                                           ", used with headers of 2.34.56, which it does not fit\n"));
  EXPECT_EQ(loaded_version_fits(QXFL_VERSION - QXFL_VERSION_PATCH), true) << "an older patch";
  EXPECT_EQ(loaded_version_fits(QXFL_VERSION_MAJOR * 1'000'000), QXFL_VERSION_MAJOR > 0 || QXFL_VERSION_MINOR == 0);
}

TEST(Version, IsTheSameInTheHeadersTheDllAndItsFileProperties) {
  EXPECT_EQ(loaded_version(), QXFL_VERSION);
  EXPECT_STREQ(loaded_version_text(), QXFL_VERSION_STRING);
  const HMODULE library = GetModuleHandleW(L"libqxfl.dll");
  const HRSRC place = FindResourceW(library, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(16));
  ASSERT_NE(place, nullptr);
  const auto* fields = static_cast<const char*>(LockResource(LoadResource(library, place)));
  VS_FIXEDFILEINFO info;
  std::memcpy(&info, fields + 40, sizeof info);  // Behind the lengths and the key "VS_VERSION_INFO".
  ASSERT_EQ(info.dwSignature, 0xFEEF04BD);
  EXPECT_EQ(
      HIWORD(info.dwFileVersionMS) * 1'000'000u + LOWORD(info.dwFileVersionMS) * 1'000u + HIWORD(info.dwFileVersionLS),
      QXFL_VERSION);
}

}  // namespace
