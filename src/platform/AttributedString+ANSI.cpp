#include "vantorcore/platform/AttributedString+ANSI.h"

#include <cmath>

namespace lx {
namespace {

std::string byte(double component) {
  return std::to_string(static_cast<int>(std::lround(component * 255)));
}

void appendColor(std::string& sgr, const Color& color, bool background) {
  if (color.name() == Color::controlTextColor().name()) return;
  if (!background && color.name() == Color::secondaryLabelColor().name()) {
    sgr += ";90";
    return;
  }
  sgr += background ? ";48;2;" : ";38;2;";
  sgr += byte(color.red()) + ";" + byte(color.green()) + ";" + byte(color.blue());
}

// The run's SGR parameters after the reset ("0").
std::string selectGraphicRendition(const TextAttributes& attributes) {
  std::string sgr = "0";
  if (attributes.font && attributes.font->isBold()) sgr += ";1";
  if (attributes.foregroundColor) appendColor(sgr, *attributes.foregroundColor, false);
  if (attributes.backgroundColor) appendColor(sgr, *attributes.backgroundColor, true);
  return sgr;
}

String withoutControls(StringView text) {
  String out(text);
  for (char16_t& c : out) {
    if ((c < 0x20 && c != u'\n' && c != u'\t') || c == 0x7F || (c >= 0x80 && c < 0xA0)) {
      c = u'\uFFFD';
    }
  }
  return out;
}

}  // namespace

std::string lx_ANSITerminalString(const AttributedString& text) {
  std::string out;
  bool styled = false;
  for (const AttributedString::Run& run : text.runs()) {
    const std::string sgr = selectGraphicRendition(run.attributes);
    if (sgr != "0" || styled) {
      out += "\x1b[" + sgr + "m";
      styled = true;
    }
    const std::string body = toUTF8(
        withoutControls(StringView(text.string()).substr(run.range.location, run.range.length)));
    if (run.attributes.link) {
      const std::string url = toUTF8(withoutControls(*run.attributes.link));
      out += "\x1b]8;;" + url + "\x1b\\" + body + "\x1b]8;;\x1b\\";
    } else {
      out += body;
    }
  }
  if (styled) out += "\x1b[0m";
  return out;
}

}  // namespace lx
