#include "vantorcore/platform/URLRequest.h"

#include <algorithm>

#include "ASCIICase.h"

namespace lx {

void URLRequest::setValue(const std::optional<String>& value, StringView field) {
  const auto it = std::find_if(headers_.begin(), headers_.end(), [&](const auto& h) {
    return detail::asciiCaseInsensitiveEquals(h.first, field);
  });
  if (!value) {
    if (it != headers_.end()) headers_.erase(it);
  } else if (it != headers_.end()) {
    it->second = *value;
  } else {
    headers_.emplace_back(String(field), *value);
  }
}

void URLRequest::addValue(StringView value, StringView field) {
  const auto it = std::find_if(headers_.begin(), headers_.end(), [&](const auto& h) {
    return detail::asciiCaseInsensitiveEquals(h.first, field);
  });
  if (it == headers_.end()) {
    headers_.emplace_back(String(field), String(value));
  } else {
    it->second += u',';
    it->second += value;
  }
}

std::optional<String> URLRequest::valueForHTTPHeaderField(StringView field) const {
  for (const auto& [name, value] : headers_) {
    if (detail::asciiCaseInsensitiveEquals(name, field)) return value;
  }
  return std::nullopt;
}

}  // namespace lx
