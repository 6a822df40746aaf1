// Analytics: events the library and its host report to whatever analytics
// back end the host installs, gated by the user's data-collection choice,
// and counts turned into coarse buckets that say little about one user.
#pragma once

#include "vantorcore/Export.h"

#include <cstdint>
#include <functional>

#include "vantorcore/platform/String.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

/// Preference keys (booleans in the host's user defaults). The library reads
/// only the first; the others are named here for the host's own use.
///@{
inline constexpr StringView LXAnalyticsPrefKeyAllowDataCollection = u"AllowDataCollection";
inline constexpr StringView LXAnalyticsPrefKeyAllowCrashReportCollection =
    u"AllowCrashReportCollection";
inline constexpr StringView LXAnalyticsPrefKeyAllowRostrel = u"AllowRostrel";
///@}

/// Receives an event name and its properties.
using LXAnalyticsHandler = std::function<void(const String& event, const Dictionary& properties)>;

/// Installs the process's handler, replacing (and releasing) the previous
/// one; an empty handler removes it. Waits while events are being logged.
/// Must not be called from inside a handler (it would wait for itself).
void LXAnalyticsSetHandler(LXAnalyticsHandler handler);

/// Hands the event to the handler, on the calling thread, when the user
/// default "AllowDataCollection" is true (read on every call) and a handler
/// is installed; otherwise drops it. Several threads may log at once.
void LXAnalyticsLogEvent(StringView event, const Dictionary& properties);

/// The bucket label of a count:
///   0 => '0'   1..5 => '1-5'   6..10 => '6-10'   11..15 => '11-15'
///   16..20 => '16-20'   21 and more => '20+'
/// ("20+" is the label of 21 and above; 20 itself is "16-20").
String LXAnalyticsBucketValue(std::uint64_t count);

}  // namespace lx
