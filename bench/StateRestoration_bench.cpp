// Archiving and unarchiving one graph of 100,000 objects with the
// state-restoration archive and with the JSON keyed archive: 25,000 orders,
// each holding strings, a double, a 64-bit integer, a bool, a date, 16 bytes
// of data, a customer object and an array of two line objects (4 objects per
// order), and a reference to one of 500 shared shop objects. The
// state-restoration archive stores each shop once and gives it back shared;
// the JSON archive, which has no identifiers, writes a shop at every
// reference and reads back a copy for each. Reported: objects per second
// (items_per_second, shops not counted) and the document's size.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "vantorcore/archiving/LXJSONCoder.h"
#include "vantorcore/archiving/LXStateRestoration.h"

namespace lx {

namespace {

// The JSON unarchiver hands nested objects out as dictionaries; readers
// rebuild them through its stack. Every other coder decodes them directly.
template <class T>
Value decodeNested(Coder& coder, StringView key, bool array) {
  auto* json = dynamic_cast<LXJSONKeyedUnarchiver*>(&coder);
  if (!json) return coder.decodeObjectForKey(key);
  if (!json->pushObjectForKey(key, T::staticClass().name())) return Value();
  Value decoded = array ? json->decodeArrayOfClass(&T::staticClass()) : json->decodeObject();
  json->pop();
  return decoded;
}

}  // namespace

class BenchShop : public Object, public Coding {
  LX_DECLARE_CLASS(BenchShop)
 public:
  String name;
  std::int32_t opened = 0;
  void encodeWithCoder(Coder& coder) const override {
    coder.encodeString(name, u"name");
    coder.encodeInt32(opened, u"opened");
  }
  static std::shared_ptr<BenchShop> initWithCoder(Coder& coder) {
    auto shop = std::make_shared<BenchShop>();
    shop->name = coder.decodeStringForKey(u"name").value_or(u"");
    shop->opened = coder.decodeInt32ForKey(u"opened");
    return shop;
  }
};

class BenchCustomer : public Object, public Coding {
  LX_DECLARE_CLASS(BenchCustomer)
 public:
  String name;
  String email;
  void encodeWithCoder(Coder& coder) const override {
    coder.encodeString(name, u"name");
    coder.encodeString(email, u"email");
  }
  static std::shared_ptr<BenchCustomer> initWithCoder(Coder& coder) {
    auto customer = std::make_shared<BenchCustomer>();
    customer->name = coder.decodeStringForKey(u"name").value_or(u"");
    customer->email = coder.decodeStringForKey(u"email").value_or(u"");
    return customer;
  }
};

class BenchLine : public Object, public Coding {
  LX_DECLARE_CLASS(BenchLine)
 public:
  String product;
  std::int64_t quantity = 0;
  void encodeWithCoder(Coder& coder) const override {
    coder.encodeString(product, u"product");
    coder.encodeInt64(quantity, u"quantity");
  }
  static std::shared_ptr<BenchLine> initWithCoder(Coder& coder) {
    auto line = std::make_shared<BenchLine>();
    line->product = coder.decodeStringForKey(u"product").value_or(u"");
    line->quantity = coder.decodeInt64ForKey(u"quantity");
    return line;
  }
};

class BenchOrder : public Object, public Coding {
  LX_DECLARE_CLASS(BenchOrder)
 public:
  String number;
  double total = 0;
  std::int64_t reference = 0;
  bool paid = false;
  Date placed;
  Data token;
  std::shared_ptr<BenchCustomer> customer;
  std::shared_ptr<BenchShop> shop;
  Array lines;
  void encodeWithCoder(Coder& coder) const override {
    coder.encodeString(number, u"number");
    coder.encodeDouble(total, u"total");
    coder.encodeInt64(reference, u"reference");
    coder.encodeBool(paid, u"paid");
    coder.encodeObject(Value(placed), u"placed");
    coder.encodeObject(Value(token), u"token");
    coder.encodeObject(Value(customer), u"customer");
    coder.encodeObject(Value(shop), u"shop");
    coder.encodeObject(Value(lines), u"lines");
  }
  static std::shared_ptr<BenchOrder> initWithCoder(Coder& coder) {
    auto order = std::make_shared<BenchOrder>();
    order->number = coder.decodeStringForKey(u"number").value_or(u"");
    order->total = coder.decodeDoubleForKey(u"total");
    order->reference = coder.decodeInt64ForKey(u"reference");
    order->paid = coder.decodeBoolForKey(u"paid");
    const Value placed = coder.decodeObjectForKey(u"placed");
    if (const Date* date = placed.asDate()) order->placed = *date;
    const Value token = coder.decodeObjectForKey(u"token");
    if (const Data* data = token.asData()) order->token = *data;
    order->customer =
        decodeNested<BenchCustomer>(coder, u"customer", false).objectAs<BenchCustomer>();
    order->shop = decodeNested<BenchShop>(coder, u"shop", false).objectAs<BenchShop>();
    const Value lines = decodeNested<BenchLine>(coder, u"lines", true);
    if (const Array* list = lines.asArray()) order->lines = *list;
    return order;
  }
};

class BenchLedger : public Object, public Coding {
  LX_DECLARE_CLASS(BenchLedger)
 public:
  Array orders;
  void encodeWithCoder(Coder& coder) const override {
    coder.encodeObject(Value(orders), u"orders");
  }
  static std::shared_ptr<BenchLedger> initWithCoder(Coder& coder) {
    auto ledger = std::make_shared<BenchLedger>();
    const Value orders = decodeNested<BenchOrder>(coder, u"orders", true);
    if (const Array* list = orders.asArray()) ledger->orders = *list;
    return ledger;
  }
};

LX_DEFINE_CLASS(BenchShop, Object)
LX_DEFINE_CLASS(BenchCustomer, Object)
LX_DEFINE_CLASS(BenchLine, Object)
LX_DEFINE_CLASS(BenchOrder, Object)
LX_DEFINE_CLASS(BenchLedger, Object)

}  // namespace lx

namespace {

constexpr int kOrders = 25'000;
constexpr int kObjectsPerOrder = 4;  // order, customer, two lines
constexpr int kShops = 500;

std::shared_ptr<lx::BenchLedger> makeLedger() {
  std::vector<std::shared_ptr<lx::BenchShop>> shops;
  for (int s = 0; s < kShops; ++s) {
    auto shop = std::make_shared<lx::BenchShop>();
    shop->name = u"Shop " + lx::fromUTF8(std::to_string(s));
    shop->opened = 1990 + s % 30;
    shops.push_back(shop);
  }
  auto ledger = std::make_shared<lx::BenchLedger>();
  ledger->orders.reserve(kOrders);
  for (int i = 0; i < kOrders; ++i) {
    auto order = std::make_shared<lx::BenchOrder>();
    order->number = u"ORD-" + lx::fromUTF8(std::to_string(100000 + i));
    order->total = 19.5 + i % 250;
    order->reference = std::int64_t{1} << 40 | i;
    order->paid = i % 3 != 0;
    order->placed = lx::Date(1.7e9 + i * 60.0);
    order->token = lx::Data(16, static_cast<std::uint8_t>(i));
    order->customer = std::make_shared<lx::BenchCustomer>();
    order->customer->name = u"Customer Ñame " + lx::fromUTF8(std::to_string(i % 2000));
    order->customer->email = u"c" + lx::fromUTF8(std::to_string(i)) + u"@example.org";
    order->shop = shops[static_cast<std::size_t>(i % kShops)];
    for (int l = 0; l < 2; ++l) {
      auto line = std::make_shared<lx::BenchLine>();
      line->product = u"Product " + lx::fromUTF8(std::to_string((i + l) % 700));
      line->quantity = 1 + (i + l) % 9;
      order->lines.emplace_back(line);
    }
    ledger->orders.emplace_back(order);
  }
  return ledger;
}

lx::Data archiveStateRestoration(const std::shared_ptr<lx::BenchLedger>& ledger) {
  lx::Data data;
  lx::LXStateRestorationArchiver archiver(data);
  archiver.encodeObject(lx::Value(ledger), u"ledger");
  archiver.finishEncoding();
  return data;
}

lx::Data archiveJSON(const std::shared_ptr<lx::BenchLedger>& ledger) {
  lx::LXJSONKeyedArchiver archiver;
  archiver.encodeObject(lx::Value(ledger));
  return *archiver.encodedData();
}

std::shared_ptr<lx::BenchLedger> unarchiveStateRestoration(const lx::Data& data) {
  lx::LXStateRestorationUnarchiver unarchiver(data);
  auto ledger = unarchiver.decodeObjectForKey(u"ledger").objectAs<lx::BenchLedger>();
  unarchiver.finishDecoding();
  return ledger;
}

std::shared_ptr<lx::BenchLedger> unarchiveJSON(const lx::Data& data) {
  return lx::LXJSONKeyedUnarchiver::unarchiveObjectWithData(data).objectAs<lx::BenchLedger>();
}

// The distinct shop objects of a decoded ledger: 500 when shared references
// came back shared, one per order otherwise.
std::size_t distinctShops(const lx::BenchLedger& ledger) {
  std::set<const lx::BenchShop*> shops;
  for (const lx::Value& order : ledger.orders) {
    if (auto o = order.objectAs<lx::BenchOrder>()) shops.insert(o->shop.get());
  }
  return shops.size();
}

template <lx::Data (*Archive)(const std::shared_ptr<lx::BenchLedger>&)>
void BM_Archive(benchmark::State& state) {
  const auto ledger = makeLedger();
  std::size_t size = 0;
  for (auto _ : state) {
    lx::Data data = Archive(ledger);
    size = data.size();
    benchmark::DoNotOptimize(data);
  }
  state.SetItemsProcessed(state.iterations() * kOrders * kObjectsPerOrder);
  state.counters["document_MB"] = static_cast<double>(size) / 1e6;
}

template <lx::Data (*Archive)(const std::shared_ptr<lx::BenchLedger>&),
          std::shared_ptr<lx::BenchLedger> (*Unarchive)(const lx::Data&)>
void BM_Unarchive(benchmark::State& state) {
  const lx::Data data = Archive(makeLedger());
  std::shared_ptr<lx::BenchLedger> ledger;
  for (auto _ : state) {
    ledger = Unarchive(data);
    if (!ledger || ledger->orders.size() != kOrders) {
      state.SkipWithError("decode failed");
      return;
    }
    benchmark::DoNotOptimize(ledger);
  }
  state.SetItemsProcessed(state.iterations() * kOrders * kObjectsPerOrder);
  state.counters["document_MB"] = static_cast<double>(data.size()) / 1e6;
  state.counters["distinct_shops"] = static_cast<double>(distinctShops(*ledger));
}

BENCHMARK(BM_Archive<archiveStateRestoration>)
    ->Name("StateRestoration/Archive")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Unarchive<archiveStateRestoration, unarchiveStateRestoration>)
    ->Name("StateRestoration/Unarchive")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Archive<archiveJSON>)->Name("JSONKeyedArchive/Archive")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Unarchive<archiveJSON, unarchiveJSON>)
    ->Name("JSONKeyedArchive/Unarchive")
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
