// Helpers shared by the test suites.
#pragma once

#include <filesystem>
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

}  // namespace lx::test
