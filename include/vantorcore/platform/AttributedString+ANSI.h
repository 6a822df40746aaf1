// Styled text for a terminal: SGR escape sequences for weight and colours,
// OSC 8 for links.
#pragma once

#include "vantorcore/Export.h"

#include <string>

#include "vantorcore/platform/AttributedString.h"

namespace LX_API lx {

/// `text` as UTF-8 for a terminal that understands 24-bit colour. Each run
/// starts from the terminal's defaults: a bold font adds SGR 1, a
/// foreground or background colour "38;2;r;g;b" / "48;2;r;g;b" (alpha
/// is ignored), `Color::controlTextColor()` keeps the terminal's own text
/// colour and `Color::secondaryLabelColor()` becomes bright black (90), so
/// themes stay readable; a link wraps the run in an OSC 8 hyperlink. The
/// output ends with a reset when any run was styled. Control characters
/// other than tab and newline (escape above all) are written as U+FFFD, so
/// text from a file cannot drive the terminal:
///   'a\x1b[2Jb' (no attributes) => 'a\uFFFD[2Jb'
std::string lx_ANSITerminalString(const AttributedString& text);

}  // namespace lx
