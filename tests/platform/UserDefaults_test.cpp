#include "vantorcore/platform/UserDefaults.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>

#include <atomic>
#include <filesystem>
#include <thread>

#include "support/ObservationSupport.h"
#include "support/TestSupport.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/PropertyList.h"
#include "vantorcore/platform/String+Paths.h"

namespace lx {
namespace {

namespace fs = std::filesystem;

// Each test gets a suite of its own, so files never leak between tests.
std::shared_ptr<UserDefaults> freshSuite() {
  static std::atomic<int> counter{0};
  auto suite = UserDefaults::suiteNamed(fromUTF8("suite" + std::to_string(counter++)));
  std::error_code ec;
  fs::remove(fileSystemRepresentation(suite->path()), ec);
  return suite;
}

String configFolder() {
  return stringWithFileSystemRepresentation((test::temporaryHome() / ".config").native());
}

TEST(UserDefaultsTest, TypedGettersFollowThePlatformRules) {
  auto defaults = freshSuite();
  defaults->setObject(Value(u"YES"), u"flag");
  defaults->setObject(Value(u"42abc"), u"number");
  defaults->setObject(Value(2.75), u"real");
  defaults->setObject(Value(Array{1, 2}), u"list");
  defaults->setObject(Value(Data{1, 2}), u"bytes");
  const struct {
    const char16_t* key;
    bool asBool;
    std::int64_t asInteger;
    bool isString, isArray, isData;
  } cases[] = {
      {u"flag", true, 0, true, false, false},   {u"number", true, 42, true, false, false},
      {u"real", true, 2, false, false, false},  {u"list", false, 0, false, true, false},
      {u"bytes", false, 0, false, false, true}, {u"missing", false, 0, false, false, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(toUTF8(c.key));
    EXPECT_EQ(defaults->boolForKey(c.key), c.asBool);
    EXPECT_EQ(defaults->integerForKey(c.key), c.asInteger);
    EXPECT_EQ(defaults->stringForKey(c.key).has_value(), c.isString);
    EXPECT_EQ(defaults->arrayForKey(c.key).has_value(), c.isArray);
    EXPECT_EQ(defaults->dataForKey(c.key).has_value(), c.isData);
    EXPECT_FALSE(defaults->dictionaryForKey(c.key).has_value());
  }
  EXPECT_DOUBLE_EQ(defaults->doubleForKey(u"real"), 2.75);
}

TEST(UserDefaultsTest, StandardStorePersistsAcrossReloads) {
  UserDefaults::resetStandardUserDefaults();
  auto defaults = UserDefaults::standardUserDefaults();
  EXPECT_EQ(stringByDeletingLastPathComponent(defaults->path()), configFolder());
  EXPECT_TRUE(defaults->path().ends_with(u".plist"));
  defaults->setObject(Value(true), u"DebugLogging");
  defaults->setObject(Value(Dictionary{{u"w", 640}, {u"h", 480}}), u"Window");

  UserDefaults::resetStandardUserDefaults();
  auto reloaded = UserDefaults::standardUserDefaults();
  EXPECT_NE(reloaded, defaults);
  EXPECT_TRUE(reloaded->boolForKey(u"DebugLogging"));
  EXPECT_EQ(reloaded->dictionaryForKey(u"Window"), (Dictionary{{u"w", 640}, {u"h", 480}}));

  struct stat st {};
  ASSERT_EQ(::stat(fileSystemRepresentation(reloaded->path()).c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  PropertyList::Format format{};
  EXPECT_TRUE(PropertyList::readFile(reloaded->path(), nullptr, &format));
  EXPECT_EQ(format, PropertyList::Format::XML);

  reloaded->removeObjectForKey(u"DebugLogging");
  reloaded->removeObjectForKey(u"Window");
  UserDefaults::resetStandardUserDefaults();
}

TEST(UserDefaultsTest, RegisteredDefaultsAreFallbacksThatStayInMemory) {
  auto defaults = freshSuite();
  defaults->registerDefaults({{u"a", 1}, {u"b", 2}});
  defaults->setObject(Value(10), u"b");
  EXPECT_EQ(defaults->integerForKey(u"a"), 1);
  EXPECT_EQ(defaults->integerForKey(u"b"), 10);
  EXPECT_EQ(defaults->dictionaryRepresentation(), (Dictionary{{u"a", 1}, {u"b", 10}}));
  EXPECT_EQ(PropertyList::readFile(defaults->path()), Value(Dictionary{{u"b", 10}}));
  defaults->removeObjectForKey(u"b");
  EXPECT_EQ(defaults->integerForKey(u"b"), 2);
}

TEST(UserDefaultsTest, UnreadableFilesAreMovedAsideAndTheStoreStartsEmpty) {
  const struct {
    const char* name;
    std::string contents;
  } cases[] = {
      {"garbage", "not a property list"},
      {"empty file", ""},
      {"array at the top", "<plist version=\"1.0\"><array><integer>1</integer></array></plist>"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto defaults = freshSuite();
    const fs::path file = fileSystemRepresentation(defaults->path());
    test::writeFile(file, c.contents);
    ScopedLogCapture log;
    EXPECT_FALSE(defaults->objectForKey(u"anything"));
    const std::vector<String> lines = log.lines();
    ASSERT_EQ(lines.size(), 1u);
    const String prefix =
        u"UserDefaults: moved unreadable preferences " + defaults->path() + u" aside to ";
    ASSERT_TRUE(lines[0].starts_with(prefix));
    const String aside = lines[0].substr(prefix.size());
    EXPECT_TRUE(aside.starts_with(defaults->path() + u".corrupt-"));
    EXPECT_EQ(test::readFile(fileSystemRepresentation(aside)), c.contents);  // nothing lost
    EXPECT_FALSE(fs::exists(file));
    defaults->setObject(Value(1), u"fresh");  // and the store works again
    EXPECT_EQ(
        UserDefaults::suiteNamed(lastPathComponent(stringByDeletingPathExtension(defaults->path())))
            ->integerForKey(u"fresh"),
        1);
  }
}

TEST(UserDefaultsTest, RefusesValuesWithoutAPropertyListForm) {
  auto defaults = freshSuite();
  ScopedLogCapture log;
  defaults->setObject(Value(Array{Value(std::make_shared<Object>())}), u"k");
  EXPECT_FALSE(defaults->objectForKey(u"k"));
  EXPECT_TRUE(log.contains(u"UserDefaults: refusing to store a non-property-list value for key k"));
}

TEST(UserDefaultsTest, SuiteNamesMustNameAFile) {
  for (const char16_t* name : {u"", u"a/b", u".", u".."}) {
    SCOPED_TRACE(toUTF8(name));
    EXPECT_EQ(UserDefaults::suiteNamed(name), nullptr);
  }
}

TEST(UserDefaultsTest, ConcurrentWritersLoseNothing) {
  auto first = freshSuite();
  const String name = lastPathComponent(stringByDeletingPathExtension(first->path()));
  // Two objects over one file stand in for two processes; each also has two
  // threads writing through it.
  auto second = UserDefaults::suiteNamed(name);
  constexpr int kPerThread = 25;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      auto& store = t % 2 ? first : second;
      for (int i = 0; i < kPerThread; ++i) {
        store->setObject(Value(i), fromUTF8("t" + std::to_string(t) + "-" + std::to_string(i)));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  const Dictionary all = UserDefaults::suiteNamed(name)->dictionaryRepresentation();
  EXPECT_EQ(all.size(), 4u * kPerThread);
}

TEST(UserDefaultsTest, ObserversHearLocalChangesWithTheirValues) {
  auto defaults = freshSuite();
  std::vector<String> heard;
  std::thread::id thread;
  std::vector<std::optional<Value>> values;
  auto token = defaults->addObserver(u"color", [&](const String& key, const auto& value) {
    heard.push_back(key);
    values.push_back(value);
    thread = std::this_thread::get_id();
    EXPECT_TRUE(defaults->objectForKey(u"color"));  // the store may be read from an observer
  });
  defaults->setObject(Value(u"red"), u"color");
  defaults->setObject(Value(u"red"), u"color");  // no change, no call
  defaults->setObject(Value(1), u"other");
  EXPECT_EQ(heard, std::vector<String>{u"color"});
  EXPECT_EQ(values, (std::vector<std::optional<Value>>{Value(u"red")}));
  EXPECT_EQ(thread, std::this_thread::get_id());

  UserDefaults::ObserverToken moved = std::move(token);
  moved.reset();
  defaults->removeObjectForKey(u"color");
  EXPECT_EQ(heard.size(), 1u);
}

TEST(UserDefaultsTest, AnUnobservedStoreReadsOtherWritersOnSynchronize) {
  auto defaults = freshSuite();
  defaults->setObject(Value(u"red"), u"color");
  // Another object over the same file writes; with no observers nothing
  // watches the file, so the cache stands until synchronize.
  UserDefaults::suiteNamed(lastPathComponent(stringByDeletingPathExtension(defaults->path())))
      ->setObject(Value(u"blue"), u"color");
  EXPECT_EQ(defaults->stringForKey(u"color"), u"red");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(defaults->stringForKey(u"color"), u"blue");
}

struct ChangeRecorder : KeyValueObserver {
  std::vector<Dictionary> changes;
  void observeValueForKeyPath(const String&, Object&, const Dictionary& change, void*) override {
    changes.push_back(change);
  }
};

TEST(UserDefaultsTest, KeyValueObserversGetOldAndNewValuesWithRegisteredFallbacks) {
  auto defaults = freshSuite();
  defaults->registerDefaults({{u"size", Value(10)}});
  auto recorder = std::make_shared<ChangeRecorder>();
  defaults->addObserver(
      recorder, u"size",
      KeyValueObservingOptionNew | KeyValueObservingOptionOld | KeyValueObservingOptionPrior);
  defaults->setObject(Value(12), u"size");
  defaults->removeObjectForKey(u"size");  // back to the registered value
  ASSERT_EQ(recorder->changes.size(), 4u);
  EXPECT_EQ(*recorder->changes[0].find(u"notificationIsPrior"), Value(true));
  EXPECT_EQ(*recorder->changes[1].find(u"old"), Value(10));
  EXPECT_EQ(*recorder->changes[1].find(u"new"), Value(12));
  EXPECT_EQ(*recorder->changes[3].find(u"new"), Value(10));
}

// Runs a shell command: another process touching the store's file.
void runElsewhere(const std::string& command) {
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

std::string plistWith(const std::string& key, int value) {
  return "<plist version=\"1.0\"><dict><key>" + key + "</key><integer>" + std::to_string(value) +
         "</integer></dict></plist>";
}

TEST(UserDefaultsTest, TheFileWatchReportsWhatAnotherProcessDid) {
  struct Case {
    const char* name;
    std::string command;  // %F is the store's file
    std::optional<Value> delivered;
    bool movedAside;
  };
  const Case cases[] = {
      {"replaced by rename", "printf '" + plistWith("volume", 11) + "' > %F.tmp && mv %F.tmp %F",
       Value(11), false},
      {"rewritten in place", "printf '" + plistWith("volume", 12) + "' > %F", Value(12), false},
      {"removed", "rm %F", std::nullopt, false},
      {"truncated", ": > %F", std::nullopt, true},
      {"not a property list", "printf 'garbage' > %F", std::nullopt, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto defaults = freshSuite();
    defaults->setObject(Value(1), u"volume");
    test::Inbox<std::optional<Value>> inbox;
    auto token = defaults->addObserver(
        u"volume",
        [inbox](const String&, const std::optional<Value>& value) { inbox.push(value); });
    ScopedLogCapture log;
    std::string command = c.command;
    const std::string file = "'" + fileSystemRepresentation(defaults->path()) + "'";
    for (std::size_t at; (at = command.find("%F")) != std::string::npos;) {
      command.replace(at, 2, file);
    }
    runElsewhere(command);
    ASSERT_TRUE(inbox.waitUntil([](const auto& items) { return !items.empty(); }));
    EXPECT_EQ(inbox.items()[0], c.delivered);
    EXPECT_EQ(defaults->objectForKey(u"volume"), c.delivered);
    const auto lines = log.lines();
    EXPECT_EQ(!lines.empty() && lines[0].find(u"aside") != String::npos, c.movedAside);
  }
}

TEST(UserDefaultsTest, AnUnreadableFileKeepsTheValuesUntilItIsReadableAgain) {
  auto defaults = freshSuite();
  defaults->setObject(Value(1), u"volume");
  test::Inbox<std::optional<Value>> inbox;
  auto token = defaults->addObserver(
      u"volume", [inbox](const String&, const std::optional<Value>& value) { inbox.push(value); });
  const std::string file = fileSystemRepresentation(defaults->path());
  const std::string spare = file + ".spare";
  // A folder swapped into the file's place in one step cannot be read, even
  // by root.
  ASSERT_EQ(::mkdir(spare.c_str(), 0700), 0);
  ASSERT_EQ(::renameat2(AT_FDCWD, spare.c_str(), AT_FDCWD, file.c_str(), RENAME_EXCHANGE), 0);
  {
    ScopedLogCapture log;
    ASSERT_TRUE(test::eventually([&] {
      for (const String& line : log.lines()) {
        if (line.starts_with(u"UserDefaults: couldn't read " + defaults->path())) return true;
      }
      return false;
    }));
  }
  EXPECT_EQ(defaults->objectForKey(u"volume"), Value(1));
  EXPECT_TRUE(inbox.items().empty());
  test::writeFile(spare, plistWith("volume", 2));
  ASSERT_EQ(::renameat2(AT_FDCWD, spare.c_str(), AT_FDCWD, file.c_str(), RENAME_EXCHANGE), 0);
  ASSERT_TRUE(inbox.waitUntil([](const auto& items) { return !items.empty(); }));
  EXPECT_EQ(inbox.items(), (std::vector<std::optional<Value>>{Value(2)}));
  ::rmdir(spare.c_str());
}

TEST(UserDefaultsTest, OneWriteThatTouchesTheFileRepeatedlyIsOneChange) {
  auto defaults = freshSuite();
  test::Inbox<String> inbox;
  auto token = defaults->addObserverForAllKeys(
      [inbox](const String& key, const std::optional<Value>&) { inbox.push(key); });
  const std::string file = "'" + fileSystemRepresentation(defaults->path()) + "'";
  runElsewhere("printf '" + plistWith("volume", 3) + "' > " + file + " && chmod 600 " + file +
               " && touch " + file + " && touch " + file);
  // A later change to another key marks the end of the first one's events.
  runElsewhere(
      "printf '<plist version=\"1.0\"><dict><key>volume</key><integer>3</integer>"
      "<key>done</key><true/></dict></plist>' > " +
      file + ".tmp && mv " + file + ".tmp " + file);
  ASSERT_TRUE(inbox.waitUntil(
      [](const auto& keys) { return std::find(keys.begin(), keys.end(), u"done") != keys.end(); }));
  EXPECT_EQ(inbox.items(), (std::vector<String>{u"volume", u"done"}));
}

}  // namespace
}  // namespace lx
