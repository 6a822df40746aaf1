// Content-type look-ups: through the override table and the warm lookup
// cache (what hosts call), straight from the registry, and a plain hash
// look-up of the same extensions for comparison; and building the registry
// from the system's shared-mime-info.
#include <benchmark/benchmark.h>

#include <array>
#include <unordered_map>

#include "vantorcore/files/ContentType+Overrides.h"
#include "vantorcore/platform/ContentType.h"

namespace {

const std::array<lx::String, 16> kExtensions = {
    u"png", u"txt", u"jpg", u"pdf", u"html", u"json", u"c",   u"py",
    u"mp4", u"zip", u"gz",  u"svg", u"md",   u"xml",  u"mp3", u"ts",
};

void LookupByExtensionWarmCache(benchmark::State& state) {
  const std::optional<lx::ContentType> constraint = lx::ContentType::data();
  for (const auto& e : kExtensions) {
    lx::lx_typeConsideringOverridesWithFilenameExtension(e, constraint);
  }
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        lx::lx_typeConsideringOverridesWithFilenameExtension(kExtensions[i++ & 15], constraint));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(LookupByExtensionWarmCache)->Threads(1)->Threads(2);

void LookupByExtensionInRegistry(benchmark::State& state) {
  const std::optional<lx::ContentType> constraint = lx::ContentType::data();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        lx::ContentType::typeWithFilenameExtension(kExtensions[i++ & 15], constraint));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(LookupByExtensionInRegistry);

// The floor: one hash look-up of the same keys, returning a shared value.
void PlainHashLookup(benchmark::State& state) {
  std::unordered_map<lx::String, std::shared_ptr<int>> map;
  for (const auto& e : kExtensions) map.emplace(e, std::make_shared<int>(1));
  std::size_t i = 0;
  for (auto _ : state) {
    auto found = map.find(kExtensions[i++ & 15])->second;
    benchmark::DoNotOptimize(found);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(PlainHashLookup);

// Building the registry and making it current. The registry it replaces is
// kept alive by `previous` and dropped outside the timing, since a process
// starting up has none to drop.
void RegistryStartUpFromSystemDatabase(benchmark::State& state) {
  std::optional<lx::ContentType> previous = lx::ContentType::item();
  for (auto _ : state) {
    lx::ContentType::reloadRegistry();
    state.PauseTiming();
    previous = lx::ContentType::item();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(RegistryStartUpFromSystemDatabase)->Unit(benchmark::kMillisecond);

// The same with the previous registry freed each time, as a host's reload does.
void RegistryReloadFromSystemDatabase(benchmark::State& state) {
  for (auto _ : state) lx::ContentType::reloadRegistry();
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(RegistryReloadFromSystemDatabase)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
