// `vantor keychain set|get|remove`: generic and internet passwords in the
// secure item store, through LXKeychain.
#include <cstring>
#include <optional>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/security/LXKeychain.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor keychain set|get|remove [--backend embedded|secret-service]\n"
    "         (--service S [--account A] | --server H [--port P] [--protocol PROTO] [--account "
    "A])\n\n"
    "set reads the password from standard input (one trailing newline is dropped);\n"
    "get prints it followed by a newline; remove deletes every matching item.\n"
    "--service selects a generic password, --server an internet password;\n"
    "PROTO is https, http, ftp, imap, smtp, ssh or a four-letter code, and is\n"
    "required for remove. Without --backend, VANTOR_SECURE_ITEM_STORE or the\n"
    "session bus decides. Exit status 1 when get finds nothing or on an error.";

const vantor::Command kSelf{"keychain", "", kUsage, nullptr};

struct Options {
  std::string action;
  std::optional<lx::String> service, account, server, protocol;
  std::int64_t port = 0;
  std::optional<lx::SecureItemStore::Backend> backend;
};

std::optional<lx::String> protocolCode(const std::string& name) {
  struct Name {
    const char* name;
    lx::StringView code;
  } static constexpr kNames[] = {
      {"https", lx::kSecAttrProtocolHTTPS}, {"http", lx::kSecAttrProtocolHTTP},
      {"ftp", lx::kSecAttrProtocolFTP},     {"imap", lx::kSecAttrProtocolIMAP},
      {"smtp", lx::kSecAttrProtocolSMTP},   {"ssh", lx::kSecAttrProtocolSSH}};
  for (const Name& n : kNames) {
    if (name == n.name) return lx::String(n.code);
  }
  if (name.size() == 4) return lx::fromUTF8(name);
  return std::nullopt;
}

// Parses the arguments into `options`; an exit status when they are unusable.
std::optional<int> parse(vantor::Arguments args, Options& options) {
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (i == 0) {
      if (a != "set" && a != "get" && a != "remove") {
        return vantor::usageError(kSelf, "unknown action '" + a + "'");
      }
      options.action = a;
      continue;
    }
    if (i + 1 >= args.size()) return vantor::usageError(kSelf, a + " needs a value");
    const std::string& value = args[++i];
    if (a == "--service") {
      options.service = lx::fromUTF8(value);
    } else if (a == "--account") {
      options.account = lx::fromUTF8(value);
    } else if (a == "--server") {
      options.server = lx::fromUTF8(value);
    } else if (a == "--port") {
      char* end = nullptr;
      options.port = std::strtoll(value.c_str(), &end, 10);
      if (value.empty() || *end || options.port < 0 || options.port > 65535) {
        return vantor::usageError(kSelf, "bad port '" + value + "'");
      }
    } else if (a == "--protocol") {
      options.protocol = protocolCode(value);
      if (!options.protocol) return vantor::usageError(kSelf, "unknown protocol '" + value + "'");
    } else if (a == "--backend") {
      if (value == "embedded") {
        options.backend = lx::SecureItemStore::Backend::Embedded;
      } else if (value == "secret-service") {
        options.backend = lx::SecureItemStore::Backend::SecretService;
      } else {
        return vantor::usageError(kSelf, "unknown backend '" + value + "'");
      }
    } else {
      return vantor::usageError(kSelf, "unknown option '" + a + "'");
    }
  }
  if (options.action.empty()) return vantor::usageError(kSelf, "which action?");
  if (options.service.has_value() == options.server.has_value()) {
    return vantor::usageError(kSelf, "give either --service or --server");
  }
  if (options.service && (options.port || options.protocol)) {
    return vantor::usageError(kSelf, "--port and --protocol go with --server");
  }
  if (options.action == "remove" && options.server && !options.protocol) {
    return vantor::usageError(kSelf, "remove needs --protocol");
  }
  return std::nullopt;
}

std::optional<lx::String> readPassword() {
  std::vector<std::uint8_t> bytes;
  if (!vantor::readAll(0, bytes)) return std::nullopt;
  if (!bytes.empty() && bytes.back() == '\n') bytes.pop_back();
  const std::string_view text = lx::asStringView(bytes);
  if (!lx::isValidUTF8(text)) return std::nullopt;
  return lx::fromUTF8(text);
}

int failWith(const lx::ErrorPtr& error) {
  std::string message = "failed";
  if (error) {
    message =
        lx::toUTF8(error->localizedDescription()) + " (" + std::to_string(error->code()) + ")";
    if (const auto reason = error->localizedFailureReason()) message += ": " + lx::toUTF8(*reason);
  }
  return vantor::fail("keychain", message);
}

int run(vantor::Arguments args) {
  Options options;
  if (const auto status = parse(args, options)) return *status;
  std::shared_ptr<lx::SecureItemStore> store;
  if (options.backend) {
    lx::OSStatus status = lx::errSecSuccess;
    store = lx::SecureItemStore::make(*options.backend, &status);
    if (!store) return failWith(lx::LXKeychain::errorWithStatus(status));
  }
  const lx::LXKeychain keychain(store);
  lx::ErrorPtr error;
  if (options.action == "get") {
    const auto password =
        options.service
            ? keychain.passwordForAccount(options.account, options.service, {}, &error)
            : keychain.internetPasswordForAccount(options.account, options.server, options.port,
                                                  options.protocol, {}, &error);
    if (!password) return error ? failWith(error) : vantor::fail("keychain", "no such item");
    return vantor::writeOut(lx::toUTF8(*password) + "\n") ? 0 : 1;
  }
  bool done = false;
  if (options.action == "set") {
    const auto password = readPassword();
    if (!password) return vantor::fail("keychain", "the password on standard input is not UTF-8");
    done = options.service
               ? keychain.setPassword(*password, options.account, options.service, {}, {}, &error)
               : keychain.setInternetPassword(*password, options.account, options.server,
                                              options.port, options.protocol, {}, {}, &error);
  } else {
    done = options.service
               ? keychain.removePasswordForAccount(options.account, options.service, {}, &error)
               : keychain.removeInternetPasswordForAccount(
                     options.account, options.server, options.port, options.protocol, {}, &error);
  }
  return done ? 0 : failWith(error);
}

}  // namespace

VANTOR_COMMAND("keychain", "store, read and remove passwords in the secure item store", kUsage,
               run);
