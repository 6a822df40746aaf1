#include "vantorcore/text/LXDurationValueTransformer.h"

#include <unicode/measfmt.h>
#include <unicode/measunit.h>
#include <unicode/measure.h>

#include <cmath>
#include <mutex>
#include <vector>

namespace lx {

LX_DEFINE_CLASS(LXDurationValueTransformer, ValueTransformer)

namespace {

// Registered when the library is loaded, under the class's own name.
[[maybe_unused]] const bool kRegistered = [] {
  ValueTransformer::setValueTransformer(std::make_shared<LXDurationValueTransformer>(),
                                        u"LXDurationValueTransformer");
  return true;
}();

struct DurationFormatter {
  std::mutex mutex;  // ICU formatters are not for concurrent use
  std::unique_ptr<icu::MeasureFormat> format;
};

DurationFormatter& sharedFormatter() {
  static DurationFormatter* shared = [] {
    auto* f = new DurationFormatter;
    UErrorCode status = U_ZERO_ERROR;
    f->format = std::make_unique<icu::MeasureFormat>(icu::Locale(), UMEASFMT_WIDTH_WIDE, status);
    if (U_FAILURE(status)) f->format.reset();
    return f;
  }();
  return *shared;
}

}  // namespace

std::optional<Value> LXDurationValueTransformer::transformedValue(const Value& value) const {
  if (!value.isNumber()) return std::nullopt;
  const double rounded = std::round(value.doubleValue());
  if (!std::isfinite(rounded)) return std::nullopt;
  const double sign = rounded < 0 ? -1 : 1;
  double rest = std::fabs(rounded);
  struct Unit {
    double seconds;
    icu::MeasureUnit (*make)();
  };
  static const Unit kUnits[] = {{86400, icu::MeasureUnit::getDay},
                                {3600, icu::MeasureUnit::getHour},
                                {60, icu::MeasureUnit::getMinute},
                                {1, icu::MeasureUnit::getSecond}};
  UErrorCode status = U_ZERO_ERROR;
  std::vector<icu::Measure> measures;
  for (const Unit& unit : kUnits) {
    const double count = std::floor(rest / unit.seconds);
    rest -= count * unit.seconds;
    // Zero units are left out, except that nothing at all reads "0 seconds".
    if (count == 0 && !(unit.seconds == 1 && measures.empty())) continue;
    const double signedCount = measures.empty() ? sign * count : count;
    measures.emplace_back(icu::Formattable(signedCount), new icu::MeasureUnit(unit.make()), status);
  }
  DurationFormatter& shared = sharedFormatter();
  if (!shared.format || U_FAILURE(status)) return std::nullopt;
  icu::UnicodeString out;
  icu::FieldPosition position;
  {
    std::lock_guard lock(shared.mutex);
    shared.format->formatMeasures(measures.data(), static_cast<int32_t>(measures.size()), out,
                                  position, status);
  }
  if (U_FAILURE(status)) return std::nullopt;
  return Value(String(reinterpret_cast<const char16_t*>(out.getBuffer()),
                      static_cast<std::size_t>(out.length())));
}

}  // namespace lx
