#include <io/blocks/WindowGrid.h>

#include <algorithm>
#include <limits>
#include <string>

#include <io/system/Errors.h>
#include <tilewright/arrays/MemArray.h>
#include <tilewright/model/CreativeArrayBase.h>

namespace Tilewright::Io {

namespace {

using Orrery::PhysicalSpace::point;

/// The points of a piece of records that belong to the window.
struct Piece {
    const RecordLayout& layout;
    const std::byte* records;
    std::span<const std::uint32_t> ordinals;
    /// As they are: x, y, z of each.
    const double* positions;
    /// With x and y moved clear of edges.
    std::span<const point> settled;
};

/// The values of one column.
class ColumnStore {
public:
    virtual ~ColumnStore() = default;
    virtual void take(const Piece& piece) = 0;
    /// All that was taken; to be called once.
    virtual Quill::ArrayPtr finish() = 0;
};

template <class T> class TypedStore : public ColumnStore {
public:
    TypedStore(const GridColumn& column, std::size_t expected)
        : Column(column), Storage(new Larder::Chunk<T>(expected, true)) {}

    void take(const Piece& piece) override {
        std::vector<T>& values = Storage->base_vector();
        const std::size_t size = values.size();
        if constexpr (std::is_same_v<T, point>) {
            values.insert(values.end(), piece.settled.begin(), piece.settled.end());
            if (Column.kind == GridColumn::Kind::TruePositions)
                for (std::size_t i = 0; i < piece.ordinals.size(); ++i)
                    values[size + i] = {piece.positions[3 * i], piece.positions[3 * i + 1],
                                        piece.positions[3 * i + 2]};
        } else {
            values.resize(size + piece.ordinals.size());
            fill(piece, std::span(values).subspan(size));
        }
    }

    Quill::ArrayPtr finish() override {
        // The chunk was made empty and counts what it holds when it goes.
        const unsigned long long count = Storage->elements();
        Larder::ChunkBase::TotalMemsize += static_cast<long long>(count * sizeof(T));
        return Larder::Ref<Quill::MemArray<1, T>>(Storage, Quill::MultiIndex<1>{count});
    }

private:
    void fill(const Piece& piece, std::span<T> values) requires(!std::is_same_v<T, point>) {
        if constexpr (std::is_same_v<T, unsigned long long>)
            if (Column.keys == OrderKeys::Numbers || Column.keys == OrderKeys::ReversedNumbers)
                return fillKeys(piece, values);
        decode(piece, values);
        if constexpr (std::is_same_v<T, unsigned long long>)
            if (Column.keys == OrderKeys::ReversedIntegers)
                for (T& value : values)
                    value = ~value;
        if constexpr (std::is_same_v<T, double>)
            if (Column.scale != 1.0)
                for (T& value : values)
                    value *= Column.scale;
    }

    void fillKeys(const Piece& piece, std::span<unsigned long long> keys) {
        Numbers.resize(keys.size());
        decode(piece, std::span(Numbers));
        const bool isReversed = Column.keys == OrderKeys::ReversedNumbers;
        for (std::size_t i = 0; i < keys.size(); ++i)
            keys[i] = orderKeyOf(Numbers[i], isReversed);
    }

    template <class V> void decode(const Piece& piece, std::span<V> values) const {
        if (Column.kind == GridColumn::Kind::Attribute)
            decodeFieldAt(piece.layout.format, piece.layout.fields[Column.attribute], piece.records,
                          piece.ordinals, values);
        else
            for (std::size_t i = 0; i < values.size(); ++i)
                values[i] = static_cast<V>(piece.positions[3 * i + axis()]);
    }

    /// Of a column of coordinates.
    std::size_t axis() const {
        using Kind = GridColumn::Kind;
        return Column.kind == Kind::X ? 0 : Column.kind == Kind::Y ? 1 : 2;
    }

    const GridColumn& Column;
    /// Of the piece at hand, before they become keys.
    std::vector<double> Numbers;
    Larder::StrongPtr<Larder::Chunk<T>, Larder::ChunkBase> Storage;
};

/// All coordinates that cells of the window can have, and some more.
CoordinateBox boxOf(const BlockLattice& lattice, const CellWindow& window) {
    const auto low = [](const LatticeAxis& axis, std::uint64_t first) {
        return axis.edge(static_cast<std::int64_t>(first)) - 0.02 * axis.cellSize();
    };
    return {{low(lattice.x(), window.column), low(lattice.y(), window.row)},
            {low(lattice.x(), window.column + window.columns) + 0.04 * lattice.x().cellSize(),
             low(lattice.y(), window.row + window.rows) + 0.04 * lattice.y().cellSize()}};
}

std::unique_ptr<ColumnStore> makeStore(const GridColumn& column, std::size_t expected) {
    using Kind = GridColumn::Kind;
    if (column.kind == Kind::Positions || column.kind == Kind::TruePositions)
        return std::make_unique<TypedStore<point>>(column, expected);
    return visitFieldType(column.type, [&]<class T>() -> std::unique_ptr<ColumnStore> {
        return std::make_unique<TypedStore<T>>(column, expected);
    });
}

} // namespace

/// A window turned out to have more points than wanted.
struct TooManyPoints {};

/// Loads the columns of a window when the first of them is asked for.
class WindowGrid::Loader {
public:
    Loader(const SquareReader& reader, const BlockLattice& lattice, const GridPlan& plan,
           const Square& square)
        : Reader(reader), Lattice(lattice), Plan(plan), Window(square), Box(boxOf(lattice, square.window)),
          Test(plan.needs.selection) {}

    const Quill::ArrayPtr& array(std::size_t column) {
        if (Arrays.empty())
            load(mostPoints);
        return Arrays[column];
    }

    /// False if there are more than `limit` points.
    bool load(std::uint64_t limit) {
        Limit = limit;
        // Estimates run short now and then, and room that is not used costs nothing.
        makeStores(std::min(static_cast<std::uint64_t>(Reader.estimate(Window) * 1.25) + 64, limit));
        try {
            visit([] {});
        } catch (const TooManyPoints&) {
            Stores.clear();
            Found = 0;
            return false;
        }
        Arrays = finishStores();
        return true;
    }

    std::uint64_t visitPieces(std::size_t pieceSize, const ColumnVisitor& visitor) {
        Limit = mostPoints;
        makeStores(pieceSize);
        std::uint64_t handedOut = 0;
        const auto handOut = [&] {
            visitor(finishStores());
            handedOut = Found;
        };
        visit([&] {
            if (Found - handedOut < pieceSize)
                return;
            handOut();
            makeStores(pieceSize);
        });
        if (Found != handedOut)
            handOut();
        return Found;
    }

    const CellWindow& window() const { return Window.window; }
    const BlockLattice& lattice() const { return Lattice; }

private:
    void makeStores(std::size_t expected) {
        for (const GridColumn& column : Plan.columns)
            Stores.push_back(makeStore(column, expected));
    }

    std::vector<Quill::ArrayPtr> finishStores() {
        std::vector<Quill::ArrayPtr> arrays;
        for (const auto& store : Stores)
            arrays.push_back(store->finish());
        Stores.clear();
        return arrays;
    }

    /// Takes all points of the window into the stores; calls `afterPiece` after every few of them.
    template <class AfterPiece> void visit(const AfterPiece& afterPiece) {
        Reader.visit(Window, [&](const RecordLayout& layout, const std::byte* records, std::size_t count) {
            take(layout, records, count);
            afterPiece();
        });
    }

    void take(const RecordLayout& layout, const std::byte* records, std::size_t count) {
        Ordinals.resize(std::max(Ordinals.size(), count));
        std::size_t kept = findInBox(layout.format, records, count, Box, Ordinals.data());
        kept = dropUnselected(layout, records, kept);
        Positions.resize(std::max(Positions.size(), 3 * kept));
        Settled.resize(std::max(Settled.size(), kept));
        decodePositionsAt(layout.format, records, std::span(Ordinals.data(), kept), Positions.data());
        kept = keepInWindow(kept);
        if (kept == 0)
            return;
        Found += kept;
        if (Found > mostPoints)
            throw InputError("more than 4294967295 points lie in a single cell; choose smaller cells");
        if (Found > Limit)
            throw TooManyPoints();
        const Piece piece{layout, records, std::span(Ordinals.data(), kept), Positions.data(),
                          std::span(Settled.data(), kept)};
        for (const auto& store : Stores)
            store->take(piece);
    }

    std::size_t dropUnselected(const RecordLayout& layout, const std::byte* records, std::size_t found) {
        if (found == 0 || !Reader.needsSelection() || !Test.isNeeded())
            return found;
        const unsigned char* const passes =
            Test(layout.format, records, Ordinals[found - 1] + std::size_t(1));
        std::size_t kept = 0;
        for (std::size_t k = 0; k < found; ++k) {
            Ordinals[kept] = Ordinals[k];
            kept += passes[Ordinals[k]];
        }
        return kept;
    }

    /// Leaves out what the box has too much, and settles the others; gives their number.
    std::size_t keepInWindow(std::size_t found) {
        const LatticeAxis& x = Lattice.x();
        const LatticeAxis& y = Lattice.y();
        const CellWindow window = Window.window;
        std::size_t kept = 0;
        for (std::size_t i = 0; i < found; ++i) {
            double* const xyz = Positions.data() + 3 * i;
            std::int64_t column;
            std::int64_t row;
            double settledX;
            double settledY;
            // Cells before the window become large numbers.
            if (!x.locate(xyz[0], column, settledX) ||
                static_cast<std::uint64_t>(column) - window.column >= window.columns ||
                !y.locate(xyz[1], row, settledY) ||
                static_cast<std::uint64_t>(row) - window.row >= window.rows)
                continue;
            Settled[kept] = {settledX, settledY, xyz[2]};
            if (kept != i) {
                Ordinals[kept] = Ordinals[i];
                std::copy_n(xyz, 3, Positions.data() + 3 * kept);
            }
            ++kept;
        }
        return kept;
    }

    const SquareReader& Reader;
    const BlockLattice& Lattice;
    const GridPlan& Plan;
    Square Window;
    CoordinateBox Box;
    SelectionTest Test;
    std::vector<std::unique_ptr<ColumnStore>> Stores;
    std::vector<Quill::ArrayPtr> Arrays;
    std::uint64_t Found = 0;
    std::uint64_t Limit = mostPoints;
    /// Of the piece at hand.
    std::vector<double> Positions;
    std::vector<std::uint32_t> Ordinals;
    std::vector<point> Settled;
};

namespace {

/// Hands out a column of a window.
template <class Loader> class ColumnCreator : public Quill::CreativeArrayBase {
public:
    ColumnCreator(std::shared_ptr<Loader> loader, std::size_t column)
        : Source(std::move(loader)), Column(column) {}

    Quill::ArrayPtr create() override { return Source->array(Column); }

private:
    std::shared_ptr<Loader> Source;
    std::size_t Column;
};

} // namespace

WindowGrid::WindowGrid(const SquareReader& reader, const BlockLattice& lattice, const GridPlan& plan,
                       const Square& square)
    : Layout(lattice, square.window), Points(std::make_shared<Loader>(reader, lattice, plan, square)) {
    const Quill::MultiIndex<3> onlyFragment;
    std::vector<Quill::CreatorPtr> creators;
    for (std::size_t column = 0; column < plan.columns.size(); ++column)
        creators.emplace_back(Larder::Ref<ColumnCreator<Loader>>(Points, column));
    Quill::Representation& fields = Grid->makeCartesianRepresentation(3, "", 0);
    for (const auto& [name, column] : plan.fields) {
        const Quill::RegularFieldPtr field =
            name == "Positions"
                ? Layout.positions
                : Quill::RegularFieldPtr(Larder::Ref<Quill::RegularlyFragmentedField<3>>(*Layout.positions));
        (*field)[onlyFragment] = creators[column];
        fields[name] = field;
    }
}

bool WindowGrid::load(std::uint64_t limit) { return Points->load(limit); }

std::uint64_t WindowGrid::points() { return Points->array(0)->nElements(); }

std::vector<std::uint32_t> WindowGrid::counts() {
    const Larder::StrongPtr<Quill::MemArray<1, point>, Larder::Cacheable> points = Points->array(0);
    const CellWindow& window = Points->window();
    std::vector<std::uint32_t> counts(window.cells(), 0);
    for (std::uint64_t i = 0; i < points->nElements(); ++i) {
        const point& p = (*points)[Quill::MultiIndex<1>(i)];
        std::int64_t column;
        std::int64_t row;
        double settled;
        if (Points->lattice().x().locate(p[0], column, settled) &&
            Points->lattice().y().locate(p[1], row, settled))
            ++counts[(static_cast<std::uint64_t>(row) - window.row) * window.columns +
                     (static_cast<std::uint64_t>(column) - window.column)];
    }
    return counts;
}

std::uint64_t visitColumns(const SquareReader& reader, const BlockLattice& lattice, const GridPlan& plan,
                           const Square& square, std::size_t pieceSize, const ColumnVisitor& visit) {
    return WindowGrid::Loader(reader, lattice, plan, square).visitPieces(pieceSize, visit);
}

} // namespace Tilewright::Io
