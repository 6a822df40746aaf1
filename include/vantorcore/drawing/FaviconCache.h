// `FaviconCache`: the icons of web sites kept on disk, one file per site,
// so a program started again does not fetch them again.
//
// A site is its scheme, host and port; the file holds the icon's bytes as
// fetched (any format the decoder reads) and the date they were fetched, so
// one entry serves every requested size. An entry is fresh while its age is
// at most the expiry (a fetch exactly `expiry` seconds ago is still fresh,
// one a moment older is not); a stale entry is ignored, and replaced by the
// next store. Missing icons are not remembered. Files are replaced
// atomically, so readers in other threads or processes see an old or a new
// entry, never a torn one. Thread-safe.
#pragma once

#include "vantorcore/Export.h"

#include <optional>

#include "vantorcore/platform/Data.h"
#include "vantorcore/platform/Date.h"
#include "vantorcore/platform/Error.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/URL.h"

namespace LX_API lx {

class FaviconCache {
 public:
  /// A week, in seconds.
  static constexpr double kDefaultExpiry = 7 * 24 * 3600;

  /// "$XDG_CACHE_HOME/vantorcore/favicons" (else ~/.cache/…).
  static String defaultFolder();
  /// The name of a site's entry: scheme, host and port (the scheme's
  /// default when the URL has none) joined by "_", every byte other than
  /// letters, digits, "." and "-" written as "%XX":
  ///   'https://Example.org/a' => 'https_example.org_443'
  ///   'http://[::1]:8080/'    => 'http_%3A%3A1_8080'
  /// Absent for a URL without a host.
  static std::optional<String> siteKey(const URL& site);

  /// A cache in `folder` (made on the first store) whose entries expire
  /// `expiry` seconds after their fetch.
  explicit FaviconCache(String folder = defaultFolder(), double expiry = kDefaultExpiry)
      : folder_(std::move(folder)), expiry_(expiry) {}

  /// The folder holding the entries, one file per site.
  [[nodiscard]] const String& folder() const noexcept { return folder_; }
  /// Seconds after its fetch that an entry stops being fresh.
  [[nodiscard]] double expiry() const noexcept { return expiry_; }

  /// The bytes of the site's fresh entry at `now`; absent when there is
  /// none, it is stale, or it cannot be read.
  [[nodiscard]] std::optional<Data> iconData(const URL& site, Date now) const;
  /// Stores `icon` as fetched from the site at `fetched`. False with a file
  /// error when the folder or the file cannot be written, and false with no
  /// error for a URL without a host.
  bool storeIconData(const URL& site, DataView icon, Date fetched, ErrorPtr* error = nullptr) const;
  /// Forgets the site's entry, fresh or not.
  void removeIconData(const URL& site) const;

 private:
  [[nodiscard]] std::optional<String> entryPath(const URL& site) const;

  String folder_;
  double expiry_;
};

}  // namespace lx
