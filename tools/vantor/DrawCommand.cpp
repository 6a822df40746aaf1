// `vantor draw SHAPE [options] -o FILE`: renders one of the drawing area's
// shapes or controls to a PNG, SVG or PDF file to look at.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "Command.h"
#include "StreamIO.h"
#include "vantorcore/drawing/BezierPath+Cairo.h"
#include "vantorcore/drawing/BezierPath+Shapes.h"
#include "vantorcore/drawing/Color+Cairo.h"
#include "vantorcore/drawing/DrawingFile.h"
#include "vantorcore/drawing/Gradient.h"
#include "vantorcore/drawing/ProgressPie.h"
#include "vantorcore/drawing/Spinner.h"

namespace {

constexpr char kUsage[] =
    "usage: vantor draw SHAPE [options] -o FILE.png|.svg|.pdf\n\n"
    "SHAPE is roundrect, capsule, bubble, spinner, pie or gradient.\n"
    "  --size WxH        user-space size (default 128x128)\n"
    "  --scale S         pixels per unit in a PNG (default 1; 2 for high density)\n"
    "  --color #RRGGBB[AA]  fill colour (default #3584E4)\n"
    "  --radius R        corner radius of roundrect and bubble (default 16)\n"
    "  --edge top|right|bottom|left, --position P, --pointer WxL\n"
    "                    the bubble's pointer (default bottom, 0.5, 24x16)\n"
    "  --progress P      the pie's progress (default 0.25)\n"
    "  --time T          the spinner's clock time in seconds (default 0)\n"
    "  --spokes N        the spinner's spoke count (default 12)\n"
    "  --to #RRGGBB[AA]  the gradient's end colour (default white)\n"
    "  --angle DEG       linear gradient angle, clockwise from left-to-right\n"
    "  --radial          a radial gradient instead";

struct Options {
  std::string shape, output;
  lx::Size size{128, 128};
  double scale = 1, radius = 16, progress = 0.25, time = 0, angle = 0, spokes = 12, position = 0.5;
  bool radial = false;
  lx::Color color = lx::Color::fromRGBA(0x35 / 255.0, 0x84 / 255.0, 0xE4 / 255.0);
  lx::Color to = lx::Color::fromRGBA(1, 1, 1);
  lx::BubblePointer pointer{lx::RectEdge::Bottom, 0.5, 24, 16};  // position from `position`
};

std::optional<double> number(const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::optional<std::pair<double, double>> pairOf(const std::string& text) {
  const std::size_t x = text.find('x');
  if (x == std::string::npos) return std::nullopt;
  auto a = number(text.substr(0, x)), b = number(text.substr(x + 1));
  if (!a || !b) return std::nullopt;
  return std::pair{*a, *b};
}

std::optional<lx::Color> colorOf(const std::string& text) {
  if ((text.size() != 7 && text.size() != 9) || text[0] != '#') return std::nullopt;
  unsigned channels[4] = {0, 0, 0, 255};
  for (std::size_t i = 0; i * 2 + 1 < text.size(); ++i) {
    const std::string hex = text.substr(1 + i * 2, 2);
    char* end = nullptr;
    channels[i] = static_cast<unsigned>(std::strtoul(hex.c_str(), &end, 16));
    if (*end != '\0' || !std::isxdigit(static_cast<unsigned char>(hex[0]))) return std::nullopt;
  }
  return lx::Color::fromRGBA(channels[0] / 255.0, channels[1] / 255.0, channels[2] / 255.0,
                             channels[3] / 255.0);
}

std::optional<lx::RectEdge> edgeOf(const std::string& text) {
  static const std::map<std::string, lx::RectEdge> kEdges{{"top", lx::RectEdge::Top},
                                                          {"right", lx::RectEdge::Right},
                                                          {"bottom", lx::RectEdge::Bottom},
                                                          {"left", lx::RectEdge::Left}};
  const auto it = kEdges.find(text);
  return it == kEdges.end() ? std::nullopt : std::optional(it->second);
}

// The body leaves room for the pointer on its edge.
lx::Rect bubbleBody(const Options& o) {
  const double l = o.pointer.length;
  switch (o.pointer.edge) {
    case lx::RectEdge::Top:
      return {{0, l}, {o.size.width, o.size.height - l}};
    case lx::RectEdge::Right:
      return {{0, 0}, {o.size.width - l, o.size.height}};
    case lx::RectEdge::Bottom:
      return {{0, 0}, {o.size.width, o.size.height - l}};
    case lx::RectEdge::Left:
      return {{l, 0}, {o.size.width - l, o.size.height}};
  }
  return {{0, 0}, o.size};
}

std::optional<std::function<void(cairo_t*)>> drawingFor(const Options& o) {
  const lx::Rect frame{{0, 0}, o.size};
  auto fill = [o](lx::BezierPath path) {
    return [o, path = std::move(path)](cairo_t* cr) {
      lx::lx_setSourceColor(cr, o.color);
      lx::lx_fill(path, cr);
    };
  };
  if (o.shape == "roundrect") return fill(lx::lx_roundedRectPath(frame, o.radius));
  if (o.shape == "capsule") return fill(lx::lx_capsulePath(frame));
  if (o.shape == "bubble") {
    lx::BubblePointer pointer = o.pointer;
    pointer.position = o.position;
    return fill(lx::lx_speechBubblePath(bubbleBody(o), o.radius, pointer));
  }
  if (o.shape == "spinner") {
    lx::Spinner spinner;
    spinner.setColor(o.color);
    spinner.setSpokeCount(static_cast<int>(std::clamp(o.spokes, -1e6, 1e6)));
    return [spinner, frame, o](cairo_t* cr) { spinner.draw(cr, frame, o.time); };
  }
  if (o.shape == "pie") {
    lx::ProgressPie pie;
    pie.setFillColor(o.color);
    pie.setOutlineColor(o.color);
    pie.setBackgroundColor(o.color.withAlpha(0.2));
    pie.setOutlineWidth(std::max(1.0, std::min(o.size.width, o.size.height) / 32));
    return [pie, frame, o](cairo_t* cr) { pie.draw(cr, frame, o.progress); };
  }
  if (o.shape == "gradient") {
    const lx::Gradient gradient(o.color, o.to);
    return [gradient, frame, o](cairo_t* cr) {
      if (o.radial) {
        gradient.drawRadial(cr, frame);
      } else {
        gradient.drawLinear(cr, frame, o.angle);
      }
    };
  }
  return std::nullopt;
}

int run(vantor::Arguments args) {
  const vantor::Command self{"draw", "", kUsage, nullptr};
  Options o;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--radial") {
      o.radial = true;
      continue;
    }
    if (a.rfind("-", 0) != 0) {
      if (!o.shape.empty()) return vantor::usageError(self, "one shape only, not '" + a + "'");
      o.shape = a;
      continue;
    }
    if (i + 1 >= args.size()) return vantor::usageError(self, a + " needs a value");
    const std::string& v = args[++i];
    bool ok = true;
    if (a == "-o") {
      o.output = v;
    } else if (a == "--size") {
      const auto wh = pairOf(v);
      ok = wh.has_value();
      if (ok) o.size = {wh->first, wh->second};
    } else if (a == "--pointer") {
      const auto wl = pairOf(v);
      ok = wl.has_value();
      if (ok) o.pointer.width = wl->first, o.pointer.length = wl->second;
    } else if (a == "--color" || a == "--to") {
      const auto c = colorOf(v);
      ok = c.has_value();
      if (ok) (a == "--color" ? o.color : o.to) = *c;
    } else if (a == "--edge") {
      const auto e = edgeOf(v);
      ok = e.has_value();
      if (ok) o.pointer.edge = *e;
    } else {
      static const std::map<std::string, double Options::*> kNumbers{
          {"--scale", &Options::scale},       {"--radius", &Options::radius},
          {"--progress", &Options::progress}, {"--time", &Options::time},
          {"--angle", &Options::angle},       {"--spokes", &Options::spokes},
          {"--position", &Options::position}};
      if (const auto it = kNumbers.find(a); it != kNumbers.end()) {
        const auto n = number(v);
        ok = n.has_value();
        if (ok) o.*(it->second) = *n;
      } else {
        return vantor::usageError(self, "unknown option " + a);
      }
    }
    if (!ok) return vantor::usageError(self, "bad value '" + v + "' for " + a);
  }
  if (o.shape.empty()) return vantor::usageError(self, "which shape?");
  if (o.output.empty()) return vantor::usageError(self, "-o FILE is required");
  const auto drawing = drawingFor(o);
  if (!drawing) return vantor::usageError(self, "unknown shape '" + o.shape + "'");
  lx::ErrorPtr error;
  if (!lx::lx_drawToFile(o.output, o.size, o.scale, *drawing, &error)) {
    return vantor::fail("draw", lx::toUTF8(error->localizedDescription()));
  }
  return 0;
}

}  // namespace

VANTOR_COMMAND("draw", "Render a shape, spinner, progress pie or gradient to PNG, SVG or PDF",
               kUsage, run);
