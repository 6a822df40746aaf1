// Archiving and unarchiving a graph of 100,000 application objects with the
// JSON keyed archive: a catalogue of 25,000 books, each holding strings, a
// double, a date, a few bytes of data, a nested author object and an array
// of two chapter objects (4 objects per book). Reported: objects per second
// (items_per_second) and document bytes per second.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>

#include "CatalogueModel.h"
#include "vantorcore/archiving/LXJSONCoder.h"

namespace {

constexpr int kBooks = 25'000;
constexpr int kObjectsPerBook = 4;  // book, author, two chapters

std::shared_ptr<lx::BenchCatalogue> makeCatalogue() {
  auto catalogue = std::make_shared<lx::BenchCatalogue>();
  catalogue->books.reserve(kBooks);
  for (int i = 0; i < kBooks; ++i) {
    auto book = std::make_shared<lx::BenchBook>();
    book->title = u"The Collected Works, volume " + lx::fromUTF8(std::to_string(i));
    book->isbn = u"978-3-16-148410-" + lx::fromUTF8(std::to_string(i % 10));
    book->price = 9.99 + i % 100;
    book->published = lx::Date(1.6e9 + i * 3600.0);
    book->cover = lx::Data(24, static_cast<std::uint8_t>(i));
    book->author = std::make_shared<lx::BenchAuthor>();
    book->author->name = u"Author Ñame " + lx::fromUTF8(std::to_string(i % 500));
    book->author->born = 1900 + i % 100;
    for (int c = 0; c < 2; ++c) {
      auto chapter = std::make_shared<lx::BenchChapter>();
      chapter->title = u"Chapter " + lx::fromUTF8(std::to_string(c + 1));
      chapter->pages = 10 + (i + c) % 40;
      book->chapters.emplace_back(chapter);
    }
    catalogue->books.emplace_back(book);
  }
  return catalogue;
}

lx::Data archive(const std::shared_ptr<lx::BenchCatalogue>& catalogue) {
  lx::LXJSONKeyedArchiver archiver;
  archiver.encodeObject(lx::Value(catalogue));
  return *archiver.encodedData();
}

void BM_Archive(benchmark::State& state) {
  const auto catalogue = makeCatalogue();
  std::size_t size = 0;
  for (auto _ : state) {
    lx::Data data = archive(catalogue);
    size = data.size();
    benchmark::DoNotOptimize(data);
  }
  state.SetItemsProcessed(state.iterations() * kBooks * kObjectsPerBook);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
  state.counters["document_MB"] = static_cast<double>(size) / 1e6;
}
BENCHMARK(BM_Archive)->Unit(benchmark::kMillisecond);

void BM_Unarchive(benchmark::State& state) {
  const lx::Data data = archive(makeCatalogue());
  for (auto _ : state) {
    auto catalogue =
        lx::LXJSONKeyedUnarchiver::unarchiveObjectWithData(data).objectAs<lx::BenchCatalogue>();
    if (!catalogue || catalogue->books.size() != kBooks) state.SkipWithError("decode failed");
    benchmark::DoNotOptimize(catalogue);
  }
  state.SetItemsProcessed(state.iterations() * kBooks * kObjectsPerBook);
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * data.size()));
}
BENCHMARK(BM_Unarchive)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
