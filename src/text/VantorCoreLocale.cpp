#include "vantorcore/text/VantorCoreLocale.h"

namespace lx {

const double VantorCoreVersionNumber = 0;

const unsigned char VantorCoreVersionString[] = "@(#)PROGRAM:VantorCore  PROJECT:VantorCore-\n";

String LXLocal(StringView key) {
  // Found once and kept: the registry never drops a bundle.
  static Bundle* const framework = Bundle::bundleWithIdentifier(Bundle::FrameworkIdentifier);
  if (!framework) return String(key);
  return framework->localizedString(key);
}

String LXAppLocal(StringView key) { return Bundle::main().localizedString(key); }

String LXLocalizedStringFromTable(StringView key, const Bundle* bundle,
                                  std::optional<StringView> table) {
  return (bundle ? *bundle : Bundle::main()).localizedString(key, {}, table);
}

String LXLocalizedString(StringView key, const Bundle* bundle) {
  return LXLocalizedStringFromTable(key, bundle, std::nullopt);
}

Bundle& LXBundleForClass(const Class& cls) { return Bundle::bundleForClass(cls); }

}  // namespace lx
