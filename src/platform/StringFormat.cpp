#include "vantorcore/platform/StringFormat.h"

#include <cstdio>
#include <cstring>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace lx {

FormatArg::FormatArg(const SharedString& v) noexcept : kind_(Kind::String), string_(v.view()) {}

long long FormatArg::signedValue() const noexcept {
  switch (kind_) {
    case Kind::Signed:
      return signed_;
    case Kind::Unsigned:
      return static_cast<long long>(unsigned_);
    case Kind::Double:
      return static_cast<long long>(double_);
    case Kind::Pointer:
      return static_cast<long long>(reinterpret_cast<std::uintptr_t>(pointer_));
    case Kind::Value:
      return value_->int64Value();
    default:
      return 0;
  }
}

unsigned long long FormatArg::unsignedValue() const noexcept {
  switch (kind_) {
    case Kind::Signed:
      return static_cast<unsigned long long>(signed_);
    case Kind::Unsigned:
      return unsigned_;
    case Kind::Double:
      return static_cast<unsigned long long>(double_);
    case Kind::Pointer:
      return reinterpret_cast<std::uintptr_t>(pointer_);
    case Kind::Value:
      return value_->uint64Value();
    default:
      return 0;
  }
}

double FormatArg::doubleValue() const noexcept {
  switch (kind_) {
    case Kind::Signed:
      return static_cast<double>(signed_);
    case Kind::Unsigned:
      return static_cast<double>(unsigned_);
    case Kind::Double:
      return double_;
    case Kind::Value:
      return value_->doubleValue();
    default:
      return 0;
  }
}

String FormatArg::text() const {
  switch (kind_) {
    case Kind::Null:
      return u"(null)";
    case Kind::CString:
      return fromUTF8(cstring_);
    case Kind::String:
      return String(string_);
    case Kind::Value:
      return value_->description();
    case Kind::Object:
      return object_->description();
    case Kind::Signed:
      return fromUTF8(std::to_string(signed_));
    case Kind::Unsigned:
      return fromUTF8(std::to_string(unsigned_));
    case Kind::Double: {
      char buf[64];
      std::snprintf(buf, sizeof buf, "%g", double_);
      return fromUTF8(buf);
    }
    case Kind::Pointer: {
      char buf[32];
      std::snprintf(buf, sizeof buf, "%p", pointer_);
      return fromUTF8(buf);
    }
  }
  return {};
}

namespace {

struct ConversionSpecifier {
  std::string flags;
  std::string width;
  std::string precision;  // with its leading '.'
  bool longModifier = false;
  char conversion = 0;
};

void appendASCII(String& out, const char* text) {
  for (; *text; ++text) out.push_back(static_cast<unsigned char>(*text));
}

void appendPadded(String& out, const String& text, const ConversionSpecifier& conversion) {
  std::size_t width =
      conversion.width.empty() ? 0 : std::strtoul(conversion.width.c_str(), nullptr, 10);
  String body = text;
  if (!conversion.precision.empty()) {
    const std::size_t max = std::strtoul(conversion.precision.c_str() + 1, nullptr, 10);
    if (body.size() > max) body.resize(max);
  }
  const bool left = conversion.flags.find('-') != std::string::npos;
  if (!left && body.size() < width) out.append(width - body.size(), u' ');
  out.append(body);
  if (left && body.size() < width) out.append(width - body.size(), u' ');
}

void appendNumber(String& out, const ConversionSpecifier& conversion, const FormatArg& arg) {
  std::string f = "%" + conversion.flags + conversion.width + conversion.precision;
  char buf[512];
  const char c = conversion.conversion;
  switch (c) {
    case 'd':
    case 'i':
      std::snprintf(buf, sizeof buf, (f + "lld").c_str(), arg.signedValue());
      break;
    case 'u':
    case 'x':
    case 'X':
    case 'o': {
      unsigned long long v = arg.unsignedValue();
      // Without a long modifier a negative int prints as its 32-bit pattern,
      // as the C library does ("%x" of -1 is "ffffffff").
      if (!conversion.longModifier && arg.kind() == FormatArg::Kind::Signed &&
          arg.signedValue() < 0) {
        v &= 0xFFFFFFFFULL;
      }
      std::snprintf(buf, sizeof buf, (f + "ll" + c).c_str(), v);
      break;
    }
    default:  // f F e E g G a A
      std::snprintf(buf, sizeof buf, (f + c).c_str(), arg.doubleValue());
      break;
  }
  appendASCII(out, buf);
}

}  // namespace

String formatString(StringView format, std::span<const FormatArg> args) {
  String out;
  out.reserve(format.size() + 16 * args.size());
  std::size_t next = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    const char16_t ch = format[i];
    if (ch != u'%') {
      out.push_back(ch);
      continue;
    }
    ConversionSpecifier conversion;
    std::size_t j = i + 1;
    while (j < format.size() && std::strchr("-+ 0#'", static_cast<char>(format[j])) &&
           format[j] < 0x80 && format[j] != 0) {
      conversion.flags.push_back(static_cast<char>(format[j++]));
    }
    auto readNumber = [&](std::string& into) {
      if (j < format.size() && format[j] == u'*') {
        into = next < args.size() ? std::to_string(args[next++].signedValue()) : "";
        ++j;
        return;
      }
      while (j < format.size() && format[j] >= u'0' && format[j] <= u'9')
        into.push_back(static_cast<char>(format[j++]));
    };
    readNumber(conversion.width);
    if (j < format.size() && format[j] == u'.') {
      ++j;
      conversion.precision.push_back('.');
      readNumber(conversion.precision);
    }
    while (j < format.size() && std::strchr("hlqzjtL", static_cast<char>(format[j])) &&
           format[j] < 0x80 && format[j] != 0) {
      if (format[j] == u'l' || format[j] == u'q' || format[j] == u'z' || format[j] == u'j' ||
          format[j] == u't')
        conversion.longModifier = true;
      ++j;
    }
    if (j >= format.size()) {
      out.append(format.substr(i));
      break;
    }
    const char16_t conv = format[j];
    i = j;
    if (conv == u'%') {
      out.push_back(u'%');
      continue;
    }
    const FormatArg* arg = next < args.size() ? &args[next++] : nullptr;
    if (!arg) continue;
    conversion.conversion = conv < 0x80 ? static_cast<char>(conv) : 0;
    switch (conv) {
      case u'@':
      case u's':
      case u'S':
        appendPadded(out, arg->text(), conversion);
        break;
      case u'c':
      case u'C':
        appendCodePoint(out, static_cast<char32_t>(arg->unsignedValue()));
        break;
      case u'p': {
        char buf[32];
        std::snprintf(buf, sizeof buf, "%p", arg->pointer());
        appendASCII(out, buf);
        break;
      }
      case u'd':
      case u'i':
      case u'u':
      case u'x':
      case u'X':
      case u'o':
      case u'f':
      case u'F':
      case u'e':
      case u'E':
      case u'g':
      case u'G':
      case u'a':
      case u'A':
        appendNumber(out, conversion, *arg);
        break;
      default:
        // An unknown conversion is copied through so the mistake is visible.
        out.push_back(u'%');
        out.push_back(conv);
        break;
    }
  }
  return out;
}

}  // namespace lx
