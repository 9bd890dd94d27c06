/// Rules: what a call of raster makes of a cloud, said once more in the plainest way. No care is taken of
/// time or memory, and nothing here comes from the library but the types of values and the plane fit.
#pragma once

#include "tests/property/RandomCase.h"

#include <map>
#include <set>

namespace Property {

using Count = unsigned long long;
template <class T> constexpr bool isRecord = !std::is_arithmetic_v<T>;

using Cells = TestSupport::CellBits;
using TestSupport::bitsOf;

/// All that is left of a call.
struct Outcome : RasterCall::Outcome {
    std::vector<std::string> progress{};
    /// By fragment: its first cell in the whole lattice, the overlaps with its lower and upper neighbours.
    std::vector<std::array<Index, 3>> places{};
    /// By name in the order of the fields, and by fragment.
    std::vector<std::pair<std::string, std::vector<std::optional<Cells>>>> fields{};

    std::vector<std::optional<Cells>>& field(const std::string& name) {
        for (auto& [known, cells] : fields)
            if (known == name)
                return cells;
        return fields.emplace_back(name, std::vector<std::optional<Cells>>(places.size())).second;
    }
};

// ---- Layout ----

struct Axis {
    double origin = 0, size = 0;
    Count cells = 0;
};
using Lattice = std::array<Axis, 3>;

/// Toward zero. Below zero it wraps; what doesn't fit is nothing.
inline Count wholeCount(double q) {
    if (q > -0x1p63 && q < 0)
        return static_cast<Count>(static_cast<long long>(q));
    return q >= 0 && q < 0x1p64 ? static_cast<Count>(q) : 0;
}

inline Axis layOut(double low, double high, Count fragments, double wanted, Count overlap, double shift) {
    const double width = (high - low) / static_cast<double>(fragments);
    const Count nodes = width == 0 || wanted == 0 ? 1 : wholeCount(width / wanted + 1.0);
    Axis axis;
    if (width != 0 && nodes != 1)
        axis.size = width / static_cast<double>(nodes - 1);
    axis.cells = nodes <= 1 ? 1 : nodes - 1 + overlap;
    axis.origin = low + shift * axis.size;
    if (overlap >= 2)
        axis.origin -= static_cast<double>(overlap / 2 * 2) * 0.5 * axis.size;
    return axis;
}

inline std::optional<std::array<point, 2>> boxOf(const Case& c) {
    if (c.box)
        return c.box;
    const double infinity = std::numeric_limits<double>::infinity();
    std::array<point, 2> box{point(infinity, infinity, infinity), point(-infinity, -infinity, -infinity)};
    for (const auto& data : c.fields[0].fragments)
        if (data && data->index() == pointKind)
            for (const point& p : std::get<pointKind>(*data))
                for (std::size_t a = 0; a < 3; ++a) {
                    box[0][a] = p[a] < box[0][a] ? p[a] : box[0][a];
                    box[1][a] = p[a] > box[1][a] ? p[a] : box[1][a];
                }
    for (std::size_t a = 0; a < 3; ++a)
        if (box[0][a] <= box[1][a])
            return box;
    return {};
}

inline Lattice latticeOf(const Case& c) {
    Lattice lattice;
    if (const auto box = boxOf(c))
        for (std::size_t a = 0; a < 3; ++a)
            lattice[a] = layOut((*box)[0][a], (*box)[1][a], c.lattice[a], c.call.cellSize[a],
                                c.call.overlap[a], c.call.shift[a]);
    return lattice;
}

/// All nodes of a fragment, x fastest.
inline std::vector<point> nodesOf(const Lattice& lattice, const Index& offset) {
    std::vector<point> nodes;
    nodes.reserve(lattice[0].cells * lattice[1].cells * lattice[2].cells);
    for (Count k = 0; k < lattice[2].cells; ++k)
        for (Count j = 0; j < lattice[1].cells; ++j)
            for (Count i = 0; i < lattice[0].cells; ++i) {
                point& node = nodes.emplace_back();
                const Index index(i, j, k);
                for (std::size_t a = 0; a < 3; ++a) {
                    const double start = lattice[a].origin + static_cast<double>(offset[a]) * lattice[a].size;
                    node[a] = start + static_cast<double>(index[a]) * lattice[a].size;
                }
            }
    return nodes;
}

/// To the nearest whole number, halves away from zero. On Windows, std::round gives 1 for the largest number
/// below a half.
inline double rounded(double number) {
    const double whole = std::trunc(number);
    return std::fabs(number - whole) >= 0.5 ? whole + std::copysign(1.0, number) : whole;
}

/// The cell with the nearest node.
inline std::optional<std::size_t> cellOf(const point& p, const Lattice& lattice, const Index& offset) {
    std::size_t cell = 0, stride = 1;
    for (std::size_t a = 0; a < 3; ++a) {
        const Axis& axis = lattice[a];
        const double start = axis.origin + static_cast<double>(offset[a]) * axis.size;
        const double nearest = axis.size == 0 ? 0 : rounded((p[a] - start) / axis.size);
        if (!(nearest >= 0 && nearest < static_cast<double>(axis.cells)))
            return {};
        cell += static_cast<std::size_t>(nearest) * stride;
        stride *= axis.cells;
    }
    return cell;
}

// ---- Selection ----

template <class T> T converted(double v) {
    if constexpr (std::is_same_v<T, unsigned long long>)
        return v < 0x1p63 ? static_cast<T>(static_cast<long long>(v)) : static_cast<T>(v);
    else if constexpr (std::is_same_v<T, unsigned int>)
        return static_cast<T>(static_cast<long long>(v));
    else if constexpr (std::is_integral_v<T>)
        return static_cast<T>(static_cast<int>(v));
    else
        return static_cast<T>(v);
}

inline std::vector<std::string> cut(const std::string& text, const std::string& delimiters) {
    std::vector<std::string> parts(1);
    for (const char ch : text)
        if (delimiters.find(ch) != std::string::npos)
            parts.emplace_back();
        else
            parts.back() += ch;
    return parts;
}

/// Nothing for a bad text.
template <class T> std::optional<std::vector<std::pair<T, T>>> rangesOf(const std::string& text) {
    std::vector<std::pair<T, T>> ranges;
    for (const std::string& item : cut(text, ",;")) {
        if (item.empty())
            continue;
        std::vector<double> bounds;
        for (std::string part : cut(item, ":")) {
            part.erase(0, std::min(part.find_first_not_of(' '), part.size()));
            if (part.find('-', 1) != std::string::npos)
                return {};
            bounds.push_back(std::atof(part.c_str()));
        }
        if (bounds.size() > 2)
            return {};
        const double low = std::min(bounds.front(), bounds.back());
        ranges.emplace_back(converted<T>(low), converted<T>(std::max(bounds.front(), bounds.back())));
    }
    return ranges;
}

template <class T> bool lies(T v, const std::vector<std::pair<T, T>>& ranges) {
    for (const auto& [first, second] : ranges) {
        if constexpr (std::is_floating_point_v<T>) {
            const double value = v;
            if (value >= static_cast<double>(first) - 1e-9 && static_cast<double>(second) + 1e-9 >= value)
                return true;
        } else if (v >= first && second >= v) {
            return true;
        }
    }
    return false;
}

/// Of each point whether it is wanted, where the selecting field has this data.
inline std::vector<bool> selected(const Data& data, const std::string& text, std::size_t pointCount,
                                  std::string& printed) {
    std::vector<bool> wanted(pointCount, false);
    std::visit(
        [&]<class T>(const std::vector<T>& values) {
            if constexpr (!isRecord<T>) {
                const auto ranges = rangesOf<T>(text);
                if (!ranges)
                    printed += "MultiRange(const string& input), ERROR: invalid range: " + text + "\n";
                for (std::size_t i = 0; ranges && i < pointCount; ++i)
                    wanted[i] = lies(values[i], *ranges);
            }
        },
        data);
    return wanted;
}

// ---- Reductions: of what a cell sees in the order of its points ----

template <class E> E truncated(double v) {
    if constexpr (std::is_integral_v<E>)
        return v != v ? E(0) : v >= 0x1p64 ? std::numeric_limits<E>::max() : static_cast<E>(v);
    else
        return static_cast<E>(v);
}

/// Sums are as wide as the values. Whole colours are multiplied with a reciprocal, all others divided.
template <class E> E meanOf(const std::vector<E>& seen, bool isWholeColour) {
    const double n = static_cast<double>(seen.size());
    double total;
    if constexpr (std::is_integral_v<E>) {
        std::uint64_t sum = 0;
        for (const E v : seen)
            sum += static_cast<std::uint64_t>(v);
        total = static_cast<double>(static_cast<E>(sum));
    } else {
        E sum = 0;
        for (const E v : seen)
            sum += v;
        total = static_cast<double>(sum);
    }
    return truncated<E>(isWholeColour ? total * (1.0 / n) : total / n);
}

/// The start takes part, and bounds the result. A plain number gives way unless it is strictly better; a
/// component of a record stands unless the next is.
template <class E, class Beats> E extremeOf(const std::vector<E>& seen, E best, Beats beats, bool isRecord) {
    for (const E v : seen)
        best = isRecord ? (beats(v, best) ? v : best) : (beats(best, v) ? best : v);
    return best;
}
template <class E> E lowestOf(const std::vector<E>& seen, bool isRecord) {
    const E start = sizeof(E) < 4 ? std::numeric_limits<E>::max() : static_cast<E>(1000000);
    return extremeOf(seen, start, std::less<>(), isRecord);
}
template <class E> E highestOf(const std::vector<E>& seen, bool isRecord) {
    return extremeOf(seen, std::is_unsigned_v<E> ? E(0) : static_cast<E>(-1000000), std::greater<>(),
                     isRecord);
}

template <class E> E medianOf(std::vector<E> seen) {
    std::sort(seen.begin(), seen.end(), [](E a, E b) { return a < b || (a == a && b != b); });
    return seen[seen.size() / 2];
}

template <class E> E countedOf(const std::vector<E>& seen, bool isWholeRecord) {
    std::map<E, int> counts;
    for (const E v : seen)
        ++counts[v];
    return isWholeRecord ? counts.rbegin()->first : counts.begin()->first;
}

/// One pass of the fit: a height, or the points for another pass.
inline std::optional<double> fitOnce(const std::vector<point>& points, const point& node,
                                     std::vector<point>& kept) {
    std::vector<double> distances;
    vector plane;
    kept.clear();
    const double n = static_cast<double>(points.size());
    double total = 0, squares = 0;
    std::set<double> heights;
    for (const point& p : points) {
        total += p[2];
        heights.insert(p[2]);
    }
    if (!Plumbline::getDistancesToRegressionPlane(points, distances, plane))
        return total / n;
    for (const double distance : distances)
        squares += distance * distance;
    const double variance = 1.0 / (n - 1.0) * squares;
    if (variance < std::bit_cast<double>(0x3F770A3D70A3D709)) {
        const double height = plane[0] * node[0] + plane[1] * node[1] + plane[2];
        return std::max(std::min(height, *heights.rbegin()), *heights.begin());
    }
    for (std::size_t i = 0; i < points.size(); ++i)
        if (distances[i] < std::sqrt(variance))
            kept.push_back(points[i]);
    if (kept.empty())
        return 0;
    return {};
}

inline double fittedHeight(const std::vector<point>& points, const point& node) {
    std::vector<point> kept, keptAgain;
    if (const auto height = fitOnce(points, node, kept))
        return *height;
    if (const auto height = fitOnce(kept, node, keptAgain))
        return *height;
    std::set<double> heights;
    for (const point& p : points)
        heights.insert(p[2]);
    return *std::next(heights.begin(), static_cast<std::ptrdiff_t>(heights.size() / 2));
}

// ---- Fields ----

struct Request {
    std::string filter = "Mean", direction = "All";
};

template <class E> E reduced(const std::vector<E>& seen, const std::string& filter, bool isWholeRecord) {
    if (filter == "Mean")
        return meanOf(seen, isWholeRecord && std::is_integral_v<E>);
    if (filter == "Min")
        return lowestOf(seen, isWholeRecord);
    if (filter == "Max")
        return highestOf(seen, isWholeRecord);
    return filter == "Median" ? medianOf(seen) : countedOf(seen, isWholeRecord);
}

/// The points of each cell, in their order.
using Lists = std::vector<std::vector<std::size_t>>;

/// Cells of O, each of them made of components E: `reduce(list, cell, c)` gives one for a cell with points.
template <class O, class E, class Reduce> Cells cellsOf(const Lists& lists, const Reduce& reduce) {
    Cells cells{typeid(O)};
    for (std::size_t cell = 0; cell < lists.size(); ++cell)
        for (std::size_t c = 0; c < (isRecord<O> ? 3 : 1); ++c)
            cells.bits.push_back(
                bitsOf(lists[cell].empty() ? E(0) : static_cast<E>(reduce(lists[cell], cell, c))));
    return cells;
}

template <class T>
Cells reducedField(const std::vector<T>& values, const Lists& lists, const std::vector<point>& nodes,
                   const Request& request) {
    const auto component = [&](std::size_t i, std::size_t c) {
        if constexpr (isRecord<T>)
            return values[i][c];
        else
            return values[i];
    };
    using Component = decltype(component(0, 0));
    // Plain numbers have no axes; components of colours stay what they are.
    using Along = std::conditional_t<isRecord<T>, Component, double>;
    const std::string axes = "XYZ";
    const std::size_t axis = request.direction.size() == 4 && request.direction.substr(1) == "dir"
                                 ? axes.find(request.direction[0])
                                 : std::string::npos;
    if (request.filter == "Regression") {
        const auto fit = [&](const std::vector<std::size_t>& list, std::size_t cell, std::size_t) {
            std::vector<point> points;
            for (const std::size_t i : list)
                if constexpr (isRecord<T>)
                    points.emplace_back(values[i][0], values[i][1], values[i][2]);
                else
                    points.emplace_back(static_cast<double>(values[i]), 0.0, 0.0);
            return fittedHeight(points, nodes[cell]);
        };
        return axis == std::string::npos ? cellsOf<float, float>(lists, fit)
                                         : cellsOf<Along, Along>(lists, fit);
    }
    const auto reduce = [&]<class E>(const std::vector<std::size_t>& list, std::size_t c, E, bool isWhole) {
        std::vector<E> seen;
        for (const std::size_t i : list)
            seen.push_back(static_cast<E>(component(i, c)));
        return reduced(seen, request.filter, isWhole);
    };
    if (axis == std::string::npos)
        return cellsOf<T, Component>(lists, [&](const auto& list, std::size_t, std::size_t c) {
            return reduce(list, c, Component(), isRecord<T>);
        });
    return cellsOf<Along, Along>(lists, [&](const auto& list, std::size_t, std::size_t) {
        return reduce(list, axis, Along(), false);
    });
}

// ---- The call ----

inline std::string readRequests(const std::vector<std::string>& texts,
                                std::map<std::string, Request>& requests) {
    for (const std::string& text : texts) {
        std::vector<std::string> parts = cut(text, ":");
        if (parts.back().empty())
            parts.pop_back();
        if (parts.size() != 3)
            return "Wrong input: ";
        const std::set<std::string> filters{"Mean",          "Min",        "Max", "Median",
                                            "MaxOccurrence", "Regression", "Skip"};
        if (!filters.contains(parts[1]))
            return "Unknown filter type: " + parts[1];
        const std::set<std::string> directions{"Xdir", "Ydir", "Zdir", "All"};
        if (parts[1] != "Regression" && !directions.contains(parts[2]))
            return "Unknown direction: " + parts[2];
        requests[parts[0]] = {parts[1], parts[2]};
    }
    return {};
}

/// Follows a call from its arguments to its outcome.
class Teller {
public:
    explicit Teller(const Case& told) : C(told), Axes(latticeOf(told)) {}

    Outcome tell() {
        const vector& wanted = C.call.cellSize;
        O.places.resize(C.lattice.product());
        if (wanted[0] * wanted[0] + wanted[1] * wanted[1] + wanted[2] * wanted[2] < 1e-6)
            O.result = "Cell size is too small";
        else
            O.result = readRequests(C.call.requests, Requests);
        if (!O.result.empty())
            return O;
        place();
        if (O.result = findSelection(); O.result.empty())
            O.result = walk();
        if (O.result.empty() && !HasNodes)
            O.result = " Could no create GlobalBBox. Maybe In-File not fragmented?";
        return O;
    }

private:
    void place() {
        const Index& overlap = C.call.overlap;
        std::size_t done = 0;
        auto& positions = O.field("Positions");
        for (std::size_t f = 0; f < positions.size(); ++f) {
            if (!C.fields[0].fragments[f])
                continue;
            O.printed += "\r=> Z7pc2raster, Positions : " + std::to_string(done++) + "/" +
                         std::to_string(positions.size()) + ".";
            const Index index = C.indexOf(f);
            auto& [offset, low, high] = O.places[f];
            for (std::size_t a = 0; a < 3; ++a) {
                low[a] = index[a] == 0 ? 0 : overlap[a];
                high[a] = index[a] + 1 == C.lattice[a] ? 0 : overlap[a];
                offset[a] = (Axes[a].cells - low[a]) * index[a];
            }
            positions[f] = Cells{typeid(point)};
            for (const point& node : nodesOf(Axes, offset))
                for (const double v : {node[0], node[1], node[2]}) {
                    positions[f]->bits.push_back(bitsOf(v));
                    HasNodes = HasNodes || v == v;
                }
        }
    }

    std::string findSelection() {
        const std::string& text = C.call.selection;
        if (text.empty())
            return {};
        const std::vector<std::string> parts = cut(text, "@");
        if (parts.size() != 2)
            return "Selection string broken. Need something like: 0,2:3,5,6,7:12@Classification. Have: " +
                   text;
        for (const CloudField& field : C.fields)
            if (field.name == parts[1] && field.isRegular)
                Selecting = &field;
        Ranges = parts[0];
        return Selecting ? "" : "Have no UserSelectionF: " + parts[1];
    }

    std::string walk() {
        O.field("CellType");
        O.field("Density");
        if (C.call.withAlpha)
            O.field("Alpha");
        for (std::size_t f = 0; f < O.places.size(); ++f) {
            O.progress.push_back("Fragment: " + std::to_string(f) + "/" + std::to_string(O.places.size()));
            if (C.refuseAt == f)
                return "Interrupted";
            const auto& positions = C.fields[0].fragments[f];
            if (positions && positions->index() != pointKind)
                O.warned += "have no point cloud positions";
            else if (positions)
                visitFields(f, listsOf(f, std::get<pointKind>(*positions)));
        }
        return {};
    }

    Lists listsOf(std::size_t f, const std::vector<point>& points) {
        std::vector<bool> wanted(points.size(), true);
        if (Selecting && Selecting->fragments[f])
            wanted = selected(*Selecting->fragments[f], Ranges, points.size(), O.printed);
        Lists lists(Axes[0].cells * Axes[1].cells * Axes[2].cells);
        for (std::size_t i = 0; i < points.size(); ++i)
            if (const auto cell = cellOf(points[i], Axes, O.places[f][0]); cell && wanted[i])
                lists[*cell].push_back(i);
        return lists;
    }

    void visitFields(std::size_t f, const Lists& lists) {
        for (const CloudField& field : C.fields) {
            const bool isHeight = field.name == "Positions";
            if (C.call.heightOnly && !isHeight)
                continue;
            if (!field.isRegular) {
                O.warned += "raster: is not regularly fragmented";
                return;
            }
            if (!field.fragments[f])
                continue;
            const std::string name = isHeight ? "Height" : field.name;
            O.field(name);
            const Request& request = Requests[field.name];
            if (request.filter != "Skip")
                std::visit([&](const auto& values) { reduce(name, f, values, lists, request); },
                           *field.fragments[f]);
        }
    }

    template <class T>
    void reduce(const std::string& name, std::size_t f, const std::vector<T>& values, const Lists& lists,
                const Request& request) {
        if constexpr (!std::is_same_v<T, Quill::Triple> && !std::is_same_v<T, InSheet>) {
            O.field(name)[f] = reducedField(values, lists, nodesOf(Axes, O.places[f][0]), request);
            if (name == "Height")
                makeCompanions(f, lists);
        }
    }

    void makeCompanions(std::size_t f, const Lists& lists) {
        Cells types{typeid(unsigned char)}, alphas = types, densities{typeid(unsigned short)};
        for (const auto& list : lists) {
            const bool isSparse = list.size() <= C.call.sparseLimit;
            types.bits.push_back(isSparse ? 1 : 0);
            alphas.bits.push_back(isSparse ? 0 : 255);
            densities.bits.push_back(isSparse ? 0 : list.size() % 65536);
        }
        O.field("CellType")[f] = types;
        O.field("Density")[f] = densities;
        if (C.call.withAlpha)
            O.field("Alpha")[f] = alphas;
    }

    const Case& C;
    const Lattice Axes;
    std::map<std::string, Request> Requests;
    const CloudField* Selecting = nullptr;
    std::string Ranges;
    bool HasNodes = false;
    Outcome O;
};

} // namespace Property
