// Observation and preferences: a model object announces changes of a key
// through the KVO notification centre, and a preferences observation centre
// reports each new value of a key in a private preferences suite.
//
// The suite lives in a temporary folder (XDG_CONFIG_HOME points there for
// this process), so the user's own preferences are never read or written.
// Callbacks run on the thread that makes the change: here, the main thread.
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "vantorcore/observation/LXKVONotificationCenter.h"
#include "vantorcore/observation/LXPreferencesObservationCenter.h"
#include "vantorcore/platform/Observable.h"
#include "vantorcore/platform/UserDefaults.h"

// An observable model: setting the temperature announces the change.
class Thermostat : public lx::Observable {
 public:
  void setTemperature(std::int64_t degrees) {
    willChangeValueForKey(u"temperature");
    temperature_ = degrees;
    didChangeValueForKey(u"temperature");
  }
  std::optional<lx::Value> valueForKey(lx::StringView key) const override {
    if (key == u"temperature") return lx::Value(temperature_);
    return std::nullopt;
  }

 private:
  std::int64_t temperature_ = 18;
};

int main() {
  char folder[] = "/tmp/vantor-example-XXXXXX";
  if (!mkdtemp(folder)) return 1;
  setenv("XDG_CONFIG_HOME", folder, 1);

  // Key-value observation with the old and new values in the change.
  auto thermostat = std::make_shared<Thermostat>();
  auto observer = std::make_shared<lx::Object>();  // identifies the registration
  int changes = 0;
  auto observation = lx::LXKVONotificationCenter::defaultCenter().addObserver(
      observer, thermostat, u"temperature",
      [&changes](const lx::String& keyPath, const lx::ObjectPtr&, const lx::Dictionary& change,
                 const lx::Value&) {
        std::printf("%s: %lld -> %lld\n", lx::toUTF8(keyPath).c_str(),
                    static_cast<long long>(change[lx::KeyValueChangeOldKey].int64Value()),
                    static_cast<long long>(change[lx::KeyValueChangeNewKey].int64Value()));
        ++changes;
      },
      {}, lx::KeyValueObservingOptionNew | lx::KeyValueObservingOptionOld);
  thermostat->setTemperature(21);
  thermostat->setTemperature(19);
  lx::LXKVONotificationCenter::defaultCenter().removeObserver(observer.get());
  thermostat->setTemperature(30);  // no longer observed

  // Preferences: a private suite and the centre of that store.
  auto suite = lx::UserDefaults::suiteNamed(u"org.example.observation");
  if (!suite) return 1;
  std::printf("suite file: %s\n", lx::toUTF8(suite->path()).c_str());
  auto center = lx::LXPreferencesObservationCenter::centerForUserDefaults(suite);
  std::int64_t lastVolume = -1;
  int reports = 0;
  auto token = center->addObserverForKey(
      u"volume", lx::LXPreferencesObservationOptionInitial,
      [&](const lx::String& key, const std::optional<lx::Value>& value) {
        std::printf("preference %s = %s\n", lx::toUTF8(key).c_str(),
                    value ? lx::toUTF8(value->description()).c_str() : "(unset)");
        lastVolume = value ? value->int64Value() : -1;
        ++reports;
      });
  suite->setObject(lx::Value(7), u"volume");
  suite->setObject(lx::Value(11), u"volume");
  suite->synchronize();
  center->removeObserver(token);
  suite->removeObjectForKey(u"volume");  // after removal: not reported

  std::filesystem::remove_all(folder);
  // Initial (unset) + two writes.
  const bool ok = changes == 2 && reports == 3 && lastVolume == 11;
  std::printf("%d changes, %d preference reports\n", changes, reports);
  return ok ? 0 : 1;
}
