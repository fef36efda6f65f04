// Paths as values, and the part of their native form that needs no system.
#include <i18n/path.hpp>

#include "every_test.hpp"
#include "path/path_cleanup.hpp"

namespace {

using fl::ustring;
using fl::filesystem::path;
using namespace fl::filesystem::detail;

TEST(PathCleanup, KeepsTheRootAndTakesOutWhatSaysNothing) {
  const std::pair<const char16_t*, const char16_t*> cases[] = {
      {u"", u""},
      {u"a/b\\\\c//", u"a\\b\\c\\"},
      {u"./", u".\\"},
      {u"a/..", u"."},
      {u"./a/./b/.", u"a\\b"},
      {u"../../a/../b", u"..\\..\\b"},
      {u"a/../../b", u"..\\b"},
      {u"a.../..b", u"a...\\..b"},
      {u"C:.", u"C:."},
      {u"C:foo/../bar", u"C:bar"},
      {u"C:../foo", u"C:..\\foo"},
      {u"C:\\..\\..\\x/", u"C:\\x\\"},
      {u"C:/a/..", u"C:\\"},
      {u"\u00E9:..", u"\u00E9:.."},
      {u"a/C:/..", u"a"},
      {u"\\", u"\\"},
      {u"/../foo", u"\\foo"},
      {u"///a//b", u"\\a\\b"},
      {u"//server/", u"\\\\server\\"},
      {u"//server/share", u"\\\\server\\share"},
      {u"\\\\server\\share\\..", u"\\\\server\\share\\"},
      {u"//server//share/a/../../../b/", u"\\\\server\\share\\b\\"},
      {u"//./pipe/x", u"\\\\.\\pipe\\x"},
      {u"\\\\?\\C:\\a\\..\\b/.", u"\\\\?\\C:\\a\\..\\b/."},
      {u"\\??\\C:\\..", u"\\??\\C:\\.."},
      // Such paths once led to a drive or a device.
      {u"./c:/./c:", u".\\c:\\c:"},
      {u"a/../c:x", u".\\c:x"},
      {u"/a/../?\?/C:", u"\\.\\??\\C:"}};
  for (const auto& [text, clean] : cases) {
    EXPECT_EQ(clean_path(text), clean) << path(text).native().c_str();
    EXPECT_EQ(clean_path(clean), clean) << "a clean path changes no more";
  }
  EXPECT_EQ(with_long_path_prefix(u"C:\\a"), u"\\\\?\\C:\\a");
  EXPECT_EQ(with_long_path_prefix(u"\\\\server\\share\\a"), u"\\\\?\\UNC\\server\\share\\a");
  EXPECT_EQ(with_long_path_prefix(u"\\\\.\\NUL"), u"\\\\.\\NUL");
}

TEST(Path, IsTakenApartAndPutTogether) {
  const struct {
    const char16_t* text;
    const char16_t* parent;
    const char16_t* stem;
    const char16_t* extension;
    bool is_absolute;
  } cases[] = {{u"", u"", u"", u"", false},
               {u"a", u"", u"a", u"", false},
               {u"a.b/c.tar.gz", u"a.b", u"c.tar", u".gz", false},
               {u"a.b\\\\c", u"a.b", u"c", u"", false},
               {u".profile", u"", u".profile", u"", false},
               {u"x/..", u"x", u"..", u"", false},
               {u"a.", u"", u"a", u".", false},
               {u"C:f.t", u"C:", u"f", u".t", false},
               {u"c:/", u"c:/", u"", u"", true},
               {u"/f", u"/", u"f", u"", false},
               {u"\\\\server\\share\\f", u"\\\\server\\share", u"f", u"", true},
               {u"//server", u"//", u"server", u"", true}};
  for (const auto& [text, parent, stem, extension, is_absolute] : cases) {
    const path whole(text);
    EXPECT_EQ(whole.parent_path(), path(parent)) << whole.native().c_str();
    EXPECT_EQ(whole.filename(), whole.stem() + whole.extension()) << whole.native().c_str();
    EXPECT_EQ(whole.stem() + u'|' + whole.extension(), ustring(stem) + u'|' + extension) << whole.native().c_str();
    EXPECT_EQ(whole.is_absolute(), is_absolute) << whole.native().c_str();
  }

  const char16_t* const joined[][3] = {
      {u"a", u"b", u"a\\b"},     {u"a/", u"b", u"a/b"},         {u"a", u"/b", u"/b"},     {u"", u"b", u"b"},
      {u"a", u"", u"a\\"},       {u"C:", u"b", u"C:b"},         {u"C:", u"/b", u"C:/b"},  {u"C:/a", u"/b", u"C:/b"},
      {u"C:/a", u"D:b", u"D:b"}, {u"C:/a", u"C:b", u"C:/a\\b"}, {u"a", u"C:/b", u"C:/b"}, {u"a", u"//s/b", u"//s/b"},
      {u"", u"", u""},           {u"//s/a", u"/b", u"//s/b"},   {u"//s", u"b", u"//s\\b"}};
  for (const auto& [left, right, result] : joined) {
    EXPECT_EQ(path(left) / path(right), path(result)) << path(left).native().c_str();
  }
  path self(u"a");
  self /= self;
  EXPECT_EQ(self, path(L"a\\a"));
}

}  // namespace
