// Helpers shared by the test suites.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <string>

#include "vantorcore/platform/String.h"

namespace lx::test {

/// Points HOME, TMPDIR and XDG_{CONFIG,DATA,CACHE,STATE}_HOME at folders in
/// a fresh temporary directory (removed at exit). Called once by main().
void installTemporaryHome();

/// The temporary home installed by `installTemporaryHome`.
const std::filesystem::path& temporaryHome();

/// A new empty folder below the temporary home, unique per call.
std::filesystem::path makeTemporaryFolder(const std::string& hint = "t");

/// Writes `contents` to `path`, creating parent folders.
void writeFile(const std::filesystem::path& path, std::string_view contents);

/// Reads a whole file; empty when it cannot be read.
std::string readFile(const std::filesystem::path& path);

/// One row of a text-in/text-out table.
struct UnaryCase {
  String in;
  String out;
};

/// Checks `function` against every row, naming the failing input.
inline void expectTable(String (*function)(StringView), std::initializer_list<UnaryCase> cases) {
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.in));
    EXPECT_EQ(function(c.in), c.out);
  }
}

}  // namespace lx::test
