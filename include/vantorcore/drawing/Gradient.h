// `Gradient`: colours at locations from 0 to 1, drawn linearly at an angle
// or radially through Cairo patterns.
//
// A value type; drawing touches only the context passed in, so gradients
// may be shared between threads that each draw into their own context.
#pragma once

#include "vantorcore/Export.h"

#include <cairo.h>

#include <memory>
#include <vector>

#include "vantorcore/drawing/BezierPath.h"
#include "vantorcore/drawing/Geometry.h"
#include "vantorcore/platform/Color.h"

namespace LX_API lx {

/// Releases a `cairo_pattern_t` with `cairo_pattern_destroy`.
struct CairoPatternDeleter {
  /// Frees the pattern with `cairo_pattern_destroy`.
  void operator()(cairo_pattern_t* pattern) const noexcept;
};
/// A Cairo pattern that frees itself.
using CairoPatternPtr = std::unique_ptr<cairo_pattern_t, CairoPatternDeleter>;

class Gradient {
 public:
  /// A colour at a place along the gradient.
  struct Stop {
    /// Where the colour sits, from 0 (start) to 1 (end).
    double location;
    /// The colour at that place.
    Color color;
    /// Equal when location and colour are.
    friend bool operator==(const Stop&, const Stop&) = default;
  };

  /// No stops: every location is transparent black, drawing paints nothing.
  Gradient() = default;
  /// Stops sorted by location (stops at one location keep their order, so
  /// the colour jumps there). Locations are clamped to 0...1; stops at a
  /// NaN location are dropped.
  explicit Gradient(std::vector<Stop> stops);
  /// The colours spread evenly from 0 to 1 (a single colour sits at 0).
  explicit Gradient(const std::vector<Color>& colors);
  /// From `start` at 0 to `end` at 1.
  Gradient(const Color& start, const Color& end);

  /// The stops, ordered by location.
  [[nodiscard]] const std::vector<Stop>& stops() const noexcept { return stops_; }

  /// The colour at `location`: the first stop's colour before it, the last
  /// one's after it, and in between each of red, green, blue and alpha
  /// interpolated linearly (generic, unmanaged RGB) between the two nearest
  /// stops. Transparent black with no stops; NaN reads as 0.
  ///   black@0, white@1:  0.25 => (0.25, 0.25, 0.25)     -1 => black
  [[nodiscard]] Color colorAt(double location) const noexcept;

  /// A Cairo pattern along the line `start`→`end` (padding beyond it);
  /// null when Cairo cannot be loaded.
  [[nodiscard]] CairoPatternPtr linearPattern(Point start, Point end) const;
  /// A Cairo pattern from the circle (`startCenter`, `startRadius`) to the
  /// circle (`endCenter`, `endRadius`), padding beyond them. Negative or
  /// NaN radii are 0. Null when Cairo cannot be loaded.
  [[nodiscard]] CairoPatternPtr radialPattern(Point startCenter, double startRadius,
                                              Point endCenter, double endRadius) const;

  /// Fills `rect` with the gradient along a line through its centre at
  /// `angleDegrees` (0 runs left to right, 90 top to bottom: clockwise on a
  /// y-down screen), long enough that the rectangle's corners get the end
  /// colours. A NaN or infinite angle is 0; nothing is drawn for an empty
  /// rectangle or a gradient without stops.
  void drawLinear(cairo_t* cr, Rect rect, double angleDegrees) const;
  /// The same, clipped to `path` and spanning its bounds.
  void drawLinear(cairo_t* cr, const BezierPath& path, double angleDegrees) const;
  /// Fills `rect` radially from its colour at 0 in the middle to its colour
  /// at 1 at the farthest corner. The centre sits at `relativeCenter`, where
  /// (0, 0) is the rectangle's centre and (±1, ±1) its corners (values
  /// outside -1...1 are clamped; NaN is 0).
  void drawRadial(cairo_t* cr, Rect rect, Point relativeCenter = {}) const;
  /// The same, clipped to `path` and spanning its bounds.
  void drawRadial(cairo_t* cr, const BezierPath& path, Point relativeCenter = {}) const;

  /// Equal when the stops are.
  friend bool operator==(const Gradient&, const Gradient&) = default;

 private:
  void addStops(cairo_pattern_t* pattern) const;
  static void paintRect(cairo_t* cr, Rect area, cairo_pattern_t* pattern);

  std::vector<Stop> stops_;
};

}  // namespace lx
