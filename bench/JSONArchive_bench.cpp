// Archiving and unarchiving a graph of 100,000 application objects with the
// JSON keyed archive: a catalogue of 25,000 books, each holding strings, a
// double, a date, a few bytes of data, a nested author object and an array
// of two chapter objects (4 objects per book). Reported: objects per second
// (items_per_second) and document bytes per second.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>

#include "vantorcore/archiving/LXJSONCoder.h"

namespace lx {

class BenchAuthor : public Object, public Coding {
  LX_DECLARE_CLASS(BenchAuthor)
 public:
  String name;
  std::int32_t born = 0;
  void encodeWithCoder(Coder& coder) const override {
    coder.encodeString(name, u"name");
    coder.encodeInt32(born, u"born");
  }
  static std::shared_ptr<BenchAuthor> initWithCoder(Coder& coder) {
    auto a = std::make_shared<BenchAuthor>();
    a->name = coder.decodeStringForKey(u"name").value_or(u"");
    a->born = coder.decodeInt32ForKey(u"born");
    return a;
  }
};

class BenchChapter : public Object, public Coding {
  LX_DECLARE_CLASS(BenchChapter)
 public:
  String title;
  std::int64_t pages = 0;
  void encodeWithCoder(Coder& coder) const override {
    coder.encodeString(title, u"title");
    coder.encodeInt64(pages, u"pages");
  }
  static std::shared_ptr<BenchChapter> initWithCoder(Coder& coder) {
    auto c = std::make_shared<BenchChapter>();
    c->title = coder.decodeStringForKey(u"title").value_or(u"");
    c->pages = coder.decodeInt64ForKey(u"pages");
    return c;
  }
};

// Nested objects come back as dictionaries under keys; the book rebuilds
// them through the unarchiver's stack, as readers of this archive do. The
// value is pushed under its class name so that arrays need no renaming.
template <class T>
Value decodeNested(Coder& coder, StringView key, bool array) {
  auto* reader = dynamic_cast<LXJSONKeyedUnarchiver*>(&coder);
  if (!reader || !reader->pushObjectForKey(key, T::staticClass().name())) return Value();
  Value decoded = array ? reader->decodeArrayOfClass(&T::staticClass()) : reader->decodeObject();
  reader->pop();
  return decoded;
}

class BenchBook : public Object, public Coding {
  LX_DECLARE_CLASS(BenchBook)
 public:
  String title;
  String isbn;
  double price = 0;
  Date published;
  Data cover;
  std::shared_ptr<BenchAuthor> author;
  Array chapters;
  void encodeWithCoder(Coder& coder) const override {
    coder.encodeString(title, u"title");
    coder.encodeString(isbn, u"isbn");
    coder.encodeDouble(price, u"price");
    coder.encodeObject(Value(published), u"published");
    coder.encodeObject(Value(cover), u"cover");
    coder.encodeObject(Value(author), u"author");
    coder.encodeObject(Value(chapters), u"chapters");
  }
  static std::shared_ptr<BenchBook> initWithCoder(Coder& coder) {
    auto b = std::make_shared<BenchBook>();
    b->title = coder.decodeStringForKey(u"title").value_or(u"");
    b->isbn = coder.decodeStringForKey(u"isbn").value_or(u"");
    b->price = coder.decodeDoubleForKey(u"price");
    const Value published = coder.decodeObjectForKey(u"published");
    if (const Date* d = published.asDate()) b->published = *d;
    const Value cover = coder.decodeObjectForKey(u"cover");
    if (const Data* d = cover.asData()) b->cover = *d;
    b->author = decodeNested<BenchAuthor>(coder, u"author", false).objectAs<BenchAuthor>();
    const Value chapters = decodeNested<BenchChapter>(coder, u"chapters", true);
    if (const Array* list = chapters.asArray()) b->chapters = *list;
    return b;
  }
};

class BenchCatalogue : public Object, public Coding {
  LX_DECLARE_CLASS(BenchCatalogue)
 public:
  Array books;
  void encodeWithCoder(Coder& coder) const override { coder.encodeObject(Value(books), u"books"); }
  static std::shared_ptr<BenchCatalogue> initWithCoder(Coder& coder) {
    auto c = std::make_shared<BenchCatalogue>();
    const Value books = decodeNested<BenchBook>(coder, u"books", true);
    if (const Array* list = books.asArray()) c->books = *list;
    return c;
  }
};

LX_DEFINE_CLASS(BenchAuthor, Object)
LX_DEFINE_CLASS(BenchChapter, Object)
LX_DEFINE_CLASS(BenchBook, Object)
LX_DEFINE_CLASS(BenchCatalogue, Object)

}  // namespace lx

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
