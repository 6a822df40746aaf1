// `LXSystemVersion`: dotted version numbers with optional pre-release
// markers (10.15.7, 11.0b3, 2.1a2d5), parsed leniently, printed in a
// canonical form, ordered, and the running system's own version.
//
// Parsing scans the string once:
//   "."          the digit run after it is the next component; with no digit
//                after the dot, logs
//                'LXSystemVersion: Warning, found "." without a following digit value.'
//                and also skips the character after the dot ('10..5' and
//                '10.x5' both give 10.5);
//   "a" "b" "d"  the digit run after it is the alpha, beta or dev number (0
//                when there is none; a later marker of a letter wins);
//   a digit      starts the next component;
//   other        logs 'LXSystemVersion: Found unsupported character in version
//                string, bailing:"<string>".' and stops; what was read stands.
// Then trailing components of value 0 are dropped (never the first), and no
// component at all gives "0". Marker numbers beyond 64 bits saturate.
//
// Canonical form: the components joined by ".", then "b<beta>", "a<alpha>",
// "d<dev>", each only when above 0, in that order:
//   '10.0.0' => '10'   '1.2a3b4' => '1.2b4a3'   '' => '0'   '10.15 (Build)' => '10.15'
//
// Order: components compare as numbers, left to right; a version with more
// components is later when the others are equal; then pre-release scores
// (beta × 10000 + alpha × 1000 + dev) decide, a release (score 0) being
// later than any pre-release of the same number:
//   10.9 < 10.10,  12.0a9 < 12.0b1 < 12.0b2 < 12.0,  11 == 11.0.0
//
// A version is a value: `copy()` returns the same object; equality and
// hashing go through the canonical form. `compare` serialises on the
// receiver's own lock and remembers each result by the other version's
// canonical form for the life of the object (so it may be called from any
// thread). The setters are for set-up: they do not clear remembered results,
// and must not run while another thread compares.
#pragma once

#include "vantorcore/Export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "vantorcore/platform/Bundle.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/StringMap.h"

namespace LX_API lx {

/// The run of ASCII digits starting at `start`, or absent when there is
/// none (also when `start` is at or past the end). `end` receives the index
/// of the first non-digit: `start` when nothing was read, the length when
/// the run reaches the end.
///   ('10.5', 3) => '5', end 4     ('10.5', 2) => absent, end 2
std::optional<String> LXSystemVersionReadComponentValue(StringView string, std::size_t start,
                                                        std::size_t* end = nullptr);

class LXSystemVersion : public Object {
  LX_DECLARE_CLASS(LXSystemVersion)

 public:
  /// Parses `string` (see the top of this file). Never fails.
  static std::shared_ptr<LXSystemVersion> initWithSystemVersionString(StringView string);
  /// Versions need a string: always throws `InvalidArgumentException` with
  /// the reason "System versions cannot be initialized with -init".
  [[noreturn]] static std::shared_ptr<LXSystemVersion> init();
  /// `initWithSystemVersionString`.
  static std::shared_ptr<LXSystemVersion> systemVersionWithString(StringView string);
  /// The version in the bundle's "CFBundleShortVersionString", or null when
  /// that is missing or not a string.
  static std::shared_ptr<LXSystemVersion> systemVersionWithBundle(const Bundle& bundle);

  /// The running system's version: "VERSION_ID" of os-release (see
  /// platform/OSRelease.h). Kept for the process once read; null when there
  /// is no such value (rolling releases, no file), and then read again on
  /// the next call. Installing another `OSRelease` source forgets the kept
  /// version. Two first calls at once may both read; either result is kept.
  static std::shared_ptr<LXSystemVersion> currentSystemVersion();

  /// The canonical form.
  [[nodiscard]] const String& string() const noexcept { return canonical_; }
  /// "<LXSystemVersion: 0x… : 10.15>".
  [[nodiscard]] String description() const override;
  /// The same object: versions are values.
  [[nodiscard]] std::shared_ptr<LXSystemVersion> copy();

  /// Digit strings, most significant first; never empty.
  [[nodiscard]] const std::vector<String>& components() const noexcept { return components_; }
  /// The pre-release numbers (0 when absent): an alpha, beta or development build sorts before the
  /// release.
  ///@{
  [[nodiscard]] std::uint64_t alpha() const noexcept { return alpha_; }
  [[nodiscard]] std::uint64_t beta() const noexcept { return beta_; }
  [[nodiscard]] std::uint64_t dev() const noexcept { return dev_; }
  ///@}
  /// Set-up only (see the top of this file). Empty components become "0".
  ///@{
  void setComponents(std::vector<String> components);
  void setAlpha(std::uint64_t alpha);
  void setBeta(std::uint64_t beta);
  void setDev(std::uint64_t dev);
  ///@}

  /// -1, 0 or 1 as this version is earlier than, equal to or later than
  /// `other`.
  ///@{
  int compare(const LXSystemVersion& other) const;
  [[nodiscard]] bool isEqualToSystemVersion(const LXSystemVersion& other) const;
  [[nodiscard]] bool isLessThanSystemVersion(const LXSystemVersion& other) const;
  [[nodiscard]] bool isLessThanOrEqualToSystemVersion(const LXSystemVersion& other) const;
  [[nodiscard]] bool isGreaterThanSystemVersion(const LXSystemVersion& other) const;
  [[nodiscard]] bool isGreaterThanOrEqualToSystemVersion(const LXSystemVersion& other) const;
  ///@}
  /// The same five against a string, parsed first.
  ///@{
  [[nodiscard]] bool isEqualToString(StringView other) const;
  [[nodiscard]] bool isLessThanString(StringView other) const;
  [[nodiscard]] bool isLessThanOrEqualToString(StringView other) const;
  [[nodiscard]] bool isGreaterThanString(StringView other) const;
  [[nodiscard]] bool isGreaterThanOrEqualToString(StringView other) const;
  ///@}

  /// True only for another `LXSystemVersion` that compares equal.
  [[nodiscard]] bool isEqual(const Object& other) const override;
  /// The hash of the canonical form.
  [[nodiscard]] std::size_t hash() const noexcept override;

  /// Use the factories above; public for `std::make_shared`.
  LXSystemVersion() = default;

 private:
  void parse(StringView string);
  void updateCanonicalString();
  int compareUncached(const LXSystemVersion& other) const;

  std::vector<String> components_{u"0"};
  std::uint64_t alpha_ = 0;
  std::uint64_t beta_ = 0;
  std::uint64_t dev_ = 0;
  String canonical_ = u"0";
  mutable std::mutex lock_;
  mutable detail::StringMap<int> comparisons_;  // by the other's canonical form
};

}  // namespace lx
