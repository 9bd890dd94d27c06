// Fields, fragments, creators and the cache behind them.
#include "tests/support/CloudBuilder.h"

#include <cmath>

#include <tilewright/model/FragmentRange.h>

namespace {

using namespace TestSupport;

TEST(RegularField, FragmentsAreNumberedAndNamedFirstIndexFastest) {
    const Larder::Ref<RegularField> field(Index(3, 2, 2), "RegularFragment");
    EXPECT_EQ(field->getFragmentID({0, 1, 1})->name, "RegularFragment[0x1x1]");
    EXPECT_EQ(field->Collection->NumberOfName.at("RegularFragment[2x1x1]"), 11U);
    EXPECT_EQ(field->Collection->findFragmentID(6), field->getFragmentID({0, 0, 1}));
    EXPECT_TRUE(field->Collection->findFragmentID(11));
    EXPECT_FALSE(field->Collection->findFragmentID(12));
    for (const Index& beyond : {Index(3, 0, 0), Index(0, 2, 0), Index(0, 0, 2)})
        EXPECT_FALSE(field->getFragmentID(beyond));
    EXPECT_FALSE((Larder::Ref<RegularField>(Index(3, 0, 2), "none")->getFragmentID({0, 0, 0})));
    field->Collection = {};
    EXPECT_FALSE(field->getFragmentID({0, 0, 0}));
}

TEST(RegularField, CopiesShareTheFragmentsAndWhatIsAttachedToThemButNoData) {
    CloudBuilder cloud({2, 1, 1});
    cloud.values<float>("a", {1});
    const Quill::RegularFieldPtr original = cloud.regularField("a");
    const Larder::Ref<RegularField> copy(*original);
    EXPECT_EQ(copy->FragmentCount, Index(2, 1, 1));
    EXPECT_TRUE(copy->Creators.empty());

    using Offset = Quill::FragmentLocation<3, Quill::GlobalOffset>;
    Quill::FragmentID& fragment = *original->getFragmentID({1, 0, 0});
    Offset::make(fragment) = Index(4, 5, 6);
    EXPECT_EQ(Offset::make(*copy->getFragmentID({1, 0, 0})), Index(4, 5, 6));
    EXPECT_EQ((Quill::FragmentLocation<3, Quill::LowOverlap>::make(fragment)), Index());
}

// Each array takes 8 bytes.
struct OnDemandArrays : testing::Test {
    Larder::Ref<OnDemand> a = onDemand<double>({1}), b = onDemand<double>({2}), c = onDemand<double>({3});
    Larder::Cache& cache = *Larder::Cache::MemCache();
    const unsigned long long keptBefore = cache.bytesKept();
};

TEST_F(OnDemandArrays, AreMadeOnceAndKnowTheirCreator) {
    const Quill::ArrayPtr array = Quill::getData(a);
    EXPECT_EQ(Quill::getData(a), array);
    EXPECT_EQ(a->made, 1);
    EXPECT_EQ(array->getCreator(), a);
    EXPECT_EQ(cache.bytesKept(), keptBefore + 8);
    const Larder::Ref<OnDemand> fails([] { return Quill::ArrayPtr(); });
    EXPECT_FALSE(Quill::getData(fails));
    EXPECT_FALSE(Quill::getData(fails));
    EXPECT_EQ(fails->made, 2) << "what can't be made is tried again";
}

TEST_F(OnDemandArrays, UsedLeastRecentlyAreEvictedFirstAndMadeAnew) {
    const CacheBudget budget(keptBefore + 16);
    for (const auto& each : {a, b, a, c})
        Quill::getData(each);
    EXPECT_FALSE(b->get());
    EXPECT_EQ((elementsOf<double, 1>(Quill::getData(b))), std::vector<double>{2});
    EXPECT_EQ((std::array{a->made, b->made, c->made}), (std::array{1, 2, 1}));
}

TEST_F(OnDemandArrays, ThatSomebodyHoldsOutliveTheirEviction) {
    const CacheBudget budget(0);
    const Quill::ArrayPtr held = Quill::getData(a);
    EXPECT_EQ((elementsOf<double, 1>(held)), std::vector<double>{1});
    EXPECT_EQ(Quill::getData(a), held) << "two arrays of one fragment would be in memory";
}

TEST_F(OnDemandArrays, AreLetGoAtOnceWhenTheBudgetShrinksOrTheCreatorDies) {
    Quill::getData(a);
    Quill::getData(b);
    a = onDemand<double>({4});
    EXPECT_EQ(cache.bytesKept(), keptBefore + 8);
    CloudBuilder cloud;
    cloud.values<double>("stored", {5});
    const CacheBudget budget(0);
    EXPECT_EQ(cache.bytesKept(), 0U);
    EXPECT_FALSE(b->get());
    EXPECT_TRUE(dataOf(cloud.grid(), "stored")) << "the cache is not all that keeps arrays";
}

TEST_F(OnDemandArrays, AreLeftToTheCacheByCreatorsThatKeepCopies) {
    struct Keeping : OnDemand {
        using OnDemand::OnDemand;
        void enableCaching(bool enabled) const override { isKeeping = enabled; }
        mutable bool isKeeping = true;
    };
    const Larder::Ref<Keeping> keeping([] { return arrayOf<double>({1}); });
    Quill::getData(keeping);
    EXPECT_FALSE(keeping->isKeeping) << "two would count the same bytes";
    cache.keep({});
}

TEST(StoredData, KeepTheirOwnCreatorAndLeaveARangeOnlyToWhoAsksForItAfterwards) {
    CloudBuilder cloud;
    const auto maker = onDemand<int>({1});
    const Quill::ArrayPtr array = Quill::getData(maker);
    cloud.array("a", array);
    EXPECT_EQ(array->getCreator(), maker);
    const Quill::FragmentIDPtr fragment = cloud.positions()->getFragmentID({});
    EXPECT_FALSE(fragment->findInterface(typeid(Quill::FragmentRanges)));
    EXPECT_TRUE(Quill::getRange(*cloud.regularField("a"), fragment, false, false));
}

using Components = std::vector<std::pair<double, double>>;

Components rangeOf(Quill::Field& field, const Quill::FragmentIDPtr& fragment) {
    Components result;
    const auto range = Quill::getRange(field, fragment, false, false);
    for (const auto& bounds : range->components())
        result.emplace_back(bounds.least, bounds.greatest);
    return result;
}

TEST(Range, FollowsTheDataOfItsOwnFieldOnASharedFragment) {
    CloudBuilder cloud;
    cloud.values<int>("a", {3, -2});
    const Quill::RegularFieldPtr a = cloud.regularField("a");
    const Larder::Ref<RegularField> b(*a);
    const Quill::FragmentIDPtr shared = a->getFragmentID({});
    b->setPersistentData(arrayOf<point>({{1, 2, 3}, {-1, std::nan(""), 5}}), shared,
                         Larder::Cache::MemCache(), "");
    EXPECT_EQ(rangeOf(*a, shared), (Components{{-2, 3}}));
    EXPECT_EQ(rangeOf(*b, shared), (Components{{-1, 1}, {2, 2}, {3, 5}}));
    cloud.values<int>("a", {7});
    EXPECT_EQ(rangeOf(*a, shared), (Components{{7, 7}})) << "a stale range would hide the new data";
    const auto maker = onDemand<int>({8});
    cloud.creator("a", maker);
    EXPECT_FALSE(Quill::getRange(*a, shared, false, false));
    EXPECT_EQ(maker->made, 0) << "it never loads data";
    Quill::getData(maker);
    EXPECT_EQ(rangeOf(*a, shared), (Components{{8, 8}}));
}

TEST(Range, IsThatOfTheViewAndOfTheCornersOfALattice) {
    CloudBuilder cloud;
    const Larder::Ref<Quill::MemArray<2, int>> rows(Quill::MultiIndex<2>(2, 3));
    for (int e = 0; e < 6; ++e)
        rows->data[e] = 10 * e;
    cloud.array("row", rows->getSlice(1, {}));
    cloud.array("lattice",
                Larder::Ref<Quill::UniformCartesianArray>(Index(2, 3, 4), point(1, 5, 9), vector(1, 2, -3)));
    const Quill::FragmentIDPtr shared = cloud.positions()->getFragmentID({});
    EXPECT_EQ(rangeOf(*cloud.regularField("row"), shared), (Components{{20, 30}}));
    EXPECT_EQ(rangeOf(*cloud.regularField("lattice"), shared), (Components{{1, 2}, {5, 9}, {0, 9}}));
}

TEST(Elements, ThatACreatorMakesAreAllReadAndThoseOfMissingStorageAreNone) {
    Maker<point> maker({{0, 0, 0}, {10, 10, 10}, {1, 1, 1}});
    CloudBuilder cloud;
    cloud.array("Positions", maker.array());
    const Quill::FragmentIDPtr fragment = cloud.positions()->getFragmentID({});
    EXPECT_EQ(rangeOf(*cloud.positions(), fragment), (Components(3, {0, 10})));
    EXPECT_EQ(Quill::getBoundingBox(*cloud.positions())->at(1), point(10, 10, 10));

    const Quill::ChunkPtr foreign = Larder::Ref<Larder::Chunk<double>>(9U, false),
                          empty = Larder::Ref<Larder::Chunk<point>>(9U, true);
    for (const Quill::ChunkPtr& chunk : {Quill::ChunkPtr(), foreign, empty}) {
        cloud.array("Positions", Larder::Ref<Quill::MemArray<1, point>>(chunk, Quill::MultiIndex<1>(3)));
        EXPECT_EQ(rangeOf(*cloud.positions(), fragment), Components());
        EXPECT_FALSE(Quill::getBoundingBox(*cloud.positions()));
    }
}

void expectBox(const Quill::BoundingBoxPtr& box, const point& low, const point& high) {
    ASSERT_TRUE(box);
    EXPECT_EQ(box->at(0), low);
    EXPECT_EQ(box->at(1), high);
}

TEST(Box, IsWorkedOutOverAllFragmentsPassingOverNaN) {
    CloudBuilder cloud({3, 1, 1});
    const double nan = std::nan("");
    EXPECT_FALSE(Quill::getBoundingBox(*cloud.points({{nan, nan, nan}}).positions()));
    cloud.points({{1, 5, nan}, {2, nan, 3}}).points({{-4, 4, 9}}, {2, 0, 0});
    cloud.array("Positions",
                Larder::Ref<Quill::UniformCartesianArray>(Index(2, 1, 3), point(0, 6, 0), vector(1, 1, -2)),
                {1, 0, 0});
    expectBox(Quill::getBoundingBox(*cloud.positions()), {-4, 4, -4}, {2, 6, 9});
}

TEST(Box, ThatAFieldCarriesIsItsAnswerWithoutLoadingAndStaysAsItIs) {
    CloudBuilder cloud, other;
    const auto maker = onDemand<point>({{50, 50, 50}});
    cloud.creator("Positions", maker).box({0, 1, 2}, {3, 4, 5});
    other.points({{-9, 2, 9}});
    Quill::BoundingBoxPtr grown;
    Quill::expandBoundingBox(cloud.positions(), grown);
    EXPECT_EQ(maker->made, 0);
    const Quill::BoundingBoxPtr same = grown;
    Quill::expandBoundingBox(other.positions(), grown);
    Quill::expandBoundingBox({}, grown);
    EXPECT_EQ(grown, same) << "it grows in place";
    expectBox(grown, {-9, 1, 2}, {3, 4, 9});
    EXPECT_EQ(Quill::getBoundingBox(*cloud.positions())->at(0), point(0, 1, 2));
}

} // namespace
