#include "vantorcore/platform/AttributedString.h"

#include <algorithm>

#include "vantorcore/platform/Exception.h"
#include "vantorcore/platform/StringFormat.h"

namespace lx {

AttributedString::AttributedString(String text, TextAttributes attributes) {
  append(text, attributes);
}

void AttributedString::append(StringView text, const TextAttributes& attributes) {
  if (text.empty()) return;
  if (!runs_.empty() && runs_.back().attributes == attributes) {
    runs_.back().range.length += text.size();
  } else {
    runs_.push_back(Run{Range{text_.size(), text.size()}, attributes});
  }
  text_.append(text);
}

void AttributedString::append(const AttributedString& other) {
  for (const Run& run : other.runs_) {
    append(StringView(other.text_).substr(run.range.location, run.range.length), run.attributes);
  }
}

void AttributedString::clear() noexcept {
  text_.clear();
  runs_.clear();
}

const TextAttributes& AttributedString::attributesAtIndex(std::size_t index,
                                                          Range* effectiveRange) const {
  if (index >= text_.size()) {
    throw RangeException(stringWithFormat(u"Index %lu out of bounds; string length %lu",
                                          static_cast<unsigned long>(index),
                                          static_cast<unsigned long>(text_.size())));
  }
  const auto run = std::upper_bound(runs_.begin(), runs_.end(), index,
                                    [](std::size_t i, const Run& r) { return i < r.range.end(); });
  if (effectiveRange) *effectiveRange = run->range;
  return run->attributes;
}

}  // namespace lx
