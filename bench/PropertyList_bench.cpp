// Property-list reading into `Value` and writing from it, XML and binary, on
// a preferences-like document: 2,000 keys with strings, integers, reals,
// booleans, dates, small data and nested dictionaries and arrays. Bytes per
// second are the encoded document's size per run. Also the cost of one
// preferences write (set, serialise, atomic replace with fsync).
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>

#include "vantorcore/platform/PropertyList.h"
#include "vantorcore/platform/UserDefaults.h"

namespace {

using lx::PropertyList;

lx::Value document() {
  lx::Dictionary dict;
  for (int i = 0; i < 2000; ++i) {
    const lx::String key = lx::fromUTF8("key." + std::to_string(i));
    switch (i % 6) {
      case 0:
        dict.set(key, lx::Value(lx::fromUTF8("value \xc3\xa9 " + std::to_string(i))));
        break;
      case 1:
        dict.set(key, lx::Value(i * 7919));
        break;
      case 2:
        dict.set(key, lx::Value(i / 3.0));
        break;
      case 3:
        dict.set(key, lx::Value(lx::Date(1.7e9 + i)));
        break;
      case 4:
        dict.set(key, lx::Value(lx::Data(32, static_cast<std::uint8_t>(i))));
        break;
      default:
        dict.set(key, lx::Value(lx::Dictionary{{u"on", i % 2 == 0},
                                               {u"list", lx::Array{1, u"two", 3.5}}}));
    }
  }
  return lx::Value(std::move(dict));
}

void read(benchmark::State& state, PropertyList::Format format) {
  const lx::Data bytes = *PropertyList::write(document(), format);
  for (auto _ : state) benchmark::DoNotOptimize(PropertyList::read(bytes));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes.size()));
}

void write(benchmark::State& state, PropertyList::Format format) {
  const lx::Value value = document();
  std::size_t size = 0;
  for (auto _ : state) {
    auto bytes = PropertyList::write(value, format);
    size = bytes->size();
    benchmark::DoNotOptimize(bytes);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

void BM_ReadXML(benchmark::State& s) { read(s, PropertyList::Format::XML); }
void BM_ReadBinary(benchmark::State& s) { read(s, PropertyList::Format::Binary); }
void BM_WriteXML(benchmark::State& s) { write(s, PropertyList::Format::XML); }
void BM_WriteBinary(benchmark::State& s) { write(s, PropertyList::Format::Binary); }

// One setObject on a small store: re-read check, serialise, atomic replace.
void BM_UserDefaultsSet(benchmark::State& state) {
  char folder[] = "/tmp/vantor-bench-XXXXXX";
  if (!mkdtemp(folder)) return;
  setenv("XDG_CONFIG_HOME", folder, 1);
  auto defaults = lx::UserDefaults::suiteNamed(u"bench");
  for (int i = 0; i < 50; ++i) defaults->setObject(lx::Value(i), lx::fromUTF8(std::to_string(i)));
  std::int64_t n = 0;
  for (auto _ : state) defaults->setObject(lx::Value(++n), u"counter");
  std::system((std::string("rm -rf ") + folder).c_str());
}

BENCHMARK(BM_ReadXML);
BENCHMARK(BM_ReadBinary);
BENCHMARK(BM_WriteXML);
BENCHMARK(BM_WriteBinary);
BENCHMARK(BM_UserDefaultsSet);

}  // namespace

BENCHMARK_MAIN();
