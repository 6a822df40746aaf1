// The embedded store's own promises: files, encryption at rest, faults, and
// several threads and processes on one database.
#include "vantorcore/platform/EmbeddedSecureItemStore.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "support/SecureItemDictionaries.h"
#include "support/TestSupport.h"

namespace lx {
namespace {

using test::genericItem;
using test::with;

namespace fs = std::filesystem;

OSStatus addSecret(SecureItemStore& store, StringView account, std::string_view secret) {
  return store.add(with(genericItem(account), kSecValueData, Value(dataFromBytes(secret))),
                   nullptr);
}

OSStatus readSecret(SecureItemStore& store, StringView account, Value* secret) {
  return store.copyMatching(with(genericItem(account), kSecReturnData, true), secret);
}

unsigned modeOf(const fs::path& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return 0;
  return info.st_mode & 07777;
}

class EmbeddedSecureItemStoreTest : public testing::Test {
 protected:
  void SetUp() override {
    path_ = test::makeTemporaryFolder("embedded") / "Keychain.sqlite";
    keyPath_ = EmbeddedSecureItemStore::keyPathFor(path_);
  }
  std::shared_ptr<EmbeddedSecureItemStore> open(OSStatus* status = nullptr) {
    return EmbeddedSecureItemStore::open(path_, status);
  }
  // Runs one SQL statement on the database behind the store's back.
  void sql(const char* statement) {
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(path_.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, statement, nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(db);
    sqlite3_close(db);
  }

  fs::path path_;
  fs::path keyPath_;
};

TEST_F(EmbeddedSecureItemStoreTest, StandardPathFollowsXdgDataHome) {
  {
    test::ScopedEnvironmentVariable dataHome("XDG_DATA_HOME", "/x/data");
    EXPECT_EQ(EmbeddedSecureItemStore::standardPath(),
              fs::path("/x/data/vantorcore/Keychain.sqlite"));
  }
  test::ScopedEnvironmentVariable dataHome("XDG_DATA_HOME", "");
  test::ScopedEnvironmentVariable home("HOME", "/home/u");
  EXPECT_EQ(EmbeddedSecureItemStore::standardPath(),
            fs::path("/home/u/.local/share/vantorcore/Keychain.sqlite"));
  EXPECT_EQ(EmbeddedSecureItemStore::keyPathFor("/a/Keychain.sqlite"), fs::path("/a/Keychain.key"));
}

TEST_F(EmbeddedSecureItemStoreTest, FilesAreTheOwnersAloneAndSecretsAreNotInTheClear) {
  {
    auto store = open();
    ASSERT_EQ(addSecret(*store, u"ann", "hunter2-plain"), errSecSuccess);
    EXPECT_EQ(modeOf(path_), 0600u);
    EXPECT_EQ(modeOf(keyPath_), 0600u);
    EXPECT_EQ(fs::file_size(keyPath_), 32u);
    if (fs::exists(path_.string() + "-wal")) {
      EXPECT_EQ(modeOf(path_.string() + "-wal"), 0600u);
    }
  }
  EXPECT_EQ(test::readFile(path_).find("hunter2-plain"), std::string::npos);
  auto reopened = open();
  Value secret;
  EXPECT_EQ(readSecret(*reopened, u"ann", &secret), errSecSuccess);
  EXPECT_EQ(secret, Value(dataFromBytes("hunter2-plain")));
}

TEST_F(EmbeddedSecureItemStoreTest, DamagedDatabaseIsReportedAndLeftAsItWas) {
  const std::string garbage(8192, 'x');
  test::writeFile(path_, garbage);
  OSStatus status = errSecSuccess;
  auto store = open(&status);
  EXPECT_EQ(status, errSecInvalidKeychain);
  Value secret;
  EXPECT_EQ(readSecret(*store, u"ann", &secret), errSecInvalidKeychain);
  EXPECT_EQ(addSecret(*store, u"ann", "pw"), errSecInvalidKeychain);
  EXPECT_EQ(test::readFile(path_), garbage);
}

TEST_F(EmbeddedSecureItemStoreTest, KeyFileFaults) {
  {
    auto store = open();
    ASSERT_EQ(addSecret(*store, u"ann", "pw"), errSecSuccess);
  }
  const std::string goodKey = test::readFile(keyPath_);
  struct Case {
    const char* name;
    std::optional<std::string> key;  // absent: no key file
    OSStatus openStatus;
    OSStatus readStatus;
  } cases[] = {
      {"missing", std::nullopt, errSecNotAvailable, errSecNotAvailable},
      {"empty", std::string(), errSecNotAvailable, errSecNotAvailable},
      {"one byte short", std::string(31, 'k'), errSecNotAvailable, errSecNotAvailable},
      {"one byte long", std::string(33, 'k'), errSecNotAvailable, errSecNotAvailable},
      {"another key", std::string(32, 'k'), errSecSuccess, errSecDecode},
      {"the right key", goodKey, errSecSuccess, errSecSuccess},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    fs::remove(keyPath_);
    if (c.key) test::writeFile(keyPath_, *c.key);
    OSStatus status = errSecSuccess;
    auto store = open(&status);
    EXPECT_EQ(status, c.openStatus);
    Value secret;
    EXPECT_EQ(readSecret(*store, u"ann", &secret), c.readStatus);
    if (!c.key) {
      EXPECT_FALSE(fs::exists(keyPath_)) << "a new key would orphan every secret";
    }
    if (c.readStatus == errSecDecode) {
      // Attributes stay readable: only the secret is sealed.
      EXPECT_EQ(store->copyMatching(with(genericItem(u"ann"), kSecReturnAttributes, true), &secret),
                errSecSuccess);
    }
  }
}

TEST_F(EmbeddedSecureItemStoreTest, SecretsAreBoundToTheirItem) {
  {
    auto store = open();
    ASSERT_EQ(addSecret(*store, u"ann", "ann's"), errSecSuccess);
    ASSERT_EQ(addSecret(*store, u"bob", "bob's"), errSecSuccess);
  }
  sql("UPDATE items SET secret = (SELECT secret FROM items WHERE acct = CAST('ann' AS BLOB))"
      " WHERE acct = CAST('bob' AS BLOB)");
  auto store = open();
  Value secret;
  EXPECT_EQ(readSecret(*store, u"ann", &secret), errSecSuccess);
  EXPECT_EQ(readSecret(*store, u"bob", &secret), errSecDecode);
}

TEST_F(EmbeddedSecureItemStoreTest, ReadOnlyDatabaseStillReads) {
  // Outside the private temporary home, which another user cannot enter.
  char folder[] = "/tmp/vantor-readonly-XXXXXX";
  ASSERT_NE(::mkdtemp(folder), nullptr);
  const std::shared_ptr<void> cleanup(nullptr, [&](void*) { fs::remove_all(folder); });
  ::chmod(folder, 0755);
  path_ = fs::path(folder) / "Keychain.sqlite";
  keyPath_ = EmbeddedSecureItemStore::keyPathFor(path_);
  {
    auto store = open();
    ASSERT_EQ(addSecret(*store, u"ann", "pw"), errSecSuccess);
  }
  // Root ignores file modes, so the check runs as an unprivileged user in a
  // child process.
  const bool root = ::geteuid() == 0;
  if (root) {
    for (const fs::path& p : {path_.parent_path(), path_, keyPath_}) {
      ASSERT_EQ(::chown(p.c_str(), 65534, 65534), 0);
    }
  }
  fs::permissions(path_, fs::perms::owner_read);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (root && (::setgid(65534) != 0 || ::setuid(65534) != 0)) ::_exit(10);
    auto store = open();
    Value secret;
    const bool reads = readSecret(*store, u"ann", &secret) == errSecSuccess &&
                       secret == Value(dataFromBytes("pw"));
    const bool refusesWrites = addSecret(*store, u"bob", "pw") == errSecReadOnly &&
                               store->remove(genericItem(u"ann")) == errSecReadOnly;
    ::_exit(reads ? (refusesWrites ? 0 : 2) : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: read failed, 2: a write was not refused";
}

// Replaces one item over and over as a password store's client does:
// remove, then add. Returns false on any status other than the expected ones.
bool replaceRepeatedly(SecureItemStore& store, int rounds) {
  for (int i = 0; i < rounds; ++i) {
    const OSStatus removed = store.remove(genericItem(u"shared"));
    const OSStatus added = addSecret(store, u"shared", "round" + std::to_string(i));
    if (removed != errSecSuccess && removed != errSecItemNotFound) return false;
    if (added != errSecSuccess && added != errSecDuplicateItem) return false;
  }
  return true;
}

void expectExactlyOneItem(SecureItemStore& store) {
  Value all;
  ASSERT_EQ(store.copyMatching(with(with(genericItem(u"shared"), kSecMatchLimit, kSecMatchLimitAll),
                                    kSecReturnData, true),
                               &all),
            errSecSuccess);
  ASSERT_TRUE(all.isArray());
  EXPECT_EQ(all.asArray()->size(), 1u);
}

TEST_F(EmbeddedSecureItemStoreTest, ChangesAsOneCommitOrNotAtAll) {
  // Each row replaces "shared" ("old") inside one change; "other" holds the
  // name a failing creation collides with.
  const struct {
    const char* what;
    StringView createdAs;
    bool innerBatch;  // the creation runs in a nested change of its own
    OSStatus outcome;
    const char* sharedAfter;  // null: no item left
  } cases[] = {
      {"remove then create", u"shared", false, errSecSuccess, "new"},
      {"creation fails: the removal is undone too", u"other", false, errSecDuplicateItem, "old"},
      {"a failed inner change undoes only itself", u"other", true, errSecSuccess, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    fs::remove_all(path_.parent_path());
    const auto store = open();
    ASSERT_EQ(addSecret(*store, u"shared", "old"), errSecSuccess);
    ASSERT_EQ(addSecret(*store, u"other", "x"), errSecSuccess);
    const OSStatus outcome = store->performAsOneChange([&] {
      const OSStatus removed = store->remove(genericItem(u"shared"));
      if (removed != errSecSuccess) return removed;
      const auto create = [&] { return addSecret(*store, c.createdAs, "new"); };
      if (!c.innerBatch) return create();
      EXPECT_EQ(store->performAsOneChange(create), errSecDuplicateItem);
      return errSecSuccess;
    });
    EXPECT_EQ(outcome, c.outcome);
    Value secret;
    const OSStatus read = readSecret(*open(), u"shared", &secret);  // a second connection
    if (!c.sharedAfter) {
      EXPECT_EQ(read, errSecItemNotFound);
      continue;
    }
    ASSERT_EQ(read, errSecSuccess);
    EXPECT_EQ(secret, Value(dataFromBytes(c.sharedAfter)));
  }
}

TEST_F(EmbeddedSecureItemStoreTest, TwoThreadsSettingOneItem) {
  auto store = open();
  bool ok[2] = {};
  std::thread a([&] { ok[0] = replaceRepeatedly(*store, 50); });
  std::thread b([&] { ok[1] = replaceRepeatedly(*store, 50); });
  a.join();
  b.join();
  EXPECT_TRUE(ok[0]);
  EXPECT_TRUE(ok[1]);
  expectExactlyOneItem(*store);
}

TEST_F(EmbeddedSecureItemStoreTest, TwoProcessesSettingOneItem) {
  open();  // creates the database and key before the race
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    auto store = open();
    ::_exit(replaceRepeatedly(*store, 50) ? 0 : 1);
  }
  auto store = open();
  EXPECT_TRUE(replaceRepeatedly(*store, 50));
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  expectExactlyOneItem(*store);
}

}  // namespace
}  // namespace lx
