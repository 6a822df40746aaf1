#include "vantorcore/security/LXKeychain.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "support/TestSupport.h"
#include "vantorcore/platform/EmbeddedSecureItemStore.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/InMemorySecureItemStore.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

class LXKeychainTest : public testing::Test {
 protected:
  std::shared_ptr<InMemorySecureItemStore> store_ = std::make_shared<InMemorySecureItemStore>();
  LXKeychain keychain_{store_};

  Dictionary attributesOf(const Dictionary& query) {
    return keychain_.attributesOfFirstItemMatchingQuery(query).value_or(Dictionary());
  }
};

const Dictionary kAnyGeneric{{String(kSecClass), Value(kSecClassGenericPassword)}};

// The attributes of a generic password for `service`, and `account` unless empty.
Dictionary generic(StringView service, StringView account = {}, bool synchronizable = false) {
  Dictionary d = kAnyGeneric;
  d.set(kSecAttrService, Value(service));
  if (!account.empty()) d.set(kSecAttrAccount, Value(account));
  if (synchronizable) d.set(kSecAttrSynchronizable, Value(true));
  return d;
}

TEST_F(LXKeychainTest, FailingStatusesLogAndReportExceptTheQuietAttributeProbes) {
  store_->failWith(errSecInteractionNotAllowed);
  const Data ref(16, 1);
  auto& k = keychain_;
  const Dictionary& q = kAnyGeneric;
  struct Case {
    const char* selector;
    bool logsWithoutErrorOut;
    std::function<bool(ErrorPtr*)> call;  // true when the call reported success
  } cases[] = {
      {"attributesOfFirstItemMatchingQuery:error:", false,
       [&](ErrorPtr* e) { return k.attributesOfFirstItemMatchingQuery(q, e).has_value(); }},
      {"attributesOfItemsMatchingQuery:error:", false,
       [&](ErrorPtr* e) { return k.attributesOfItemsMatchingQuery(q, e).has_value(); }},
      {"dataForFirstItemMatchingQuery:error:", true,
       [&](ErrorPtr* e) { return k.dataForFirstItemMatchingQuery(q, e).has_value(); }},
      {"dataForItemsMatchingQuery:error:", true,
       [&](ErrorPtr* e) { return k.dataForItemsMatchingQuery(q, e).has_value(); }},
      {"persistentReferenceForFirstItemMatchingQuery:error:", true,
       [&](ErrorPtr* e) {
         return k.persistentReferenceForFirstItemMatchingQuery(q, e).has_value();
       }},
      {"persistentReferencesForItemsMatchingQuery:error:", true,
       [&](ErrorPtr* e) { return k.persistentReferencesForItemsMatchingQuery(q, e).has_value(); }},
      {"createItemWithData:attributes:error:", true,
       [&](ErrorPtr* e) { return k.createItemWithData(Data(), q, e).has_value(); }},
      {"updateItemWithPersistentReference:data:attributes:error:", true,
       [&](ErrorPtr* e) { return k.updateItemWithPersistentReference(ref, Data(), {}, e); }},
      {"updateAllItemsMatchingQuery:data:attributes:error:", true,
       [&](ErrorPtr* e) { return k.updateAllItemsMatchingQuery(q, Data(), {}, e); }},
      {"removeItemWithPersistentReference:error:", true,
       [&](ErrorPtr* e) { return k.removeItemWithPersistentReference(ref, e); }},
      {"removeAllItemsMatchingQuery:error:", true,
       [&](ErrorPtr* e) { return k.removeAllItemsMatchingQuery(q, e); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.selector);
    const String line = fromUTF8(std::string(c.selector) + " Keychain error occurred: -25308");
    {
      ScopedLogCapture capture;
      EXPECT_FALSE(c.call(nullptr));
      EXPECT_EQ(capture.lines().size(), c.logsWithoutErrorOut ? 1u : 0u);
      if (c.logsWithoutErrorOut) {
        EXPECT_TRUE(capture.contains(line));
      }
    }
    ScopedLogCapture capture;
    ErrorPtr error;
    EXPECT_FALSE(c.call(&error));
    EXPECT_TRUE(capture.contains(line));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), u"LXKeychainErrorDomain");
    EXPECT_EQ(error->code(), -25308);
  }
}

TEST_F(LXKeychainTest, NotFoundIsNeitherAnErrorNorALogLine) {
  const ErrorPtr untouched = Error::make(u"mark", 1);
  ErrorPtr error = untouched;
  ScopedLogCapture capture;
  EXPECT_EQ(keychain_.passwordForAccount(u"ann", u"mail", {}, &error), std::nullopt);
  EXPECT_EQ(keychain_.attributesOfItemsMatchingQuery(kAnyGeneric, &error), std::nullopt);
  EXPECT_TRUE(keychain_.updateItemWithPersistentReference(Data(16, 9), Data(), {}, &error));
  EXPECT_TRUE(keychain_.updateAllItemsMatchingQuery(kAnyGeneric, Data(), {}, &error));
  EXPECT_TRUE(keychain_.removeItemWithPersistentReference(Data(16, 9), &error));
  EXPECT_TRUE(keychain_.removePasswordForAccount(u"ann", u"mail", {}, &error));
  EXPECT_EQ(error, untouched);
  EXPECT_TRUE(capture.lines().empty());
}

TEST_F(LXKeychainTest, ErrorWithStatus) {
  struct Case {
    OSStatus status;
    bool hasText;
  } cases[] = {{errSecDuplicateItem, true}, {errSecParam, true}, {-1, false}, {12345, false}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.status);
    const ErrorPtr error = LXKeychain::errorWithStatus(c.status);
    EXPECT_EQ(error->code(), c.status) << "sign-extended";
    EXPECT_EQ(error->localizedDescription(), u"Keychain Error");
    EXPECT_EQ(error->localizedFailureReason(), SecCopyErrorMessageString(c.status));
    EXPECT_EQ(error->localizedRecoverySuggestion().has_value(), c.hasText);
    EXPECT_EQ(error->userInfo().size(), c.hasText ? 3u : 1u);
  }
}

// Query keys select the item to replace; only attributes reach the new one.
TEST_F(LXKeychainTest, SettingReplacesTheItemWithANewReference) {
  const Dictionary labelled{{String(kSecAttrLabel), Value(u"L")}};
  const ErrorPtr mark = Error::make(u"mark", 1);
  ErrorPtr error = mark;
  ASSERT_TRUE(keychain_.setPassword(u"one", u"ann", u"mail", {}, labelled, &error));
  EXPECT_EQ(error, nullptr) << "a successful set writes nil";
  const auto first = keychain_.persistentReferenceForFirstItemMatchingQuery(kAnyGeneric);
  ASSERT_TRUE(keychain_.setPassword(u"two", u"ann", u"mail", labelled, {}));
  const auto second = keychain_.persistentReferenceForFirstItemMatchingQuery(kAnyGeneric);
  EXPECT_EQ(store_->count(), 1u);
  ASSERT_TRUE(first && second);
  EXPECT_NE(*first, *second);
  EXPECT_EQ(keychain_.passwordForAccount(u"ann", u"mail"), u"two");
  EXPECT_FALSE(attributesOf(kAnyGeneric).contains(kSecAttrLabel));

  ScopedLogCapture capture;
  EXPECT_FALSE(keychain_.createItemWithData(Data(), generic(u"mail", u"ann"), &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), errSecDuplicateItem);
  EXPECT_TRUE(
      capture.contains(u"createItemWithData:attributes:error: Keychain error occurred: -25299"));
}

TEST_F(LXKeychainTest, SynchronisedItemsAreFoundButReplacedAndRemovedLocally) {
  const Dictionary synced{{String(kSecAttrSynchronizable), Value(true)}};
  keychain_.createItemWithData(dataFromBytes("cloud"), generic(u"mail", u"ann", true));
  EXPECT_EQ(keychain_.passwordForAccount(u"ann", u"mail"), u"cloud");
  EXPECT_TRUE(keychain_.removePasswordForAccount(u"ann", u"mail"));
  EXPECT_EQ(store_->count(), 1u) << "removal by query leaves synchronised items";

  ASSERT_TRUE(keychain_.setPassword(u"local", u"ann", u"mail"));
  EXPECT_FALSE(attributesOf(kAnyGeneric)[kSecAttrSynchronizable].boolValue());
  ASSERT_TRUE(keychain_.setPassword(u"cloud2", u"ann", u"mail", {}, synced));
  const Dictionary any{{String(kSecClass), Value(kSecClassGenericPassword)},
                       {String(kSecAttrSynchronizable), Value(true)}};
  EXPECT_TRUE(attributesOf(any)[kSecAttrSynchronizable].boolValue());
  const auto reference = keychain_.persistentReferenceForFirstItemMatchingQuery(kAnyGeneric);
  ASSERT_TRUE(reference);
  EXPECT_TRUE(keychain_.removeItemWithPersistentReference(*reference));
  EXPECT_EQ(store_->count(), 0u) << "removal by reference reaches any item";
}

TEST_F(LXKeychainTest, InternetPasswordsMatchAbsentPartsAsWildcards) {
  ASSERT_TRUE(keychain_.setInternetPassword(u"pw443", u"ann", u"example.org", 443,
                                            String(kSecAttrProtocolHTTPS)));
  struct Case {
    const char* name;
    std::optional<String> account;
    std::optional<String> server;
    std::int64_t port;
    std::optional<String> protocol;
    std::optional<String> password;
  } cases[] = {
      {"exact", u"ann", u"example.org", 443, String(kSecAttrProtocolHTTPS), u"pw443"},
      {"port 0, no protocol", u"ann", u"example.org", 0, std::nullopt, u"pw443"},
      {"no account, no server", std::nullopt, std::nullopt, 0, std::nullopt, u"pw443"},
      {"other port", u"ann", u"example.org", 80, std::nullopt, std::nullopt},
      {"other protocol", u"ann", u"example.org", 0, String(kSecAttrProtocolHTTP), std::nullopt},
      {"other server", u"ann", u"example.com", 0, std::nullopt, std::nullopt},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(keychain_.internetPasswordForAccount(c.account, c.server, c.port, c.protocol),
              c.password);
  }
  EXPECT_TRUE(keychain_.removeInternetPasswordForAccount(u"ann", u"example.org", 0,
                                                         String(kSecAttrProtocolHTTPS)));
  EXPECT_EQ(store_->count(), 0u);
}

TEST_F(LXKeychainTest, ProgrammingErrorsRaise) {
  EXPECT_THROW(keychain_.passwordForAccount(u"ann", std::nullopt), InvalidArgumentException);
  EXPECT_THROW(keychain_.setPassword(u"pw", u"ann", std::nullopt), InvalidArgumentException);
  EXPECT_THROW(keychain_.removePasswordForAccount(u"ann", std::nullopt), InvalidArgumentException);
  EXPECT_THROW(keychain_.removeInternetPasswordForAccount(u"ann", u"h", 0, std::nullopt),
               InvalidArgumentException);
  EXPECT_NO_THROW(keychain_.internetPasswordForAccount(u"ann", u"h", 0, std::nullopt));
}

TEST_F(LXKeychainTest, ForcedKeysOverwriteTheCallersAndSecretsMustBeUTF8) {
  keychain_.createItemWithData(Data{0xff, 0xfe}, generic(u"bin"));
  keychain_.setPassword(u"x", u"bob", u"bin");
  Dictionary caller = kAnyGeneric;
  caller.set(kSecMatchLimit, Value(kSecMatchLimitAll));
  caller.set(kSecReturnAttributes, Value(false));
  const Dictionary before = caller;
  EXPECT_TRUE(keychain_.attributesOfFirstItemMatchingQuery(caller).has_value());
  EXPECT_EQ(caller, before);
  ErrorPtr error;
  EXPECT_EQ(keychain_.passwordForAccount(std::nullopt, u"bin",
                                         Dictionary{{String(kSecAttrAccount), Value(u"")}}, &error),
            std::nullopt);
  EXPECT_EQ(error, nullptr) << "undecodable secrets are absent without an error";
  EXPECT_NE(LXKeychain::defaultKeychain(), LXKeychain::defaultKeychain());
}

TEST(LXKeychainEmbeddedTest, AFailedSetKeepsTheOldPassword) {
  const LXKeychain keychain(
      EmbeddedSecureItemStore::open(test::makeTemporaryFolder("keychain") / "Keychain.sqlite"));
  const auto group = [](StringView name) {
    return Dictionary{{String(kSecAttrAccessGroup), Value(name)}};
  };
  ASSERT_TRUE(keychain.setPassword(u"one", u"ann", u"mail", group(u"a"), group(u"a")));
  ASSERT_TRUE(keychain.setPassword(u"two", u"ann", u"mail", group(u"b"), group(u"b")));
  // Replaces the item of group a by one of group b, which exists already.
  ErrorPtr error;
  const LogSink previous = discardLogLines();
  EXPECT_FALSE(keychain.setPassword(u"three", u"ann", u"mail", group(u"a"), group(u"b"), &error));
  setLogSink(previous);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), errSecDuplicateItem);
  EXPECT_EQ(keychain.passwordForAccount(u"ann", u"mail", group(u"a")), u"one");
}

TEST_F(LXKeychainTest, ConcurrentSetsOfOneItemLeaveOneItem) {
  std::atomic<int> failuresOtherThanDuplicate{0};
  auto setMany = [&] {
    for (int i = 0; i < 200; ++i) {
      ErrorPtr error;
      if (!keychain_.setPassword(u"pw", u"ann", u"mail", {}, {}, &error) &&
          (!error || error->code() != errSecDuplicateItem)) {
        ++failuresOtherThanDuplicate;
      }
    }
  };
  const LogSink previous = discardLogLines();
  std::thread a(setMany);
  std::thread b(setMany);
  a.join();
  b.join();
  setLogSink(previous);
  EXPECT_EQ(failuresOtherThanDuplicate, 0);
  EXPECT_EQ(store_->count(), 1u);
}

}  // namespace
}  // namespace lx
