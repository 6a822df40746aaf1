#include "vantorcore/drawing/Alert.h"

#include <gtest/gtest.h>

#include <thread>

#include "concurrency/ConcurrencyTestSupport.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"
#include "vantorcore/platform/Thread.h"

namespace lx {
namespace {

using test::spinUntil;

class AlertTest : public testing::Test {
 protected:
  void SetUp() override { Alert::resetAllSuppressions(defaults_); }
  void TearDown() override { Alert::setPresenter(nullptr); }

  // Runs `alert` and waits on the main run loop for its answer.
  AlertResponse answer(const Alert& alert) {
    std::optional<AlertResponse> response;
    bool onMain = false;
    alert.run(
        [&](AlertResponse r) {
          onMain = Thread::isMainThread();
          response = r;
        },
        defaults_);
    EXPECT_TRUE(spinUntil([&] { return response.has_value(); }));
    EXPECT_TRUE(onMain);
    return response.value_or(AlertResponse{-1});
  }

  // Installs a presenter that counts its calls and replies with `reply`
  // from another thread.
  void presentReplying(AlertResponse reply) {
    Alert::setPresenter([this, reply](const Alert& alert, std::function<void(AlertResponse)> done) {
      ++presented_;
      presentedOnMain_ = Thread::isMainThread();
      shown_ = alert.messageText();
      std::thread([done, reply] {
        done(reply);
        done({kAlertThirdButtonReturn});  // a second reply is ignored
      }).detach();
    });
  }

  static Alert questionWithKey(const char16_t* key) {
    Alert alert;
    alert.setMessageText(u"Delete the file?");
    alert.addButton(u"Delete");
    alert.addButton(u"Cancel");
    alert.setShowsSuppressionButton(true);
    alert.setSuppressionKey(String(key));
    return alert;
  }

  std::shared_ptr<UserDefaults> defaults_ = UserDefaults::suiteNamed(u"lx.test.Alert");
  int presented_ = 0;
  bool presentedOnMain_ = false;
  String shown_;
};

TEST_F(AlertTest, ButtonsUpToThree) {
  Alert alert;
  EXPECT_EQ(alert.buttons(), (std::vector<Alert::Button>{{u"OK", kAlertFirstButtonReturn}}));
  EXPECT_EQ(alert.addButton(u"Save"), kAlertFirstButtonReturn);
  EXPECT_EQ(alert.addButton(u"Don't Save"), kAlertSecondButtonReturn);
  EXPECT_EQ(alert.addButton(u"Cancel"), kAlertThirdButtonReturn);
  EXPECT_THROW(alert.addButton(u"Fourth"), InvalidArgumentException);
  EXPECT_EQ(alert.buttons().size(), 3u);
  alert.setSuppressionKey(String());
  EXPECT_FALSE(alert.suppressionKey());
}

TEST_F(AlertTest, WithoutPresenterLogsAndAnswersTheDefault) {
  std::vector<String> lines;
  LogSink previous = setLogSink([&](const String& line) { lines.push_back(line); });
  Alert plain;
  plain.setMessageText(u"Disk full");
  Alert detailed = questionWithKey(u"delete");
  detailed.setInformativeText(u"It cannot be restored.");
  const AlertResponse a = answer(plain), b = answer(detailed);
  setLogSink(previous);
  EXPECT_EQ(lines, (std::vector<String>{
                       u"Alert: Disk full [OK]",
                       u"Alert: Delete the file? \u2014 It cannot be restored. [Delete]"}));
  EXPECT_EQ(a, (AlertResponse{kAlertFirstButtonReturn, false, false}));
  EXPECT_EQ(b, (AlertResponse{kAlertFirstButtonReturn, false, false}));
  EXPECT_FALSE(Alert::suppressedReturnCode(u"delete", defaults_));
}

TEST_F(AlertTest, TickedAnswerIsRememberedAndNotPresentedAgain) {
  presentReplying({kAlertSecondButtonReturn, true});
  const Alert alert = questionWithKey(u"delete");
  EXPECT_EQ(answer(alert), (AlertResponse{kAlertSecondButtonReturn, true, false}));
  EXPECT_EQ(presented_, 1);
  EXPECT_TRUE(presentedOnMain_);
  EXPECT_EQ(shown_, u"Delete the file?");
  EXPECT_EQ(Alert::suppressedReturnCode(u"delete", defaults_), kAlertSecondButtonReturn);
  EXPECT_EQ(defaults_->dictionaryForKey(LXSuppressedAlertsKey),
            (Dictionary{{SharedString(u"delete"), Value(kAlertSecondButtonReturn)}}));

  EXPECT_EQ(answer(alert), (AlertResponse{kAlertSecondButtonReturn, true, true}));
  EXPECT_EQ(presented_, 1);
  // Another key is still presented.
  answer(questionWithKey(u"other"));
  EXPECT_EQ(presented_, 2);
}

TEST_F(AlertTest, RepliesThatRememberNothing) {
  constexpr auto kFirst = kAlertFirstButtonReturn, kSecond = kAlertSecondButtonReturn;
  const struct {
    const char* name;
    AlertResponse reply;
    bool showsCheckBox;
    const char16_t* key;
    AlertResponse expected;
  } cases[] = {
      // clang-format off
      {"not ticked", {kSecond, false}, true, u"k", {kSecond, false, false}},
      {"check box not shown", {kSecond, true}, false, u"k", {kSecond, false, false}},
      {"no key", {kSecond, true}, true, u"", {kSecond, true, false}},
      {"unknown code is the first button", {4711, false}, true, u"k", {kFirst, false, false}},
      {"third of two buttons", {kAlertThirdButtonReturn, false}, true, u"k", {kFirst, false, false}},
      // clang-format on
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    presentReplying(c.reply);
    Alert alert = questionWithKey(c.key);
    alert.setShowsSuppressionButton(c.showsCheckBox);
    EXPECT_EQ(answer(alert), c.expected);
    EXPECT_FALSE(Alert::suppressedReturnCode(u"k", defaults_));
  }
}

TEST_F(AlertTest, ResetOneOrAll) {
  presentReplying({kAlertFirstButtonReturn, true});
  answer(questionWithKey(u"one"));
  answer(questionWithKey(u"two"));
  answer(questionWithKey(u"three"));
  ASSERT_EQ(presented_, 3);
  Alert::resetSuppression(u"two", defaults_);
  Alert::resetSuppression(u"never-set", defaults_);
  answer(questionWithKey(u"one"));
  answer(questionWithKey(u"two"));
  EXPECT_EQ(presented_, 4);
  Alert::resetAllSuppressions(defaults_);
  EXPECT_FALSE(defaults_->objectForKey(LXSuppressedAlertsKey));
  answer(questionWithKey(u"one"));
  EXPECT_EQ(presented_, 5);
}

TEST_F(AlertTest, PresenterSeesItsOwnCopy) {
  std::optional<Alert> seen;
  Alert::setPresenter([&](const Alert& alert, std::function<void(AlertResponse)> done) {
    seen = alert;
    done({kAlertFirstButtonReturn});
  });
  std::optional<AlertResponse> response;
  {
    Alert alert = questionWithKey(u"copy");
    alert.run([&](AlertResponse r) { response = r; }, defaults_);
    alert.setMessageText(u"changed after run");
  }
  ASSERT_TRUE(spinUntil([&] { return response.has_value(); }));
  EXPECT_EQ(seen->messageText(), u"Delete the file?");
}

}  // namespace
}  // namespace lx
