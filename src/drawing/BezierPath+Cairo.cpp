#include "vantorcore/drawing/BezierPath+Cairo.h"

#include <cstdlib>
#include <limits>
#include <new>

#include "drawing/CairoLibrary.h"

namespace lx {

using detail::cairo;

namespace {

cairo_line_cap_t cairoCap(LineCap cap) {
  switch (cap) {
    case LineCap::Round:
      return CAIRO_LINE_CAP_ROUND;
    case LineCap::Square:
      return CAIRO_LINE_CAP_SQUARE;
    case LineCap::Butt:
      break;
  }
  return CAIRO_LINE_CAP_BUTT;
}

cairo_line_join_t cairoJoin(LineJoin join) {
  switch (join) {
    case LineJoin::Round:
      return CAIRO_LINE_JOIN_ROUND;
    case LineJoin::Bevel:
      return CAIRO_LINE_JOIN_BEVEL;
    case LineJoin::Miter:
      break;
  }
  return CAIRO_LINE_JOIN_MITER;
}

int cairoDataLength(BezierPath::ElementType type) {
  return type == BezierPath::ElementType::CurveTo     ? 4
         : type == BezierPath::ElementType::ClosePath ? 1
                                                      : 2;
}

void setPath(const BezierPath& path, cairo_t* cr) {
  cairo().new_path(cr);
  lx_appendToCairo(path, cr);
  lx_applyStyleToCairo(path, cr);
}

}  // namespace

void CairoPathDeleter::operator()(cairo_path_t* path) const noexcept {
  if (cairo().library.isLoaded()) {
    cairo().path_destroy(path);
    return;
  }
  // Without Cairo the path is one lx_cairoPath made, freed as Cairo would.
  std::free(path->data);
  std::free(path);
}

void lx_appendToCairo(const BezierPath& path, cairo_t* cr) {
  for (const BezierPath::Element& e : path) {
    const auto& p = e.points;
    switch (e.type) {
      case BezierPath::ElementType::MoveTo:
        cairo().move_to(cr, p[0].x, p[0].y);
        break;
      case BezierPath::ElementType::LineTo:
        cairo().line_to(cr, p[0].x, p[0].y);
        break;
      case BezierPath::ElementType::CurveTo:
        cairo().curve_to(cr, p[0].x, p[0].y, p[1].x, p[1].y, p[2].x, p[2].y);
        break;
      case BezierPath::ElementType::ClosePath:
        cairo().close_path(cr);
        break;
    }
  }
}

void lx_applyStyleToCairo(const BezierPath& path, cairo_t* cr) {
  cairo().set_line_width(cr, path.lineWidth());
  cairo().set_line_cap(cr, cairoCap(path.lineCap()));
  cairo().set_line_join(cr, cairoJoin(path.lineJoin()));
  cairo().set_miter_limit(cr, path.miterLimit());
  const std::vector<double>& dash = path.dashPattern();
  cairo().set_dash(cr, dash.data(), static_cast<int>(dash.size()), path.dashPhase());
  cairo().set_fill_rule(cr, path.fillRule() == FillRule::EvenOdd ? CAIRO_FILL_RULE_EVEN_ODD
                                                                 : CAIRO_FILL_RULE_WINDING);
}

void lx_fill(const BezierPath& path, cairo_t* cr) {
  setPath(path, cr);
  cairo().fill(cr);
}

void lx_stroke(const BezierPath& path, cairo_t* cr) {
  setPath(path, cr);
  cairo().stroke(cr);
}

void lx_addClip(const BezierPath& path, cairo_t* cr) {
  setPath(path, cr);
  cairo().clip(cr);
}

CairoPathPtr lx_cairoPath(const BezierPath& path) {
  std::size_t length = 0;
  for (const BezierPath::Element& e : path) length += cairoDataLength(e.type);
  // cairo_path_destroy releases both blocks with free().
  auto* result = static_cast<cairo_path_t*>(std::malloc(sizeof(cairo_path_t)));
  auto* data =
      static_cast<cairo_path_data_t*>(std::malloc(sizeof(cairo_path_data_t) * (length + 1)));
  if (!result || !data) {
    std::free(result);
    std::free(data);
    throw std::bad_alloc();
  }
  result->status = CAIRO_STATUS_SUCCESS;
  result->data = data;
  result->num_data = static_cast<int>(length);
  cairo_path_data_t* out = data;
  for (const BezierPath::Element& e : path) {
    static constexpr cairo_path_data_type_t kTypes[] = {CAIRO_PATH_MOVE_TO, CAIRO_PATH_LINE_TO,
                                                        CAIRO_PATH_CURVE_TO, CAIRO_PATH_CLOSE_PATH};
    const int n = cairoDataLength(e.type);
    out->header.type = kTypes[static_cast<int>(e.type)];
    out->header.length = n;
    for (int i = 1; i < n; ++i) {
      out[i].point.x = e.points[i - 1].x;
      out[i].point.y = e.points[i - 1].y;
    }
    out += n;
  }
  return CairoPathPtr(result);
}

BezierPath lx_bezierPathFromCairo(const cairo_path_t* cairoPath) {
  BezierPath path;
  if (!cairoPath || cairoPath->status != CAIRO_STATUS_SUCCESS || !cairoPath->data) return path;
  const int total = cairoPath->num_data;
  for (int i = 0; i < total;) {
    const cairo_path_data_t& header = cairoPath->data[i];
    const int length = header.header.length;
    if (length < 1 || length > total - i) break;
    auto point = [&](int k) -> Point {
      // Too short for its type: a NaN point the builder drops.
      if (k >= length) return {std::numeric_limits<double>::quiet_NaN(), 0};
      return {cairoPath->data[i + k].point.x, cairoPath->data[i + k].point.y};
    };
    switch (header.header.type) {
      case CAIRO_PATH_MOVE_TO:
        path.moveTo(point(1));
        break;
      case CAIRO_PATH_LINE_TO:
        path.lineTo(point(1));
        break;
      case CAIRO_PATH_CURVE_TO:
        path.curveTo(point(3), point(1), point(2));
        break;
      case CAIRO_PATH_CLOSE_PATH:
        path.closePath();
        break;
    }
    i += length;
  }
  return path;
}

}  // namespace lx
