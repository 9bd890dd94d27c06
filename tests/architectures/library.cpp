// Prints a digest of what the library makes of seeded clouds: a line for each kind of cloud, type of values,
// filter and direction. Two machines agree if their lines do.
#include <array>
#include <cstdint>
#include <iostream>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <tests/architectures/Digest.h>
#include <tilewright/tilewright.h>

namespace {

using Orrery::PhysicalSpace::point;
using Tilewright::Test::Digest;

/// Ordinary numbers; few different ones, with points on the borders of cells; what no scan has.
enum class Kind { Scan, Ties, Odd };
constexpr std::array kinds = {Kind::Scan, Kind::Ties, Kind::Odd};
constexpr std::array kindNames = {"scan", "ties", "odd"};

/// Draws from the generator's own numbers: the distributions of the standard library differ by its maker.
class Chance {
public:
    explicit Chance(std::uint32_t seed) : generator(seed) {}

    std::uint64_t bits() {
        const std::uint64_t high = generator();
        return high << 32 | generator();
    }
    std::size_t below(std::size_t limit) { return generator() % limit; }
    /// From 0 up to 1, in steps that a double holds exactly.
    double fraction() { return static_cast<double>(generator()) * 0x1p-32; }

    template <class T> T value(Kind kind) {
        if constexpr (std::is_floating_point_v<T>)
            return number<T>(kind);
        else if constexpr (std::is_integral_v<T>)
            return static_cast<T>(kind == Kind::Ties ? below(5) : kind == Kind::Odd ? bits() : below(200));
        else
            return record<T>(kind);
    }

    point place(Kind kind) {
        if (kind == Kind::Ties)
            return {0.25 * static_cast<double>(below(40)), 0.25 * static_cast<double>(below(40)),
                    0.5 * static_cast<double>(below(6))};
        const double x = 12 * fraction(), y = 9 * fraction();
        // A roof with some noise, which the regression takes for a plane in most cells and not in all.
        const double noise = 0.2 * fraction();
        const double height = (x < 6 ? x : 12 - x) + noise * static_cast<double>(below(3));
        return {x, y, kind == Kind::Odd ? height * number<double>(kind) : height};
    }

private:
    template <class T> T number(Kind kind) {
        using Limits = std::numeric_limits<T>;
        if (kind == Kind::Ties)
            return static_cast<T>(below(5)) - T{2};
        if (kind == Kind::Odd && below(8) == 0) {
            const std::array odd = {Limits::infinity(),
                                    -Limits::infinity(),
                                    Limits::quiet_NaN(),
                                    Limits::max(),
                                    Limits::lowest(),
                                    Limits::denorm_min(),
                                    Limits::min(),
                                    T{-0.0},
                                    T{1e30F}};
            return odd[below(odd.size())];
        }
        return static_cast<T>(1000 * fraction() - 300);
    }

    template <class T> T record(Kind kind) {
        T result;
        for (std::size_t c = 0; c < static_cast<std::size_t>(T::element_count); ++c)
            result[c] = value<typename T::element_type>(kind);
        return result;
    }

    std::mt19937 generator;
};

void addCells(Digest& digest, const Tilewright::Raster& raster, const std::string& field) {
    digest.addText(field);
    int type = 0;
    Quill::probeTypes(Quill::ValueTypes(), [&]<class T>(std::type_identity<T>) {
        ++type;
        const auto cells = raster.cells<T>(field);
        if (!cells)
            return false;
        digest.add(type);
        digest.addAll(cells.values);
        return true;
    });
}

template <class T> Tilewright::Cloud makeCloud(Kind kind, std::size_t size) {
    Chance chance(static_cast<std::uint32_t>(size));
    std::vector<point> places;
    std::vector<T> values;
    std::vector<unsigned char> classes;
    for (std::size_t i = 0; i < size; ++i) {
        places.push_back(chance.place(kind));
        values.push_back(chance.value<T>(kind));
        classes.push_back(static_cast<unsigned char>(chance.below(6)));
    }
    Tilewright::Cloud cloud(std::move(places));
    cloud.add("Values", std::move(values)).add("Classification", std::move(classes));
    return cloud;
}

void printDigest(const std::string& label, const Tilewright::Cloud& cloud,
                 const Tilewright::RasterSettings& settings) {
    Digest digest;
    Tilewright::RasterSettings heard = settings;
    heard.warn = [&](const std::string& warning) { digest.addText(warning); };
    const Tilewright::Raster raster = rasterise(cloud, heard);
    digest.addText(raster.failure);
    for (unsigned axis = 0; axis < 3; ++axis)
        digest.add(raster.lattice.cellCounts[axis]);
    for (const char* field : {"Height", "Values", "CellType", "Density"})
        addCells(digest, raster, field);
    std::cout << label << " " << digest.text() << "\n";
}

template <class T> void printDigests(const std::string& typeName) {
    for (std::size_t k = 0; k < kinds.size(); ++k) {
        const Tilewright::Cloud cloud = makeCloud<T>(kinds[k], 1500 + k);
        for (const std::string filter :
             {"Mean", "Min", "Max", "Median", "MaxOccurrence", "Regression", "Skip"})
            for (const std::string direction : {"Xdir", "Ydir", "Zdir", "All"}) {
                const std::string request = ":" + filter + ":" + direction;
                const std::string label = kindNames[k] + (" " + typeName) + request;
                Tilewright::RasterSettings settings;
                settings.requests = {"Positions" + request, "Values" + request};
                printDigest(label, cloud, settings);
                // Heights of any size would take cells of any number.
                settings.cellSize = {0.7, 1.1, kinds[k] == Kind::Odd ? 0.0 : 3.0};
                settings.firstNode = point(1.3, 0.2, 0.1);
                settings.selection = "0:2,5@Classification";
                settings.sparseLimit = 1;
                printDigest(label + " of a part", cloud, settings);
            }
    }
}

} // namespace

int main() {
#define PRINT_DIGESTS(T) printDigests<T>(#T);
    TILEWRIGHT_FIELD_VALUE_TYPES(PRINT_DIGESTS)
#undef PRINT_DIGESTS
}
