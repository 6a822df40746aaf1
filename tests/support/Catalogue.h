// Test helpers for localised look-ups: compiling a gettext catalogue into a
// bundle folder, and switching the message language for one scope.
#pragma once

#include <libintl.h>
#include <locale.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "support/TestSupport.h"

extern "C" int _nl_msg_cat_cntr;  // glibc: bumping it drops gettext's cached translations

namespace lx::test {

/// Compiles `po` (the text of a .po file) into
/// `<bundle>/locale/<language>/LC_MESSAGES/<table>.mo` with msgfmt; false
/// when msgfmt is missing or rejects the text.
inline bool writeCatalogue(const std::filesystem::path& bundle, const std::string& language,
                           const std::string& table, const std::string& po) {
  const auto folder = bundle / "locale" / language / "LC_MESSAGES";
  const auto source = bundle / (table + ".po");
  writeFile(source, "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n\n" + po);
  std::filesystem::create_directories(folder);
  const std::string command = "msgfmt -o '" + (folder / (table + ".mo")).string() + "' '" +
                              source.string() + "' 2>/dev/null";
  return std::system(command.c_str()) == 0;
}

/// Makes gettext translate into `language` for the life of the object: the
/// "C" locale never translates, so LC_MESSAGES becomes "C.UTF-8" and the
/// language comes from LANGUAGE. Restores both on destruction.
class ScopedMessageLanguage {
 public:
  explicit ScopedMessageLanguage(const char* language) {
    if (const char* old = getenv("LANGUAGE")) oldLanguage_ = old;
    oldLocale_ = setlocale(LC_MESSAGES, nullptr);
    setenv("LANGUAGE", language, 1);
    setlocale(LC_MESSAGES, "C.UTF-8");
    ++_nl_msg_cat_cntr;
  }
  ~ScopedMessageLanguage() {
    if (oldLanguage_) {
      setenv("LANGUAGE", oldLanguage_->c_str(), 1);
    } else {
      unsetenv("LANGUAGE");
    }
    setlocale(LC_MESSAGES, oldLocale_.c_str());
    ++_nl_msg_cat_cntr;
  }
  ScopedMessageLanguage(const ScopedMessageLanguage&) = delete;
  ScopedMessageLanguage& operator=(const ScopedMessageLanguage&) = delete;

 private:
  std::optional<std::string> oldLanguage_;
  std::string oldLocale_;
};

}  // namespace lx::test
