// `stringWithFormat`: printf-style formatting into a `String`, with the
// platform's `%@` conversion for strings, values and objects.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <type_traits>

#include "vantorcore/platform/String.h"

namespace LX_API lx {

class Object;
class Value;
class SharedString;

/// One argument of `stringWithFormat`. Built implicitly from integers,
/// floating-point numbers, C strings (UTF-8, `%s`), strings and values
/// (`%@`), objects (`%@`, their description) and pointers (`%p`). It holds
/// references: use it only inside the call it is built for.
class FormatArg {
 public:
  /// What the argument holds, which decides the conversions it may meet.
  enum class Kind { Signed, Unsigned, Double, CString, String, Value, Object, Pointer, Null };

  /// Captures an argument by its type; strings and values are referenced, not copied.
  ///@{
  FormatArg(std::nullptr_t) noexcept : kind_(Kind::Null) {}
  FormatArg(bool v) noexcept : kind_(Kind::Signed), signed_(v) {}
  template <class T>
  requires(std::is_integral_v<T>&& std::is_signed_v<T> && !std::is_same_v<T, bool> &&
           !std::is_same_v<T, char16_t>) FormatArg(T v)
  noexcept : kind_(Kind::Signed), signed_(v) {}
  template <class T>
  requires(std::is_integral_v<T>&& std::is_unsigned_v<T> && !std::is_same_v<T, bool> &&
           !std::is_same_v<T, char16_t>) FormatArg(T v)
  noexcept : kind_(Kind::Unsigned), unsigned_(v) {}
  template <class T>
  requires std::is_enum_v<T> FormatArg(T v)
  noexcept : kind_(Kind::Signed), signed_(static_cast<long long>(v)) {}
  FormatArg(char16_t v) noexcept : kind_(Kind::Unsigned), unsigned_(v) {}
  FormatArg(double v) noexcept : kind_(Kind::Double), double_(v) {}
  FormatArg(const char* v) noexcept : kind_(v ? Kind::CString : Kind::Null), cstring_(v) {}
  FormatArg(const std::string& v) noexcept : kind_(Kind::CString), cstring_(v.c_str()) {}
  FormatArg(const String& v) noexcept : kind_(Kind::String), string_(v) {}
  FormatArg(StringView v) noexcept : kind_(Kind::String), string_(v) {}
  FormatArg(const SharedString& v) noexcept;
  FormatArg(const char16_t* v) noexcept : kind_(v ? Kind::String : Kind::Null) {
    if (v) string_ = StringView(v);
  }
  FormatArg(const std::optional<String>& v) noexcept : kind_(v ? Kind::String : Kind::Null) {
    if (v) string_ = *v;
  }
  FormatArg(const Value& v) noexcept : kind_(Kind::Value), value_(&v) {}
  template <class T>
  requires std::is_base_of_v<Object, T> FormatArg(const std::shared_ptr<T>& v)
  noexcept : kind_(v ? Kind::Object : Kind::Null), object_(v.get()) {}
  template <class T>
  requires(!std::is_same_v<std::remove_cv_t<T>, char> &&
           !std::is_same_v<std::remove_cv_t<T>, char16_t>) FormatArg(T* v)
  noexcept : kind_(Kind::Pointer), pointer_(static_cast<const void*>(v)) {}
  ///@}

  /// The argument as a conversion reads it: its kind, and its value as a signed, unsigned or
  /// floating-point number (0 when it has none).
  ///@{
  [[nodiscard]] Kind kind() const noexcept { return kind_; }
  [[nodiscard]] long long signedValue() const noexcept;
  [[nodiscard]] unsigned long long unsignedValue() const noexcept;
  [[nodiscard]] double doubleValue() const noexcept;
  ///@}
  /// The text `%@` and `%s` print: a description for values and objects,
  /// "(null)" for null.
  [[nodiscard]] String text() const;
  /// The address `%p` prints; null for non-pointers.
  [[nodiscard]] const void* pointer() const noexcept { return pointer_; }

 private:
  Kind kind_;
  long long signed_ = 0;
  unsigned long long unsigned_ = 0;
  double double_ = 0;
  const char* cstring_ = nullptr;
  StringView string_;
  const Value* value_ = nullptr;
  const Object* object_ = nullptr;
  const void* pointer_ = nullptr;
};

/// printf-style formatting with the platform's conversions: `%@` (strings,
/// values, objects), `%d %i %u %x %X %o %c`, `%s` (UTF-8 C string), `%p`,
/// `%f %e %g`, `%%`, with flags, width, precision and the length modifiers
/// `h hh l ll q z j t L` (accepted and ignored: arguments carry their type).
/// A missing argument prints as nothing; extra arguments are ignored.
String formatString(StringView format, std::span<const FormatArg> args);

/// Formats `format` with `args`, printf-style plus `%@`, as the function above.
template <class... Args>
String stringWithFormat(StringView format, const Args&... args) {
  if constexpr (sizeof...(Args) == 0) {
    return formatString(format, {});
  } else {
    const FormatArg list[] = {FormatArg(args)...};
    return formatString(format, list);
  }
}

}  // namespace lx
