// Errors: a domain, an integer code and a user-info dictionary, shared as
// `ErrorPtr`. Operations report failure by an absent result or `false` and,
// when the caller passes an `ErrorPtr*`, an error through it (null is fine).
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <memory>
#include <optional>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// User-info keys, with the platform's string values.
///@{
inline constexpr StringView NSLocalizedDescriptionKey = u"NSLocalizedDescription";
inline constexpr StringView NSLocalizedFailureReasonErrorKey = u"NSLocalizedFailureReason";
inline constexpr StringView NSLocalizedRecoverySuggestionErrorKey =
    u"NSLocalizedRecoverySuggestion";
inline constexpr StringView NSLocalizedRecoveryOptionsErrorKey = u"NSLocalizedRecoveryOptions";
inline constexpr StringView NSUnderlyingErrorKey = u"NSUnderlyingError";
inline constexpr StringView NSFilePathErrorKey = u"NSFilePath";
inline constexpr StringView NSURLErrorKey = u"NSURL";
inline constexpr StringView NSURLErrorFailingURLErrorKey = u"NSErrorFailingURLKey";
inline constexpr StringView NSURLErrorFailingURLStringErrorKey = u"NSErrorFailingURLStringKey";
inline constexpr StringView NSHelpAnchorErrorKey = u"NSHelpAnchor";
///@}

/// Error domains of the platform.
///@{
inline constexpr StringView NSPOSIXErrorDomain = u"NSPOSIXErrorDomain";
inline constexpr StringView NSCocoaErrorDomain = u"NSCocoaErrorDomain";
inline constexpr StringView NSURLErrorDomain = u"NSURLErrorDomain";
inline constexpr StringView NSOSStatusErrorDomain = u"NSOSStatusErrorDomain";
///@}

class Error;
/// Errors are shared and immutable; null means no error.
using ErrorPtr = std::shared_ptr<Error>;

class Error : public Object {
  LX_DECLARE_CLASS(Error)

 public:
  /// An error in `domain` with `code`; `userInfo` holds its description and the keys above.
  Error(String domain, std::int64_t code, Dictionary userInfo = {});

  /// A new shared error.
  static ErrorPtr make(String domain, std::int64_t code, Dictionary userInfo = {});
  /// An error in `NSPOSIXErrorDomain` for `errno` value `code`, with
  /// `strerror` text as its description.
  static ErrorPtr posix(int code);

  /// Names the subsystem that set the code.
  [[nodiscard]] const String& domain() const noexcept { return domain_; }
  /// The code, meaningful within the domain.
  [[nodiscard]] std::int64_t code() const noexcept { return code_; }
  /// The user-info dictionary (description, underlying error, paths).
  [[nodiscard]] const Dictionary& userInfo() const noexcept { return userInfo_; }

  /// The user-info description, or "The operation couldn’t be completed.
  /// (<domain> error <code>.)" when there is none.
  [[nodiscard]] String localizedDescription() const;
  /// The user-info entries, or absent.
  [[nodiscard]] std::optional<String> localizedRecoverySuggestion() const;
  /// The NSLocalizedFailureReasonErrorKey entry; absent when there is none.
  [[nodiscard]] std::optional<String> localizedFailureReason() const;

  /// "Error Domain=<domain> Code=<code> "<description>"".
  [[nodiscard]] String description() const override;
  /// Same domain, code and user info.
  [[nodiscard]] bool isEqual(const Object& other) const override;
  [[nodiscard]] std::size_t hash() const noexcept override;

 private:
  String domain_;
  std::int64_t code_;
  Dictionary userInfo_;
};

/// Stores `error` through `out` when the caller asked for it.
inline void setError(ErrorPtr* out, ErrorPtr error) {
  if (out) *out = std::move(error);
}

}  // namespace lx
