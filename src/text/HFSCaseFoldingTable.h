// The two-level lower-case table of the HFS Plus volume format, as constant
// data: t = table[c >> 8]; if t != 0, c folds to table[t + (c & 0xFF)].
#pragma once

#include <cstddef>
#include <cstdint>

namespace lx::detail {

inline constexpr std::size_t kHFSCaseFoldingTableSize = 0x0B00;
extern const std::uint16_t kHFSCaseFoldingTable[kHFSCaseFoldingTableSize];

/// The folded form of one UTF-16 unit (0 for the ignorable characters).
inline char16_t hfsFoldUnit(char16_t c) noexcept {
  const std::uint16_t t = kHFSCaseFoldingTable[c >> 8];
  return t ? static_cast<char16_t>(kHFSCaseFoldingTable[t + (c & 0xFF)]) : c;
}

}  // namespace lx::detail
