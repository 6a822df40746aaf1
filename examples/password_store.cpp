// The password store: a generic password (service and account) and an
// internet password (server, port and protocol) stored, read back, replaced
// and removed through the keychain façade.
//
// The program picks the library's embedded store and points XDG_DATA_HOME at
// a temporary folder before the first call, so the user's own keyring is
// never touched. A lookup of a missing item is not an error: it is absent.
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "vantorcore/platform/SecureItemStore.h"
#include "vantorcore/security/LXKeychain.h"

namespace {

std::string shown(const std::optional<lx::String>& password) {
  return password ? "\"" + lx::toUTF8(*password) + "\"" : "(none)";
}

}  // namespace

int main() {
  char folder[] = "/tmp/vantor-example-XXXXXX";
  if (!mkdtemp(folder)) return 1;
  setenv("XDG_DATA_HOME", folder, 1);
  setenv("VANTOR_SECURE_ITEM_STORE", "embedded", 1);

  auto keychain = lx::LXKeychain::defaultKeychain();
  std::printf("store: %s\n",
              lx::toUTF8(lx::SecureItemStore::defaultStore()->backendName()).c_str());

  // A generic password: the service is required, the account selects one.
  lx::ErrorPtr error;
  bool ok = keychain->setPassword(u"hunter2", u"ann", u"org.example.mail", {}, {}, &error);
  std::printf("set: %s\n", ok ? "ok" : lx::toUTF8(error->localizedDescription()).c_str());
  auto password = keychain->passwordForAccount(u"ann", u"org.example.mail");
  std::printf("ann's mail password: %s\n", shown(password).c_str());
  keychain->setPassword(u"correct horse", u"ann", u"org.example.mail");  // replaces it
  auto replaced = keychain->passwordForAccount(u"ann", u"org.example.mail");
  std::printf("after the change: %s\n", shown(replaced).c_str());

  // An internet password, matched by server, port and protocol.
  const lx::String https(lx::kSecAttrProtocolHTTPS);
  keychain->setInternetPassword(u"s3cret", u"ann", u"example.org", 443, https);
  auto web = keychain->internetPasswordForAccount(u"ann", u"example.org", 443, https);
  std::printf("ann at https://example.org: %s\n", shown(web).c_str());

  // Removal; a second removal and a lookup of what is gone both succeed quietly.
  keychain->removePasswordForAccount(u"ann", u"org.example.mail");
  bool again = keychain->removePasswordForAccount(u"ann", u"org.example.mail");
  auto gone = keychain->passwordForAccount(u"ann", u"org.example.mail");
  std::printf("after removal: %s (second removal %s)\n", shown(gone).c_str(),
              again ? "ok" : "failed");
  keychain->removeInternetPasswordForAccount(u"ann", u"example.org", 443, https);

  std::filesystem::remove_all(folder);
  bool expected = ok && password == u"hunter2" && replaced == u"correct horse" &&
                  web == u"s3cret" && !gone && again;
  return expected ? 0 : 1;
}
