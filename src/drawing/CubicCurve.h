// The arithmetic of one cubic Bézier segment, shared by the path queries.
#pragma once

#include <array>
#include <utility>

#include "vantorcore/drawing/Geometry.h"

namespace lx::drawing {

struct CubicCurve {
  Point p0, p1, p2, p3;

  [[nodiscard]] Point pointAt(double t) const noexcept;
  /// The two halves at t = 1/2 (de Casteljau).
  [[nodiscard]] std::pair<CubicCurve, CubicCurve> split() const noexcept;
  /// The parameters in (0, 1) where x or y has an extremum (at most four).
  /// Returns how many of `out` were filled.
  int extremaParameters(std::array<double, 4>& out) const noexcept;
  /// How many equal parameter steps keep lines within `tolerance` of the
  /// curve (Wang's bound), at least 1 and at most `kMaximumSegments`.
  [[nodiscard]] int segmentsForTolerance(double tolerance) const noexcept;
  /// The largest distance of a control point from the chord's line: 0 for a
  /// straight curve.
  [[nodiscard]] double flatness() const noexcept;

  static constexpr int kMaximumSegments = 1 << 14;
};

}  // namespace lx::drawing
