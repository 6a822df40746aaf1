// The Secret Service store against a real daemon on a private bus: what no
// other backend has (a locked collection, a daemon that goes away). The
// behaviour all stores share runs in SecureItemStore_test.cpp, against this
// daemon too.
#include "vantorcore/platform/SecretServiceSecureItemStore.h"

#include <gtest/gtest.h>

#include "support/SecureItemDictionaries.h"
#if VANTOR_HAVE_LIBSECRET
#include "support/SecretServiceSession.h"
#endif

#if VANTOR_HAVE_LIBSECRET
namespace lx {
namespace {

using test::genericItem;
using test::with;

class SecretServiceSecureItemStoreTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(session_.busRunning()) << "dbus-run-session failed";
    ASSERT_TRUE(session_.startDaemon()) << "gnome-keyring-daemon did not come up";
    ASSERT_TRUE(SecretServiceSecureItemStore::isReachable());
    store_ = SecretServiceSecureItemStore::open();
    ASSERT_TRUE(store_);
    ASSERT_EQ(
        store_->add(with(genericItem(u"ann"), kSecValueData, Value(dataFromBytes("pw"))), nullptr),
        errSecSuccess);
  }
  test::SecretServiceSession& session_ = test::SecretServiceSession::shared();
  std::shared_ptr<SecretServiceSecureItemStore> store_;
};

TEST_F(SecretServiceSecureItemStoreTest, ALockedCollectionIsNeverUnlockedByPrompting) {
  ASSERT_TRUE(session_.lockDefaultCollection());
  Value result;
  EXPECT_EQ(store_->copyMatching(with(genericItem(u"ann"), kSecReturnData, true), &result),
            errSecInteractionNotAllowed);
  EXPECT_EQ(
      store_->add(with(genericItem(u"bob"), kSecValueData, Value(dataFromBytes("pw"))), nullptr),
      errSecInteractionNotAllowed);
  EXPECT_EQ(
      store_->update(genericItem(u"ann"), Dictionary{{String(kSecValueData), Value(Data{1})}}),
      errSecInteractionNotAllowed);
  EXPECT_EQ(store_->remove(genericItem(u"ann")), errSecInteractionNotAllowed);
}

TEST_F(SecretServiceSecureItemStoreTest, ADaemonThatGoesAwayIsAnErrorNotACrash) {
  ASSERT_TRUE(session_.stopDaemon());
  // The bus may start a fresh daemon, whose keyring is locked: either way a
  // documented status comes back and nothing is written.
  Value result;
  const OSStatus read =
      store_->copyMatching(with(genericItem(u"ann"), kSecReturnData, true), &result);
  EXPECT_TRUE(read == errSecNotAvailable || read == errSecInteractionNotAllowed ||
              read == errSecItemNotFound)
      << read;
  const OSStatus added =
      store_->add(with(genericItem(u"bob"), kSecValueData, Value(dataFromBytes("pw"))), nullptr);
  EXPECT_TRUE(added == errSecNotAvailable || added == errSecInteractionNotAllowed) << added;
}

TEST_F(SecretServiceSecureItemStoreTest, ItemsKeepOurReferenceAndOnlyOurItemsCount) {
  Value reference;
  ASSERT_EQ(
      store_->copyMatching(with(genericItem(u"ann"), kSecReturnPersistentRef, true), &reference),
      errSecSuccess);
  ASSERT_TRUE(reference.isData());
  EXPECT_EQ(reference.asData()->size(), SecureItemStore::kReferenceSize);
  // An item another program stored under our schema's name and key, but
  // without our reference and attribute record, is not one of ours.
  ASSERT_EQ(std::system("printf other | secret-tool store --label=foreign xdg:schema "
                        "org.vantorcore.GenericPassword acct ann svce svc sync 0 origin other"),
            0);
  Value all;
  ASSERT_EQ(store_->copyMatching(with(with(genericItem(u"ann"), kSecMatchLimit, kSecMatchLimitAll),
                                      kSecReturnData, true),
                                 &all),
            errSecSuccess);
  ASSERT_EQ(all.asArray()->size(), 1u);
  EXPECT_EQ((*all.asArray())[0], Value(dataFromBytes("pw")));
  EXPECT_EQ(store_->remove(genericItem(u"ann")), errSecSuccess);
  EXPECT_EQ(store_->remove(genericItem(u"ann")), errSecItemNotFound);
}

}  // namespace
}  // namespace lx
#endif
