// The secure item store in one SQLite database of our own: the backend used
// when no Secret Service is reachable.
//
// The database ("Keychain.sqlite" under $XDG_DATA_HOME/vantorcore) is created
// with mode 0600 and opened in WAL mode with a busy time-out, so several
// processes can share it; writes take the write lock up front. Each item is
// a row keyed by its 16-byte random reference (row ids would recur once the
// last row is gone); a unique index over each class's primary-key
// attributes gives `errSecDuplicateItem`.
//
// Secrets are encrypted with AES-256-GCM under a 32-byte key kept in
// "Keychain.key" beside the database (mode 0600, made with the database),
// with the item's reference as associated data, so a secret cannot be moved
// to another row. What this protects: a copy of the database taken away
// without the key file (a backup, a synced folder, a bug report) reveals
// attributes but no secrets, and tampered secrets fail to decrypt. What it
// does not protect: anything running as the same user can read the key file
// and decrypt everything; there is no per-application access control.
//
// Faults: a database that is not SQLite or is damaged gives
// `errSecInvalidKeychain`; one that cannot be written `errSecReadOnly` on
// changes while reads still work; a key that does not open a secret
// `errSecDecode` for that secret only; a missing or malformed key file while
// the database holds items gives `errSecNotAvailable` for every operation
// (a new key would orphan every secret, so none is made); I/O errors `errSecIO`.
#pragma once

#include "vantorcore/Export.h"

#include <filesystem>
#include <functional>
#include <memory>

#include "vantorcore/platform/SecureItemStore.h"

namespace LX_API lx {

class EmbeddedSecureItemStore : public SecureItemStore {
 public:
  /// $XDG_DATA_HOME/vantorcore/Keychain.sqlite ($HOME/.local/share when
  /// XDG_DATA_HOME is unset or empty).
  static std::filesystem::path standardPath();
  /// The key file that belongs to `databasePath`.
  static std::filesystem::path keyPathFor(const std::filesystem::path& databasePath);

  /// Opens (creating folders, database and key as needed) the store at
  /// `databasePath`; null with `*status` set when it cannot be used.
  static std::shared_ptr<EmbeddedSecureItemStore> open(const std::filesystem::path& databasePath,
                                                       OSStatus* status = nullptr);
  ~EmbeddedSecureItemStore() override;

  [[nodiscard]] StringView backendName() const noexcept override { return u"embedded"; }
  /// One write transaction around `changes`: a single durable commit, and
  /// other processes see all of the changes or none.
  OSStatus performAsOneChange(const std::function<OSStatus()>& changes) override;

 protected:
  OSStatus find(const SecureItemQuery& query, std::vector<SecureItem>& items) override;
  /// The store operations, on the SQLite file.
  ///@{
  OSStatus insert(const SecureItem& item) override;
  OSStatus modify(const SecureItemQuery& query, const Dictionary& attributeChanges,
                  const std::optional<Data>& secret) override;
  OSStatus erase(const SecureItemQuery& query) override;
  ///@}

 private:
  struct Database;
  explicit EmbeddedSecureItemStore(std::unique_ptr<Database> database);
  // Finds the rows `query` selects and hands them to `change`, all in one
  // write transaction that commits only when both succeed.
  OSStatus changeMatching(const SecureItemQuery& query,
                          const std::function<OSStatus(std::vector<SecureItem>&)>& change);
  std::unique_ptr<Database> database_;
};

}  // namespace lx
