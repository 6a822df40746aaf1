// Item dictionaries for the secure item store tests.
#pragma once

#include "vantorcore/platform/SecureItemStore.h"

namespace lx::test {

/// A generic-password dictionary for `account` and `service`.
inline Dictionary genericItem(StringView account, StringView service = u"svc") {
  return Dictionary{{String(kSecClass), Value(kSecClassGenericPassword)},
                    {String(kSecAttrAccount), Value(account)},
                    {String(kSecAttrService), Value(service)}};
}

/// `base` with `key` set to `value`.
inline Dictionary with(Dictionary base, StringView key, Value value) {
  base.set(key, std::move(value));
  return base;
}

}  // namespace lx::test
