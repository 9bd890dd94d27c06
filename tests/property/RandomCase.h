/// RandomCase: a cloud and a call of raster drawn from a seed, and the grid that is made of them.
#pragma once

#include "tests/support/CloudBuilder.h"

#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <variant>

namespace Property {

using TestSupport::CloudBuilder;
using TestSupport::Index;
using TestSupport::point;
using TestSupport::RasterCall;
using TestSupport::vector;

/// The values of an array with an axis too many for a field.
struct InSheet {};

template <class... T> using DataOf = std::variant<std::vector<T>...>;
/// The values of one fragment of a field. The last two kinds are none that can be reduced.
using Data = DataOf<float, double, unsigned char, unsigned short, unsigned int, unsigned long long, int,
                    point, vector, Orrery::Color8, Orrery::Color16, Quill::Triple, InSheet>;
inline std::size_t countOf(const Data& data) {
    return std::visit([](const auto& values) { return values.size(); }, data);
}
constexpr std::size_t plainKinds = 7, pointKind = 7, allKinds = std::variant_size_v<Data>;

struct CloudField {
    std::string name;
    bool isRegular = true;
    /// By fragment, x fastest.
    std::vector<std::optional<Data>> fragments{};
};

/// Random numbers that are the same with every standard library.
struct Draw {
    std::mt19937_64 random;

    std::uint64_t below(std::uint64_t end) { return random() % end; }
    bool oneIn(std::uint64_t n) { return below(n) == 0; }
    double within(double low, double high) {
        return low + (high - low) * static_cast<double>(random() >> 11) * 0x1p-53;
    }
    template <class T> T among(std::initializer_list<T> choices) {
        return choices.begin()[below(choices.size())];
    }
};

/// Numbers around all thresholds of the rules: ties, widths of types, the million, what a float drops.
template <class E> E drawNumber(Draw& draw, bool isClass, bool withOddities) {
    if constexpr (std::is_floating_point_v<E>)
        if (isClass && draw.oneIn(3)) // At the edges of the tolerance, or zeros of either sign.
            return static_cast<E>(withOddities ? draw.among({-0.0, 0.0, -1.0})
                                               : 3.0 + draw.among({5e-10, -5e-10, 2e-9, -2e-9, 0.5}));
    if (isClass)
        return static_cast<E>(draw.below(14));
    if constexpr (std::is_integral_v<E>) {
        const std::uint64_t bits = draw.random();
        return static_cast<E>(bits % 4 == 0 ? bits >> 3 : bits % 4 == 1 ? ~(bits % 400) : bits % 3000000);
    } else {
        using Limits = std::numeric_limits<E>;
        if (withOddities && draw.oneIn(12))
            return draw.among({Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), E(-0.0), E(0),
                               Limits::denorm_min(), Limits::max()});
        return static_cast<E>(draw.oneIn(3) ? draw.within(-4e6, 4e6) : draw.within(-10, 10));
    }
}

struct Case {
    std::uint64_t seed;
    Index lattice{};
    std::optional<std::array<point, 2>> box{};
    /// The first one is "Positions".
    std::vector<CloudField> fields{};
    RasterCall call{};
    /// The number of the report at which the call is told to stop.
    std::optional<std::size_t> refuseAt{};

    Index indexOf(std::size_t fragment) const {
        return {fragment % lattice[0], fragment / lattice[0] % lattice[1],
                fragment / lattice[0] / lattice[1]};
    }
    CloudBuilder build() const;
    std::string describe() const;
};

/// Makes a case of a seed. Draws what the call asks for first, since the points aim at its cells.
class CaseMaker {
public:
    explicit CaseMaker(std::uint64_t seed) : D{std::mt19937_64(seed)}, C{.seed = seed} {}

    Case make() {
        drawLattice();
        drawCall();
        C.fields.push_back({"Positions"});
        for (const char* name : {"a", "b", "c", "Height", "CellType", "Density", "Alpha"})
            if (name[1] == 0 ? D.oneIn(2) : D.oneIn(20))
                C.fields.push_back({name, !D.oneIn(60)});
        C.call.requests.clear();
        for (const CloudField& field : C.fields)
            if (!D.oneIn(8))
                C.call.requests.push_back(drawRequest(field.name));
        if (C.call.requests.empty() || D.oneIn(10))
            C.call.requests.push_back(drawRequest(D.among({"missing", "Positions"})));
        if (D.oneIn(60))
            C.call.requests.push_back(D.among({"a:Mean", "a:Mean:All:", "a:mean:All", "a:Max:All:x",
                                               "a:Max:Up", "a:Min:", ":Max:all", "a::All"}));
        drawPositions();
        for (std::size_t f = 1; f < C.fields.size(); ++f)
            drawField(C.fields[f]);
        if (D.oneIn(3))
            drawSelection();
        return std::move(C);
    }

private:
    void drawLattice() {
        C.lattice = {1 + D.below(3), 1 + D.below(3), 1 + D.below(2)};
        for (std::size_t a = 0; a < 3; ++a) {
            Low[a] = D.among({0.0, 0.0, -7.5, 100.1, a == 0 ? 5e5 : 5.4e6});
            // The quotients 0.3 / 0.1 and of the number before 1 come out one way or the other.
            Extent[a] = D.among({0.0, 0.3, 1 - 0x1p-53, 2.0, 4.0, 8.0, 10.0, D.within(0, 20)});
            Wanted[a] = D.among({0.0, 0.1, 0.25, 0.5, 1.0, 1.0, 3.0, 30.0, D.within(0.1, 4),
                                 D.oneIn(9) ? D.among({-1e4, 1e18}) : 2.0});
            if (a == 2 && !D.oneIn(3))
                Wanted[a] = 0;
            // No more cells than can be looked at one by one.
            if (Wanted[a] != 0)
                while (std::fabs(Extent[a] / static_cast<double>(C.lattice[a]) / Wanted[a]) > 8)
                    Wanted[a] *= 2;
        }
        HasBox = D.oneIn(2);
        if (HasBox)
            C.box = {Low, Low + Extent};
    }

    void drawCall() {
        RasterCall& call = C.call;
        call.cellSize = D.oneIn(80) ? vector(0.0009, 0, 0) : Wanted;
        for (std::size_t a = 0; a < 3; ++a) {
            call.overlap[a] = D.oneIn(2) ? 0 : D.below(6);
            call.shift[a] = D.among({0.0, 0.0, 0.5, -0.25, D.within(-2, 2)});
        }
        call.withAlpha = D.oneIn(2);
        call.heightOnly = D.oneIn(8);
        call.sparseLimit = static_cast<unsigned>(D.oneIn(2) ? 0 : D.below(5));
        if (D.oneIn(12))
            C.refuseAt = D.below(C.lattice.product() + 1);
    }

    std::string drawRequest(const std::string& name) {
        const std::string filter =
            D.among({"Mean", "Min", "Max", "Median", "MaxOccurrence", "Regression", "Regression", "Skip"});
        const std::string direction = D.among({"Xdir", "Ydir", "Zdir", "All", "All"});
        const bool isFreeWord = filter == "Regression" && D.oneIn(5);
        return name + ":" + filter + ":" + (isFreeWord ? "any word" : direction);
    }

    std::size_t drawCount() { return D.among<std::size_t>({0, 1, 2, 5, 30, 60, 1 + D.below(250)}); }

    /// A coordinate of a point of the fragment with the index `i` on axis `a`.
    double drawCoordinate(std::size_t a, std::uint64_t i) {
        const double width = Extent[a] / static_cast<double>(C.lattice[a]);
        const double low = Low[a] + static_cast<double>(i) * width;
        const double step = Wanted[a] == 0 || D.oneIn(5) ? 0.25 : width / std::floor(width / Wanted[a] + 1);
        switch (Spread) {
        case 0: // Anywhere, beyond the fragment too.
            return D.within(low - 0.3 * width, low + 1.3 * width);
        case 1: // On nodes, edges and between.
            return low + 0.25 * step * static_cast<double>(D.below(40));
        case 2: { // On the edges of the adjusted cells, or next to one.
            const double cells = std::max(1.0, std::floor(width / std::max(std::fabs(Wanted[a]), 0.1)));
            const double edge =
                low + (C.call.shift[a] + static_cast<double>(D.below(24)) * 0.5 - 1.5) * (width / cells);
            return D.among({edge, std::nextafter(edge, 1e9), std::nextafter(edge, -1e9)});
        }
        default: // In few places.
            return low + width * D.among({0.3, 0.301, 0.8, 1.3, 1.304});
        }
    }

    void drawPositions() {
        const double noise = D.among({0.0, 0.01, 0.08, 1.0});
        const double slope = D.among({0.0, 0.5, -3.0});
        const bool onPlane = D.oneIn(2);
        const bool isDirty = D.oneIn(6);
        for (std::size_t f = 0; f < C.lattice.product(); ++f) {
            auto& data = C.fields[0].fragments.emplace_back();
            if (D.oneIn(8))
                continue;
            if (D.oneIn(50)) {
                data = std::vector<float>(3);
                continue;
            }
            const Index index = C.indexOf(f);
            Spread = D.below(4);
            std::vector<point> points(drawCount());
            for (point& p : points) {
                for (std::size_t a = 0; a < 3; ++a)
                    p[a] = drawCoordinate(a, index[a]);
                if (onPlane)
                    p[2] = Low[2] + slope * (p[0] - Low[0]) + 0.3 * (p[1] - Low[1]) + D.within(-noise, noise);
                if (isDirty && D.oneIn(9))
                    spoil(p);
            }
            data = std::move(points);
        }
    }

    void spoil(point& p) {
        const double infinity = std::numeric_limits<double>::infinity();
        p[D.below(3)] = D.among({std::nan(""), infinity, -infinity});
    }

    void drawField(CloudField& field) {
        const std::size_t kind = D.oneIn(2) ? D.below(plainKinds) : D.below(allKinds);
        const bool isClass = D.oneIn(3);
        // Of zeros with different signs a median may be either.
        bool withOddities = D.oneIn(2);
        for (const std::string& request : C.call.requests)
            withOddities = withOddities && request.rfind(field.name + ":Median", 0) != 0;
        for (const auto& positions : C.fields[0].fragments) {
            auto& data = field.fragments.emplace_back();
            if (D.oneIn(10))
                continue;
            data = emptyData(kind, std::make_index_sequence<allKinds>());
            std::size_t count = positions ? countOf(*positions) : drawCount();
            if (D.oneIn(20))
                count += 3; // More values than points do no harm.
            std::visit(
                [&](auto& values) {
                    values.resize(count);
                    fill(values, isClass, withOddities);
                },
                *data);
        }
    }

    template <std::size_t... K> static Data emptyData(std::size_t kind, std::index_sequence<K...>) {
        return std::array<Data, allKinds>{Data(std::in_place_index<K>)...}[kind];
    }

    template <class T> void fill(std::vector<T>& values, bool isClass, bool withOddities) {
        for (T& v : values)
            if constexpr (std::is_arithmetic_v<T>)
                v = drawNumber<T>(D, isClass, withOddities);
            else if constexpr (!std::is_same_v<T, InSheet>)
                for (std::size_t c = 0; c < 3; ++c)
                    v[c] = drawNumber<typename T::element_type>(D, isClass, withOddities);
    }

    void drawSelection() {
        std::string& text = C.call.selection;
        const std::size_t items = D.below(5);
        for (std::size_t n = 0; n < items; ++n) {
            text += n == 0 ? "" : D.among({",", ";", ",,", ", "});
            text += std::to_string(D.below(14));
            if (D.oneIn(2))
                text += D.among({":0", ":3", ".5 : 7", ": 13", ":300"});
        }
        if (D.oneIn(6))
            text += D.among({",1-2", ",1:2:3", ", ", ";abc", ",2:", ",--1"});
        text +=
            "@" + (D.oneIn(15) ? D.among({"", "missing", "a@b"}) : C.fields[D.below(C.fields.size())].name);
    }

    Draw D;
    Case C;
    point Low{};
    vector Extent{}, Wanted{};
    bool HasBox = false;
    std::uint64_t Spread = 0;
};

inline CloudBuilder Case::build() const {
    CloudBuilder cloud(lattice);
    if (box)
        cloud.box((*box)[0], (*box)[1]);
    for (const CloudField& field : fields) {
        if (!field.isRegular) {
            cloud.field(field.name, TestSupport::plainField());
            continue;
        }
        cloud.regularField(field.name);
        for (std::size_t f = 0; f < field.fragments.size(); ++f)
            if (field.fragments[f])
                std::visit(
                    [&]<class T>(const std::vector<T>& values) {
                        if constexpr (std::is_same_v<T, InSheet>)
                            cloud.array(field.name,
                                        Larder::Ref<Quill::MemArray<2, float>>(
                                            Quill::MultiIndex<2>(values.size(), 1)),
                                        indexOf(f));
                        else
                            cloud.values(field.name, values, indexOf(f));
                    },
                    *field.fragments[f]);
    }
    return cloud;
}

inline std::string Case::describe() const {
    const auto inBraces = [](const auto& v) { return std::to_string(v, "(", ") ", ", "); };
    std::ostringstream text;
    text << "TILEWRIGHT_SEED=" << seed << " TILEWRIGHT_CASES=1\nfragments " << std::to_string(lattice)
         << " cell size " << inBraces(call.cellSize) << "shift " << inBraces(call.shift) << "overlap "
         << std::to_string(call.overlap) << " sparse " << call.sparseLimit << " selection '" << call.selection
         << "'\nrequests";
    for (const std::string& request : call.requests)
        text << " '" << request << "'";
    return text.str();
}

} // namespace Property
