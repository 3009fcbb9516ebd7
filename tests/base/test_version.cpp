// The version a host can ask the loaded library for, against the headers'
// macros, the project version of the build and the file the library was
// loaded from.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "korrin/korrin.h"

namespace {

std::string numbers_of_the_headers() {
  return std::to_string(KORRIN_VERSION_MAJOR) + "." + std::to_string(KORRIN_VERSION_MINOR) + "." +
         std::to_string(KORRIN_VERSION_PATCH);
}

TEST(VersionTest, TheLoadedLibraryReportsTheReleaseOfItsBuild) {
  ASSERT_NE(korrin::version(), nullptr);
  EXPECT_EQ(std::string(korrin::version()), KORRIN_TEST_PROJECT_VERSION);
  EXPECT_EQ(std::string(korrin::version()), numbers_of_the_headers());
  EXPECT_STREQ(korrin::version(), KORRIN_VERSION_STRING);
  // The same static string on every call.
  EXPECT_EQ(korrin::version(), korrin::version());
}

TEST(VersionTest, TheCombinedNumberOrdersReleases) {
  EXPECT_EQ(KORRIN_VERSION,
            KORRIN_VERSION_MAJOR * 10000 + KORRIN_VERSION_MINOR * 100 + KORRIN_VERSION_PATCH);
  static_assert(KORRIN_VERSION_MINOR < 100 && KORRIN_VERSION_PATCH < 100,
                "each part must fit its two digits of KORRIN_VERSION");
#if KORRIN_VERSION < 10100
  FAIL() << "korrin::version() exists from 1.1.0 on";
#endif
}

TEST(VersionTest, TheLibraryFileIsNamedAfterTheReportedRelease) {
  Dl_info info{};
  ASSERT_NE(dladdr(reinterpret_cast<void*>(&korrin::version), &info), 0);
  ASSERT_NE(info.dli_fname, nullptr);
  char* resolved = realpath(info.dli_fname, nullptr);
  ASSERT_NE(resolved, nullptr) << info.dli_fname;
  const std::string file(resolved);
  std::free(resolved);
  const std::string expected = std::string("/libkorrin.so.") + korrin::version();
  ASSERT_GE(file.size(), expected.size());
  EXPECT_EQ(file.substr(file.size() - expected.size()), expected) << file;
}

}  // namespace
