/// SquareMaker: makes the windows of a raster from the points that a SquareReader hands out.
///
/// A square with too many points is halved until its windows have few enough; a single cell that still has
/// too many is reduced in pieces.
#pragma once

#include <atomic>
#include <mutex>

#include <io/blocks/NearbyReduction.h>
#include <io/blocks/RasterJob.h>
#include <io/blocks/SquareReader.h>
#include <io/blocks/WindowPoints.h>
#include <io/blocks/WindowSource.h>
#include <tilewright/filters/CellLists.h>

namespace Tilewright::Io {

class SquareMaker : public WindowSource {
public:
    /// What is referred to must outlive the object.
    SquareMaker(const RasterJob& job, const BlockLattice& lattice, const SquareReader& reader,
                const StepReport& report)
        : Job(job), Lattice(lattice), Reader(reader), Report(report),
          Nearby(job, lattice, reader, [this] { goOn(); }) {}

    std::size_t partsOfBlock() const override { return squaresAlong() * squaresAlong(); }
    void visit(const Block& block, std::size_t part, const Visit& visit) override;
    std::uint64_t wantedPoints() const override { return Reader.wantedPoints(); }
    void stop() override { Stopped = true; }

private:
    /// Where the windows of a square go, and what is known of it already.
    struct Target {
        const Visit& visit;
        const NearbyMeans& nearby;
    };

    std::size_t squaresAlong() const { return BlockLattice::blockSide / Reader.side(); }
    void makeWhole(const Square& square, const Visit& visit);
    void makeSquare(const Square& square, const Target& target);
    void halve(const Square& square, const Target& target);
    void makeWindow(const Square& square, const Target& target);
    void reduceWindow(WindowPoints& points, const CellWindow& window, const Target& target);
    void reduceByStatistics(const PointTable& points, const std::vector<CellLists>& cells,
                            WindowResult& result) const;
    void makeCell(const Square& square, const Target& target);
    void makeCellAtOnce(const Square& square, const Target& target);
    std::uint64_t visitPieces(const Square& square, const WindowPoints::PieceVisitor& take) const;
    void handOn(const WindowResult& result, std::uint64_t points, const Visit& visit);
    void goOn() const;

    const RasterJob& Job;
    const BlockLattice& Lattice;
    const SquareReader& Reader;
    const StepReport& Report;
    NearbyReduction Nearby;
    std::mutex RoomForPlanes;
    std::atomic<bool> Stopped = false;
    std::atomic<std::uint64_t> Points = 0;
};

} // namespace Tilewright::Io
