// XML parsing and CSS-selector queries on files the side-by-side script
// makes (bench/xml_compare.sh): VANTOR_BENCH_XML names a large XML file,
// VANTOR_BENCH_HTML an HTML page. A benchmark whose file is not named is
// skipped.
#include <benchmark/benchmark.h>

#include <cstdlib>

#include "vantorcore/platform/FileIO.h"
#include "vantorcore/xml/LXXMLDocument.h"

namespace {

std::optional<lx::Data> benchFile(const char* variable) {
  const char* path = std::getenv(variable);
  if (!path) return std::nullopt;
  return lx::readFileContents(lx::fromUTF8(path));
}

void BM_ParseXMLFile(benchmark::State& state) {
  const auto data = benchFile("VANTOR_BENCH_XML");
  if (!data) return state.SkipWithError("VANTOR_BENCH_XML is not set");
  for (auto _ : state) {
    auto document = lx::LXXMLDocument::documentWithData(*data);
    if (!document) return state.SkipWithError("the file does not parse");
    benchmark::DoNotOptimize(document);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * data->size()));
}
BENCHMARK(BM_ParseXMLFile)->Unit(benchmark::kMillisecond)->MinTime(2);

// The selectors the script also gives lxml, in the same order.
const char16_t* const kSelectors[] = {
    u"div.entry > a[href^='https']",
    u"li:nth-child(2n+1) span.tag",
    u"#section-7 p:not(.aside)",
    u"table tr:first-child td",
};

void BM_CSSQuery(benchmark::State& state) {
  const auto data = benchFile("VANTOR_BENCH_HTML");
  if (!data) return state.SkipWithError("VANTOR_BENCH_HTML is not set");
  const auto document = lx::LXXMLDocument::HTMLDocumentWithData(*data);
  const char16_t* selector = kSelectors[state.range(0)];
  std::size_t matched = 0;
  for (auto _ : state) {
    const auto elements = document->elementsForCSSSelector(selector);
    matched = elements->size();
    benchmark::DoNotOptimize(matched);
  }
  state.SetLabel(lx::toUTF8(selector) + " (" + std::to_string(matched) + " matches)");
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_CSSQuery)->DenseRange(0, 3)->Unit(benchmark::kMicrosecond);

// The first query on a fresh document, which also indexes its elements;
// parsing and freeing the document are not timed.
void BM_CSSFirstQuery(benchmark::State& state) {
  const auto data = benchFile("VANTOR_BENCH_HTML");
  if (!data) return state.SkipWithError("VANTOR_BENCH_HTML is not set");
  for (auto _ : state) {
    state.PauseTiming();
    std::optional<lx::LXXMLDocument> document = lx::LXXMLDocument::HTMLDocumentWithData(*data);
    state.ResumeTiming();
    benchmark::DoNotOptimize(document->elementsForCSSSelector(kSelectors[0]));
    state.PauseTiming();
    document.reset();
    state.ResumeTiming();
  }
  state.SetLabel(lx::toUTF8(kSelectors[0]));
}
BENCHMARK(BM_CSSFirstQuery)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
