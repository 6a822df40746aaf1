// The platform's keyed archive against the JSON keyed archive, on one graph
// of 100,500 objects: a catalogue of 25,000 books, each with strings, a
// double, a date, 24 bytes of data, three chapter objects of its own and one
// of 500 authors shared between books. The keyed archive writes each author
// once and reads it back shared; the JSON archive, which has no identities,
// writes and reads it at every reference (125,000 objects). Reported:
// objects per second (distinct objects of the graph) and archive size.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>

#include "CatalogueModel.h"
#include "vantorcore/archiving/KeyedArchiver.h"
#include "vantorcore/archiving/KeyedUnarchiver.h"
#include "vantorcore/archiving/LXJSONCoder.h"

namespace {

constexpr int kBooks = 25'000;
constexpr int kAuthors = 500;
constexpr int kChapters = 3;
constexpr std::int64_t kObjects = kBooks * (1 + kChapters) + kAuthors;

std::shared_ptr<lx::BenchCatalogue> makeCatalogue() {
  std::vector<std::shared_ptr<lx::BenchAuthor>> authors;
  for (int i = 0; i < kAuthors; ++i) {
    auto author = std::make_shared<lx::BenchAuthor>();
    author->name = u"Author \u00d1ame " + lx::fromUTF8(std::to_string(i));
    author->born = 1900 + i % 100;
    authors.push_back(author);
  }
  auto catalogue = std::make_shared<lx::BenchCatalogue>();
  catalogue->books.reserve(kBooks);
  for (int i = 0; i < kBooks; ++i) {
    auto book = std::make_shared<lx::BenchBook>();
    book->title = u"The Collected Works, volume " + lx::fromUTF8(std::to_string(i));
    book->isbn = u"978-3-16-148410-" + lx::fromUTF8(std::to_string(i % 10));
    book->price = 9.99 + i % 100;
    book->published = lx::Date(1.6e9 + i * 3600.0);
    book->cover = lx::Data(24, static_cast<std::uint8_t>(i));
    book->author = authors[i % kAuthors];
    for (int c = 0; c < kChapters; ++c) {
      auto chapter = std::make_shared<lx::BenchChapter>();
      chapter->title = u"Chapter " + lx::fromUTF8(std::to_string(c + 1));
      chapter->pages = 10 + (i + c) % 40;
      book->chapters.emplace_back(chapter);
    }
    catalogue->books.emplace_back(book);
  }
  return catalogue;
}

lx::Data keyedArchive(const std::shared_ptr<lx::BenchCatalogue>& catalogue) {
  return *lx::KeyedArchiver::archivedDataWithRootObject(lx::Value(catalogue), false);
}

lx::Data jsonArchive(const std::shared_ptr<lx::BenchCatalogue>& catalogue) {
  lx::LXJSONKeyedArchiver archiver;
  archiver.encodeObject(lx::Value(catalogue));
  return *archiver.encodedData();
}

template <lx::Data (*Archive)(const std::shared_ptr<lx::BenchCatalogue>&)>
void BM_Archive(benchmark::State& state) {
  const auto catalogue = makeCatalogue();
  std::size_t size = 0;
  for (auto _ : state) {
    lx::Data data = Archive(catalogue);
    size = data.size();
    benchmark::DoNotOptimize(data);
  }
  state.SetItemsProcessed(state.iterations() * kObjects);
  state.counters["archive_MB"] = static_cast<double>(size) / 1e6;
}
BENCHMARK(BM_Archive<keyedArchive>)->Name("Archive/Keyed")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Archive<jsonArchive>)->Name("Archive/JSON")->Unit(benchmark::kMillisecond);

void check(benchmark::State& state, const std::shared_ptr<lx::BenchCatalogue>& catalogue) {
  if (!catalogue || catalogue->books.size() != kBooks) state.SkipWithError("decode failed");
}

void BM_UnarchiveKeyed(benchmark::State& state) {
  const lx::Data data = keyedArchive(makeCatalogue());
  for (auto _ : state) {
    auto unarchiver = lx::KeyedUnarchiver::initForReadingFromData(data);
    unarchiver->setRequiresSecureCoding(false);
    auto catalogue = unarchiver->decodeObject().objectAs<lx::BenchCatalogue>();
    check(state, catalogue);
    benchmark::DoNotOptimize(catalogue);
  }
  state.SetItemsProcessed(state.iterations() * kObjects);
}
BENCHMARK(BM_UnarchiveKeyed)->Name("Unarchive/Keyed")->Unit(benchmark::kMillisecond);

void BM_UnarchiveJSON(benchmark::State& state) {
  const lx::Data data = jsonArchive(makeCatalogue());
  for (auto _ : state) {
    auto catalogue =
        lx::LXJSONKeyedUnarchiver::unarchiveObjectWithData(data).objectAs<lx::BenchCatalogue>();
    check(state, catalogue);
    benchmark::DoNotOptimize(catalogue);
  }
  state.SetItemsProcessed(state.iterations() * kObjects);
}
BENCHMARK(BM_UnarchiveJSON)->Name("Unarchive/JSON")->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
