#include "vantorcore/platform/BoxedValue.h"

#include <cstring>
#include <functional>

namespace lx {

LX_DEFINE_CLASS(BoxedValue, Object)

namespace {

template <class T>
std::shared_ptr<BoxedValue> box(std::string type, T value) {
  Data bytes(sizeof value);
  std::memcpy(bytes.data(), &value, sizeof value);
  return std::make_shared<BoxedValue>(std::move(type), std::move(bytes));
}

}  // namespace

std::optional<std::size_t> BoxedValue::sizeOfObjCType(std::string_view type) noexcept {
  if (type.size() != 1) return std::nullopt;
  switch (type[0]) {
    case 'c':
    case 'C':
    case 'B':
      return 1;
    case 's':
    case 'S':
      return 2;
    case 'i':
    case 'I':
    case 'l':
    case 'L':
    case 'f':
      return 4;
    case 'q':
    case 'Q':
    case 'd':
      return 8;
    default:
      return std::nullopt;
  }
}

std::shared_ptr<BoxedValue> BoxedValue::valueWithBytes(std::string_view type, DataView bytes) {
  const std::optional<std::size_t> size = sizeOfObjCType(type);
  if (!size || *size != bytes.size()) return nullptr;
  return std::make_shared<BoxedValue>(std::string(type), Data(bytes.begin(), bytes.end()));
}

std::shared_ptr<BoxedValue> BoxedValue::valueWithBool(bool value) {
  return box<std::uint8_t>("B", value ? 1 : 0);
}
std::shared_ptr<BoxedValue> BoxedValue::valueWithInt32(std::int32_t value) {
  return box("i", value);
}
std::shared_ptr<BoxedValue> BoxedValue::valueWithInt64(std::int64_t value) {
  return box("q", value);
}
std::shared_ptr<BoxedValue> BoxedValue::valueWithUInt64(std::uint64_t value) {
  return box("Q", value);
}
std::shared_ptr<BoxedValue> BoxedValue::valueWithFloat(float value) { return box("f", value); }
std::shared_ptr<BoxedValue> BoxedValue::valueWithDouble(double value) { return box("d", value); }

bool BoxedValue::getValue(void* buffer, std::size_t size) const noexcept {
  if (size != bytes_.size()) return false;
  std::memcpy(buffer, bytes_.data(), size);
  return true;
}

template <class T>
std::optional<T> BoxedValue::read(std::string_view type) const noexcept {
  T value{};
  if (type_ != type || !getValue(&value, sizeof value)) return std::nullopt;
  return value;
}

std::optional<bool> BoxedValue::boolValue() const noexcept {
  const auto byte = read<std::uint8_t>("B");
  if (!byte) return std::nullopt;
  return *byte != 0;
}
std::optional<std::int32_t> BoxedValue::int32Value() const noexcept {
  return read<std::int32_t>("i");
}
std::optional<std::int64_t> BoxedValue::int64Value() const noexcept {
  return read<std::int64_t>("q");
}
std::optional<std::uint64_t> BoxedValue::uint64Value() const noexcept {
  return read<std::uint64_t>("Q");
}
std::optional<float> BoxedValue::floatValue() const noexcept { return read<float>("f"); }
std::optional<double> BoxedValue::doubleValue() const noexcept { return read<double>("d"); }

Value BoxedValue::numberValue() const noexcept {
  switch (type_[0]) {
    case 'B':
      return Value(bytes_[0] != 0);
    case 'c':
      return Value(*read<std::int8_t>("c"));
    case 'C':
      return Value(*read<std::uint8_t>("C"));
    case 's':
      return Value(*read<std::int16_t>("s"));
    case 'S':
      return Value(*read<std::uint16_t>("S"));
    case 'i':
    case 'l':
      return Value(*read<std::int32_t>(type_));
    case 'I':
    case 'L':
      return Value(*read<std::uint32_t>(type_));
    case 'q':
      return Value(*read<std::int64_t>("q"));
    case 'Q':
      return Value(*read<std::uint64_t>("Q"));
    case 'f':
      return Value(*read<float>("f"));
    default:
      return Value(*read<double>("d"));
  }
}

String BoxedValue::description() const {
  String text = u"<";
  for (std::uint8_t b : bytes_) {
    text += u"0123456789abcdef"[b >> 4];
    text += u"0123456789abcdef"[b & 0xF];
  }
  return text + u">";
}

bool BoxedValue::isEqual(const Object& other) const {
  const auto* box = dynamic_cast<const BoxedValue*>(&other);
  return box && box->type_ == type_ && box->bytes_ == bytes_;
}

std::size_t BoxedValue::hash() const noexcept {
  std::size_t h = std::hash<std::string>{}(type_);
  for (std::uint8_t b : bytes_) h = h * 31 + b;
  return h;
}

}  // namespace lx
