// `BezierPath`: a portable vector path of straight lines and cubic Bézier
// curves in subpaths, with its stroke style and fill rule, independent of any
// drawing library (`BezierPath+Cairo.h` draws it; `BezierPath+Shapes.h`
// builds the common shapes).
//
// A value type: copies are independent, and a path may be read from any
// number of threads while no thread changes it.
#pragma once

#include "vantorcore/Export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <vector>

#include "vantorcore/drawing/Geometry.h"

namespace LX_API lx {

/// How the inside of a path is decided: by a non-zero winding number or by
/// an odd number of crossings.
enum class FillRule : std::uint8_t { NonZero, EvenOdd };
/// How open subpath ends are drawn, as in Cairo.
enum class LineCap : std::uint8_t { Butt, Round, Square };
/// How corners between segments are drawn, as in Cairo.
enum class LineJoin : std::uint8_t { Miter, Round, Bevel };

class BezierPath {
 public:
  /// The default tolerance of `flattened`, in user-space units: the largest
  /// distance between a curve and the lines that replace it.
  static constexpr double kDefaultFlatness = 0.6;
  /// The finest tolerance `flattened` honours; finer ones are raised to it
  /// so one curve never turns into millions of lines.
  static constexpr double kMinimumFlatness = 1e-4;

  /// The kind of a path element; a curve has two control points and an end point.
  enum class ElementType : std::uint8_t { MoveTo, LineTo, CurveTo, ClosePath };

  /// One element as the reader yields it. `points` holds, by type:
  ///   MoveTo, LineTo  [0] the point
  ///   CurveTo         [0] first control point, [1] second, [2] end point
  ///   ClosePath       nothing (the subpath returns to its first point)
  struct Element {
    /// What the element does.
    ElementType type;
    /// Its points: one for a move or line, three for a curve, none for a close.
    std::array<Point, 3> points;
    /// Equal when type and used points are.
    friend bool operator==(const Element&, const Element&) = default;
  };

  /// Reads the elements in order: `for (const auto& e : path)`. Reading
  /// at `end()` throws `RangeException`.
  class Iterator {
   public:
    /// Standard forward-iterator member types; elements are returned by value.
    ///@{
    using iterator_category = std::forward_iterator_tag;
    using value_type = Element;
    using difference_type = std::ptrdiff_t;
    using pointer = const Element*;
    using reference = Element;
    ///@}
    Iterator() = default;
    /// Element access and advance, as for any forward iterator.
    ///@{
    Element operator*() const;
    Iterator& operator++();
    Iterator operator++(int);
    ///@}
    /// Equal when both point at the same element.
    friend bool operator==(const Iterator& a, const Iterator& b) { return a.index_ == b.index_; }

   private:
    friend class BezierPath;
    Iterator(const BezierPath* path, std::size_t index, std::size_t point)
        : path_(path), index_(index), point_(point) {}
    const BezierPath* path_ = nullptr;
    std::size_t index_ = 0;
    std::size_t point_ = 0;
  };

  /// An empty path: no elements, line width 1, butt caps, miter joins,
  /// miter limit 10, no dash, non-zero fill rule.
  BezierPath() = default;

  // Building. Every point must be finite: an element with a NaN or infinite
  // coordinate is not added, so a path only ever holds finite points.

  /// Starts a new subpath at `point`; right after another `moveTo` it
  /// replaces that one's point (an empty subpath draws nothing).
  void moveTo(Point point);
  /// A straight line from the current point; without one, a `moveTo`.
  void lineTo(Point point);
  /// A cubic curve from the current point through the two control points to
  /// `end`; without a current point, it starts at `control1`.
  void curveTo(Point end, Point control1, Point control2);
  /// A quadratic curve, stored as the cubic that traces it exactly.
  void quadTo(Point end, Point control);
  /// A circular arc around `center` from `startAngle` to `endAngle` (radians,
  /// 0 along +x), drawn in increasing angle — clockwise on a y-down screen
  /// when `clockwise` is true, decreasing otherwise. A line joins the current
  /// point to the arc's start; without one the arc starts a subpath. Sweeps
  /// longer than a full turn draw one full turn. A radius of 0 adds a line
  /// to the centre; a negative or non-finite radius or angle adds nothing.
  void arc(Point center, double radius, double startAngle, double endAngle, bool clockwise = true);
  /// Closes the current subpath with a line back to its first point; no-op
  /// without an open subpath. An element after it starts a new subpath at
  /// that same first point.
  void closePath();
  /// Appends every element of `other` (its style is not taken).
  void append(const BezierPath& other);
  /// Removes every element; the style is kept.
  void removeAllPoints() noexcept;

  // Reading.

  /// True when the path has no elements.
  [[nodiscard]] bool isEmpty() const noexcept { return types_.empty(); }
  /// The number of elements, a close counting as one.
  [[nodiscard]] std::size_t elementCount() const noexcept { return types_.size(); }
  /// Iteration over the elements in drawing order.
  ///@{
  [[nodiscard]] Iterator begin() const noexcept { return Iterator(this, 0, 0); }
  [[nodiscard]] Iterator end() const noexcept {
    return Iterator(this, types_.size(), points_.size());
  }
  ///@}
  /// The point the next element starts from; (0, 0) with `hasCurrentPoint`
  /// false when the path is empty.
  [[nodiscard]] Point currentPoint() const noexcept;
  /// Whether a move has set a current point (a line or curve needs one).
  [[nodiscard]] bool hasCurrentPoint() const noexcept { return !types_.empty(); }

  /// The smallest rectangle holding every point the path passes through:
  /// curves count by their extrema, not their control points. Lone move-to
  /// points count too. The zero rectangle for an empty path.
  [[nodiscard]] Rect bounds() const noexcept;
  /// The smallest rectangle holding every point and control point.
  [[nodiscard]] Rect controlPointBounds() const noexcept;

  /// True when `point` lies inside the filled path under `rule` (open
  /// subpaths count as closed). Curves are subdivided until they are
  /// straight to within 1/1000 unit. False for an empty path or a NaN point.
  [[nodiscard]] bool containsPoint(Point point, FillRule rule) const noexcept;
  /// The same under the path's own `fillRule()`.
  [[nodiscard]] bool containsPoint(Point point) const noexcept {
    return containsPoint(point, fillRule_);
  }

  /// Every point mapped through `transform`. A transform with a NaN or
  /// infinite entry leaves the path unchanged and answers false.
  bool transform(const AffineTransform& transform) noexcept;
  /// A transformed copy (an unchanged copy for a non-finite transform).
  [[nodiscard]] BezierPath transformed(const AffineTransform& transform) const;
  /// The same shape traced backwards: each subpath reversed, subpaths in
  /// reverse order, closed ones still closed. Style kept.
  [[nodiscard]] BezierPath reversed() const;
  /// The path with every curve replaced by lines that stay within
  /// `tolerance` of it (NaN or values below `kMinimumFlatness` use that
  /// minimum). Style kept.
  [[nodiscard]] BezierPath flattened(double tolerance = kDefaultFlatness) const;

  // Style, used when the path is stroked or filled.

  /// The stroke width, in points.
  [[nodiscard]] double lineWidth() const noexcept { return lineWidth_; }
  /// Negative, NaN and infinite widths become 0 (nothing is stroked).
  void setLineWidth(double width) noexcept;
  /// The end style of open subpaths.
  ///@{
  [[nodiscard]] LineCap lineCap() const noexcept { return lineCap_; }
  void setLineCap(LineCap cap) noexcept { lineCap_ = cap; }
  ///@}
  /// The corner style between segments.
  ///@{
  [[nodiscard]] LineJoin lineJoin() const noexcept { return lineJoin_; }
  void setLineJoin(LineJoin join) noexcept { lineJoin_ = join; }
  ///@}
  /// The miter limit (ratio of miter length to line width), 10 by default.
  [[nodiscard]] double miterLimit() const noexcept { return miterLimit_; }
  /// Values below 1, and NaN, become 1 (every sharp join bevelled).
  void setMiterLimit(double limit) noexcept;
  /// Dash lengths in points (empty for a solid line) and the offset into them.
  ///@{
  [[nodiscard]] const std::vector<double>& dashPattern() const noexcept { return dash_; }
  [[nodiscard]] double dashPhase() const noexcept { return dashPhase_; }
  ///@}
  /// Alternating on and off lengths, starting `phase` units into the
  /// pattern. A pattern with a negative or non-finite length, or whose
  /// lengths are all 0, is dropped (solid line); a non-finite phase is 0.
  void setDash(std::vector<double> pattern, double phase = 0);
  /// Which regions count as inside when filling.
  ///@{
  [[nodiscard]] FillRule fillRule() const noexcept { return fillRule_; }
  void setFillRule(FillRule rule) noexcept { fillRule_ = rule; }
  ///@}

  /// Equal when the elements and every drawing attribute are.
  friend bool operator==(const BezierPath&, const BezierPath&) = default;

 private:
  void add(ElementType type, std::initializer_list<Point> points);
  void ensureSubpath();
  [[nodiscard]] BezierPath withStyleOnly() const;

  std::vector<ElementType> types_;
  std::vector<Point> points_;     // one per move/line, three per curve
  std::size_t subpathStart_ = 0;  // index in points_ of the open subpath's first point
  double lineWidth_ = 1;
  LineCap lineCap_ = LineCap::Butt;
  LineJoin lineJoin_ = LineJoin::Miter;
  double miterLimit_ = 10;
  std::vector<double> dash_;
  double dashPhase_ = 0;
  FillRule fillRule_ = FillRule::NonZero;
};

}  // namespace lx
