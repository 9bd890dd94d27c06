#include <io/clouds/CloudSummary.h>

#include <atomic>
#include <cmath>
#include <future>
#include <string>

#include <io/formats/las/LazFile.h>
#include <io/system/NumberText.h>

namespace Tilewright::Io {

namespace {

constexpr std::uint64_t blockSize = 1 << 16;
/// So many squares follow the outline of a cloud closely enough.
constexpr std::uint64_t mostSquares = 4096;
constexpr std::uint64_t pointsPerSquare = 16;
/// The coverage of so few points, or of so few places, says nothing.
constexpr std::size_t leastSquares = 16;
constexpr double pointsPerCell = 4.0;

struct Block {
    const PointSource* source;
    std::uint64_t first;
    std::uint64_t count;
};

std::vector<Block> blocksOf(const PointCloud& cloud) {
    std::vector<Block> blocks;
    for (const auto& source : cloud.sources())
        for (std::uint64_t first = 0; first < source->pointCount(); first += blockSize)
            blocks.push_back({source.get(), first, std::min(blockSize, source->pointCount() - first)});
    return blocks;
}

std::size_t squaresFor(std::uint64_t points) {
    return static_cast<std::size_t>(std::clamp<std::uint64_t>(points / pointsPerSquare, 4, mostSquares));
}

/// What one thread has seen, and its room to read into.
class Scan {
public:
    explicit Scan(const PointCloud& cloud) : Cloud(cloud), Ground(squaresFor(cloud.pointCount())) {
        for (const CloudField& field : cloud.fields())
            if (field.type == FieldType::UnsignedLongLong)
                Columns.emplace_back(Column<unsigned long long>());
            else
                Columns.emplace_back(Column<double>());
    }

    void read(const Block& block);
    void add(const Scan& other);
    CloudSummary result() const;

private:
    template <class T> struct Column {
        ValueRange<T> range;
        std::vector<T> values;
    };

    const PointCloud& Cloud;
    PointBounds Bounds;
    Coverage Ground;
    std::vector<std::variant<Column<double>, Column<unsigned long long>>> Columns;
    std::vector<double> Positions;
};

void Scan::read(const Block& block) {
    const auto count = static_cast<std::size_t>(block.count);
    Positions.resize(3 * count);
    std::vector<FieldColumn> wanted;
    for (std::size_t i = 0; i < Columns.size(); ++i)
        std::visit(
            [&](auto& column) {
                column.values.resize(count);
                wanted.push_back(
                    {block.source->format().findField(Cloud.fields()[i].name), std::span(column.values)});
            },
            Columns[i]);
    block.source->read(block.first, block.count, Positions.data(), wanted);
    for (std::size_t i = 0; i < count; ++i) {
        const double* const position = Positions.data() + 3 * i;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            Bounds.low[axis] = std::min(Bounds.low[axis], position[axis]);
            Bounds.high[axis] = std::max(Bounds.high[axis], position[axis]);
        }
        Ground.add(position[0], position[1]);
    }
    for (auto& any : Columns)
        std::visit(
            [](auto& column) {
                for (const auto value : column.values)
                    column.range.add(value);
            },
            any);
}

void Scan::add(const Scan& other) {
    Bounds.add(other.Bounds);
    Ground.add(other.Ground);
    for (std::size_t i = 0; i < Columns.size(); ++i)
        std::visit([&]<class T>(
                       Column<T>& column) { column.range.add(std::get<Column<T>>(other.Columns[i]).range); },
                   Columns[i]);
}

double cellFor(double density) {
    const double wanted = std::sqrt(pointsPerCell / density);
    const std::string exponent = std::to_string(static_cast<int>(std::floor(std::log10(wanted))));
    double best = 0.0;
    for (std::string text : {"1e", "2e", "5e", "10e"}) {
        // Read as a text, so that 0.2 is the number that is written so.
        text += exponent;
        const double size = parseDouble(text).value_or(0.0);
        if (best == 0.0 || std::abs(std::log(size / wanted)) < std::abs(std::log(best / wanted)))
            best = size;
    }
    return best;
}

CloudSummary Scan::result() const {
    CloudSummary summary;
    summary.bounds = Bounds;
    for (const auto& any : Columns)
        std::visit([&](const auto& column) { summary.ranges.emplace_back(column.range); }, any);
    const std::uint64_t points = Cloud.pointCount();
    if (points == 0)
        return summary;
    summary.area = (Bounds.high[0] - Bounds.low[0]) * (Bounds.high[1] - Bounds.low[1]);
    if (Ground.squares() > std::max(leastSquares, squaresFor(points) / 16))
        summary.area = std::min(summary.area, Ground.area());
    if (summary.area > 0.0) {
        summary.density = static_cast<double>(points) / summary.area;
        summary.cell = cellFor(*summary.density);
    }
    return summary;
}

} // namespace

void Coverage::add(double x, double y) {
    const double column = std::floor(x / Side), row = std::floor(y / Side);
    if (std::max(std::abs(column), std::abs(row)) >= 0x1p31) {
        coarsen();
        add(x, y);
        return;
    }
    const auto half = [](double index) {
        return static_cast<std::uint64_t>(static_cast<std::uint32_t>(static_cast<std::int64_t>(index)));
    };
    const std::uint64_t square = half(column) << 32 | half(row);
    if (Last == square)
        return;
    Last = square;
    insert(square);
}

void Coverage::insert(std::uint64_t square) {
    Squares.insert(square);
    while (Squares.size() > Most)
        coarsen();
}

void Coverage::coarsen() {
    Side *= 2.0;
    Last.reset();
    std::unordered_set<std::uint64_t> coarse;
    const auto halved = [](std::uint64_t index) {
        return static_cast<std::uint64_t>(static_cast<std::uint32_t>(static_cast<std::int32_t>(index) >> 1));
    };
    for (const std::uint64_t square : Squares)
        coarse.insert(halved(square >> 32) << 32 | halved(square & 0xffffffff));
    Squares = std::move(coarse);
}

void Coverage::add(const Coverage& other) {
    Coverage same = other;
    while (same.Side < Side)
        same.coarsen();
    while (Side < same.Side)
        coarsen();
    Squares.merge(same.Squares);
    while (Squares.size() > Most)
        coarsen();
}

std::optional<CompressionSummary> compressionOf(const PointSource& source) {
    const auto* const file = dynamic_cast<const LazFile*>(&source);
    if (!file)
        return std::nullopt;
    CompressionSummary summary;
    summary.chunks = file->chunks().size();
    if (!file->compression().isChunked())
        summary.chunkSize = file->pointCount();
    else if (!file->compression().hasVariableChunks())
        summary.chunkSize = file->compression().chunkSize;
    if (const auto& octree = file->octree()) {
        const std::int32_t deepest = octree->deepestLevel();
        summary.octree = {static_cast<std::uint64_t>(deepest) + 1, octree->info.spacing,
                          octree->info.spacingAt(deepest)};
    }
    return summary;
}

CloudSummary summarise(const PointCloud& cloud, unsigned threads, const StepReport& report) {
    const std::vector<Block> blocks = blocksOf(cloud);
    std::atomic<std::size_t> next = 0;
    std::atomic<std::uint64_t> done = 0;
    const auto work = [&] {
        Scan scan(cloud);
        try {
            for (std::size_t i = next++; i < blocks.size(); i = next++) {
                scan.read(blocks[i]);
                if (!report(done += blocks[i].count, cloud.pointCount()))
                    throw Interruption();
            }
        } catch (...) {
            // Nobody has to go on.
            next = blocks.size();
            throw;
        }
        return scan;
    };
    std::vector<std::future<Scan>> others;
    for (std::size_t i = 1; i < std::min<std::size_t>(threads, blocks.size()); ++i)
        others.push_back(std::async(std::launch::async, work));
    Scan all = work();
    for (std::future<Scan>& other : others)
        all.add(other.get());
    return all.result();
}

} // namespace Tilewright::Io
