#pragma once

#include <vector>

#include <tilewright/values/PhysicalSpace.h>

namespace Plumbline {

/// Fits the plane height = a * x + b * y + c to `points` by least squares of the heights.
///
/// `distances`  out: for each point, in order, its perpendicular distance to the plane, without sign. `plane`
/// out: (a, b, c).
///
/// Returns false, and leaves both outputs alone, if there is no such plane: fewer than three points, a
/// coordinate that is not finite, or points whose x and y lie in one spot or on one line, that is if the
/// smaller eigenvalue of their scatter matrix is below 1e-12 of the larger.
///
/// The fit orthogonalises the centred columns (modified Gram-Schmidt; Golub and Van Loan, Matrix
/// Computations, 5.2.8) rather than forming the normal equations, whose condition is the square of the
/// problem's. Coordinates are taken relative to the mean, so that projected ones in the millions lose
/// nothing.
TILEWRIGHT_API bool getDistancesToRegressionPlane(const std::vector<Orrery::PhysicalSpace::point>& points,
                                                  std::vector<double>& distances,
                                                  Orrery::PhysicalSpace::vector& plane);

} // namespace Plumbline
