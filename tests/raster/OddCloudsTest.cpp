// Clouds off the ordinary road: missing storage, fields that don't fit their points, callbacks that change
// the cloud, and outputs that hold something already.
#include "tests/support/CloudBuilder.h"

namespace {

using namespace TestSupport;
using Doubles = std::vector<double>;
using Floats = std::vector<float>;
using Bytes = std::vector<unsigned char>;
using Shorts = std::vector<unsigned short>;
template <class T> using Array1 = Quill::MemArray<1, T>;
using OddCloud = TwoFragments;

TEST_F(OddCloud, PositionsWithoutStorageArePassedOver) {
    const Quill::ChunkPtr foreign = Larder::Ref<Larder::Chunk<double>>(9U, false),
                          reserved = Larder::Ref<Larder::Chunk<point>>(9U, true),
                          tooShort = Larder::Ref<Larder::Chunk<point>>(2U, false);
    for (const Quill::ChunkPtr& chunk : {Quill::ChunkPtr(), foreign, reserved, tooShort}) {
        in.array("Positions", Larder::Ref<Array1<point>>(chunk, Quill::MultiIndex<1>(3)));
        const Larder::Ref<Quill::Grid> fresh;
        const auto outcome = call.observed(in.grid(), *fresh);
        EXPECT_EQ(outcome.result, "");
        EXPECT_EQ(outcome.warned, "have no point cloud positions");
        EXPECT_FALSE(dataOf(*fresh, "Height"));
        EXPECT_EQ(cellsOf<double>(*fresh, "Height", {1, 0, 0}), (Doubles{0, 2}));
    }
}

TEST_F(OddCloud, FieldsWithFewerValuesThanPointsTakeNoPart) {
    in.values<float>("short", {1, 2}).values<float>("short", {7}, {1, 0, 0}).values<float>("none", {});
    in.array("foreign",
             Larder::Ref<Array1<float>>(Larder::Ref<Larder::Chunk<int>>(3U, false), Quill::MultiIndex<1>(3)));
    in.values<float>("long", {1, 2, 3, 4, 5});
    const auto outcome = call.observed(in.grid(), *out);
    EXPECT_EQ(outcome.result, "");
    EXPECT_EQ(outcome.warned, "raster: short has fewer values than points"
                              "raster: none has fewer values than points"
                              "raster: foreign has fewer values than points");
    for (const char* const name : {"short", "none", "foreign"})
        EXPECT_FALSE(dataOf(*out, name)) << name;
    EXPECT_EQ(cellsOf<float>(*out, "short", {1, 0, 0}), (Floats{0, 7}));
    EXPECT_EQ(cellsOf<float>(*out, "long"), (Floats{2, 2})) << "what is too much does no harm";
}

TEST_F(OddCloud, StorageThatAnArrayMakesForTheAskingIsHeldWhileItIsRead) {
    struct Lending : Array1<float> {
        Lending()
            : MemBase(Quill::QuillType<float>::getQuillType()->index(), {}), Array1<float>(
                                                                                 Quill::MultiIndex<1>(3)) {}
        TypedChunkPtr myChunk() const override {
            const Larder::Ref<Larder::Chunk<float>> lent(3U, false);
            lent->base_vector() = {10, 20, 30};
            return lent;
        }
    };
    in.array("lent", Larder::Ref<Lending>());
    EXPECT_EQ(run(), "");
    EXPECT_EQ(cellsOf<float>(*out, "lent"), (Floats{20, 20}));
}

TEST_F(OddCloud, ElementsFromACreatorAreReadOneByOne) {
    Maker<point> places({{0, 0, 5}, {1, 0, 1}, {0.25, 0, 8}});
    Maker<float> values({1, 2, 4});
    Maker<int> classes({1, 2, 2});
    in.array("Positions", places.array()).array("a", values.array()).array("class", classes.array());
    call.selection = "2@class";
    EXPECT_EQ(run(), "");
    EXPECT_EQ(cellsOf<double>(*out, "Height"), (Doubles{8, 1}));
    EXPECT_EQ(cellsOf<float>(*out, "a"), (Floats{4, 2}));
}

/// Does something when the fragment of that number is reported.
struct Meddler : Larder::LoaderProgress {
    Meddler(unsigned at, std::function<void()> act) : At(at), Act(std::move(act)) {}
    bool reportProgress(const std::string&, unsigned done, unsigned) override {
        if (done == At)
            Act();
        return true;
    }
    unsigned At;
    std::function<void()> Act;
};

TEST_F(OddCloud, IsReadAsItIsAfterTheReportOfAFragment) {
    call.progress = Larder::Ref<Meddler>(0U, [this] { in.points({{1, 0, 7}}); });
    EXPECT_EQ(run(), "");
    EXPECT_EQ(cellsOf<double>(*out, "Height"), (Doubles{0, 7}));
    EXPECT_EQ(cellsOf<unsigned short>(*out, "Density"), (Shorts{0, 1}));

    in.creator("Positions", {}, {1, 0, 0});
    call.progress = Larder::Ref<Meddler>(1U, [this] { in.points({{2, 0, 3}}, {1, 0, 0}); });
    EXPECT_EQ(call(in.grid(), *Larder::Ref<Quill::Grid>()), "");
    EXPECT_EQ(in.positions()->Creators.size(), 2U);
}

TEST_F(OddCloud, IsInMemoryOneFragmentAtATime) {
    const CacheBudget budget(0);
    Larder::WeakPtrImpl<Quill::MemBase, Larder::Cacheable> before;
    const auto making = [&](std::vector<point> places) {
        return Larder::Ref<OnDemand>([&before, places = std::move(places)] {
            EXPECT_FALSE(before) << "the fragment before is still there";
            const Quill::ArrayPtr made = arrayOf(places);
            before = made;
            return made;
        });
    };
    const auto first = making({{0, 0, 5}});
    in.creator("Positions", first).creator("Positions", making({{3, 0, 5}}), {1, 0, 0});
    EXPECT_EQ(run(), "");
    EXPECT_EQ(first->made, 1) << "though nothing keeps it";
    EXPECT_EQ(cellsOf<double>(*out, "Height", {1, 0, 0}), (Doubles{0, 5}));
}

TEST_F(OddCloud, HasItsPointsCountedIn16Bits) {
    std::vector<point> points(65535, point(0, 0, 0));
    points.resize(65535 + 65536, point(1, 0, 0));
    in.points(points);
    EXPECT_EQ(run(), "");
    EXPECT_EQ(cellsOf<unsigned short>(*out, "Density"), (Shorts{65535, 0}));
    EXPECT_EQ(cellsOf<unsigned char>(*out, "CellType"), (Bytes{0, 0}));
}

TEST_F(OddCloud, ReplacesPlainFieldsOfTheCompanionsNamesInTheOutput) {
    Quill::Representation& output = out->makeCartesianRepresentation(3, "", 0);
    for (const char* const name : {"CellType", "Density", "Height"})
        output[name] = plainField();
    EXPECT_EQ(run(), "");
    EXPECT_EQ(cellsOf<unsigned char>(*out, "CellType", {1, 0, 0}), (Bytes{1, 0}));
    EXPECT_EQ(cellsOf<unsigned short>(*out, "Density"), (Shorts{2, 1}));
    EXPECT_EQ(dataOf(*out, "Positions")->getCreator(), in.positions()->findCreator({}));
}

TEST_F(OddCloud, WithoutPositionsOrABoxLeavesWhatWasMadeBefore) {
    CloudBuilder pointless;
    pointless.points({}).values<float>("a", {});
    EXPECT_EQ(call(pointless.grid(), *out), " Could no create GlobalBBox. Maybe In-File not fragmented?");
    EXPECT_EQ(fieldNames(*out),
              (std::vector<std::string>{"Positions", "CellType", "Density", "Height", "a"}));
    EXPECT_EQ(cellsOf<float>(*out, "a"), Floats());
    in.field("Positions", plainField());
    const Larder::Ref<Quill::Grid> other;
    EXPECT_EQ(call(in.grid(), *other), "raster::Warning! Have no In-Positions Field. ");
    EXPECT_TRUE(other->findAttribute("PointCloudToRaster"));
}

} // namespace
