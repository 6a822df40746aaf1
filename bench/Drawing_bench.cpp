// Path queries on a 100,000-element path beside Cairo's own on the same
// path (cairo_path_extents, cairo_in_fill), flattening, and one frame of
// the spinner and the progress pie at 2×.
#include <benchmark/benchmark.h>
#include <cairo.h>

#include "BenchRandom.h"
#include "vantorcore/drawing/BezierPath+Cairo.h"
#include "vantorcore/drawing/ProgressPie.h"
#include "vantorcore/drawing/Spinner.h"

namespace {

constexpr int kElements = 100'000;

// A closed random walk in a 1000-unit square: three lines to every cubic.
const lx::BezierPath& bigPath() {
  static const lx::BezierPath path = [] {
    vantor::bench::Random random;
    auto coordinate = [&] { return static_cast<double>(random.below(100'000)) / 100; };
    lx::BezierPath p;
    p.moveTo({500, 500});
    while (p.elementCount() < kElements - 1) {
      if (random.below(4) == 0) {
        p.curveTo({coordinate(), coordinate()}, {coordinate(), coordinate()},
                  {coordinate(), coordinate()});
      } else {
        p.lineTo({coordinate(), coordinate()});
      }
    }
    p.closePath();
    return p;
  }();
  return path;
}

// A context holding the same path, for Cairo's side.
struct CairoPeer {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
  cairo_t* cr = cairo_create(surface);
  CairoPeer() { lx::lx_appendToCairo(bigPath(), cr); }
  ~CairoPeer() {
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
  }
};

void BM_BezierPathBounds(benchmark::State& state) {
  const lx::BezierPath& path = bigPath();
  for (auto _ : state) benchmark::DoNotOptimize(path.bounds());
  state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(BM_BezierPathBounds);

void BM_BezierPathControlPointBounds(benchmark::State& state) {
  const lx::BezierPath& path = bigPath();
  for (auto _ : state) benchmark::DoNotOptimize(path.controlPointBounds());
  state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(BM_BezierPathControlPointBounds);

// Cairo keeps a path's extents up to date as elements are added, so asking
// again costs nothing; the fair peer adds the path and then asks.
void BM_CairoAppendPathAndExtents(benchmark::State& state) {
  CairoPeer peer;
  const lx::CairoPathPtr data = lx::lx_cairoPath(bigPath());
  double x0, y0, x1, y1;
  for (auto _ : state) {
    cairo_new_path(peer.cr);
    cairo_append_path(peer.cr, data.get());
    cairo_path_extents(peer.cr, &x0, &y0, &x1, &y1);
    benchmark::DoNotOptimize(x1);
  }
  state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(BM_CairoAppendPathAndExtents);

// Appending alone, to take out of the figure above.
void BM_CairoAppendPath(benchmark::State& state) {
  CairoPeer peer;
  const lx::CairoPathPtr data = lx::lx_cairoPath(bigPath());
  for (auto _ : state) {
    cairo_new_path(peer.cr);
    cairo_append_path(peer.cr, data.get());
  }
  state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(BM_CairoAppendPath);

void BM_BezierPathContainsPoint(benchmark::State& state) {
  const lx::BezierPath& path = bigPath();
  for (auto _ : state) benchmark::DoNotOptimize(path.containsPoint({500.5, 500.5}));
  state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(BM_BezierPathContainsPoint);

void BM_CairoInFill(benchmark::State& state) {
  CairoPeer peer;
  for (auto _ : state) benchmark::DoNotOptimize(cairo_in_fill(peer.cr, 500.5, 500.5));
  state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(BM_CairoInFill);

void BM_BezierPathFlatten(benchmark::State& state) {
  const lx::BezierPath& path = bigPath();
  for (auto _ : state) benchmark::DoNotOptimize(path.flattened(lx::BezierPath::kDefaultFlatness));
  state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(BM_BezierPathFlatten);

void BM_CairoCopyPathFlat(benchmark::State& state) {
  CairoPeer peer;
  cairo_set_tolerance(peer.cr, lx::BezierPath::kDefaultFlatness);
  for (auto _ : state) cairo_path_destroy(cairo_copy_path_flat(peer.cr));
  state.SetItemsProcessed(state.iterations() * kElements);
}
BENCHMARK(BM_CairoCopyPathFlat);

// One frame as a host draws it: clear a 32-unit square at 2× and draw.
template <typename Draw>
void frameAt2x(benchmark::State& state, Draw draw) {
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 64, 64);
  cairo_surface_set_device_scale(surface, 2, 2);
  cairo_t* cr = cairo_create(surface);
  double time = 0;
  for (auto _ : state) {
    cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
    cairo_paint(cr);
    cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
    draw(cr, time);
    time += 1.0 / 60;
  }
  cairo_surface_flush(surface);
  cairo_destroy(cr);
  cairo_surface_destroy(surface);
}

void BM_SpinnerFrame2x(benchmark::State& state) {
  const lx::Spinner spinner;
  frameAt2x(state, [&](cairo_t* cr, double t) { spinner.draw(cr, {{0, 0}, {32, 32}}, t); });
}
BENCHMARK(BM_SpinnerFrame2x);

void BM_ProgressPieFrame2x(benchmark::State& state) {
  const lx::ProgressPie pie;
  frameAt2x(state, [&](cairo_t* cr, double t) { pie.draw(cr, {{0, 0}, {32, 32}}, t / 10); });
}
BENCHMARK(BM_ProgressPieFrame2x);

}  // namespace
BENCHMARK_MAIN();
