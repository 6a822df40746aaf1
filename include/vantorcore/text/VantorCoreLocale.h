// Looking up user-visible texts: in the library's own string tables, in the
// host application's, or in a given bundle and table, plus the library's
// version symbols.
//
// Every look-up falls back to the key itself when a table has no entry, never
// to an empty string. All functions may be called from any thread.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/Bundle.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The library's version number: 0.
extern const double VantorCoreVersionNumber;

/// The what(1) identification string, NUL-terminated:
/// "@(#)PROGRAM:VantorCore  PROJECT:VantorCore-\n" (two spaces between the
/// fields, an empty project version after the hyphen).
extern const unsigned char VantorCoreVersionString[];

/// `key` translated by the library's own bundle (`Bundle::framework()`, found
/// once per process by its identifier) in its default table. Without an
/// entry, or should the bundle be missing, the key.
String LXLocal(StringView key);

/// `key` translated by the host's main bundle, default table; else the key.
String LXAppLocal(StringView key);

/// `key` translated by `bundle` (null: the main bundle) in `table` (absent:
/// the bundle's default table); else the key.
String LXLocalizedStringFromTable(StringView key, const Bundle* bundle,
                                  std::optional<StringView> table);

/// `LXLocalizedStringFromTable(key, bundle, std::nullopt)`.
String LXLocalizedString(StringView key, const Bundle* bundle);

/// Returns `string` itself (the same characters at the same address). It
/// marks literal texts that deliberately stay untranslated, so that string
/// extraction tools and reviewers can tell them from forgotten ones.
constexpr StringView LXNonLocalizedString(StringView string) noexcept { return string; }

/// The bundle holding `cls`'s code; see `Bundle::bundleForClass`.
Bundle& LXBundleForClass(const Class& cls);

}  // namespace lx
