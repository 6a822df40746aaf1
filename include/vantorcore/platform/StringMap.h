// A hash map keyed by `String` that is searched with a `StringView`, so
// look-ups never build a key string.
#pragma once

#include "vantorcore/Export.h"

#include <functional>
#include <unordered_map>

#include "vantorcore/platform/String.h"

namespace LX_API lx {
namespace detail {

struct StringHash {
  using is_transparent = void;
  std::size_t operator()(StringView s) const noexcept { return std::hash<StringView>{}(s); }
};

template <class T>
using StringMap = std::unordered_map<String, T, StringHash, std::equal_to<>>;

}  // namespace detail
}  // namespace lx
