#include "platform/SharedLibrary.h"

#include <gtest/gtest.h>

#include <string>

namespace lx::detail {
namespace {

using Sine = double(double);

TEST(SharedLibraryTest, LoadsOnlyWhenTheLibraryAndEverySymbolAreThere) {
  struct Row {
    const char* soname;
    const char* symbol;
    bool loaded;
    const char* errorMentions;
  };
  const Row rows[] = {
      {"libm.so.6", "sin", true, ""},
      {"libm.so.6", "no_such_function_anywhere", false, "no_such_function_anywhere"},
      {"libvantor-no-such-library.so.1", "sin", false, "libvantor-no-such-library.so.1"},
      {"/etc/passwd", "sin", false, "/etc/passwd"},  // a file, but no library
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.soname) + " " + row.symbol);
    SharedLibrary library(row.soname);
    Sine* sine = nullptr;
    library.resolve(sine, row.symbol);
    EXPECT_EQ(library.isLoaded(), row.loaded) << library.error();
    EXPECT_EQ(sine != nullptr, row.loaded);
    EXPECT_NE(library.error().find(row.errorMentions), std::string::npos) << library.error();
    if (sine) {
      EXPECT_DOUBLE_EQ(sine(0.0), 0.0);
    }
  }
}

TEST(SharedLibraryTest, TheFirstMissingSymbolIsTheOneReported) {
  SharedLibrary library("libm.so.6");
  Sine *first = nullptr, *second = nullptr, *found = nullptr;
  library.resolve(first, "first_missing_symbol");
  library.resolve(second, "second_missing_symbol");
  library.resolve(found, "cos");
  EXPECT_NE(library.error().find("first_missing_symbol"), std::string::npos);
  EXPECT_EQ(library.error().find("second_missing_symbol"), std::string::npos);
  EXPECT_NE(found, nullptr);
}

}  // namespace
}  // namespace lx::detail
