// `MutableAttributedString`: styled text as a shared, changeable object, for
// handing one buffer around by reference (in notifications, for instance)
// where `AttributedString` itself is a value.
#pragma once

#include "vantorcore/Export.h"

#include "vantorcore/platform/AttributedString.h"
#include "vantorcore/platform/Object.h"

namespace LX_API lx {

/// Not thread-safe: one thread (or serial queue) at a time, as the owner
/// documents.
class MutableAttributedString : public Object {
  LX_DECLARE_CLASS(MutableAttributedString)

 public:
  MutableAttributedString() = default;
  /// Starts from `text`.
  explicit MutableAttributedString(AttributedString text) : text_(std::move(text)) {}

  /// The text as it is now.
  [[nodiscard]] const AttributedString& attributedString() const noexcept { return text_; }
  /// Appends `text`.
  void append(const AttributedString& text) { text_.append(text); }
  /// Removes all text.
  void clear() noexcept { text_.clear(); }

  [[nodiscard]] String description() const override { return text_.string(); }

 private:
  AttributedString text_;
};

}  // namespace lx
