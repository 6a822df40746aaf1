// The common shapes as `BezierPath`s: rounded rectangles, capsules and
// speech bubbles. Every shape is one closed subpath traced clockwise on a
// y-down screen, starting on the top edge just right of the top-left
// corner; corners are quarter circles (four cubics each, within 0.03% of
// the circle).
//
// A rectangle with a negative width or height is standardised first. A
// rectangle with a NaN or infinite coordinate, or a zero width or height,
// gives an empty path.
#pragma once

#include "vantorcore/Export.h"

#include "vantorcore/drawing/BezierPath.h"

namespace LX_API lx {

/// One radius per corner, named as seen on a y-down screen.
struct CornerRadii {
  /// Radii of the four corners, in points; 0 gives a square corner.
  ///@{
  double topLeft = 0, topRight = 0, bottomRight = 0, bottomLeft = 0;
  ///@}
  /// Equal when all four radii are.
  friend constexpr bool operator==(const CornerRadii&, const CornerRadii&) = default;
};

/// A rectangle with every corner rounded by `radius`. The radius is clamped
/// to 0...half the shorter side (negative and NaN radii give sharp corners):
///   (0, 0, 100, 40), radius 30  => corners of radius 20, a capsule
///   (0, 0, 100, 40), radius -5  => a plain rectangle
[[nodiscard]] BezierPath lx_roundedRectPath(Rect rect, double radius);
/// The same with a radius per corner, each clamped the same way on its own.
[[nodiscard]] BezierPath lx_roundedRectPath(Rect rect, CornerRadii radii);

/// A capsule (a "pill"): the rectangle with two opposite ends rounded into
/// half circles whose radius is half the shorter side, whichever way the
/// rectangle lies. A square gives a circle.
[[nodiscard]] BezierPath lx_capsulePath(Rect rect);

/// The side of a rectangle a shape points from (the bubble's tail, for example).
enum class RectEdge { Top, Right, Bottom, Left };

/// Where a speech bubble's pointer sits and how big it is.
struct BubblePointer {
  /// The edge of the body the pointer grows out of.
  RectEdge edge = RectEdge::Bottom;
  /// The centre of the pointer's base along that edge, 0 at its left end
  /// (top and bottom edges) or top end (left and right edges), 1 at the
  /// other; NaN reads as 0.5.
  double position = 0.5;
  /// The width of the base along the edge.
  double width = 12;
  /// How far the tip stands out from the edge, square to it.
  double length = 8;
};

/// A speech bubble: the body `rect` as `lx_roundedRectPath(rect,
/// cornerRadius)` with a triangular pointer outside it. The tip lies
/// `length` outside the edge, straight out from the base centre. The base
/// stays on the straight part of the edge, between the rounded corners: its
/// centre is moved inwards as far as needed, and a base wider than that
/// straight part is narrowed to it. A width or length of zero or less (or
/// NaN) gives the plain rounded body. The bounds are therefore `rect` grown
/// by `length` on the pointer's edge.
[[nodiscard]] BezierPath lx_speechBubblePath(Rect rect, double cornerRadius, BubblePointer pointer);

}  // namespace lx
