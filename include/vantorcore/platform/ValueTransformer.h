// `ValueTransformer`: a named conversion of values (for display bindings),
// and the process-wide registry of transformers by name.
#pragma once

#include "vantorcore/Export.h"

#include <memory>
#include <optional>
#include <vector>

#include "vantorcore/platform/Object.h"
#include "vantorcore/platform/Value.h"

namespace LX_API lx {

class ValueTransformer : public Object {
  LX_DECLARE_CLASS(ValueTransformer)

 public:
  /// The type of value `transformedValue` produces.
  [[nodiscard]] virtual Value::Type transformedValueClass() const { return Value::Type::Object; }
  /// Whether `reverseTransformedValue` undoes `transformedValue`.
  [[nodiscard]] virtual bool allowsReverseTransformation() const { return false; }
  /// The transformed value; absent when `value` cannot be transformed. The
  /// base class hands the value back unchanged.
  [[nodiscard]] virtual std::optional<Value> transformedValue(const Value& value) const {
    return value;
  }
  /// The inverse; absent unless a subclass allows reverse transformation.
  [[nodiscard]] virtual std::optional<Value> reverseTransformedValue(const Value& value) const;

  /// Registers `transformer` under `name` (replacing any earlier one; null
  /// removes the name). Thread-safe.
  static void setValueTransformer(std::shared_ptr<ValueTransformer> transformer, StringView name);
  /// The transformer registered under `name`, or null. Thread-safe.
  static std::shared_ptr<ValueTransformer> valueTransformerForName(StringView name);
  /// The registered names, sorted.
  static std::vector<String> valueTransformerNames();
};

}  // namespace lx
