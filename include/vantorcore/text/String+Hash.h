// Digests of strings, as bytes and as lower-case hexadecimal text. Strings
// are digested as UTF-8 (a lone surrogate counts as U+FFFD). Any thread.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The MD5 digest of the UTF-8 bytes up to the first NUL.
Data lx_MD5Data(StringView string);
/// The SHA-1 digest of the UTF-8 bytes up to the first NUL.
Data lx_SHA1Data(StringView string);
/// `lx_MD5Data` as 32 lower-case hexadecimal digits.
///   'abc' => '900150983cd24fb0d6963f7d28e17f72'   'abc' U+0000 'd' => the same
String lx_MD5String(StringView string);
/// `lx_SHA1Data` as 40 lower-case hexadecimal digits.
///   'abc' => 'a9993e364706816aba3e25717850c26c9cd0d89d'
String lx_SHA1String(StringView string);

/// The digest of the whole UTF-8 encoding (NULs included) as lower-case
/// hexadecimal text, with algorithm 0 = MD5, 1 = SHA-1, 2 = SHA-256; absent
/// for any other algorithm.
///   ('', 2) => 'e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855'
std::optional<String> lx_hashWithAlgorithm(StringView string, int algorithm);

}  // namespace lx
