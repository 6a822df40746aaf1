#include "vantorcore/text/LXUUID.h"

#include <sys/random.h>

#include <cerrno>
#include <cstring>
#include <fstream>

#include "vantorcore/platform/Log.h"

namespace lx {

LX_DEFINE_CLASS(LXUUID, Object)

namespace {

constexpr StringView kCodingKey = u"UUID";

// getrandom() blocks only until the kernel's pool is first initialised,
// which has long happened by the time a desktop application runs.
bool fillRandom(std::uint8_t* out, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t n = getrandom(out + done, size - done, 0);
    if (n < 0) {
      if (errno == EINTR) continue;
      std::ifstream urandom("/dev/urandom", std::ios::binary);
      return static_cast<bool>(urandom.read(reinterpret_cast<char*>(out + done),
                                            static_cast<std::streamsize>(size - done)));
    }
    done += static_cast<std::size_t>(n);
  }
  return true;
}

int hexDigit(char16_t c) {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

bool isHyphenPosition(std::size_t i) { return i == 8 || i == 13 || i == 18 || i == 23; }

std::optional<LXUUID::Bytes> parse(StringView text) {
  if (text.size() != 36) return std::nullopt;
  LXUUID::Bytes bytes{};
  std::size_t nibble = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isHyphenPosition(i)) {
      if (text[i] != u'-') return std::nullopt;
      continue;
    }
    const int d = hexDigit(text[i]);
    if (d < 0) return std::nullopt;
    bytes[nibble / 2] = static_cast<std::uint8_t>(bytes[nibble / 2] << 4 | d);
    ++nibble;
  }
  return bytes;
}

}  // namespace

std::shared_ptr<LXUUID> LXUUID::UUID() {
  Bytes bytes{};
  if (!fillRandom(bytes.data(), bytes.size())) {
    LXConditionFailed(u"no random source for UUID");
    return nullptr;
  }
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  return std::make_shared<LXUUID>(std::make_shared<const Bytes>(bytes));
}

std::shared_ptr<LXUUID> LXUUID::UUIDWithString(StringView text) {
  auto bytes = parse(text);
  if (!bytes) {
    LXConditionFailed(u"couldn't create UUID from string");
    return nullptr;
  }
  return std::make_shared<LXUUID>(std::make_shared<const Bytes>(*bytes));
}

std::shared_ptr<LXUUID> LXUUID::UUIDWithBytes(BytesPtr bytes) {
  if (!bytes) {
    LXConditionFailed(u"UUID is NULL");
    return nullptr;
  }
  return std::make_shared<LXUUID>(std::move(bytes));
}

std::shared_ptr<LXUUID> LXUUID::initWithCoder(Coder& coder) {
  const Value text =
      coder.allowsKeyedCoding() ? coder.decodeObjectForKey(kCodingKey) : coder.decodeObject();
  return UUIDWithString(text.isString() ? StringView(*text.asString()) : StringView());
}

void LXUUID::encodeWithCoder(Coder& coder) const {
  if (coder.allowsKeyedCoding()) {
    coder.encodeObject(Value(stringValue()), kCodingKey);
  } else {
    coder.encodeObject(Value(stringValue()));
  }
}

std::shared_ptr<LXUUID> LXUUID::copy() const { return UUIDWithBytes(bytes_); }

String LXUUID::stringValue() const {
  static constexpr char kHex[] = "0123456789ABCDEF";
  String out;
  out.reserve(36);
  for (std::size_t i = 0; i < bytes_->size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) out.push_back(u'-');
    out.push_back(static_cast<char16_t>(kHex[(*bytes_)[i] >> 4]));
    out.push_back(static_cast<char16_t>(kHex[(*bytes_)[i] & 15]));
  }
  return out;
}

String LXUUID::description() const {
  return u"<" + Object::description() + u": " + stringValue() + u">";
}

bool LXUUID::isEqual(const Object& other) const {
  const auto* uuid = dynamic_cast<const LXUUID*>(&other);
  if (!uuid) return false;
  if (uuid->bytes_ == bytes_) return true;
  return bytes_ && uuid->bytes_ && *bytes_ == *uuid->bytes_;
}

std::size_t LXUUID::hash() const noexcept {
  std::uint64_t a, b;
  std::memcpy(&a, bytes_->data(), 8);
  std::memcpy(&b, bytes_->data() + 8, 8);
  return static_cast<std::size_t>(a ^ (b * 0x9E3779B97F4A7C15ULL));
}

}  // namespace lx
