// Points, sizes, rectangles and affine transforms in user-space units
// (Cairo's: y grows downwards), the plain values every drawing call takes.
#pragma once

#include "vantorcore/Export.h"

#include <compare>

namespace LX_API lx {

/// A point in user space (points, y growing downwards as in Cairo).
struct Point {
  /// The coordinates, in points.
  ///@{
  double x = 0;
  double y = 0;
  ///@}
  /// Equal when both coordinates are.
  friend constexpr bool operator==(const Point&, const Point&) = default;
};

/// A width and height, in points.
struct Size {
  /// The extent, in points; negative values are not normalised.
  ///@{
  double width = 0;
  double height = 0;
  ///@}
  /// Equal when both extents are.
  friend constexpr bool operator==(const Size&, const Size&) = default;
};

/// An axis-aligned rectangle by origin (top-left) and size. A negative
/// width or height is read as extending the other way (see `standardized`).
struct Rect {
  /// The top-left corner.
  Point origin;
  /// The extent from the origin.
  Size size;

  /// Edges, centre and extent, as coordinates in points.
  ///@{
  [[nodiscard]] constexpr double minX() const noexcept { return origin.x; }
  [[nodiscard]] constexpr double minY() const noexcept { return origin.y; }
  [[nodiscard]] constexpr double maxX() const noexcept { return origin.x + size.width; }
  [[nodiscard]] constexpr double maxY() const noexcept { return origin.y + size.height; }
  [[nodiscard]] constexpr double midX() const noexcept { return origin.x + size.width / 2; }
  [[nodiscard]] constexpr double midY() const noexcept { return origin.y + size.height / 2; }
  [[nodiscard]] constexpr double width() const noexcept { return size.width; }
  [[nodiscard]] constexpr double height() const noexcept { return size.height; }
  ///@}
  /// The same rectangle with a non-negative width and height.
  ///   (10, 10, -4, 6) => (6, 10, 4, 6)
  [[nodiscard]] Rect standardized() const noexcept;
  /// True when any coordinate is NaN or infinite.
  [[nodiscard]] bool isInvalid() const noexcept;
  /// True when the width or height is zero (or the rectangle is invalid).
  [[nodiscard]] bool isEmpty() const noexcept;
  /// The rectangle grown by `dx` on the left and right and `dy` on the top
  /// and bottom (negative values shrink it).
  [[nodiscard]] Rect insetBy(double dx, double dy) const noexcept;
  /// The smallest rectangle holding both; an invalid operand is ignored.
  [[nodiscard]] Rect unionWith(const Rect& other) const noexcept;

  /// Equal when origin and size are.
  friend constexpr bool operator==(const Rect&, const Rect&) = default;
};

/// The affine map  x' = a·x + c·y + tx,  y' = b·x + d·y + ty  (Cairo's
/// matrix layout, with `xx yx xy yy x0 y0` named `a b c d tx ty`).
struct AffineTransform {
  /// The matrix (x' = a·x + c·y + tx, y' = b·x + d·y + ty), as Cairo's.
  ///@{
  double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
  ///@}

  /// The transform that changes nothing.
  static constexpr AffineTransform identity() noexcept { return {}; }
  /// Moves by (`dx`, `dy`) points.
  static constexpr AffineTransform translation(double dx, double dy) noexcept {
    return {1, 0, 0, 1, dx, dy};
  }
  /// Scales by `sx` horizontally and `sy` vertically.
  static constexpr AffineTransform scale(double sx, double sy) noexcept {
    return {sx, 0, 0, sy, 0, 0};
  }
  /// A rotation by `radians`, clockwise on screen (y down) for positive angles.
  static AffineTransform rotation(double radians) noexcept;

  /// This transform followed by `then`.
  [[nodiscard]] AffineTransform concatenating(const AffineTransform& then) const noexcept;
  /// The inverse; absent (identity returned, `*invertible` false) when the
  /// determinant is zero or not finite.
  [[nodiscard]] AffineTransform inverted(bool* invertible = nullptr) const noexcept;
  /// `p` transformed.
  [[nodiscard]] Point apply(Point p) const noexcept;
  /// The transform without its translation, for vectors.
  [[nodiscard]] Point applyToVector(Point v) const noexcept;

  /// Equal when all six coefficients are.
  friend constexpr bool operator==(const AffineTransform&, const AffineTransform&) = default;
};

}  // namespace lx
