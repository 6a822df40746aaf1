// Helpers shared by the test suites.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <initializer_list>
#include <optional>
#include <ostream>
#include <string>

#include "vantorcore/platform/Object.h"
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

/// Runs `program` with python3, with `input` on its standard input, and
/// returns its standard output; absent when python3 cannot be started or
/// exits with a status other than 0.
std::optional<std::string> runPython(const std::string& program, std::string_view input = {});

/// What a shell command printed (standard output and error together) and
/// its exit status as the shell gives it (128 + the signal when killed).
struct ShellResult {
  int status = -1;
  std::string output;
};

/// Runs `command` with sh and waits for it.
ShellResult runShell(const std::string& command);

/// Sets an environment variable for the life of the object, then restores
/// the value it had (the temporary home installs every variable we touch).
class ScopedEnvironmentVariable {
 public:
  ScopedEnvironmentVariable(const char* name, const std::string& value)
      : name_(name), previous_(getenv(name) ? getenv(name) : "") {
    setenv(name, value.c_str(), 1);
  }
  ~ScopedEnvironmentVariable() { setenv(name_, previous_.c_str(), 1); }
  ScopedEnvironmentVariable(const ScopedEnvironmentVariable&) = delete;
  ScopedEnvironmentVariable& operator=(const ScopedEnvironmentVariable&) = delete;

 private:
  const char* name_;
  std::string previous_;
};

/// Equal to every other instance, so code that must match objects by
/// identity fails visibly when it matches by equality instead.
class Twin : public Object {
 public:
  bool isEqual(const Object& other) const override { return dynamic_cast<const Twin*>(&other); }
  std::size_t hash() const noexcept override { return 1; }
};

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

namespace lx {
/// Prints values in failure messages as their description.
inline void PrintTo(const Value& value, std::ostream* out) { *out << toUTF8(value.description()); }
}  // namespace lx
