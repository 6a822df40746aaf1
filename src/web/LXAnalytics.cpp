#include "vantorcore/web/LXAnalytics.h"

#include <shared_mutex>

#include "vantorcore/platform/UserDefaults.h"

namespace lx {

namespace {

// One lock and one handler for the process, made on first use by either
// entry point.
struct AnalyticsState {
  std::shared_mutex lock;
  LXAnalyticsHandler handler;
};

AnalyticsState& state() {
  static AnalyticsState shared;
  return shared;
}

}  // namespace

void LXAnalyticsSetHandler(LXAnalyticsHandler handler) {
  AnalyticsState& s = state();
  std::unique_lock writing(s.lock);
  s.handler = std::move(handler);
}

void LXAnalyticsLogEvent(StringView event, const Dictionary& properties) {
  AnalyticsState& s = state();
  if (!UserDefaults::standardUserDefaults()->boolForKey(LXAnalyticsPrefKeyAllowDataCollection)) {
    return;
  }
  std::shared_lock reading(s.lock);
  if (s.handler) s.handler(String(event), properties);
}

String LXAnalyticsBucketValue(std::uint64_t count) {
  if (count == 0) return u"0";
  if (count <= 5) return u"1-5";
  if (count <= 10) return u"6-10";
  if (count <= 15) return u"11-15";
  if (count <= 20) return u"16-20";
  return u"20+";
}

}  // namespace lx
