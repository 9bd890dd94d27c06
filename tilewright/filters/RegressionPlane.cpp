#include <tilewright/filters/RegressionPlane.h>

#include <cmath>

namespace Plumbline {

namespace {

using Orrery::PhysicalSpace::point;
using Orrery::PhysicalSpace::vector;

constexpr double leastEigenvalueRatio = 1e-12;

bool isFinite(const point& p) { return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]); }

/// The mean, summed relative to the first point: differences of neighbours are exact where their sums would
/// not be.
vector meanFromFirst(const std::vector<point>& points) {
    vector sum;
    for (const point& p : points)
        sum += p - points.front();
    return sum * (1.0 / static_cast<double>(points.size()));
}

/// The centred coordinates of the points, computed as they are asked for.
struct Centred {
    const std::vector<point>& points;
    vector mean;

    vector operator[](std::size_t i) const { return (points[i] - points.front()) - mean; }
};

/// The sum of a product, or of several at once, over all points in their order.
template <class Product> auto sumOf(const Centred& centred, const Product& product) {
    decltype(product(centred[0])) sum{};
    for (std::size_t i = 0; i < centred.points.size(); ++i)
        sum += product(centred[i]);
    return sum;
}

double largerEigenvalue(double xx, double xy, double yy) {
    return 0.5 * (xx + yy + std::hypot(xx - yy, 2.0 * xy));
}

} // namespace

bool getDistancesToRegressionPlane(const std::vector<point>& points, std::vector<double>& distances,
                                   vector& plane) {
    if (points.size() < 3)
        return false;
    for (const point& p : points)
        if (!isFinite(p))
            return false;
    const Centred centred{points, meanFromFirst(points)};
    const vector squares =
        sumOf(centred, [](const vector& d) { return vector(d[0] * d[0], d[1] * d[1], d[0] * d[1]); });
    const double xx = squares[0];
    const double yy = squares[1];
    const double xy = squares[2];

    // The wider column u comes first; the part of the other one, v, that points the same way is subtracted.
    const std::size_t u = xx >= yy ? 0 : 1;
    const std::size_t v = 1 - u;
    const double uu = u == 0 ? xx : yy;
    const double shear = xy / uu;
    const vector products = sumOf(centred, [&](const vector& d) {
        const double w = d[v] - shear * d[u];
        return vector(d[u] * d[2], w * w, 0.0);
    });
    const double ww = products[1];
    const double larger = largerEigenvalue(xx, xy, yy);
    // The determinant of the scatter matrix is uu * ww, a product that may leave the range of doubles.
    // Between the larger eigenvalue and uu there is a factor of 2 at most. Not-a-number fails here too.
    if (!(larger > 0.0 && uu / larger * ww >= leastEigenvalueRatio * larger))
        return false;
    const double alongU = products[0] / uu;
    const double alongW =
        sumOf(centred, [&](const vector& d) { return (d[v] - shear * d[u]) * (d[2] - alongU * d[u]); }) / ww;
    vector slope;
    slope[u] = alongU - alongW * shear;
    slope[v] = alongW;

    const double scale = 1.0 / std::sqrt(1.0 + slope[0] * slope[0] + slope[1] * slope[1]);
    distances.resize(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        const vector d = centred[i];
        distances[i] = std::fabs(d[2] - slope[0] * d[0] - slope[1] * d[1]) * scale;
    }
    const point centre = points.front() + centred.mean;
    plane = {slope[0], slope[1], centre[2] - slope[0] * centre[0] - slope[1] * centre[1]};
    return true;
}

} // namespace Plumbline
