// The running system's identification from os-release(5): "/etc/os-release",
// or "/usr/lib/os-release" when the first cannot be read.
//
// The file is read through a replaceable source, so tests and hosts can
// supply its contents:
//
//   auto previous = lx::OSRelease::setSource([] { return std::string("VERSION_ID=12\n"); });
//   ...
//   lx::OSRelease::setSource(previous);
//
// Every function may be called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class OSRelease {
 public:
  /// Yields the file's contents, or absent when there is no file to read.
  using Source = std::function<std::optional<std::string>()>;

  /// Installs `source` (empty: the files named above) and returns the one it
  /// replaces. Each call moves `generation()` on, so that values cached from
  /// the old source can be told apart.
  static Source setSource(Source source);
  /// Counts `setSource` calls.
  static std::uint64_t generation() noexcept;

  /// The variables of the current source's text (see `parse`), or absent
  /// when the source has none.
  static std::optional<Dictionary> read();
  /// One variable's value, or absent when the variable or the file is missing.
  static std::optional<String> value(StringView key);

  /// The variables of an os-release text, in order, as strings. Lines are
  /// KEY=VALUE with KEY of letters, digits and "_"; VALUE is bare, or in
  /// double quotes (where "\\" escapes the next character) or single quotes.
  /// Comment lines ("#"), blank lines and malformed lines are skipped; a
  /// later line for the same key wins.
  ///   'VERSION_ID="22.04"'     => VERSION_ID = 22.04
  ///   "NAME='Debian' # x"      => malformed (text after the quote)
  ///   'PRETTY_NAME="a \"b\""'  => PRETTY_NAME = a "b"
  static Dictionary parse(std::string_view text);
};

}  // namespace lx
