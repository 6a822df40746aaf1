// Character-set membership and scanner throughput against the obvious
// alternatives on the same inputs:
//   - CharacterSet::contains vs icu::UnicodeSet::contains on 1,000,000 fixed
//     pseudo-random BMP units (white space and newlines, the trims' set);
//   - Scanner::scanInt over "12345, -678, ..." (100,000 numbers) vs
//     std::from_chars over the same text in UTF-8;
//   - scanBackwardCharactersFromSet trimming 16 trailing spaces off a
//     1,000-unit line.
// Items per second are reported; ns per item is 1e9 / items_per_second.
#include <benchmark/benchmark.h>
#include <unicode/uniset.h>

#include <charconv>
#include <cstdint>
#include <string>
#include <vector>

#include "vantorcore/platform/CharacterSet.h"
#include "vantorcore/platform/Scanner.h"
#include "vantorcore/text/Scanner+Additions.h"

namespace {

using lx::String;

constexpr std::size_t kUnits = 1'000'000;
constexpr std::size_t kNumbers = 100'000;

std::vector<char16_t> randomUnits() {
  std::vector<char16_t> units(kUnits);
  std::uint64_t state = 0x9E3779B97F4A7C15ULL;  // xorshift, fixed seed
  for (char16_t& u : units) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    // Half ASCII (where most text lives), half anywhere in the BMP.
    u = static_cast<char16_t>(state & 1 ? (state >> 8) % 128 : (state >> 8) % 0x10000);
  }
  return units;
}

void BM_CharacterSetContains(benchmark::State& state) {
  const auto units = randomUnits();
  const lx::CharacterSet set = lx::CharacterSet::whitespaceAndNewlineCharacterSet();
  for (auto _ : state) {
    std::size_t members = 0;
    for (char16_t u : units) members += set.contains(u);
    benchmark::DoNotOptimize(members);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * units.size()));
}
BENCHMARK(BM_CharacterSetContains);

void BM_ICUUnicodeSetContains(benchmark::State& state) {
  const auto units = randomUnits();
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeSet set(u"[\\p{Z}\\u0009-\\u000D\\u0085]", status);
  set.freeze();
  for (auto _ : state) {
    std::size_t members = 0;
    for (char16_t u : units) members += set.contains(u);
    benchmark::DoNotOptimize(members);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * units.size()));
}
BENCHMARK(BM_ICUUnicodeSetContains);

std::string numberList() {
  std::string text;
  for (std::size_t i = 0; i < kNumbers; ++i) {
    const auto magnitude = static_cast<long long>(i * 104729 % 100000);
    text += std::to_string(i % 2 ? -magnitude : magnitude);
    text += ", ";
  }
  return text;
}

void BM_ScannerScanInt(benchmark::State& state) {
  const String text = lx::fromUTF8(numberList());
  const lx::CharacterSet comma = lx::CharacterSet::characterSetWithCharactersInString(u",");
  for (auto _ : state) {
    lx::Scanner scanner(text);
    long long sum = 0;
    int value = 0;
    while (scanner.scanInt(&value)) {
      sum += value;
      scanner.scanCharactersFromSet(comma);
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kNumbers));
}
BENCHMARK(BM_ScannerScanInt);

void BM_FromChars(benchmark::State& state) {
  const std::string text = numberList();
  for (auto _ : state) {
    long long sum = 0;
    const char* p = text.data();
    const char* end = p + text.size();
    while (p < end) {
      int value = 0;
      auto [next, ec] = std::from_chars(p, end, value);
      if (ec != std::errc()) break;
      sum += value;
      p = next + 2;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kNumbers));
}
BENCHMARK(BM_FromChars);

void BM_ScanBackwardTrim(benchmark::State& state) {
  const String line = String(1000 - 16, u'x') + String(16, u' ');
  const lx::CharacterSet spaces = lx::CharacterSet::whitespaceCharacterSet();
  for (auto _ : state) {
    lx::Scanner scanner(line);
    scanner.setScanLocation(line.size());
    String trailing;
    benchmark::DoNotOptimize(lx::scanBackwardCharactersFromSet(scanner, spaces, &trailing));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_ScanBackwardTrim);

}  // namespace

BENCHMARK_MAIN();
