// Bundles: a folder of code and resources with an info dictionary and
// localised string tables.
//
// Three kinds exist in a process: the main bundle (the folder of the running
// executable), the library's own framework bundle (identifier
// "com.vantor.VantorCore") and bundles opened by path. Bundles are made once,
// registered, and live until the process ends, so references to them stay
// valid; every operation may be called from any thread.
//
// String tables are gettext catalogues: the table "T" of a bundle at P is the
// gettext domain "T" bound to "P/locale", i.e. the file
// "P/locale/<lang>/LC_MESSAGES/T.mo" (the main bundle's P is the
// executable's folder). The language is gettext's choice (the LANGUAGE
// variable, then LC_ALL/LC_MESSAGES of the host's `setlocale`); a host that
// never calls `setlocale` runs in the "C" locale and sees keys. Each bundle
// has its own tables even when names repeat ("Localizable" in two bundles);
// the main bundle's table "T" is the gettext domain "T" itself.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <mutex>
#include <optional>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class Bundle {
 public:
  /// The identifier of the library's framework bundle.
  static constexpr StringView FrameworkIdentifier = u"com.vantor.VantorCore";

  /// The bundle of the running executable: its path is the executable's
  /// folder and its info dictionary is read from "Info.plist" in that folder
  /// on first use (an empty dictionary when there is none or it is
  /// unreadable). Its "CFBundleExecutable" is the process name unless the
  /// dictionary names one.
  static Bundle& main();

  /// The library's own bundle. Its path is the folder of the binary holding
  /// the library (libvantorcore.so, or the program it is linked into); its
  /// string tables come from the first existing folder of
  /// "<path>/../share/locale", "<path>/../../share/locale" (an install, with
  /// or without a multiarch lib folder) and "<path>/locale" (a build tree).
  /// Default table "VantorCore".
  static Bundle& framework();

  /// The registered bundle whose `bundleIdentifier()` is `identifier`, or
  /// null. The main and framework bundles are always registered; bundles
  /// opened with `bundleWithPath` join once opened.
  static Bundle* bundleWithIdentifier(StringView identifier);

  /// The bundle at the folder `path` (made and registered on first request,
  /// the same object afterwards), or null when `path` is not a folder.
  static Bundle* bundleWithPath(StringView path);

  /// The bundle holding `cls`'s code: the framework bundle for the library's
  /// classes, the main bundle for every other class. A class belongs to the
  /// library when it is the root "Object" class, its name carries the
  /// library's "LX" prefix, or it was marked with `markFrameworkClass`.
  /// Subclasses a host derives from library classes belong to the host.
  static Bundle& bundleForClass(const Class& cls);

  /// Declares that `cls` (a library class without the "LX" prefix, such as a
  /// platform type) lives in the framework bundle. Thread-safe; idempotent.
  static void markFrameworkClass(const Class& cls);

  Bundle(const Bundle&) = delete;
  Bundle& operator=(const Bundle&) = delete;

  /// "CFBundleIdentifier" of the info dictionary, or absent.
  [[nodiscard]] std::optional<String> bundleIdentifier() const;

  /// The bundle's folder, absolute.
  [[nodiscard]] const String& bundlePath() const noexcept { return path_; }

  /// The executable's file name for the main bundle; otherwise
  /// "CFBundleExecutable" of the info dictionary, or absent.
  [[nodiscard]] std::optional<String> executableName() const;

  /// A copy of the info dictionary.
  [[nodiscard]] Dictionary infoDictionary() const;

  /// Replaces the info dictionary (hosts without an Info.plist describe
  /// themselves this way). Affects later `bundleWithIdentifier` look-ups.
  /// The main bundle keeps the process name as "CFBundleExecutable" when
  /// `info` has none.
  void setInfoDictionary(Dictionary info);

  /// The value under `key` in the info dictionary, or absent.
  [[nodiscard]] std::optional<Value> objectForInfoDictionaryKey(StringView key) const;

  /// The translation of `key` in `table` (absent: the bundle's default
  /// table). When there is none, `value` if it is non-empty, else `key`:
  ///   key 'Open', value '',    no entry  => 'Open'
  ///   key 'Open', value 'Ouvrir…', no entry => 'Ouvrir…'
  ///   key 'Open', entry 'Öffnen'        => 'Öffnen'
  /// An empty key is never looked up (gettext keeps its header there), nor
  /// a table name holding '/'.
  [[nodiscard]] String localizedString(StringView key, StringView value = {},
                                       std::optional<StringView> table = std::nullopt) const;

  /// The folder the string tables are bound to.
  [[nodiscard]] const String& localeFolder() const noexcept { return localeFolder_; }

 private:
  struct Registry;
  Bundle(String path, String localeFolder, String defaultTable);
  void ensureInfoLoaded() const;
  void nameMainExecutable() const;

  String path_;
  String localeFolder_;
  String defaultTable_;
  String domainPrefix_;
  bool isMain_ = false;
  mutable std::mutex mutex_;
  mutable bool infoLoaded_ = false;
  mutable Dictionary info_;
};

}  // namespace lx
