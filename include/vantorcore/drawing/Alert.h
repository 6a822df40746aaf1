// `Alert`: a modal question to the user, with "do not show this again".
//
// The library draws no windows: the host (a GTK or Qt application) installs
// a presenter that shows the alert in its own toolkit and replies with the
// button pressed and the state of the suppression check box. Without a
// presenter, as in tools and daemons, an alert is written to the log and
// answers its default (first) button.
//
// Suppression: an alert with a suppression key that the user answered with
// the check box ticked is never presented again; `run` answers the
// remembered button at once. The answers live in the given `UserDefaults`
// (the standard ones unless told) under `LXSuppressedAlertsKey`, a
// dictionary from suppression key to return code, so they persist across
// runs and one call forgets one or all of them.
//
// Threads: build and run alerts on any thread; the presenter is always
// called on the main queue, and the completion always runs on the main
// queue, so the main run loop must be running for either to happen.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "vantorcore/platform/String.h"
#include "vantorcore/platform/UserDefaults.h"

namespace LX_API lx {

/// The user-defaults key of the remembered answers.
inline constexpr StringView LXSuppressedAlertsKey = u"LXSuppressedAlerts";

/// How the alert presents itself: a warning, information, or a critical question.
enum class AlertStyle { Warning, Informational, Critical };

/// Return codes of the first, second and third buttons, in the order added.
///@{
inline constexpr std::int64_t kAlertFirstButtonReturn = 1000;
inline constexpr std::int64_t kAlertSecondButtonReturn = 1001;
inline constexpr std::int64_t kAlertThirdButtonReturn = 1002;
///@}

/// How the user answered.
struct AlertResponse {
  /// The return code of the button the user chose (one of the kAlert…ButtonReturn codes).
  std::int64_t returnCode = kAlertFirstButtonReturn;
  /// True when the suppression check box was ticked (or, for an answer
  /// from memory, was ticked when the answer was remembered).
  bool suppressionChecked = false;
  /// True when the answer came from memory and nothing was presented.
  bool wasSuppressed = false;
  /// Equal when all fields are.
  friend bool operator==(const AlertResponse&, const AlertResponse&) = default;
};

class Alert {
 public:
  /// At most this many buttons; adding more throws.
  static constexpr std::size_t kMaximumButtons = 3;

  /// A button, with its title and the code its click returns.
  struct Button {
    /// The button's label, as shown.
    String title;
    /// The code `AlertResponse::returnCode` carries when the button is clicked.
    std::int64_t returnCode;
    /// Equal when title and code are.
    friend bool operator==(const Button&, const Button&) = default;
  };

  /// Shows the alert and replies with the user's answer; the reply may be
  /// called from any thread, once (later calls are ignored).
  using Presenter =
      std::function<void(const Alert& alert, std::function<void(AlertResponse)> reply)>;
  /// Called once, on the main thread, with the user's answer.
  using Completion = std::function<void(AlertResponse response)>;

  /// A warning with no text and no buttons (it shows a single "OK").
  Alert() = default;

  /// Warning, informational or critical.
  ///@{
  [[nodiscard]] AlertStyle style() const noexcept { return style_; }
  void setStyle(AlertStyle style) noexcept { style_ = style; }
  ///@}
  /// The alert's headline.
  ///@{
  [[nodiscard]] const String& messageText() const noexcept { return message_; }
  void setMessageText(String text) { message_ = std::move(text); }
  ///@}
  /// The text below the headline; empty for none.
  ///@{
  [[nodiscard]] const String& informativeText() const noexcept { return informative_; }
  void setInformativeText(String text) { informative_ = std::move(text); }
  ///@}

  /// Adds a button after the others and returns its return code
  /// (`kAlertFirstButtonReturn` + its index). Throws
  /// `InvalidArgumentException` for a fourth button.
  std::int64_t addButton(String title);
  /// The buttons as added; a single "OK" (`kAlertFirstButtonReturn`) when
  /// none was.
  [[nodiscard]] std::vector<Button> buttons() const;

  /// Whether a "do not show again" check box is shown.
  ///@{
  [[nodiscard]] bool showsSuppressionButton() const noexcept { return showsSuppression_; }
  void setShowsSuppressionButton(bool shows) noexcept { showsSuppression_ = shows; }
  ///@}
  /// The check box's text; "Do not show this message again" by default.
  [[nodiscard]] const String& suppressionButtonText() const noexcept { return suppressionText_; }
  /// The check box's label; empty for the desktop's default.
  void setSuppressionButtonText(String text) { suppressionText_ = std::move(text); }
  /// The name the answer is remembered under; absent (the default) never
  /// remembers. An empty key counts as absent.
  [[nodiscard]] const std::optional<String>& suppressionKey() const noexcept { return key_; }
  /// The preferences key the suppression answer is remembered under; absent to not remember it.
  void setSuppressionKey(std::optional<String> key);

  /// Presents the alert, or answers from memory, and calls `completion` on
  /// the main queue:
  ///   remembered answer for the key  => that code, wasSuppressed, nothing shown
  ///   a presenter installed          => the presenter's reply; when the check
  ///                                     box was shown and ticked and there is
  ///                                     a key, the answer is remembered
  ///   no presenter                   => the log line
  ///                                     "Alert: <message> — <informative>
  ///                                     [<default button>]" (without the dash
  ///                                     part when there is no informative
  ///                                     text) and the first button's code
  /// A reply with a code that is not one of the buttons' is taken as the
  /// first button's. `defaults` null means the standard user defaults.
  void run(Completion completion, std::shared_ptr<UserDefaults> defaults = nullptr) const;

  /// Installs the presenter every later `run` uses (null: none) and
  /// returns the one it replaces. Any thread.
  static Presenter setPresenter(Presenter presenter);

  /// The remembered answer for `key`, if any.
  static std::optional<std::int64_t> suppressedReturnCode(
      StringView key, std::shared_ptr<UserDefaults> defaults = nullptr);
  /// Forgets the answer for `key`, so its alert is presented again.
  static void resetSuppression(StringView key, std::shared_ptr<UserDefaults> defaults = nullptr);
  /// Forgets every remembered answer.
  static void resetAllSuppressions(std::shared_ptr<UserDefaults> defaults = nullptr);

 private:
  void finish(const AlertResponse& response, const std::shared_ptr<UserDefaults>& defaults,
              const Completion& completion) const;

  AlertStyle style_ = AlertStyle::Warning;
  String message_;
  String informative_;
  std::vector<String> buttonTitles_;
  bool showsSuppression_ = false;
  String suppressionText_ = u"Do not show this message again";
  std::optional<String> key_;
};

}  // namespace lx
