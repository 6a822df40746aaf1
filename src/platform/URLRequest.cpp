#include "vantorcore/platform/URLRequest.h"

#include <algorithm>

#include "ASCIICase.h"

namespace lx {

namespace {

bool sameField(StringView a, StringView b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](char16_t x, char16_t y) {
           return detail::asciiLowercase(x) == detail::asciiLowercase(y);
         });
}

}  // namespace

void URLRequest::setValue(const std::optional<String>& value, StringView field) {
  const auto it = std::find_if(headers_.begin(), headers_.end(),
                               [&](const auto& h) { return sameField(h.first, field); });
  if (!value) {
    if (it != headers_.end()) headers_.erase(it);
  } else if (it != headers_.end()) {
    it->second = *value;
  } else {
    headers_.emplace_back(String(field), *value);
  }
}

void URLRequest::addValue(StringView value, StringView field) {
  const auto it = std::find_if(headers_.begin(), headers_.end(),
                               [&](const auto& h) { return sameField(h.first, field); });
  if (it == headers_.end()) {
    headers_.emplace_back(String(field), String(value));
  } else {
    it->second += u',';
    it->second += value;
  }
}

std::optional<String> URLRequest::valueForHTTPHeaderField(StringView field) const {
  for (const auto& [name, value] : headers_) {
    if (sameField(name, field)) return value;
  }
  return std::nullopt;
}

}  // namespace lx
