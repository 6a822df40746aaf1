#include "vantorcore/transcript/LXTranscript.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "transcript/TranscriptTestSupport.h"
#include "vantorcore/platform/URL.h"

namespace lx {
namespace {

namespace fs = std::filesystem;
using test::kMorning;
using test::stamp;

struct Step {
  const char16_t* text;
  double at = 0;  // seconds after kMorning
  bool outgoing = false;
  bool coalesce = false;
  int connection = 1;  // 0: no connection
};

struct AppendCase {
  const char* name;
  std::vector<Step> steps;
  std::vector<std::string> logged;  // session log lines after the header, without "Demo "
};

// Appends every step of `c` to a fresh transcript named "Demo" and returns it
// once everything is written.
std::shared_ptr<LXTranscript> runSteps(const std::vector<Step>& steps,
                                       test::ManualClockScope& time) {
  time.clock().setCurrentDate(Date(kMorning));
  auto transcript = test::pinnedTranscript(String(u"Demo"));
  std::vector<test::FakeConnection> connections = {test::FakeConnection(nullptr),
                                                   test::FakeConnection(), test::FakeConnection()};
  for (const Step& step : steps) {
    time.clock().setCurrentDate(Date(kMorning + step.at));
    transcript->appendTranscript(connections[step.connection], step.text, step.outgoing,
                                 step.coalesce);
  }
  EXPECT_TRUE(LXTranscript::waitUntilWritten());
  return transcript;
}

TEST(LXTranscriptTest, AppendedMessagesBecomeLinesOfTheSessionAndSharedLogs) {
  const auto at = [](const char* time) { return "[1]: " + stamp("11/24/26", time); };
  const std::string first = at("8:40:00");
  const AppendCase cases[] = {
      {"empty text does nothing", {{u""}}, {}},
      {"received", {{u"hello"}}, {first, "[1]: hello"}},
      {"sent", {{u"hello", 0, true}}, {"[1]: -> " + stamp("11/24/26", "8:40:00"), "[1]: -> hello"}},
      {"no connection is index 0",
       {{u"hello", 0, false, false, 0}},
       {"[0]: " + stamp("11/24/26", "8:40:00"), "[0]: hello"}},
      {"a line of 1 unit is skipped, of 2 kept", {{u"a\nbc"}}, {first, "[1]: bc"}},
      {"empty lines are skipped", {{u"ab\n\n\ncd\n"}}, {first, "[1]: ab", "[1]: cd"}},
      {"every line terminator splits",
       {{u"ab\r\ncd\ref\u2028gh\u2029ij\u0085kl"}},
       {first, "[1]: ab", "[1]: cd", "[1]: ef", "[1]: gh", "[1]: ij", "[1]: kl"}},
      {"coalesce drops a repeat", {{u"same"}, {u"same", 0, false, true}}, {first, "[1]: same"}},
      {"coalesce ignores connection and direction",
       {{u"same"}, {u"same", 0, true, true, 2}},
       {first, "[1]: same"}},
      {"without coalesce a repeat is logged",
       {{u"same"}, {u"same"}},
       {first, "[1]: same", "[1]: same"}},
      {"coalesce keeps a different text",
       {{u"one"}, {u"two", 0, false, true}},
       {first, "[1]: one", "[1]: two"}},
      {"0.5 s later: no stamp; 2 s after that: stamp",
       {{u"one"}, {u"two", 0.5}, {u"three", 2.5}},
       {first, "[1]: one", "[1]: two", at("8:40:02"), "[1]: three"}},
      {"exactly 1.0 s: no stamp", {{u"one"}, {u"two", 1.0}}, {first, "[1]: one", "[1]: two"}},
      {"just over 1.0 s: stamp",
       {{u"one"}, {u"two", 1.001}},
       {first, "[1]: one", at("8:40:01"), "[1]: two"}},
      {"the stamp moves only when written",
       {{u"one"}, {u"two", 0.6}, {u"three", 1.2}},
       {first, "[1]: one", "[1]: two", at("8:40:01"), "[1]: three"}},
      {"a clock set back stamps",
       {{u"one"}, {u"two", -5}},
       {first, "[1]: one", at("8:39:55"), "[1]: two"}},
      {"a dropped repeat moves no stamp",
       {{u"one"}, {u"one", 5, false, true}, {u"two", 5.5}},
       {first, "[1]: one", at("8:40:05"), "[1]: two"}},
  };
  test::ManualClockScope time;
  for (const AppendCase& c : cases) {
    SCOPED_TRACE(c.name);
    auto transcript = runSteps(c.steps, time);
    std::vector<std::string> logged;
    for (const std::string& line : c.logged) logged.push_back("Demo " + line);
    EXPECT_EQ(test::sessionLines(*transcript), logged);
    // The shared log gets the same lines after a header of its own.
    logged.insert(logged.begin(), {"**********", "", "Date/Time: 2026-11-24 08:40:00 +0000", ""});
    const auto shared = test::fileLines(LXTranscript::logFilePath());
    ASSERT_GE(shared.size(), logged.size());
    EXPECT_EQ(std::vector<std::string>(shared.end() - logged.size(), shared.end()), logged);
  }
}

TEST(LXTranscriptTest, ConnectionsAreNumberedInOrderUntilCleared) {
  test::ManualClockScope time;
  time.clock().setCurrentDate(Date(kMorning));
  auto transcript = test::pinnedTranscript(String(u"N"));
  test::FakeConnection a, b, c, d;
  test::FakeConnection sameAsA(LXUUID::UUIDWithString(a.uuid()->stringValue()));
  for (auto* connection : {&a, &b, &c, &sameAsA}) {
    transcript->appendTranscript(*connection, u"xx", false);
  }
  ASSERT_TRUE(LXTranscript::waitUntilWritten());
  EXPECT_EQ(test::sessionLines(*transcript),
            (std::vector<std::string>{"N [1]: " + stamp("11/24/26", "8:40:00"), "N [1]: xx",
                                      "N [2]: xx", "N [3]: xx", "N [1]: xx"}));

  const String oldLog = transcript->localLogFilePath();
  transcript->clearTranscript();
  EXPECT_NE(transcript->localLogFilePath(), oldLog);
  EXPECT_FALSE(fs::exists(fs::path(toUTF8(oldLog)).parent_path()));
  for (auto* connection : {&d, &c}) transcript->appendTranscript(*connection, u"yy", false);
  ASSERT_TRUE(LXTranscript::waitUntilWritten());
  EXPECT_EQ(test::sessionLines(*transcript), (std::vector<std::string>{"N [1]: yy", "N [2]: yy"}));
}

TEST(LXTranscriptTest, DisplayIsHandedOverAfterThirtyPostponementsAtMost) {
  struct PacingCase {
    int messages;
    bool shown;               // handed over without any time passing
    std::uint64_t deferrals;  // afterwards
  };
  const PacingCase cases[] = {
      {1, false, 0}, {2, false, 1}, {31, false, 30}, {32, true, 30}, {33, true, 0},
  };
  test::ManualClockScope time;
  for (const PacingCase& c : cases) {
    SCOPED_TRACE(c.messages);
    auto transcript = test::pinnedTranscript(String(u"P"));
    test::DisplayRecorder recorder(transcript);
    test::FakeConnection connection;
    for (int i = 0; i < c.messages; ++i) {
      transcript->appendTranscript(connection, u"m" + fromUTF8(std::to_string(i)), false);
    }
    ASSERT_TRUE(LXTranscript::waitUntilWritten());
    ASSERT_TRUE(LXTranscript::waitUntilWritten());  // a forced hand-over queues behind its message
    EXPECT_EQ(!recorder.shown.empty(), c.shown);
    EXPECT_EQ(transcript->deferrals(), c.deferrals);
    if (c.shown) {
      EXPECT_EQ(recorder.events, (std::vector<std::string>{"will", "did"}));
      // The 32nd message goes out with the 31 before it.
      EXPECT_NE(recorder.shown[0].string().find(u"1: m0\n1: m1\n"), String::npos);
      EXPECT_NE(recorder.shown[0].string().find(u"1: m31\n"), String::npos);
    }
  }
}

// The text is handed over 1.2 s after the last message: each message moves
// the deadline.
TEST(LXTranscriptTest, QuietPeriodAfterTheLastMessageHandsOverStyledText) {
  test::ManualClockScope time;
  time.clock().setCurrentDate(Date(kMorning));
  auto transcript = test::pinnedTranscript(String(u"Q"));
  test::DisplayRecorder recorder(transcript);
  test::FakeConnection connection;
  transcript->appendTranscript(connection, u"out", true);
  ASSERT_TRUE(LXTranscript::waitUntilWritten());
  time.advance(1.0);
  transcript->appendTranscript(connection, u"in", false);
  ASSERT_TRUE(LXTranscript::waitUntilWritten());
  time.advance(0.3);  // the first deadline has passed
  for (int pass = 0; pass < 3; ++pass) ASSERT_TRUE(LXTranscript::waitUntilWritten());
  EXPECT_EQ(transcript->deferrals(), 1U);
  time.advance(0.8);  // 1.1 s after the last message
  ASSERT_TRUE(LXTranscript::waitUntilWritten());
  EXPECT_TRUE(recorder.shown.empty());
  time.advance(0.2);
  ASSERT_TRUE(test::spinUntil([&] { return !recorder.shown.empty(); }));
  ASSERT_TRUE(LXTranscript::waitUntilWritten());
  const AttributedString& shown = recorder.shown.at(0);
  EXPECT_EQ(shown.string(), u"1: " + fromUTF8(stamp("11/24/26", "8:40:00")) + u"\n1: out\n1: in\n");
  EXPECT_EQ(shown.attributesAtIndex(0), LXTranscript::connectionLabelAttributes());
  EXPECT_EQ(shown.attributesAtIndex(shown.string().find(u"out")), transcript->outgoingAttributes());
  EXPECT_EQ(shown.attributesAtIndex(shown.length() - 2), transcript->incomingAttributes());
  EXPECT_TRUE(transcript->outgoingAttributes().font->isBold());
  EXPECT_FALSE(transcript->incomingAttributes().font->isBold());

  transcript->flush();  // an explicit flush hands over even an empty buffer
  ASSERT_TRUE(LXTranscript::waitUntilWritten());
  EXPECT_EQ(recorder.shown.size(), 2U);
  EXPECT_TRUE(recorder.shown[1].empty());
}

TEST(LXTranscriptTest, EmptyOrAbsentNamesShowAsNotConnected) {
  const struct {
    std::optional<String> name;
    String shown;
  } cases[] = {{std::nullopt, u"Not Connected"},
               {String(), u"Not Connected"},
               {String(u"x"), u"x"},
               {String(u"Server 2"), u"Server 2"}};
  for (const auto& c : cases) {
    auto transcript = LXTranscript::initWithDisplayName(c.name, u"names");
    EXPECT_EQ(transcript->displayName(), c.shown);
    transcript->setDisplayName(c.name);
    EXPECT_EQ(transcript->displayName(), c.shown);
  }
}

TEST(LXTranscriptTest, RegistryKeepsOneTranscriptPerSessionKey) {
  auto first = LXTranscript::transcriptWithDisplayName(String(u"One"), u"key");
  EXPECT_EQ(LXTranscript::transcriptWithDisplayName(std::nullopt, u"key"), first);
  EXPECT_EQ(first->displayName(), u"One");
  EXPECT_EQ(LXTranscript::transcriptWithDisplayName(String(u"Two"), u"key"), first);
  EXPECT_EQ(first->displayName(), u"Two");
  EXPECT_NE(LXTranscript::transcriptWithDisplayName(String(u"Other"), u""), first);

  const fs::path folder = fs::path(toUTF8(first->localLogFilePath())).parent_path();
  LXTranscript::deleteTranscriptForSessionKey(u"key");
  LXTranscript::deleteTranscriptForSessionKey(u"never made");
  EXPECT_NE(LXTranscript::transcriptWithDisplayName(std::nullopt, u"key"), first);
  EXPECT_TRUE(fs::exists(folder));  // still held here
  first.reset();
  ASSERT_TRUE(LXTranscript::waitUntilWritten());
  EXPECT_FALSE(fs::exists(folder));
  LXTranscript::deleteTranscriptForSessionKey(u"key");
  LXTranscript::deleteTranscriptForSessionKey(u"");
}

TEST(LXTranscriptTest, RotationContinuesTheSharedLogOncePerTranscript) {
  auto a = LXTranscript::initWithDisplayName(String(u"Alpha"), u"a");
  auto b = LXTranscript::initWithDisplayName(String(u"Beta"), u"b");
  a->setConnectionIndex(7);
  b->setConnectionIndex(0);
  fs::remove(toUTF8(LXTranscript::logFilePath()));
  NotificationCenter::defaultCenter().post(LXTranscriptNotificationLogDidRotate);
  ASSERT_TRUE(LXTranscript::waitUntilWritten());
  // Order follows observer registration; other tests' transcripts are gone.
  EXPECT_EQ(test::readFile(toUTF8(LXTranscript::logFilePath())),
            "Alpha [7] (continued)\n\nBeta [0] (continued)\n\n");
}

TEST(LXTranscriptTest, AFailingFileLosesOnlyItsOwnLine) {
  test::ManualClockScope time;
  auto transcript = test::pinnedTranscript(String(u"F"));
  const std::string shared = toUTF8(LXTranscript::logFilePath());
  const fs::path logs = fs::path(shared).parent_path();
  test::FakeConnection connection;

  // A full disk: every write to the shared log fails.
  fs::remove(shared);
  fs::create_symlink("/dev/full", shared);
  transcript->appendTranscript(connection, u"during", false);
  ASSERT_TRUE(LXTranscript::waitUntilWritten());
  fs::remove(shared);
  transcript->appendTranscript(connection, u"after", false);
  ASSERT_TRUE(LXTranscript::waitUntilWritten());
  EXPECT_EQ(test::readFile(shared), "F [1]: after\n");

  // A "Logs" folder that cannot be made: the session log still gets lines.
  fs::remove_all(logs);
  test::writeFile(logs, "not a folder");
  transcript->appendTranscript(connection, u"no folder", false);
  ASSERT_TRUE(LXTranscript::waitUntilWritten());
  fs::remove(logs);
  fs::create_directories(logs);
  EXPECT_EQ(test::sessionLines(*transcript).back(), "F [1]: no folder");
  EXPECT_EQ(test::sessionLines(*transcript).size(), 4U);
}

// A styled string from pieces tagged 'c' (caption), 'o' (sent) or 'i'
// (received), in the default styles.
AttributedString styled(std::initializer_list<std::pair<char, String>> pieces) {
  const LXTranscript::Styles& styles = LXTranscript::defaultStyles();
  AttributedString text;
  for (const auto& [tag, piece] : pieces) {
    text.append(piece, tag == 'c'   ? styles.caption
                       : tag == 'o' ? styles.outgoing
                                    : styles.incoming);
  }
  return text;
}

TEST(LXTranscriptTest, LogsAreShownWithCaptionsAndDirections) {
  const struct {
    const char* name;
    std::string log;
    AttributedString shown;
  } cases[] = {
      {"empty", "", {}},
      {"received", "Demo [1]: hello\n", styled({{'c', u"1: "}, {'i', u"hello\n"}})},
      {"sent", "Demo [2]: -> hi\n", styled({{'c', u"2: "}, {'o', u"hi\n"}})},
      {"header lines as they are", "\n**********\n\nDate/Time: x\n",
       styled({{'i', u"\n**********\n\nDate/Time: x\n"}})},
      {"the first bracket counts", "a [1]: b [2]: c\n",
       styled({{'c', u"1: "}, {'i', u"b [2]: c\n"}})},
      {"no space before the bracket", "[1]: x\n", styled({{'i', u"[1]: x\n"}})},
      {"no space after the colon", "x [1]:-> y\n", styled({{'i', u"x [1]:-> y\n"}})},
      {"no digits", "x []: y\n", styled({{'i', u"x []: y\n"}})},
      {"an empty text", "x [3]: \n", styled({{'c', u"3: "}, {'i', u"\n"}})},
      {"an index past 64 bits saturates", "x [99999999999999999999]: y\n",
       styled({{'c', u"18446744073709551615: "}, {'i', u"y\n"}})},
      {"invalid UTF-8", "x [1]: \xff\xfe ok\n",
       styled({{'c', u"1: "}, {'i', u"\uFFFD\uFFFD ok\n"}})},
      {"a last line without newline", "x [1]: y", styled({{'c', u"1: "}, {'i', u"y\n"}})},
  };
  const fs::path folder = test::makeTemporaryFolder("show");
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    test::writeFile(folder / "Transcript.log", c.log);
    EXPECT_EQ(LXTranscript::displayTranscriptLogAtPath(
                  fromUTF8((folder / "Transcript.log").string()), LXTranscript::defaultStyles()),
              c.shown);
  }
  EXPECT_TRUE(LXTranscript::displayTranscriptLogAtPath(u"/nonexistent/Transcript.log",
                                                       LXTranscript::defaultStyles())
                  .empty());
}

// The last `size` bytes of numbered 100-byte log lines.
std::string numberedLog(std::size_t size) {
  std::string log;
  for (std::size_t n = 0; log.size() < size; ++n) {
    std::string line = "L [1]: " + std::to_string(1000000 + n);
    line.resize(99, 'x');
    log += line + "\n";
  }
  return log.substr(log.size() - size);
}

TEST(LXTranscriptTest, LongLogsShowTheirLastFourMebibytes) {
  const struct {
    std::size_t size;
    bool truncated;
    String firstLine;
  } cases[] = {
      {4'194'304, false, u"xxx\n"},      // at the limit: all of it
      {4'194'305, true, u"1: 1000001"},  // one past: from the next line
      {5'000'000, true, u"1: 1008057"},  // from the line after byte 805,696
  };
  test::ManualClockScope time;
  auto transcript = test::pinnedTranscript(String(u"Long"));
  const std::string path = toUTF8(transcript->localLogFilePath());
  const String folderURL =
      URL::fileURLWithPath(fromUTF8(fs::path(path).parent_path().string()), true).absoluteString();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.size);
    test::writeFile(path, numberedLog(c.size));
    const AttributedString shown = transcript->displayTranscriptLog();
    const String notice = u"Truncated Log File (View Complete)\n";
    ASSERT_EQ(shown.string().starts_with(notice), c.truncated);
    const String rest = shown.string().substr(c.truncated ? notice.size() : 0);
    EXPECT_EQ(rest.substr(0, c.firstLine.size()), c.firstLine);
    if (c.truncated) {
      const TextAttributes& attributes = shown.attributesAtIndex(0);
      EXPECT_EQ(attributes.link, folderURL);
      EXPECT_EQ(attributes.backgroundColor, Color::fromRGBA(0, 0, 1, 0.2));
      EXPECT_EQ(attributes.font, transcript->outgoingAttributes().font);
    }
  }
}

}  // namespace
}  // namespace lx
