// `Collator`: locale-aware string ordering on an ICU collator, and the
// string type's `localizedStandardCompare`, the file browser's natural order.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/String.h"

struct UCollator;

namespace LX_API lx {

/// An opened ICU collator with fixed settings. Immutable after creation, so
/// one instance may be used from any number of threads at once.
class Collator {
 public:
  /// Settings. Ignoring case also ignores width (both are third-level
  /// differences in the Unicode collation algorithm); ignoring diacritics
  /// also ignores case and width. Canonically equivalent strings always
  /// compare equal; `ignorePunctuation` makes spaces and punctuation
  /// ignorable instead of significant.
  struct Options {
    /// The comparison's options; all off compares strictly, code unit sequences aside.
    ///@{
    bool numeric = false;
    bool ignoreCase = false;
    bool ignoreDiacritics = false;
    bool ignorePunctuation = false;
    ///@}
  };

  /// Opens a collator for an ICU locale ID ("" is the root order, "de_DE"
  /// German). Null when ICU cannot open one; `status` (when given) receives
  /// ICU's status code either way (0 for success, negative for a warning
  /// such as a fallback locale, positive for a failure).
  static std::shared_ptr<const Collator> collatorWithLocale(std::string_view localeID,
                                                            const Options& options,
                                                            int* status = nullptr);

  /// The collator of `localizedStandardCompare`: the default locale (from
  /// LANG/LC_*; the C/POSIX locale collates as English), numbers by value, case and width ignored,
  /// diacritics and punctuation significant. Made once; null when ICU cannot open one.
  static std::shared_ptr<const Collator> localizedStandardCollator();

  ~Collator();
  Collator(const Collator&) = delete;
  Collator& operator=(const Collator&) = delete;

  /// The order of `a` and `b`.
  [[nodiscard]] ComparisonResult compare(StringView a, StringView b) const noexcept;

  /// The ICU sort key of `s`: comparing two keys as bytes (`memcmp`, then
  /// length) gives the order `compare` gives. Ends with ICU's NUL byte.
  [[nodiscard]] Data sortKey(StringView s) const;
  /// The measuring and filling form: writes at most `capacity` bytes and
  /// returns the full key length (write again with a larger buffer when it
  /// exceeds `capacity`). Never fails.
  std::size_t sortKey(StringView s, std::uint8_t* buffer, std::size_t capacity) const noexcept;

  /// The locale ICU actually used ("root" for the root order).
  [[nodiscard]] std::string localeID() const;

 private:
  explicit Collator(UCollator* collator) noexcept : collator_(collator) {}
  UCollator* collator_;
};

/// The file browser's natural order: `Collator::localizedStandardCollator()`,
/// so 'File 9' < 'file 10', 'a' == 'A', 'a' < 'b'. Without a collator it
/// falls back to `compare` with case-insensitive numeric options. Any thread.
ComparisonResult localizedStandardCompare(StringView a, StringView b) noexcept;

}  // namespace lx
