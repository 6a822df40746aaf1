// The secure item store on the freedesktop Secret Service (GNOME Keyring,
// KWallet), through libsecret, in the session's default collection.
//
// Each item class has a schema of its own ("org.vantorcore.GenericPassword",
// "org.vantorcore.InternetPassword"). Primary-key attributes are stored as
// string attributes, so the daemon does the matching ('%' and NUL are
// escaped as "%25" and "%00"); the whole attribute dictionary rides along
// as one more attribute, and the item's 16-byte reference as a hex
// attribute of our own, because the daemon's object paths recur after it
// restarts. The daemon has no unique keys, so duplicates are found by a
// search before each creation (two processes adding one item at the same
// instant can both succeed).
//
// This store never prompts: a locked collection or item gives
// `errSecInteractionNotAllowed`; a daemon that is gone or stops answering
// gives `errSecNotAvailable`. Calls are serialised within the process.
#pragma once

#include "vantorcore/Export.h"

#include <memory>

#include "vantorcore/platform/SecureItemStore.h"

namespace LX_API lx {

class SecretServiceSecureItemStore : public SecureItemStore {
 public:
  /// Whether the session bus has a Secret Service running or able to start.
  /// Always false in builds without libsecret, or when libsecret or GIO
  /// cannot be opened.
  static bool isReachable();
  /// A store on the session's Secret Service; null with `*status` =
  /// `errSecNotAvailable` when there is none (or no libsecret in the build,
  /// or it cannot be opened: the loader's message is then logged).
  static std::shared_ptr<SecretServiceSecureItemStore> open(OSStatus* status = nullptr);
  ~SecretServiceSecureItemStore() override;

  [[nodiscard]] StringView backendName() const noexcept override { return u"secret-service"; }

 protected:
  OSStatus find(const SecureItemQuery& query, std::vector<SecureItem>& items) override;
  /// The store operations, through the Secret Service on the session bus.
  ///@{
  OSStatus insert(const SecureItem& item) override;
  OSStatus modify(const SecureItemQuery& query, const Dictionary& attributeChanges,
                  const std::optional<Data>& secret) override;
  OSStatus erase(const SecureItemQuery& query) override;
  ///@}

 private:
  struct Connection;
  explicit SecretServiceSecureItemStore(std::unique_ptr<Connection> connection);
  std::unique_ptr<Connection> connection_;
};

}  // namespace lx
