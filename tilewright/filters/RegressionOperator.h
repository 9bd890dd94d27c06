#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include <tilewright/filters/MeanOperator.h>
#include <tilewright/filters/RegressionPlane.h>

namespace Tilewright {
namespace {

/// The variance of the distances below which points lie on a plane, in the units of the positions, squared.
/// One unit in the last place below 0.005625, which matters to nobody but keeps results the same to the bit.
constexpr double varianceLimit = 0.005624999999999999;
static_assert(std::bit_cast<std::uint64_t>(varianceLimit) == 0x3F770A3D70A3D709);

/// Reads the height of a cell off a plane through its points. Its scratch memory is reused from cell to cell.
class PlaneReader {
public:
    /// The points to read, to be filled before heightAt.
    std::vector<point> Points;

    /// The height at `position`, bounded by the heights of the points that made the plane. Points that
    /// scatter too much are thinned once to those within a standard deviation; if they still scatter, the
    /// result is the median of the distinct heights of all points.
    double heightAt(const point& position) {
        double height = 0.0;
        if (settle(Points, position, Kept, height) || settle(Kept, position, KeptAgain, height))
            return height;
        return medianOfDistinctHeights();
    }

private:
    /// One pass of the fit: true with the final height, or false with the points near the plane in `kept`. If
    /// none is near, the final height is 0.
    bool settle(const std::vector<point>& points, const point& position, std::vector<point>& kept,
                double& height) {
        kept.clear();
        Distances.clear();
        Orrery::PhysicalSpace::vector plane;
        if (!Plumbline::getDistancesToRegressionPlane(points, Distances, plane)) {
            height = meanHeight(points);
            return true;
        }
        double squares = 0.0;
        for (const double distance : Distances)
            squares += distance * distance;
        const double variance = 1.0 / (static_cast<double>(points.size()) - 1.0) * squares;
        if (variance < varianceLimit) {
            height = boundedHeight(points, plane[0] * position[0] + plane[1] * position[1] + plane[2]);
            return true;
        }
        const double sigma = std::sqrt(variance);
        for (std::size_t i = 0; i < points.size(); ++i)
            if (Distances[i] < sigma)
                kept.push_back(points[i]);
        height = 0.0;
        return kept.empty();
    }

    static double meanHeight(const std::vector<point>& points) {
        double sum = 0.0;
        for (const point& p : points)
            sum += p[2];
        return sum / static_cast<double>(points.size());
    }

    static double boundedHeight(const std::vector<point>& points, double height) {
        double low = points.front()[2];
        double high = low;
        for (const point& p : points) {
            low = std::min(low, p[2]);
            high = std::max(high, p[2]);
        }
        return std::max(std::min(height, high), low);
    }

    double medianOfDistinctHeights() {
        Heights.clear();
        for (const point& p : Points)
            Heights.push_back(p[2]);
        std::ranges::sort(Heights);
        const auto distinct = std::unique(Heights.begin(), Heights.end()) - Heights.begin();
        const double median = Heights[static_cast<std::size_t>(distinct / 2)];
        // Of zeros with different signs the first in the order of the points counts.
        const auto first = std::ranges::find(Points, median, [](const point& p) { return p[2]; });
        return (*first)[2];
    }

    std::vector<point> Kept;
    std::vector<point> KeptAgain;
    std::vector<double> Distances;
    std::vector<double> Heights;
};

/// The height of the plane through the cell's points at the cell's position. A plain value is the
/// first coordinate of its point, so that all its heights are 0 and so is the result. Whole records are not
/// fitted: they give zero.
template <class FilterT> class RegressionOperator final : public Operator<FilterT> {
public:
    using typename Operator<FilterT>::value_type;
    using typename Operator<FilterT>::output_type;

    output_type reduce([[maybe_unused]] const std::vector<unsigned>& cellPoints,
                       [[maybe_unused]] const std::vector<value_type>& values, const unsigned&,
                       [[maybe_unused]] const point& cellPosition) const override {
        if constexpr (hasHeights) {
            PlaneReader reader;
            return heightAt(cellPoints, values.data(), cellPosition, reader);
        } else {
            return output_type();
        }
    }

    static void reduceCells([[maybe_unused]] const CellLists& cells,
                            [[maybe_unused]] const value_type* values,
                            [[maybe_unused]] const Quill::UniformCartesianArray* nodes,
                            [[maybe_unused]] output_type* results) {
        if constexpr (hasHeights) {
            PlaneReader reader;
            const CellNodes positions(nodes);
            cells.forEachList([&](unsigned long long cell, std::span<const unsigned> list) {
                results[cell] = heightAt(list, values, positions[cell], reader);
            });
        }
    }

private:
    static constexpr bool hasHeights = Orrery::Record<value_type> && !Orrery::Record<output_type>;

    static output_type heightAt(std::span<const unsigned> cellPoints, const value_type* values,
                                const point& cellPosition, PlaneReader& reader) {
        reader.Points.resize(cellPoints.size());
        std::ranges::transform(cellPoints, reader.Points.begin(),
                               [values](unsigned i) { return FilterT::toPoint(values[i]); });
        const double height = reader.heightAt(cellPosition);
        // A plane has no height at a node that lies infinitely far away.
        if constexpr (std::integral<output_type>)
            return std::isnan(height) ? output_type() : truncated<output_type>(height);
        else
            return static_cast<output_type>(height);
    }
};

} // namespace
} // namespace Tilewright
