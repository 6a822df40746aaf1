// Forward and backward single steps on the platform `Scanner`.
//
// All of these work on the scanner's string and scan location directly and
// ignore its `charactersToBeSkipped`; set tests look at one UTF-16 unit at a
// time. Results go to `into` when it is given; a failed step leaves the
// location alone unless its comment says otherwise.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/CharacterSet.h"
#include "vantorcore/platform/Scanner.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// Reads the unit at the location when `set` is given and holds it.
///   'a1' at 0, letters => true, 'a', location 1;   digits => false, location 0
bool scanNextCharacterFromSet(Scanner& scanner, const std::optional<CharacterSet>& set,
                              String* into = nullptr);

/// Reads `string` when it fits in the rest and the next units equal it,
/// ignoring case unless the scanner is case-sensitive; `into` gets the
/// scanned text as it stands in the string.
///   'abc', 'AB' => true on a case-insensitive scanner, false on a case-sensitive one
bool scanNextString(Scanner& scanner, StringView string, String* into = nullptr);

/// Steps back over the unit before the location, whether or not it is in
/// `set`; true (and that unit) only when it is. False without a move at 0.
///   'ab' at 2, letters => true, 'b', location 1;   digits => false, location 1
bool scanBackwardNextCharacterFromSet(Scanner& scanner, const CharacterSet& set,
                                      String* into = nullptr);

/// Moves back over members of `set`, leaving the location on the first unit
/// passed; true (and the passed text, in forward order) when any was passed.
///   'a  ' at 3, white space => true, '  ', location 1
bool scanBackwardCharactersFromSet(Scanner& scanner, const CharacterSet& set, String* into);

/// Moves back to just after the last member of `set` before the location (to
/// 0 when there is none); true (and the text passed) when that text is
/// non-empty. When the member found is the string's last unit: false, no move.
///   'a b' at 3, white space => true, 'b', location 2
///   'ab ' at 3, white space => false, location 3
bool scanBackwardUpToCharactersFromSet(Scanner& scanner, const CharacterSet& set,
                                       String* into = nullptr);

/// Searches backward before the location for `string` (case rule of the
/// scanner). Found: `into` gets the text from the end of the match to the
/// location, which moves to the end of the match; true unless the match is at
/// 0 and that text is empty. Not found: `into` gets the text from 0 to the
/// location, which becomes 0, and the result is true even when that text is
/// empty (the platform adds the not-found marker to the length).
///   'k=v' at 3, '=' => true, 'v', location 2;   '=v' at 1, '=' => false
///   'kv' at 2, '=' => true, 'kv', location 0
bool scanBackwardUpToString(Scanner& scanner, StringView string, String* into = nullptr);

/// Advances over members of `set`; true when any was passed.
bool scanPastCharactersFromSet(Scanner& scanner, const CharacterSet& set);

}  // namespace lx
