// `vantor digest md5|sha1|sha256 [--hmac-key KEY] [FILE...]`: digests or
// HMACs of files or standard input, one "hex  name" line each.
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <iostream>
#include <optional>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/text/Data+Hash.h"

namespace {

using Algorithm = lx::DigestContext::Algorithm;

constexpr char kUsage[] =
    "usage: vantor digest md5|sha1|sha256 [--hmac-key KEY] [FILE...]\n\n"
    "Prints the digest of each FILE (standard input when there is none, or for\n"
    "'-') as lower-case hex followed by two spaces and the name, as md5sum\n"
    "does. With --hmac-key, the HMAC under the UTF-8 bytes of KEY instead.";

// Digests one open file in 256 KiB reads; false on a read error.
bool digestFile(int fd, Algorithm algorithm, const std::optional<std::string>& key,
                lx::Data& digest) {
  std::optional<lx::DataView> keyBytes;
  if (key) keyBytes = lx::DataView(reinterpret_cast<const std::uint8_t*>(key->data()), key->size());
  lx::DigestContext context(algorithm, keyBytes);
  std::vector<std::uint8_t> buffer(256 * 1024);
  for (;;) {
    const long n = vantor::readBlock(fd, buffer.data(), buffer.size());
    if (n < 0) return false;
    context.update(lx::DataView(buffer.data(), static_cast<std::size_t>(n)));
    if (static_cast<std::size_t>(n) < buffer.size()) break;
  }
  digest = context.finish();
  return true;
}

int run(vantor::Arguments args) {
  const vantor::Command self{"digest", "", kUsage, nullptr};
  std::optional<Algorithm> algorithm;
  std::optional<std::string> key;
  std::vector<std::string> files;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--hmac-key") {
      if (i + 1 >= args.size()) return vantor::usageError(self, "--hmac-key needs a key");
      key = args[++i];
    } else if (!algorithm && (a == "md5" || a == "sha1" || a == "sha256")) {
      algorithm = a == "md5" ? Algorithm::MD5 : (a == "sha1" ? Algorithm::SHA1 : Algorithm::SHA256);
    } else if (!algorithm) {
      return vantor::usageError(self, "unknown algorithm '" + a + "'");
    } else {
      files.push_back(a);
    }
  }
  if (!algorithm) return vantor::usageError(self, "which algorithm?");
  if (files.empty()) files.push_back("-");
  int status = 0;
  for (const std::string& name : files) {
    const bool isStdin = name == "-";
    const int fd = isStdin ? 0 : ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
    lx::Data digest;
    const bool ok = fd >= 0 && digestFile(fd, *algorithm, key, digest);
    if (fd > 0) ::close(fd);
    if (!ok) {
      status = vantor::fail("digest", name + ": " + std::strerror(errno));
      continue;
    }
    std::cout << lx::toUTF8(lx::lx_hexString(digest)) << "  " << name << "\n";
  }
  return status;
}

}  // namespace

VANTOR_COMMAND("digest", "MD5, SHA-1 or SHA-256 digests and HMACs of files", kUsage, run);
