// Libraries bound on first call: a process that never calls into one never
// opens it, and one that cannot open it stops at the first call with the
// loader's words.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/TestSupport.h"
#include "vantorcore/platform/PropertyList.h"

namespace lx {
namespace {

#ifdef VANTOR_FIRST_CALL_PLIST_SONAME
TEST(FirstCallBinding, ThreadsCallingAtOnceBindTheGroupOnce) {
  // In a process of its own, so that nothing has bound libplist yet.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const Data xml = dataFromBytes("<plist version=\"1.0\"><string>x</string></plist>");
        std::vector<std::thread> threads;
        std::atomic<int> parsed{0};
        for (int i = 0; i < 8; ++i) {
          threads.emplace_back([&] {
            if (PropertyList::read(xml) == Value(u"x")) ++parsed;
          });
        }
        for (std::thread& thread : threads) thread.join();
        std::exit(parsed == 8 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}
#endif

#if defined(VANTOR_TOOL) && defined(VANTOR_FIRST_CALL_OPENSSL_SONAME)
// The tool links the library statically, stubs included; an empty file under
// a library's soname, first on the loader's path, cannot be opened.
TEST(FirstCallBinding, EachGroupOpensOnItsFirstCallAndStopsTheProcessWhenItCannot) {
  const auto folder = test::makeTemporaryFolder("first-call");
  const std::string hello = (folder / "hello").string();
  test::writeFile(hello, "hello\n");
  test::writeFile(folder / "object.json", "{\"a\": 1}");
  const std::string keyed = "archive keyed --xml < " + (folder / "object.json").string();
  const std::string keychain = "keychain get --backend embedded --service s";
  const std::string xpath = "xml xpath 'count(//a)' < " + (folder / "object.json").string();
  const struct {
    std::string arguments;
    const char* brokenLibrary;  // empty: every library opens
    int status;                 // 134: stopped by SIGABRT
    const char* output;
  } rows[] = {
      {"digest sha256 " + hello, "", 0,
       "5891b5b522d5df086d0ff0b110fbd9d21bb4fc7163af34d08286a2e846f6be03"},
      {"digest sha256 " + hello, VANTOR_FIRST_CALL_OPENSSL_SONAME, 134, "cannot bind"},
      {"--help", VANTOR_FIRST_CALL_OPENSSL_SONAME, 0, "usage: vantor"},
      {keychain, "", 1, ""},
      {keychain, VANTOR_FIRST_CALL_SQLITE3_SONAME, 134, "cannot bind"},
      {"--help", VANTOR_FIRST_CALL_SQLITE3_SONAME, 0, "usage: vantor"},
      {keyed, "", 0, "<plist"},
      {keyed, VANTOR_FIRST_CALL_PLIST_SONAME, 134, "cannot bind"},
      {"--help", VANTOR_FIRST_CALL_PLIST_SONAME, 0, "usage: vantor"},
      {xpath, "", 1, ""},  // not XML
      {xpath, VANTOR_FIRST_CALL_XML2_SONAME, 134, "cannot bind"},
      {"--help", VANTOR_FIRST_CALL_XML2_SONAME, 0, "usage: vantor"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.arguments + " / " + row.brokenLibrary);
    const auto libraries = test::makeTemporaryFolder("libraries");
    if (*row.brokenLibrary) test::writeFile(libraries / row.brokenLibrary, "");
    const test::ShellResult tool =
        test::runShell("env HOME=" + folder.string() + " LD_LIBRARY_PATH=" + libraries.string() +
                       " " + VANTOR_TOOL + " " + row.arguments);
    EXPECT_EQ(tool.status, row.status) << tool.output;
    EXPECT_NE(tool.output.find(row.output), std::string::npos) << tool.output;
    if (row.status == 134) {
      EXPECT_NE(tool.output.find(row.brokenLibrary), std::string::npos) << tool.output;
    }
  }
}
#endif

}  // namespace
}  // namespace lx
