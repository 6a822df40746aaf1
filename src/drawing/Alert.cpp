#include "vantorcore/drawing/Alert.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include "vantorcore/platform/DispatchQueue.h"
#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/Log.h"

namespace lx {
namespace {

std::mutex& presenterMutex() {
  static std::mutex mutex;
  return mutex;
}

Alert::Presenter& installedPresenter() {
  static Alert::Presenter presenter;
  return presenter;
}

// Suppressions are read, changed and written back as one dictionary, so
// two changes at once must not interleave.
std::mutex& suppressionMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<UserDefaults> orStandard(std::shared_ptr<UserDefaults> defaults) {
  return defaults ? std::move(defaults) : UserDefaults::standardUserDefaults();
}

void changeSuppressions(const std::shared_ptr<UserDefaults>& defaults,
                        const std::function<void(Dictionary&)>& change) {
  std::lock_guard lock(suppressionMutex());
  Dictionary answers = defaults->dictionaryForKey(LXSuppressedAlertsKey).value_or(Dictionary{});
  change(answers);
  if (answers.empty()) {
    defaults->removeObjectForKey(LXSuppressedAlertsKey);
  } else {
    defaults->setObject(Value(std::move(answers)), LXSuppressedAlertsKey);
  }
}

}  // namespace

std::int64_t Alert::addButton(String title) {
  if (buttonTitles_.size() >= kMaximumButtons) {
    throw InvalidArgumentException(u"An alert has at most three buttons");
  }
  buttonTitles_.push_back(std::move(title));
  return kAlertFirstButtonReturn + static_cast<std::int64_t>(buttonTitles_.size()) - 1;
}

std::vector<Alert::Button> Alert::buttons() const {
  if (buttonTitles_.empty()) return {{u"OK", kAlertFirstButtonReturn}};
  std::vector<Button> result;
  for (std::size_t i = 0; i < buttonTitles_.size(); ++i) {
    result.push_back({buttonTitles_[i], kAlertFirstButtonReturn + static_cast<std::int64_t>(i)});
  }
  return result;
}

void Alert::setSuppressionKey(std::optional<String> key) {
  key_ = key && !key->empty() ? std::move(key) : std::nullopt;
}

Alert::Presenter Alert::setPresenter(Presenter presenter) {
  std::lock_guard lock(presenterMutex());
  std::swap(installedPresenter(), presenter);
  return presenter;
}

std::optional<std::int64_t> Alert::suppressedReturnCode(StringView key,
                                                        std::shared_ptr<UserDefaults> defaults) {
  std::lock_guard lock(suppressionMutex());
  const auto answers = orStandard(std::move(defaults))->dictionaryForKey(LXSuppressedAlertsKey);
  const Value* code = answers ? answers->find(key) : nullptr;
  if (!code || !code->isInteger()) return std::nullopt;
  return code->int64Value();
}

void Alert::resetSuppression(StringView key, std::shared_ptr<UserDefaults> defaults) {
  changeSuppressions(orStandard(std::move(defaults)), [&](Dictionary& d) { d.erase(key); });
}

void Alert::resetAllSuppressions(std::shared_ptr<UserDefaults> defaults) {
  changeSuppressions(orStandard(std::move(defaults)), [](Dictionary& d) { d.clear(); });
}

void Alert::finish(const AlertResponse& response, const std::shared_ptr<UserDefaults>& defaults,
                   const Completion& completion) const {
  AlertResponse answer = response;
  const std::vector<Button> all = buttons();
  const bool known = std::any_of(
      all.begin(), all.end(), [&](const Button& b) { return b.returnCode == answer.returnCode; });
  if (!known) answer.returnCode = kAlertFirstButtonReturn;
  answer.suppressionChecked = showsSuppression_ && answer.suppressionChecked;
  answer.wasSuppressed = false;
  if (key_ && answer.suppressionChecked) {
    changeSuppressions(
        defaults, [&](Dictionary& d) { d.set(SharedString(*key_), Value(answer.returnCode)); });
  }
  DispatchQueue::main()->async([completion, answer] {
    if (completion) completion(answer);
  });
}

void Alert::run(Completion completion, std::shared_ptr<UserDefaults> defaults) const {
  defaults = orStandard(std::move(defaults));
  if (key_) {
    if (const std::optional<std::int64_t> code = suppressedReturnCode(*key_, defaults)) {
      DispatchQueue::main()->async([completion, code] {
        if (completion) completion({*code, true, true});
      });
      return;
    }
  }
  Presenter presenter;
  {
    std::lock_guard lock(presenterMutex());
    presenter = installedPresenter();
  }
  if (!presenter) {
    String line = u"Alert: " + message_;
    if (!informative_.empty()) line += u" \u2014 " + informative_;
    logLine(line + u" [" + buttons().front().title + u"]");
    finish({kAlertFirstButtonReturn, false, false}, defaults, completion);
    return;
  }
  // The presenter gets its own copy, so the caller may change or drop this
  // alert while it is shown.
  auto self = std::make_shared<const Alert>(*this);
  DispatchQueue::main()->async([self, presenter, defaults, completion] {
    auto replied = std::make_shared<std::atomic<bool>>(false);
    presenter(*self, [self, defaults, completion, replied](AlertResponse response) {
      if (replied->exchange(true)) return;
      self->finish(response, defaults, completion);
    });
  });
}

}  // namespace lx
