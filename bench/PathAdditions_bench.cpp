// Path operations against the standard library on the same inputs:
//   - lx_stringByStandardizingUnixPath vs std::filesystem::path::lexically_normal
//     on 1,000,000 generated paths ("." / ".." / "//" / trailing slashes mixed in);
//   - lx_stringUniqueToSet against 100,000 names (a typical clash, and the worst
//     case where every numbered variant up to 100,000 is taken);
//   - lx_pathExtension on 1,000,000 file names.
// Items per second are reported; ns per call is 1e9 / items_per_second.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <unordered_set>
#include <vector>

#include "BenchRandom.h"
#include "vantorcore/platform/String+Paths.h"
#include "vantorcore/text/String+PathAdditions.h"

namespace {

using lx::String;

constexpr std::size_t kPaths = 1'000'000;

using vantor::bench::Random;

const char* const kWords[] = {
    "Users",     "al", "Documents", "src", "include", "Report 12.txt",  "img",  "build", "v1.10.2",
    "Übersicht", "a",  "photos",    "tmp", "lib",     "archive.tar.gz", "notes"};

std::string makePath(Random& random) {
  std::string path = random.below(4) != 0 ? "/" : "";
  const std::size_t components = 2 + random.below(9);
  for (std::size_t i = 0; i < components; ++i) {
    if (i > 0) path += random.below(10) == 0 ? "//" : "/";
    const std::size_t pick = random.below(20);
    if (pick == 0) {
      path += ".";
    } else if (pick <= 2) {
      path += "..";
    } else {
      path += kWords[random.below(std::size(kWords))];
    }
  }
  if (random.below(3) == 0) path += "/";
  return path;
}

struct PathInputs {
  std::vector<String> strings;
  std::vector<std::filesystem::path> paths;
};

const PathInputs& pathInputs() {
  static const PathInputs inputs = [] {
    PathInputs in;
    Random random;
    in.strings.reserve(kPaths);
    in.paths.reserve(kPaths);
    for (std::size_t i = 0; i < kPaths; ++i) {
      const std::string path = makePath(random);
      in.strings.push_back(lx::fromUTF8(path));
      in.paths.emplace_back(path);
    }
    return in;
  }();
  return inputs;
}

const std::vector<String>& fileNames() {
  static const std::vector<String> names = [] {
    const char* const extensions[] = {".txt", ".tar.gz", ".png", "", ".JPG", ".", ".d/readme"};
    Random random;
    std::vector<String> out;
    out.reserve(kPaths);
    for (std::size_t i = 0; i < kPaths; ++i) {
      std::string name = kWords[random.below(std::size(kWords))];
      name += " " + std::to_string(random.below(10000));
      name += extensions[random.below(std::size(extensions))];
      out.push_back(lx::fromUTF8(name));
    }
    return out;
  }();
  return names;
}

void BM_StandardizeUnixPath(benchmark::State& state) {
  const auto& inputs = pathInputs().strings;
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(lx::lx_stringByStandardizingUnixPath(inputs[i]));
    if (++i == inputs.size()) i = 0;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_StandardizeUnixPath)->Iterations(kPaths);

void BM_FilesystemLexicallyNormal(benchmark::State& state) {
  const auto& inputs = pathInputs().paths;
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(inputs[i].lexically_normal());
    if (++i == inputs.size()) i = 0;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_FilesystemLexicallyNormal)->Iterations(kPaths);

void BM_PathExtension(benchmark::State& state) {
  const auto& names = fileNames();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(lx::lx_pathExtension(names[i]));
    if (++i == names.size()) i = 0;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_PathExtension)->Iterations(kPaths);

// 100,000 distinct names; "Report" and "Report 2".."Report 3" among them for
// the typical clash, and every "Deep <n>" up to 100,000 for the worst case.
const std::unordered_set<String>& takenNames() {
  static const std::unordered_set<String> taken = [] {
    std::unordered_set<String> set;
    set.reserve(200'000);
    for (std::size_t n = 0; n < 100'000; ++n) set.insert(lx::fromUTF8("Name " + std::to_string(n)));
    set.insert({u"Report", u"Report 2", u"Report 3", u"Deep"});
    for (std::size_t n = 2; n <= 100'000; ++n)
      set.insert(lx::fromUTF8("Deep " + std::to_string(n)));
    return set;
  }();
  return taken;
}

void BM_UniqueToSetTypical(benchmark::State& state) {
  const auto& taken = takenNames();
  const String name = u"Report";
  for (auto _ : state) benchmark::DoNotOptimize(lx::lx_stringUniqueToSet(name, taken));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_UniqueToSetTypical);

void BM_UniqueToSetWorstCase(benchmark::State& state) {
  const auto& taken = takenNames();
  const String name = u"Deep";
  for (auto _ : state) benchmark::DoNotOptimize(lx::lx_stringUniqueToSet(name, taken));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_UniqueToSetWorstCase)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
