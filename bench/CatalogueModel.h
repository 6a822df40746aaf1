// The application model the archive benchmarks share: a catalogue of books,
// each with strings, a double, a date, bytes, an author and chapters, all
// coded by key. Defines its classes, so one source file per benchmark
// program includes it.
#pragma once

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

// Nested objects: the JSON unarchiver hands them out as dictionaries that the
// book rebuilds through its stack (pushed under the class name, so arrays
// need no renaming), as readers of that archive do; other coders decode them
// by reference.
template <class T>
Value decodeNested(Coder& coder, StringView key, bool array) {
  auto* json = dynamic_cast<LXJSONKeyedUnarchiver*>(&coder);
  if (!json) return coder.decodeObjectForKey(key);
  if (!json->pushObjectForKey(key, T::staticClass().name())) return Value();
  Value decoded = array ? json->decodeArrayOfClass(&T::staticClass()) : json->decodeObject();
  json->pop();
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
