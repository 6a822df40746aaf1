#include "vantorcore/drawing/Spinner.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>

#include "drawing/CairoLibrary.h"
#include "vantorcore/drawing/Color+Cairo.h"
#include "vantorcore/platform/Clock.h"

namespace lx {

using detail::cairo;

void Spinner::setSpokeCount(int count) noexcept {
  spokeCount_ = std::clamp(count, kMinimumSpokeCount, kMaximumSpokeCount);
}

void Spinner::setSpokeWidth(double fractionOfRadius) noexcept {
  if (!std::isnan(fractionOfRadius)) spokeWidth_ = std::clamp(fractionOfRadius, 0.01, 1.0);
}

void Spinner::setInnerRadius(double fractionOfRadius) noexcept {
  if (!std::isnan(fractionOfRadius)) innerRadius_ = std::clamp(fractionOfRadius, 0.0, 0.9);
}

void Spinner::setPeriod(double seconds) noexcept {
  if (std::isfinite(seconds) && seconds > 0) period_ = seconds;
}

void Spinner::setTrailingOpacity(double opacity) noexcept {
  if (!std::isnan(opacity)) trailingOpacity_ = std::clamp(opacity, 0.0, 1.0);
}

int Spinner::leadingSpoke(double seconds) const noexcept {
  if (!std::isfinite(seconds)) return 0;
  double turns = std::fmod(seconds / period_, 1.0);
  if (turns < 0) turns += 1;
  return std::min(static_cast<int>(turns * spokeCount_), spokeCount_ - 1);
}

double Spinner::spokeOpacity(int spoke, int leading) const noexcept {
  const int behind = (((leading - spoke) % spokeCount_) + spokeCount_) % spokeCount_;
  return 1 - (1 - trailingOpacity_) * behind / (spokeCount_ - 1);
}

void Spinner::draw(cairo_t* cr, Rect rect, double seconds) const {
  if (rect.isEmpty()) return;
  rect = rect.standardized();
  const double outer = std::min(rect.width(), rect.height()) / 2;
  const double width = outer * spokeWidth_;
  // Round caps stick out half a width at each end: keep them inside.
  const double from = std::min(outer * innerRadius_ + width / 2, outer - width / 2);
  const double to = outer - width / 2;
  const int leading = leadingSpoke(seconds);
  cairo().save(cr);
  cairo().translate(cr, rect.midX(), rect.midY());
  cairo().set_line_width(cr, width);
  cairo().set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  cairo().set_dash(cr, nullptr, 0, 0);
  for (int spoke = 0; spoke < spokeCount_; ++spoke) {
    const double angle = 2 * std::numbers::pi * spoke / spokeCount_;
    const double dx = std::sin(angle), dy = -std::cos(angle);
    cairo().new_path(cr);
    cairo().move_to(cr, dx * from, dy * from);
    cairo().line_to(cr, dx * to, dy * to);
    lx_setSourceColor(cr, color_, spokeOpacity(spoke, leading));
    cairo().stroke(cr);
  }
  cairo().restore(cr);
}

void Spinner::draw(cairo_t* cr, Rect rect) const {
  const auto sinceStart = Clock::current()->now().time_since_epoch();
  draw(cr, rect, std::chrono::duration<double>(sinceStart).count());
}

}  // namespace lx
