// Behaviour every secure item store backend shares, run against the
// in-memory fake and the embedded SQLite store alike.
#include "vantorcore/platform/SecureItemStore.h"

#include <gtest/gtest.h>

#include <functional>

#if VANTOR_HAVE_LIBSECRET
#include "support/SecretServiceSession.h"
#endif
#include "support/SecureItemDictionaries.h"
#include "support/TestSupport.h"
#include "vantorcore/platform/EmbeddedSecureItemStore.h"
#include "vantorcore/platform/InMemorySecureItemStore.h"
#include "vantorcore/platform/SecretServiceSecureItemStore.h"

namespace lx {
namespace {

using test::genericItem;
using test::with;

using StoreFactory = std::function<std::shared_ptr<SecureItemStore>()>;

struct Backend {
  const char* name;
  StoreFactory make;
};

class SecureItemStoreTest : public testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    store_ = GetParam().make();
    ASSERT_TRUE(store_) << "the backend could not be opened";
  }

  // Adds an item with `secret`; its reference.
  Data add(const Dictionary& attributes, std::string_view secret = "s") {
    Value reference;
    Dictionary add = with(attributes, kSecValueData, Value(dataFromBytes(secret)));
    add.set(kSecReturnPersistentRef, Value(true));
    EXPECT_EQ(store_->add(add, &reference), errSecSuccess);
    return reference.isData() ? *reference.asData() : Data();
  }

  std::shared_ptr<SecureItemStore> store_;
};

TEST_P(SecureItemStoreTest, ResultsTakeTheShapeTheReturnKeysAskFor) {
  const Data reference = add(genericItem(u"ann", u"mail"), "pw");
  ASSERT_EQ(reference.size(), SecureItemStore::kReferenceSize);
  Value result;
  EXPECT_EQ(store_->copyMatching(genericItem(u"ann", u"mail"), &result), errSecSuccess);
  EXPECT_TRUE(result.isNull()) << "no return key, no result";

  EXPECT_EQ(store_->copyMatching(with(genericItem(u"ann", u"mail"), kSecReturnData, true), &result),
            errSecSuccess);
  EXPECT_EQ(result, Value(dataFromBytes("pw")));

  const Dictionary both = with(with(genericItem(u"ann", u"mail"), kSecReturnAttributes, true),
                               kSecReturnPersistentRef, true);
  EXPECT_EQ(store_->copyMatching(both, &result), errSecSuccess);
  ASSERT_TRUE(result.isDictionary());
  const Dictionary& attributes = *result.asDictionary();
  EXPECT_EQ(attributes[kSecValuePersistentRef], Value(reference));
  EXPECT_EQ(attributes[kSecClass], Value(kSecClassGenericPassword));
  EXPECT_EQ(attributes[kSecAttrAccount], Value(u"ann"));
  EXPECT_TRUE(attributes[kSecAttrCreationDate].isDate());
  EXPECT_FALSE(attributes.contains(kSecValueData));

  add(genericItem(u"bob", u"mail"));
  const Dictionary all = with(with(Dictionary{{String(kSecClass), Value(kSecClassGenericPassword)}},
                                   kSecReturnPersistentRef, true),
                              kSecMatchLimit, kSecMatchLimitAll);
  EXPECT_EQ(store_->copyMatching(all, &result), errSecSuccess);
  ASSERT_TRUE(result.isArray());
  EXPECT_EQ(result.asArray()->size(), 2u);
}

TEST_P(SecureItemStoreTest, MatchLimits) {
  for (int i = 0; i < 3; ++i) add(genericItem(fromUTF8("user" + std::to_string(i)), u"svc"));
  const Dictionary base = with(Dictionary{{String(kSecClass), Value(kSecClassGenericPassword)}},
                               kSecReturnPersistentRef, true);
  struct Case {
    Value limit;
    OSStatus status;
    std::size_t count;  // array length; 0 for a bare value
  } cases[] = {
      {Value(0), errSecParam, 0},
      {Value(-1), errSecParam, 0},
      {Value(1), errSecSuccess, 1},
      {Value(2), errSecSuccess, 2},
      {Value(3), errSecSuccess, 3},
      {Value(4), errSecSuccess, 3},
      {Value(kSecMatchLimitOne), errSecSuccess, 0},
      {Value(kSecMatchLimitAll), errSecSuccess, 3},
      {Value(u"m_LimitSome"), errSecParam, 0},
      {Value(true), errSecParam, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(toUTF8(c.limit.description()));
    Value result;
    EXPECT_EQ(store_->copyMatching(with(base, kSecMatchLimit, c.limit), &result), c.status);
    if (c.status != errSecSuccess) continue;
    if (c.count == 0) {
      EXPECT_TRUE(result.isData());
    } else {
      ASSERT_TRUE(result.isArray());
      EXPECT_EQ(result.asArray()->size(), c.count);
    }
  }
}

TEST_P(SecureItemStoreTest, SizeLimitsAndBadParameters) {
  const String longest(SecureItemStore::kMaximumAttributeSize, u'a');
  const String tooLong(SecureItemStore::kMaximumAttributeSize + 1, u'a');
  // Three UTF-8 bytes each: the limit counts bytes, not characters.
  const String wideTooLong(SecureItemStore::kMaximumAttributeSize / 3 + 1, u'\u20AC');
  const Data biggest(SecureItemStore::kMaximumSecretSize, 7);
  const Data tooBig(SecureItemStore::kMaximumSecretSize + 1, 7);
  struct Case {
    const char* name;
    Dictionary attributes;
    OSStatus status;
  } cases[] = {
      {"longest account", genericItem(longest, u"s"), errSecSuccess},
      {"account one past", genericItem(tooLong, u"s"), errSecParam},
      {"wide account one past", genericItem(wideTooLong, u"s"), errSecParam},
      {"largest secret", with(genericItem(u"big", u"s"), kSecValueData, Value(biggest)),
       errSecSuccess},
      {"secret one past", with(genericItem(u"big2", u"s"), kSecValueData, Value(tooBig)),
       errSecParam},
      {"longest generic",
       with(genericItem(u"g", u"s"), kSecAttrGeneric,
            Value(Data(SecureItemStore::kMaximumAttributeSize))),
       errSecSuccess},
      {"generic one past",
       with(genericItem(u"g2", u"s"), kSecAttrGeneric,
            Value(Data(SecureItemStore::kMaximumAttributeSize + 1))),
       errSecParam},
      {"empty account and service", genericItem(u"", u""), errSecSuccess},
      {"no class", Dictionary{{String(kSecAttrAccount), Value(u"a")}}, errSecParam},
      {"unknown class", with(genericItem(u"a", u"s"), kSecClass, Value(u"keys")), errSecParam},
      {"unknown key", with(genericItem(u"a", u"s"), u"bogus", Value(1)), errSecParam},
      {"port as string", with(genericItem(u"a", u"s"), kSecAttrPort, Value(u"80")), errSecParam},
      {"account as number", with(genericItem(u"a", u"s"), kSecAttrAccount, Value(5)), errSecParam},
      {"secret as string", with(genericItem(u"a", u"s"), kSecValueData, Value(u"pw")), errSecParam},
      {"creation date set", with(genericItem(u"a", u"s"), kSecAttrCreationDate, Value(Date())),
       errSecParam},
      {"match limit in add",
       with(genericItem(u"a", u"s"), kSecMatchLimit, Value(kSecMatchLimitAll)), errSecParam},
      {"synchronizable any in add",
       with(genericItem(u"a", u"s"), kSecAttrSynchronizable, Value(kSecAttrSynchronizableAny)),
       errSecParam},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(store_->add(c.attributes, nullptr), c.status);
  }
  Value secret;
  EXPECT_EQ(store_->copyMatching(with(genericItem(u"big", u"s"), kSecReturnData, true), &secret),
            errSecSuccess);
  EXPECT_EQ(secret, Value(biggest));
}

TEST_P(SecureItemStoreTest, DuplicatesAreItemsAgreeingOnEveryPrimaryKeyAttribute) {
  Dictionary internet{{String(kSecClass), Value(kSecClassInternetPassword)},
                      {String(kSecAttrAccount), Value(u"ann")},
                      {String(kSecAttrServer), Value(u"example.org")},
                      {String(kSecAttrPort), Value(443)},
                      {String(kSecAttrProtocol), Value(kSecAttrProtocolHTTPS)}};
  ASSERT_FALSE(add(genericItem(u"ann", u"mail")).empty());
  ASSERT_FALSE(add(internet).empty());
  struct Case {
    const char* name;
    Dictionary attributes;
    OSStatus status;
  } cases[] = {
      {"same generic key", genericItem(u"ann", u"mail"), errSecDuplicateItem},
      {"same key, other label", with(genericItem(u"ann", u"mail"), kSecAttrLabel, Value(u"x")),
       errSecDuplicateItem},
      {"absent account equals empty", genericItem(u"", u"mail"), errSecSuccess},
      {"empty account again", genericItem(u"", u"mail"), errSecDuplicateItem},
      {"account differs in case", genericItem(u"Ann", u"mail"), errSecSuccess},
      {"synchronised twin", with(genericItem(u"ann", u"mail"), kSecAttrSynchronizable, true),
       errSecSuccess},
      {"other access group", with(genericItem(u"ann", u"mail"), kSecAttrAccessGroup, Value(u"g")),
       errSecSuccess},
      {"same internet key", internet, errSecDuplicateItem},
      {"other port", with(internet, kSecAttrPort, Value(8443)), errSecSuccess},
      {"other path", with(internet, kSecAttrPath, Value(u"/a")), errSecSuccess},
      {"generic key in the other class",
       with(genericItem(u"ann", u"mail"), kSecClass, Value(kSecClassInternetPassword)),
       errSecSuccess},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(store_->add(c.attributes, nullptr), c.status);
  }
}

TEST_P(SecureItemStoreTest, NulBytesInAccountsAreKeptAndCompared) {
  const String withNul(u"a\0b", 3);
  const String otherNul(u"a\0c", 3);
  add(genericItem(withNul, u"s"), "one");
  add(genericItem(otherNul, u"s"), "two");
  add(genericItem(u"a", u"s"), "three");
  struct Case {
    String account;
    const char* secret;
  } cases[] = {{withNul, "one"}, {otherNul, "two"}, {u"a", "three"}};
  for (const Case& c : cases) {
    Value secret;
    EXPECT_EQ(
        store_->copyMatching(with(genericItem(c.account, u"s"), kSecReturnData, true), &secret),
        errSecSuccess);
    EXPECT_EQ(secret, Value(dataFromBytes(c.secret)));
  }
  Value attributes;
  ASSERT_EQ(store_->copyMatching(with(genericItem(withNul, u"s"), kSecReturnAttributes, true),
                                 &attributes),
            errSecSuccess);
  EXPECT_EQ((*attributes.asDictionary())[kSecAttrAccount], Value(withNul));
}

TEST_P(SecureItemStoreTest, SynchronizableSelection) {
  add(genericItem(u"local", u"s"));
  add(with(genericItem(u"synced", u"s"), kSecAttrSynchronizable, true));
  const Dictionary all = with(with(Dictionary{{String(kSecClass), Value(kSecClassGenericPassword)}},
                                   kSecReturnAttributes, true),
                              kSecMatchLimit, kSecMatchLimitAll);
  struct Case {
    const char* name;
    Value selector;  // null: the key is left out
    std::size_t count;
  } cases[] = {{"absent", Value(), 1},
               {"false", Value(false), 1},
               {"true", Value(true), 1},
               {"any", Value(kSecAttrSynchronizableAny), 2}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Value result;
    const Dictionary query =
        c.selector.isNull() ? all : with(all, kSecAttrSynchronizable, c.selector);
    ASSERT_EQ(store_->copyMatching(query, &result), errSecSuccess);
    EXPECT_EQ(result.asArray()->size(), c.count);
  }
}

TEST_P(SecureItemStoreTest, UpdateAndRemove) {
  const Data first = add(genericItem(u"ann", u"mail"), "old");
  add(genericItem(u"bob", u"mail"));
  const Dictionary byReference{{String(kSecValuePersistentRef), Value(first)}};
  struct Case {
    const char* name;
    Dictionary query;
    Dictionary changes;
    OSStatus status;
  } cases[] = {
      {"secret by reference", byReference,
       Dictionary{{String(kSecValueData), Value(dataFromBytes("new"))}}, errSecSuccess},
      {"label by query", genericItem(u"ann", u"mail"),
       Dictionary{{String(kSecAttrLabel), Value(u"L")}}, errSecSuccess},
      {"clash with bob", byReference, Dictionary{{String(kSecAttrAccount), Value(u"bob")}},
       errSecDuplicateItem},
      {"nothing matches", genericItem(u"zed", u"mail"),
       Dictionary{{String(kSecAttrLabel), Value(u"L")}}, errSecItemNotFound},
      {"no changes", byReference, Dictionary(), errSecParam},
      {"class change", byReference,
       Dictionary{{String(kSecClass), Value(kSecClassInternetPassword)}}, errSecParam},
      {"return key in query", with(byReference, kSecReturnData, true),
       Dictionary{{String(kSecAttrLabel), Value(u"L")}}, errSecParam},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(store_->update(c.query, c.changes), c.status);
  }
  Value result;
  ASSERT_EQ(store_->copyMatching(
                with(with(byReference, kSecReturnData, true), kSecReturnAttributes, true), &result),
            errSecSuccess);
  const Dictionary& item = *result.asDictionary();
  EXPECT_EQ(item[kSecValueData], Value(dataFromBytes("new")));
  EXPECT_EQ(item[kSecAttrLabel], Value(u"L"));
  EXPECT_EQ(item[kSecAttrAccount], Value(u"ann")) << "the clash changed nothing";

  EXPECT_EQ(store_->remove(byReference), errSecSuccess);
  EXPECT_EQ(store_->remove(byReference), errSecItemNotFound);
  EXPECT_EQ(store_->copyMatching(byReference, nullptr), errSecItemNotFound);
  EXPECT_EQ(store_->remove(Dictionary{{String(kSecClass), Value(kSecClassGenericPassword)}}),
            errSecSuccess);
  EXPECT_EQ(store_->copyMatching(genericItem(u"bob", u"mail"), nullptr), errSecItemNotFound);
}

TEST_P(SecureItemStoreTest, ReferencesAreNeverReused) {
  Data previous;
  for (int round = 0; round < 3; ++round) {
    const Data reference = add(genericItem(u"ann", u"mail"));
    EXPECT_NE(reference, previous);
    previous = reference;
    EXPECT_EQ(store_->remove(genericItem(u"ann", u"mail")), errSecSuccess);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Backends, SecureItemStoreTest,
    testing::Values(Backend{"memory", [] { return std::make_shared<InMemorySecureItemStore>(); }},
                    Backend{"embedded",
                            [] {
                              return std::shared_ptr<SecureItemStore>(EmbeddedSecureItemStore::open(
                                  test::makeTemporaryFolder("store") / "Keychain.sqlite"));
                            }}
#if VANTOR_HAVE_LIBSECRET
                    ,
                    // A real daemon with an empty keyring for every test.
                    Backend{"secret_service",
                            []() -> std::shared_ptr<SecureItemStore> {
                              if (!test::SecretServiceSession::shared().startDaemon())
                                return nullptr;
                              return SecretServiceSecureItemStore::open();
                            }}
#endif
                    ),
    [](const testing::TestParamInfo<Backend>& info) { return std::string(info.param.name); });

TEST(SecCopyErrorMessageString, KnownStatusesHaveTexts) {
  for (OSStatus status : {errSecSuccess, errSecIO, errSecParam, errSecNotAvailable, errSecReadOnly,
                          errSecInvalidKeychain, errSecDuplicateItem, errSecItemNotFound,
                          errSecInteractionNotAllowed, errSecDecode}) {
    SCOPED_TRACE(status);
    EXPECT_TRUE(SecCopyErrorMessageString(status).has_value());
  }
  EXPECT_EQ(SecCopyErrorMessageString(-1), std::nullopt);
}

}  // namespace
}  // namespace lx
