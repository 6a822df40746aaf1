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

#include "vantorcore/archiving/KeyedArchiver.h"
#include "vantorcore/archiving/KeyedUnarchiver.h"
#include "vantorcore/archiving/LXJSONCoder.h"

namespace lx {

// Nested objects: the JSON unarchiver hands them out as dictionaries to be
// rebuilt through its stack; the keyed unarchiver decodes them by UID.
template <class T>
Value decodeNested(Coder& coder, StringView key, bool array) {
  auto* json = dynamic_cast<LXJSONKeyedUnarchiver*>(&coder);
  if (!json) return coder.decodeObjectForKey(key);
  if (!json->pushObjectForKey(key, T::staticClass().name())) return Value();
  Value decoded = array ? json->decodeArrayOfClass(&T::staticClass()) : json->decodeObject();
  json->pop();
  return decoded;
}

class KBAuthor : public Object, public Coding {
  LX_DECLARE_CLASS(KBAuthor)
 public:
  String name;
  std::int32_t born = 0;
  void encodeWithCoder(Coder& coder) const override {
    coder.encodeString(name, u"name");
    coder.encodeInt32(born, u"born");
  }
  static std::shared_ptr<KBAuthor> initWithCoder(Coder& coder) {
    auto a = std::make_shared<KBAuthor>();
    a->name = coder.decodeStringForKey(u"name").value_or(u"");
    a->born = coder.decodeInt32ForKey(u"born");
    return a;
  }
};

class KBChapter : public Object, public Coding {
  LX_DECLARE_CLASS(KBChapter)
 public:
  String title;
  std::int64_t pages = 0;
  void encodeWithCoder(Coder& coder) const override {
    coder.encodeString(title, u"title");
    coder.encodeInt64(pages, u"pages");
  }
  static std::shared_ptr<KBChapter> initWithCoder(Coder& coder) {
    auto c = std::make_shared<KBChapter>();
    c->title = coder.decodeStringForKey(u"title").value_or(u"");
    c->pages = coder.decodeInt64ForKey(u"pages");
    return c;
  }
};

class KBBook : public Object, public Coding {
  LX_DECLARE_CLASS(KBBook)
 public:
  String title;
  double price = 0;
  Date published;
  Data cover;
  std::shared_ptr<KBAuthor> author;
  Array chapters;
  void encodeWithCoder(Coder& coder) const override {
    coder.encodeString(title, u"title");
    coder.encodeDouble(price, u"price");
    coder.encodeObject(Value(published), u"published");
    coder.encodeObject(Value(cover), u"cover");
    coder.encodeObject(Value(author), u"author");
    coder.encodeObject(Value(chapters), u"chapters");
  }
  static std::shared_ptr<KBBook> initWithCoder(Coder& coder) {
    auto b = std::make_shared<KBBook>();
    b->title = coder.decodeStringForKey(u"title").value_or(u"");
    b->price = coder.decodeDoubleForKey(u"price");
    const Value published = coder.decodeObjectForKey(u"published");
    if (const Date* d = published.asDate()) b->published = *d;
    const Value cover = coder.decodeObjectForKey(u"cover");
    if (const Data* d = cover.asData()) b->cover = *d;
    b->author = decodeNested<KBAuthor>(coder, u"author", false).objectAs<KBAuthor>();
    const Value chapters = decodeNested<KBChapter>(coder, u"chapters", true);
    if (const Array* list = chapters.asArray()) b->chapters = *list;
    return b;
  }
};

class KBCatalogue : public Object, public Coding {
  LX_DECLARE_CLASS(KBCatalogue)
 public:
  Array books;
  void encodeWithCoder(Coder& coder) const override { coder.encodeObject(Value(books), u"books"); }
  static std::shared_ptr<KBCatalogue> initWithCoder(Coder& coder) {
    auto c = std::make_shared<KBCatalogue>();
    const Value books = decodeNested<KBBook>(coder, u"books", true);
    if (const Array* list = books.asArray()) c->books = *list;
    return c;
  }
};

LX_DEFINE_CLASS(KBAuthor, Object)
LX_DEFINE_CLASS(KBChapter, Object)
LX_DEFINE_CLASS(KBBook, Object)
LX_DEFINE_CLASS(KBCatalogue, Object)

}  // namespace lx

namespace {

constexpr int kBooks = 25'000;
constexpr int kAuthors = 500;
constexpr int kChapters = 3;
constexpr std::int64_t kObjects = kBooks * (1 + kChapters) + kAuthors;

std::shared_ptr<lx::KBCatalogue> makeCatalogue() {
  std::vector<std::shared_ptr<lx::KBAuthor>> authors;
  for (int i = 0; i < kAuthors; ++i) {
    auto author = std::make_shared<lx::KBAuthor>();
    author->name = u"Author \u00d1ame " + lx::fromUTF8(std::to_string(i));
    author->born = 1900 + i % 100;
    authors.push_back(author);
  }
  auto catalogue = std::make_shared<lx::KBCatalogue>();
  catalogue->books.reserve(kBooks);
  for (int i = 0; i < kBooks; ++i) {
    auto book = std::make_shared<lx::KBBook>();
    book->title = u"The Collected Works, volume " + lx::fromUTF8(std::to_string(i));
    book->price = 9.99 + i % 100;
    book->published = lx::Date(1.6e9 + i * 3600.0);
    book->cover = lx::Data(24, static_cast<std::uint8_t>(i));
    book->author = authors[i % kAuthors];
    for (int c = 0; c < kChapters; ++c) {
      auto chapter = std::make_shared<lx::KBChapter>();
      chapter->title = u"Chapter " + lx::fromUTF8(std::to_string(c + 1));
      chapter->pages = 10 + (i + c) % 40;
      book->chapters.emplace_back(chapter);
    }
    catalogue->books.emplace_back(book);
  }
  return catalogue;
}

lx::Data keyedArchive(const std::shared_ptr<lx::KBCatalogue>& catalogue) {
  return *lx::KeyedArchiver::archivedDataWithRootObject(lx::Value(catalogue), false);
}

lx::Data jsonArchive(const std::shared_ptr<lx::KBCatalogue>& catalogue) {
  lx::LXJSONKeyedArchiver archiver;
  archiver.encodeObject(lx::Value(catalogue));
  return *archiver.encodedData();
}

template <lx::Data (*Archive)(const std::shared_ptr<lx::KBCatalogue>&)>
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

void check(benchmark::State& state, const std::shared_ptr<lx::KBCatalogue>& catalogue) {
  if (!catalogue || catalogue->books.size() != kBooks) state.SkipWithError("decode failed");
}

void BM_UnarchiveKeyed(benchmark::State& state) {
  const lx::Data data = keyedArchive(makeCatalogue());
  for (auto _ : state) {
    auto unarchiver = lx::KeyedUnarchiver::initForReadingFromData(data);
    unarchiver->setRequiresSecureCoding(false);
    auto catalogue = unarchiver->decodeObject().objectAs<lx::KBCatalogue>();
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
        lx::LXJSONKeyedUnarchiver::unarchiveObjectWithData(data).objectAs<lx::KBCatalogue>();
    check(state, catalogue);
    benchmark::DoNotOptimize(catalogue);
  }
  state.SetItemsProcessed(state.iterations() * kObjects);
}
BENCHMARK(BM_UnarchiveJSON)->Name("Unarchive/JSON")->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
