// Natural sorting of 1,000,000 file names (../shared/bench/inputs/gen_names.py)
// through the library beside ICU called directly with the same settings
// (numeric ordering, secondary strength), and version-order sorting.
//
// The library's collation-key operations log one line per collator call by
// design; this program installs the discarding log sink (`lx::DiscardLogLines`),
// which drops them before they are copied or formatted.
#include <benchmark/benchmark.h>
#include <unicode/ucol.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "vantorcore/platform/Log.h"
#include "vantorcore/text/String+Collation.h"

namespace {

const std::vector<lx::String>& names() {
  static const std::vector<lx::String> list = [] {
    std::vector<lx::String> out;
    const std::string command =
        std::string("python3 ") + VANTOR_SHARED_DIR "/bench/inputs/gen_names.py 1000000";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return out;
    char line[4096];
    while (std::fgets(line, sizeof line, pipe)) {
      std::size_t n = std::strlen(line);
      if (n && line[n - 1] == '\n') --n;
      out.push_back(lx::fromUTF8(std::string_view(line, n)));
    }
    pclose(pipe);
    return out;
  }();
  return list;
}

std::vector<const lx::String*> pointers() {
  std::vector<const lx::String*> p;
  for (const auto& s : names()) p.push_back(&s);
  return p;
}

// Each benchmark calls names() before its timed loop, so that reading the
// generator's output is never timed.
void report(benchmark::State& state) {
  state.counters["names/s"] = benchmark::Counter(
      static_cast<double>(state.iterations() * names().size()), benchmark::Counter::kIsRate);
}

UCollator* icuCollator() {
  UErrorCode status = U_ZERO_ERROR;
  static UCollator* c = [&] {
    UCollator* u = ucol_open("en_US", &status);
    ucol_setAttribute(u, UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
    ucol_setAttribute(u, UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
    ucol_setAttribute(u, UCOL_STRENGTH, UCOL_SECONDARY, &status);
    return u;
  }();
  return c;
}

void ICU_CompareSort(benchmark::State& state) {
  (void)names();
  for (auto _ : state) {
    auto p = pointers();
    std::sort(p.begin(), p.end(), [](const lx::String* a, const lx::String* b) {
      return ucol_strcoll(icuCollator(), reinterpret_cast<const UChar*>(a->data()),
                          static_cast<int32_t>(a->size()),
                          reinterpret_cast<const UChar*>(b->data()),
                          static_cast<int32_t>(b->size())) == UCOL_LESS;
    });
    benchmark::DoNotOptimize(p.data());
  }
  report(state);
}

void ICU_SortKeySort(benchmark::State& state) {
  (void)names();
  for (auto _ : state) {
    std::vector<std::pair<std::string, const lx::String*>> keys;
    keys.reserve(names().size());
    for (const auto& s : names()) {
      const auto* text = reinterpret_cast<const UChar*>(s.data());
      const auto length = static_cast<int32_t>(s.size());
      std::string key(
          static_cast<std::size_t>(ucol_getSortKey(icuCollator(), text, length, nullptr, 0)), '\0');
      ucol_getSortKey(icuCollator(), text, length, reinterpret_cast<uint8_t*>(key.data()),
                      static_cast<int32_t>(key.size()));
      keys.emplace_back(std::move(key), &s);
    }
    std::sort(keys.begin(), keys.end());
    benchmark::DoNotOptimize(keys.data());
  }
  report(state);
}

void Library_LocalizedStandardCompareSort(benchmark::State& state) {
  (void)names();
  for (auto _ : state) {
    auto p = pointers();
    std::sort(p.begin(), p.end(), [](const lx::String* a, const lx::String* b) {
      return lx::lx_localizedStandardCompare(*a, lx::StringView(*b)) ==
             lx::ComparisonResult::Ascending;
    });
    benchmark::DoNotOptimize(p.data());
  }
  report(state);
}

// Keys made and compared with the library's logging operations.
void Library_CollationKeySort(benchmark::State& state) {
  (void)names();
  const auto previous = lx::discardLogLines();
  state.SetLabel("collator log lines discarded");
  const auto collator = lx::Collator::localizedStandardCollator();
  for (auto _ : state) {
    std::vector<std::pair<lx::Data, const lx::String*>> keys;
    keys.reserve(names().size());
    for (const auto& s : names())
      keys.emplace_back(lx::lx_collationKeyForCollator(s, *collator), &s);
    std::sort(keys.begin(), keys.end(), [](const auto& a, const auto& b) {
      return lx::lx_compareCollationKey(a.first, b.first) == lx::ComparisonResult::Ascending;
    });
    benchmark::DoNotOptimize(keys.data());
  }
  lx::setLogSink(previous);
  report(state);
}

// The same keys, compared as plain bytes (what the logging compare does).
void Library_CollationKeySortWithoutLogging(benchmark::State& state) {
  (void)names();
  const auto collator = lx::Collator::localizedStandardCollator();
  for (auto _ : state) {
    std::vector<std::pair<lx::Data, const lx::String*>> keys;
    keys.reserve(names().size());
    for (const auto& s : names()) keys.emplace_back(collator->sortKey(s), &s);
    std::sort(keys.begin(), keys.end());
    benchmark::DoNotOptimize(keys.data());
  }
  report(state);
}

void Library_VersionCompareSort(benchmark::State& state) {
  (void)names();
  for (auto _ : state) {
    auto p = pointers();
    std::sort(p.begin(), p.end(), [](const lx::String* a, const lx::String* b) {
      return lx::lx_versionCompare(*a, *b) == lx::ComparisonResult::Ascending;
    });
    benchmark::DoNotOptimize(p.data());
  }
  report(state);
}

BENCHMARK(ICU_CompareSort)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(Library_LocalizedStandardCompareSort)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(ICU_SortKeySort)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(Library_CollationKeySort)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(Library_CollationKeySortWithoutLogging)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(Library_VersionCompareSort)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
