#include <CoreFoundation/CFBundle.h>
#include <CoreFoundation/CFDate.h>
#include <CoreFoundation/CFURL.h>
#include <gtest/gtest.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include "cf_test_support.h"

namespace {

CFOwned<CFURLRef> FileUrl(const char* path, bool isDirectory) {
  return Adopt(CFURLCreateWithFileSystemPath(nullptr, MakeString(path).get(), kCFURLPOSIXPathStyle, isDirectory));
}

std::string UrlString(CFURLRef url) { return Utf8(CFURLGetString(url)); }
std::string Path(CFURLRef url) { return Utf8Of(CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle)); }
// The URL string of a URL the caller owns, which it releases.
std::string UrlStringOf(CFURLRef owned) { return UrlString(Adopt(owned).get()); }
std::string PathOf(CFURLRef owned) { return Path(Adopt(owned).get()); }

TEST(CFURLPaths, FileUrlsFromAbsolutePathsAndBytes) {
  auto file = FileUrl("/Library/Audio/Plug-Ins/My Synth.component/Contents/Info.plist", false);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(UrlString(file.get()), "file:///Library/Audio/Plug-Ins/My%20Synth.component/Contents/Info.plist");
  EXPECT_EQ(Path(file.get()), "/Library/Audio/Plug-Ins/My Synth.component/Contents/Info.plist");
  EXPECT_FALSE(CFURLHasDirectoryPath(file.get()));
  EXPECT_EQ(CFURLGetBaseURL(file.get()), nullptr);

  auto dir = FileUrl("/tmp/a b", true);
  EXPECT_EQ(UrlString(dir.get()), "file:///tmp/a%20b/");
  EXPECT_TRUE(CFURLHasDirectoryPath(dir.get()));
  EXPECT_EQ(Path(dir.get()), "/tmp/a b");
  auto root = FileUrl("/", true);
  EXPECT_EQ(UrlString(root.get()), "file:///");
  EXPECT_EQ(Path(root.get()), "/");
  auto unicode = FileUrl("/音高/100%#?", false);
  EXPECT_EQ(UrlString(unicode.get()), "file:///%E9%9F%B3%E9%AB%98/100%25%23%3F");
  EXPECT_EQ(Path(unicode.get()), "/音高/100%#?");

  UInt8 buffer[64];
  EXPECT_TRUE(CFURLGetFileSystemRepresentation(dir.get(), true, buffer, sizeof buffer));
  EXPECT_STREQ(reinterpret_cast<char*>(buffer), "/tmp/a b");
  EXPECT_FALSE(CFURLGetFileSystemRepresentation(dir.get(), true, buffer, 8));
  EXPECT_TRUE(CFURLGetFileSystemRepresentation(dir.get(), true, buffer, 9));

  const UInt8 raw[] = "/x/y";
  auto fromBytes = Adopt(CFURLCreateFromFileSystemRepresentation(nullptr, raw, 4, false));
  auto fromString = FileUrl("/x/y", false);
  EXPECT_TRUE(CFEqual(fromBytes.get(), fromString.get()));
  EXPECT_EQ(CFHash(fromBytes.get()), CFHash(fromString.get()));
  EXPECT_FALSE(CFEqual(fromBytes.get(), FileUrl("/x/y", true).get()));

  auto windows = Adopt(CFURLCreateWithFileSystemPath(nullptr, CFSTR("C:\\Audio\\Kit"), kCFURLWindowsPathStyle, true));
  EXPECT_EQ(UrlString(windows.get()), "file:///C:/Audio/Kit/");
  EXPECT_EQ(Utf8Of(CFURLCopyFileSystemPath(windows.get(), kCFURLWindowsPathStyle)), "C:\\Audio\\Kit");
}

TEST(CFURLPaths, AppendingAndDeletingComponentsAndExtensions) {
  auto bundle = FileUrl("/x/Foo.component", true);
  auto contents = Adopt(CFURLCreateCopyAppendingPathComponent(nullptr, bundle.get(), CFSTR("Contents"), true));
  EXPECT_EQ(UrlString(contents.get()), "file:///x/Foo.component/Contents/");
  auto plist = Adopt(CFURLCreateCopyAppendingPathComponent(nullptr, contents.get(), CFSTR("Info plist"), false));
  EXPECT_EQ(Path(plist.get()), "/x/Foo.component/Contents/Info plist");
  EXPECT_FALSE(CFURLHasDirectoryPath(plist.get()));

  auto parent = Adopt(CFURLCreateCopyDeletingLastPathComponent(nullptr, FileUrl("/a/b/c", false).get()));
  EXPECT_EQ(UrlString(parent.get()), "file:///a/b/");
  EXPECT_TRUE(CFURLHasDirectoryPath(parent.get()));
  EXPECT_EQ(PathOf(CFURLCreateCopyDeletingLastPathComponent(nullptr, parent.get())), "/a");
  EXPECT_EQ(UrlStringOf(CFURLCreateCopyDeletingLastPathComponent(nullptr, FileUrl("/a", false).get())), "file:///");
  EXPECT_EQ(Utf8Of(CFURLCopyLastPathComponent(bundle.get())), "Foo.component");
  EXPECT_EQ(Utf8Of(CFURLCopyLastPathComponent(FileUrl("/", true).get())), "/");

  EXPECT_EQ(Utf8Of(CFURLCopyPathExtension(bundle.get())), "component");
  auto bare = Adopt(CFURLCreateCopyDeletingPathExtension(nullptr, bundle.get()));
  EXPECT_EQ(UrlString(bare.get()), "file:///x/Foo/");
  EXPECT_EQ(CFURLCopyPathExtension(bare.get()), nullptr);
  EXPECT_EQ(UrlStringOf(CFURLCreateCopyAppendingPathExtension(nullptr, FileUrl("/p/My Preset", false).get(),
                                                              CFSTR("aupreset"))),
            "file:///p/My%20Preset.aupreset");
  EXPECT_EQ(CFURLCopyPathExtension(FileUrl("/home/.profile", false).get()), nullptr);
  auto twice = FileUrl("/t/archive.tar.gz", false);
  EXPECT_EQ(Utf8Of(CFURLCopyPathExtension(twice.get())), "gz");
  EXPECT_EQ(PathOf(CFURLCreateCopyDeletingPathExtension(nullptr, twice.get())), "/t/archive.tar");
}

TEST(CFURLPaths, RelativePathsResolveAgainstTheCurrentDirectory) {
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  auto relative = FileUrl("sub dir/file.txt", false);
  ASSERT_NE(relative, nullptr);
  EXPECT_EQ(UrlString(relative.get()), "sub%20dir/file.txt");
  EXPECT_EQ(Path(relative.get()), "sub dir/file.txt");
  ASSERT_NE(CFURLGetBaseURL(relative.get()), nullptr);
  EXPECT_TRUE(CFURLHasDirectoryPath(CFURLGetBaseURL(relative.get())));

  UInt8 buffer[4200];
  ASSERT_TRUE(CFURLGetFileSystemRepresentation(relative.get(), true, buffer, sizeof buffer));
  const std::string expected = std::string(cwd == std::string("/") ? "" : cwd) + "/sub dir/file.txt";
  EXPECT_EQ(reinterpret_cast<char*>(buffer), expected);
  ASSERT_TRUE(CFURLGetFileSystemRepresentation(relative.get(), false, buffer, sizeof buffer));
  EXPECT_STREQ(reinterpret_cast<char*>(buffer), "sub dir/file.txt");

  auto absolute = Adopt(CFURLCopyAbsoluteURL(relative.get()));
  EXPECT_EQ(Path(absolute.get()), expected);
  EXPECT_EQ(CFURLGetBaseURL(absolute.get()), nullptr);
}

TEST(CFURLStrings, ParsesFileAndOtherUrls) {
  auto file = Adopt(CFURLCreateWithString(nullptr, CFSTR("file:///tmp/My%20File.wav"), nullptr));
  EXPECT_EQ(Path(file.get()), "/tmp/My File.wav");
  EXPECT_EQ(Utf8Of(CFURLCopyLastPathComponent(file.get())), "My File.wav");
  EXPECT_EQ(CFURLCreateWithString(nullptr, CFSTR("file:///tmp/My File.wav"), nullptr), nullptr);
  EXPECT_EQ(CFURLCreateWithString(nullptr, CFSTR("file:///bad%2"), nullptr), nullptr);

  auto web = Adopt(CFURLCreateWithString(nullptr, CFSTR("https://example.com/docs/index.html?x=1"), nullptr));
  EXPECT_EQ(Utf8Of(CFURLCopyPathExtension(web.get())), "html");
  UInt8 buffer[64];
  EXPECT_FALSE(CFURLGetFileSystemRepresentation(web.get(), true, buffer, sizeof buffer));

  auto child = Adopt(CFURLCreateWithString(nullptr, CFSTR("../other/x.txt"), FileUrl("/base/dir", true).get()));
  EXPECT_EQ(UrlStringOf(CFURLCopyAbsoluteURL(child.get())), "file:///base/other/x.txt");
}

TEST(CFURLArguments, NullAndWrongTypesDoNotCrash) {
  EXPECT_EQ(CFURLCreateWithFileSystemPath(nullptr, nullptr, kCFURLPOSIXPathStyle, false), nullptr);
  EXPECT_EQ(CFURLCreateWithFileSystemPath(nullptr, CFSTR(""), kCFURLPOSIXPathStyle, false), nullptr);
  EXPECT_EQ(CFURLCreateFromFileSystemRepresentation(nullptr, nullptr, 3, false), nullptr);
  EXPECT_EQ(CFURLGetString(nullptr), nullptr);
  EXPECT_EQ(CFURLCopyFileSystemPath(reinterpret_cast<CFURLRef>(CFSTR("/a")), kCFURLPOSIXPathStyle), nullptr);
  EXPECT_FALSE(CFURLHasDirectoryPath(nullptr));
  EXPECT_EQ(CFURLCreateCopyAppendingPathComponent(nullptr, nullptr, CFSTR("a"), false), nullptr);
  auto url = FileUrl("/a", false);
  EXPECT_EQ(CFURLCreateCopyAppendingPathComponent(nullptr, url.get(), nullptr, false), nullptr);
  EXPECT_FALSE(CFURLGetFileSystemRepresentation(url.get(), true, nullptr, 10));
}

TEST(CFBundleLookup, UnknownIdentifiersAnswerNull) {
  EXPECT_EQ(CFBundleGetBundleWithIdentifier(CFSTR("com.example.nothing-loaded")), nullptr);
  EXPECT_EQ(CFBundleGetBundleWithIdentifier(nullptr), nullptr);
  EXPECT_EQ(CFBundleGetIdentifier(nullptr), nullptr);
  EXPECT_EQ(CFBundleCopyResourcesDirectoryURL(nullptr), nullptr);
  EXPECT_EQ(
      CFBundleCopyBundleURL(reinterpret_cast<CFBundleRef>(const_cast<void*>(static_cast<const void*>(CFSTR("x"))))),
      nullptr);

  // The main bundle of a plain executable is the directory it runs from.
  CFBundleRef main = CFBundleGetMainBundle();
  if (main != nullptr) {
    EXPECT_EQ(CFGetTypeID(main), CFBundleGetTypeID());
    auto executable = Adopt(CFBundleCopyExecutableURL(main));
    EXPECT_EQ(Utf8Of(CFURLCopyLastPathComponent(executable.get())), "platform_tests");
  }
}

TEST(CFDateClock, AbsoluteTimeCountsFrom2001) {
  EXPECT_EQ(kCFAbsoluteTimeIntervalSince1970, 978307200.0);
  EXPECT_EQ(kCFAbsoluteTimeIntervalSince1904, 3061152000.0);
  const double unixNow = static_cast<double>(time(nullptr));
  EXPECT_NEAR(CFAbsoluteTimeGetCurrent() + kCFAbsoluteTimeIntervalSince1970, unixNow, 2.0);
}

}  // namespace
