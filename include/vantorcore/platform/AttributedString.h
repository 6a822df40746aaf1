// `AttributedString`: text in runs that each carry a font, a foreground and
// a background colour and a link, as a text view shows it. Indexes and
// lengths are UTF-16 code units, like every `String` index.
#pragma once

#include "vantorcore/Export.h"

#include <optional>
#include <vector>

#include "vantorcore/platform/Color.h"
#include "vantorcore/platform/Font.h"
#include "vantorcore/platform/String.h"

namespace LX_API lx {

/// The style of one run; an absent attribute is the viewer's default.
struct TextAttributes {
  /// The face and size; absent for the viewer's font.
  std::optional<Font> font;
  /// The text colour.
  std::optional<Color> foregroundColor;
  /// The colour behind the text.
  std::optional<Color> backgroundColor;
  std::optional<String> link;  ///< a URL string, as the link attribute holds it

  /// Equal when every attribute is.
  friend bool operator==(const TextAttributes&, const TextAttributes&) = default;
};

class AttributedString {
 public:
  /// One run: a range of the text and its attributes.
  struct Run {
    /// The code units the run covers.
    Range range;
    /// Their style.
    TextAttributes attributes;
    /// Equal when range and attributes are.
    friend bool operator==(const Run&, const Run&) = default;
  };

  AttributedString() = default;
  /// `text` in one run of `attributes` (no run when `text` is empty).
  explicit AttributedString(String text, TextAttributes attributes = {});

  /// The text without attributes.
  [[nodiscard]] const String& string() const noexcept { return text_; }
  /// The length in UTF-16 code units.
  [[nodiscard]] std::size_t length() const noexcept { return text_.size(); }
  /// True when there is no text.
  [[nodiscard]] bool empty() const noexcept { return text_.empty(); }

  /// Appends `text` in `attributes`; a run with the same attributes as the
  /// last one extends it. Appending nothing changes nothing.
  void append(StringView text, const TextAttributes& attributes);
  /// Appends `other`'s text and runs.
  void append(const AttributedString& other);
  /// Removes all text.
  void clear() noexcept;

  /// The attributes at `index` and, through `effectiveRange`, the whole run
  /// holding it. Throws `RangeException` when `index` is not below
  /// `length()` (a programming error, as for the platform's styled text).
  [[nodiscard]] const TextAttributes& attributesAtIndex(std::size_t index,
                                                        Range* effectiveRange = nullptr) const;

  /// The runs in order; adjacent runs always differ in attributes.
  [[nodiscard]] const std::vector<Run>& runs() const noexcept { return runs_; }

  /// Equal when text and runs are.
  friend bool operator==(const AttributedString&, const AttributedString&) = default;

 private:
  String text_;
  std::vector<Run> runs_;
};

}  // namespace lx
