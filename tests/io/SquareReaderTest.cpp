// Points found by the stretches of files, or sorted first, in memory or on disk: all must be the same.
#include <io/blocks/WindowPoints.h>

#include <cmath>
#include <random>

#include <io/records/ArraySource.h>
#include <io/system/Errors.h>
#include <tests/io/FolderTest.h>
#include <tilewright/arrays/MemArray.h>

namespace Tilewright::Io::Test {
namespace {

using Orrery::PhysicalSpace::point;

struct TestPoint {
    std::array<double, 3> position;
    std::uint16_t intensity;
    unsigned char classification;
};

class SquareReaderTest : public FolderTest {
protected:
    /// A scan in two files, in strips or in no order; many points lie on the edges of cells.
    void makeCloud(bool inOrder) {
        std::mt19937 random(5);
        std::vector<fs::path> paths;
        for (int file = 0; file < 2; ++file) {
            LasBuilder las;
            las.offset = {512000.0, 5240000.0, 0.0};
            las.points.assign(12000, {});
            int i = 0;
            for (LasPoint& p : las.points) {
                const int along = inOrder ? i++ * 12 : static_cast<int>(random() % 144000);
                p.xyz = {static_cast<int>(random() % 400) * 100 + file * 30000, along / 10 * 10,
                         static_cast<int>(random() % 9000)};
                p.intensity = static_cast<std::uint16_t>(random());
                p.classification = static_cast<unsigned>(random() % 7);
                Points.push_back({{p.xyz[0] * 0.01 + 512000.0, p.xyz[1] * 0.01 + 5240000.0, p.xyz[2] * 0.01},
                                  p.intensity,
                                  static_cast<unsigned char>(p.classification)});
            }
            paths.push_back(Top / ("scan" + std::to_string(file) + ".las"));
            saveAs(paths.back(), las.build());
        }
        Cloud = std::make_unique<PointCloud>(paths, CloudOptions(), false);
        Index = indexCloud(*Cloud, {"Intensity"}, 2, {});
    }

    /// The same points, from columns each of another type.
    void takeFromMemory() {
        for (const TestPoint& p : Points) {
            Heights.push_back(static_cast<float>(p.position[2]));
            Norths.push_back(static_cast<std::int64_t>(std::round((p.position[1] - 5240000.0) / 0.01)));
        }
        const auto column = [this](PointField field, const auto& first, std::size_t stride) {
            return ArrayColumn{std::move(field), reinterpret_cast<const std::byte*>(&first), Points.size(),
                               static_cast<std::ptrdiff_t>(stride)};
        };
        using Storage = PointField::Storage;
        const TestPoint& first = Points.front();
        const std::array coordinates = {
            column(plainField("", Storage::Double), first.position[0], sizeof(TestPoint)),
            column(scaledField("", Storage::Int64, 0.01, 5240000.0), Norths.front(), sizeof(std::int64_t)),
            column(plainField("", Storage::Float), Heights.front(), sizeof(float))};
        for (std::size_t i = 0; i < Points.size(); ++i)
            Points[i].position[2] = static_cast<double>(Heights[i]);
        std::vector<std::unique_ptr<PointSource>> sources;
        sources.push_back(std::make_unique<ArraySource>(
            "columns", coordinates,
            std::vector{column(plainField("Intensity", Storage::UInt16), first.intensity, sizeof(TestPoint)),
                        column(plainField("Classification", Storage::Bits), first.classification,
                               sizeof(TestPoint))}));
        Cloud = std::make_unique<PointCloud>(std::move(sources), false);
        Index = indexCloud(*Cloud, {"Intensity"}, 2, {});
    }

    /// Every square's points must be those of a plain search, in the order of the cloud.
    void expectAllSquares(const SquareReader& reader, const BlockLattice& lattice, const ReductionPlan& plan,
                          bool selected) {
        std::uint64_t total = 0;
        for (std::uint64_t down = 0; down < lattice.squaresDown(reader.side()); ++down)
            for (std::uint64_t across = 0; across < lattice.squaresAcross(reader.side()); ++across) {
                const CellWindow window = lattice.square(reader.side(), across, down);
                WindowPoints points(reader, lattice, plan, {across, down, window});
                ASSERT_TRUE(points.load());
                std::vector<const TestPoint*> expected;
                for (const TestPoint& p : Points)
                    if ((!selected || p.classification == 2 || p.classification >= 5) &&
                        isIn(lattice.x(), p.position[0], window.column, window.columns) &&
                        isIn(lattice.y(), p.position[1], window.row, window.rows))
                        expected.push_back(&p);
                ASSERT_EQ(expected.size(), points.points().size());
                ASSERT_EQ(expected.empty(),
                          reader.estimate({across, down, window}) == 0.0 && expected.empty());
                const std::span<const std::uint32_t> cells = points.points().cells();
                const std::vector<Quill::ArrayPtr> columns = points.takeColumns();
                const Larder::StrongPtr<Quill::MemArray<1, point>, Larder::Cacheable> whole = columns[0];
                const Larder::StrongPtr<Quill::MemArray<1, unsigned short>, Larder::Cacheable> intensity =
                    columns[1];
                const Larder::StrongPtr<Quill::MemArray<1, unsigned long long>, Larder::Cacheable> keys =
                    columns[2];
                ASSERT_TRUE(whole && intensity && keys);
                for (std::uint64_t i = 0; i < expected.size(); ++i) {
                    const std::array<double, 3>& p = expected[i]->position;
                    ASSERT_EQ(point(p[0], p[1], p[2]), (*whole)[i]);
                    ASSERT_EQ(expected[i]->intensity, (*intensity)[i]);
                    ASSERT_EQ(p[1], numberOfOrderKey((*keys)[i], true));
                    ASSERT_EQ(cellIn(lattice.x(), p[0], window.column) +
                                  cellIn(lattice.y(), p[1], window.row) * window.columns,
                              cells[i]);
                }
                total += expected.size();
            }
        EXPECT_EQ(reader.wantedPoints(), total);
        EXPECT_LT(0U, total);
    }

    static PointCondition groundAndBuildings() {
        PointCondition condition;
        condition.field = {"Classification", FieldType::UnsignedChar};
        condition.ranges = {{2.0, 2.0}, {5.0, 9.0}};
        return condition;
    }

    static std::uint64_t cellIn(const LatticeAxis& axis, double coordinate, std::uint64_t first) {
        std::int64_t cell;
        return axis.locate(coordinate, cell) ? static_cast<std::uint64_t>(cell) - first : mostCells;
    }

    static bool isIn(const LatticeAxis& axis, double coordinate, std::uint64_t first, std::uint64_t count) {
        return cellIn(axis, coordinate, first) < count;
    }

    static constexpr auto mostCells = std::numeric_limits<std::uint64_t>::max();

    std::vector<TestPoint> Points;
    std::vector<float> Heights;
    std::vector<std::int64_t> Norths;
    std::unique_ptr<PointCloud> Cloud;
    CloudIndex Index;
};

TEST_F(SquareReaderTest, SquaresHaveTheirPointsInOrderHoweverTheyAreRead) {
    std::vector<double> efforts;
    for (const bool inOrder : {true, false, false}) {
        const bool isInMemory = efforts.size() == 2;
        if (isInMemory) {
            takeFromMemory();
        } else {
            Points.clear();
            makeCloud(inOrder);
        }
        for (const bool bounded : {false, true})
            for (const bool selected : {false, true}) {
                LatticeAxis::Request x = {Index.bounds.low[0], Index.bounds.high[0], 1.0, 0.0, {}};
                LatticeAxis::Request y = {Index.bounds.low[1], Index.bounds.high[1], 0.5, 0.2, {}};
                if (bounded)
                    x.bounds = {{512100.5, 512500.0}};
                const BlockLattice lattice(x, y);
                ReductionPlan plan;
                plan.needs.fields = {{"Intensity", FieldType::UnsignedShort}};
                if (selected)
                    plan.needs.selection.push_back(groundAndBuildings());
                using Kind = PointColumn::Kind;
                plan.columns = {{Kind::Positions, 0, FieldType::Double, {}, 1.0},
                                {Kind::Attribute, 0, FieldType::UnsignedShort, {}, 1.0},
                                {Kind::Y, 0, FieldType::UnsignedLongLong, OrderKeys::ReversedNumbers, 1.0}};
                const auto inMemory = std::uint64_t(1) << 30;
                expectAllSquares(*makeStretchReader(*Cloud, Index, lattice, plan.needs, 256, {2, 0, Top, {}}),
                                 lattice, plan, selected);
                expectAllSquares(
                    *makeSortedReader(*Cloud, Index, lattice, plan.needs, 256, {2, inMemory, Top, {}}),
                    lattice, plan, selected);
                // Stretches that are longer than a run, as large chunks of compressed files are.
                CloudIndex coarse = Index;
                coarse.stretches = {{0, 0, 12000, {}, {}}, {1, 0, 12000, {}, {}}};
                if (isInMemory)
                    coarse.stretches = {{0, 0, 24000, {}, {}}};
                for (const CloudIndex& index : {Index, coarse})
                    expectAllSquares(
                        *makeSortedReader(*Cloud, index, lattice, plan.needs, 64, {2, 1000, Top, {}}),
                        lattice, plan, selected);
            }
        EXPECT_EQ((Names{"scan0.las", "scan1.las"}), namesIn(Top)) << "scratch files have no name";
        efforts.push_back(readingEffort(
            Index, BlockLattice({0, 1, 1, 0, {{512000.0, 512700.0}}}, {0, 1, 1, 0, {{5240000.0, 5241500.0}}}),
            256));
    }
    EXPECT_LT(efforts[0], 0.7 * efforts[1]) << "points in order are read less often";
}

TEST_F(SquareReaderTest, FailuresOfAnyThreadComeOutAndStopTheOthers) {
    makeCloud(false);
    const BlockLattice lattice({Index.bounds.low[0], Index.bounds.high[0], 1.0, 0.0, {}},
                               {Index.bounds.low[1], Index.bounds.high[1], 1.0, 0.0, {}});
    const PointNeeds needs;
    EXPECT_THROW(makeSortedReader(*Cloud, Index, lattice, needs, 256, {2, 1000, Top / "nowhere", {}}),
                 OutputError);
    int reports = 0;
    const StepReport stop = [&](std::uint64_t, std::uint64_t) { return ++reports < 1; };
    EXPECT_THROW(makeSortedReader(*Cloud, Index, lattice, needs, 256, {1, 1000, Top, stop}), Interruption);
    EXPECT_THROW(indexCloud(*Cloud, {}, 1, stop), Interruption);
}

} // namespace
} // namespace Tilewright::Io::Test
