// `LXTenseString`: a localised text in its present, past and future forms,
// looked up from a base key, with a process-wide cache by base key.
#pragma once

#include "vantorcore/Export.h"

#include <map>
#include <memory>
#include <optional>

#include "vantorcore/platform/Bundle.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

class LXTenseString : public Object {
  LX_DECLARE_CLASS(LXTenseString)

 public:
  /// The tenses a string can be put in.
  enum Tense : int { Present = 0, Past = 1, Future = 2 };

  /// Looks up base + "-present", base + "-past" and base + "-future" in the
  /// default table of `bundle` (the main bundle when null) and keeps each
  /// result under its tense; a key without a translation keeps the key
  /// itself, as the bundle returns it.
  explicit LXTenseString(StringView baseLocalizedString, const Bundle* bundle = nullptr);

  /// The cached object for the base key, made (with `bundle`) and cached
  /// when there is none. The bundle is not part of the cache key: the first
  /// bundle used for a key wins. The cache is not locked: use it from one
  /// thread at a time (normally the main thread).
  static std::shared_ptr<LXTenseString> tenseStringWithBaseLocalizedString(
      StringView baseLocalizedString, const Bundle* bundle = nullptr);

  /// The text of a tense, or absent for a tense it does not hold.
  [[nodiscard]] std::optional<String> stringForTense(int tense) const;
  /// The string in each tense; absent when it cannot be formed.
  ///@{
  [[nodiscard]] std::optional<String> present() const { return stringForTense(Present); }
  [[nodiscard]] std::optional<String> past() const { return stringForTense(Past); }
  [[nodiscard]] std::optional<String> future() const { return stringForTense(Future); }
  ///@}

  /// The base key.
  [[nodiscard]] const String& string() const noexcept { return string_; }
  /// Sets the string to inflect.
  void setString(StringView string) { string_ = String(string); }

 private:
  String string_;
  std::map<int, String> tenses_;
};

}  // namespace lx
