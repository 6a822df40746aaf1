// `LXDurationValueTransformer`: a number of seconds as a duration in words,
// registered as the value transformer "LXDurationValueTransformer".
#pragma once

#include "vantorcore/Export.h"

#include "vantorcore/platform/ValueTransformer.h"

namespace LX_API lx {

class LXDurationValueTransformer : public ValueTransformer {
  LX_DECLARE_CLASS(LXDurationValueTransformer)

 public:
  /// String.
  [[nodiscard]] Value::Type transformedValueClass() const override { return Value::Type::String; }
  /// False.
  [[nodiscard]] bool allowsReverseTransformation() const override { return false; }

  /// A number of seconds (any number value; a boolean counts as 0 or 1) as
  /// days, hours, minutes and seconds with every unit written out in the
  /// default locale, zero units left out, rounded to whole seconds; absent
  /// for anything else. One shared ICU measure formatter, made once; any
  /// thread.
  ///   3600 => '1 hour'    3661 => '1 hour, 1 minute, 1 second'
  ///   0 => '0 seconds'    'abc' => absent
  [[nodiscard]] std::optional<Value> transformedValue(const Value& value) const override;
};

}  // namespace lx
