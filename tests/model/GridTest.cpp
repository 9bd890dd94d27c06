// Skeletons, representations and the record of fragments.
#include "tests/support/CloudBuilder.h"

namespace {

using namespace TestSupport;
using Quill::SkeletonID;
using FragmentedGrid = Quill::RegularlyFragmentedGrid<3>;

TEST(Grid, LooksUpTheLeastVertexSkeletonAndMakesNothing) {
    const Larder::Ref<Quill::Grid> grid;
    for (int repeat = 0; repeat < 2; ++repeat)
        EXPECT_FALSE(grid->getSkeleton(SkeletonID(3, 0)));
    EXPECT_FALSE(grid->CartesianPositions());
    (*grid)[SkeletonID(0, 2)];
    EXPECT_FALSE(grid->findVertices(-1)) << "only depth 0 means vertices";
    EXPECT_FALSE(grid->getCartesianRepresentation(""));
    grid->makeCartesianRepresentation(3, "", 0);
    const Quill::Skeleton& line = (*grid)[SkeletonID(1, 0)];
    EXPECT_EQ(grid->findVertices(-1).rawptr(), &line);
    EXPECT_TRUE(grid->findVertices(3));
    EXPECT_FALSE(grid->findVertices(2));
    EXPECT_TRUE(grid->getCartesianRepresentation("")) << "the first vertex skeleton has none, the second has";
}

struct Fields : testing::Test {
    Larder::Ref<Quill::Grid> grid;
    Quill::Representation& fields = grid->makeCartesianRepresentation(3, "", 0);
};

TEST_F(Fields, StayWhereTheyAre) {
    fields["Positions"] = plainField();
    const Quill::FieldPtr& positions = fields.findField("Positions");
    for (int i = 0; i < 100; ++i) {
        grid->makeCartesianRepresentation(3, "chart" + std::to_string(i), 1);
        fields["field" + std::to_string(i)] = plainField();
    }
    EXPECT_EQ(&grid->makeCartesianRepresentation(3, "", 0), &fields);
    EXPECT_EQ(&fields.findField("Positions"), &positions);
    EXPECT_NE(&grid->makeCartesianRepresentation(3, "", 1), &fields) << "charts differ by number";
}

TEST_F(Fields, AreVisitedInTheOrderOfTheirNamesArrival) {
    grid->makeCartesianRepresentation(4, "", 0)["elsewhere"] = plainField();
    fields["zebra"]; // The name comes in here, its field last of all.
    for (const char* const name : {"monkey", "ant", "monkey", "zebra"})
        fields[name] = plainField();
    EXPECT_EQ(fieldNames(*grid), (std::vector<std::string>{"zebra", "monkey", "ant"}));
}

/// An owner that hears of what becomes of what it owns.
template <class T> struct Listener : Quill::Ownable<T>::Container, Larder::Ageable {
    bool processOwnership(Larder::Intercube&, const Larder::Intercube&) const override {
        ++asked;
        return false;
    }
    mutable int asked = 0;
};

TEST(Ownership, LeadsFromACreatorInASlotUpToTheGridWhoseOwnersTakeTheAge) {
    CloudBuilder cloud;
    const Quill::RegularFieldPtr field = cloud.regularField("a");
    const auto creator = onDemand<int>({1});
    (*field)[{}] = creator;
    const Larder::Ref<Listener<Quill::BaseSpace>> above;
    cloud.grid()[SkeletonID(3, 0)].addOwner(*above);
    creator->updateOwnershipAge(aged(5));
    EXPECT_EQ(field->age(), 5U);
    EXPECT_EQ(cloud.representation().age(), 5U);
    EXPECT_EQ(above->age(), 5U);

    const Larder::Ref<Larder::Creature> target, source;
    EXPECT_FALSE(creator->processOwnership(*target, *source)) << "the answer comes down";
    EXPECT_EQ(above->asked, 1);

    const Larder::Ref<Listener<Quill::Grid>> farAbove;
    cloud.grid().addOwner(*farAbove);
    cloud.grid().makeCartesianChart("", 0)->updateOwnershipAge(aged(7));
    EXPECT_EQ(farAbove->age(), 7U) << "a chart belongs to its grid";
}

TEST(Ownership, EndsWhereAFieldOrCreatorIsReplaced) {
    CloudBuilder cloud;
    cloud.values<int>("a", {1});
    const Quill::RegularFieldPtr field = cloud.regularField("a");
    const Quill::CreatorPtr creator = field->findCreator({});
    cloud.values<int>("a", {2});
    creator->updateOwnershipAge(aged(5));
    EXPECT_EQ(field->age(), 0U);
    cloud.field("alias", field);
    cloud.field("a", plainField());
    field->updateOwnershipAge(aged(6));
    EXPECT_EQ(cloud.representation().age(), 6U) << "it is still there under its other name";
    cloud.field("alias", plainField());
    field->updateOwnershipAge(aged(7));
    EXPECT_EQ(cloud.representation().age(), 6U);
}

TEST(Ages, ComeFromTheClockAtBirth) {
    const unsigned long long now = std::exchange(Larder::Ageable::GlobalTime, 42);
    const Larder::Ref<Quill::Field> field(Quill::FragmentIDCollectionPtr{});
    Larder::Ageable::GlobalTime = now;
    EXPECT_EQ(field->age(), 42U);
    EXPECT_EQ(field->FragmentAge, 42U);
}

TEST_F(Fields, AreMadeOfDataOrOfFragmentsOrAnEmptySlot) {
    const Larder::Ref<RegularField> regular(Index(2, 1, 1), "Fragment");
    const Quill::FragmentIDCollectionPtr fragments = regular->getFragmentIDCollection();
    fields.makeField(fields.makeFieldID("empty"), {}, {});
    fields.makeField(fields.makeFieldID("fragments"), fragments, {});
    fields.makeField(fields.makeFieldID("first"), fragments, arrayOf<int>({7}));
    fields.makeField(fields.makeFieldID("whole"), {}, arrayOf<int>({8}));
    EXPECT_FALSE(fields.findField("empty"));
    const Quill::FieldPtr none = fields.findField("fragments"), first = fields.findField("first"),
                          whole = fields.findField("whole");
    EXPECT_EQ(none->getFragmentIDCollection(), fragments);
    EXPECT_TRUE(none->Creators.empty());
    EXPECT_EQ(first->Creators.size(), 1U);
    EXPECT_TRUE(first->getData(fragments->findFragmentID(0)));
    EXPECT_FALSE(first->getData({})) << "a field with fragments has no data of its own";
    EXPECT_TRUE(whole->getData({}));
    EXPECT_FALSE(whole->newFragmentationArray());
    using Flat = Quill::RegularlyFragmentedField<2>;
    EXPECT_FALSE(Larder::Ref<Flat>(Quill::MultiIndex<2>(2, 2), "Flat")->newFragmentationArray());
}

TEST_F(Fields, AreNotStoredUnderNoName) {
    fields.makeField({}, {}, {}) = plainField();
    EXPECT_EQ(fieldNames(*grid), std::vector<std::string>());
    EXPECT_FALSE(fields.findField(Quill::FieldIDPtr()));
    EXPECT_FALSE(fields.setPositions({}));
    EXPECT_FALSE(fields.findFieldID("Positions"));
    EXPECT_TRUE(fields.setPositions(plainField()));
    EXPECT_TRUE(fields.Positions());
}

TEST_F(Fields, MayBeWrittenToWhileTheyAreWalked) {
    for (const char* const name : {"a", "b", "c"})
        fields[name] = plainField();
    const Quill::Field* const before = fields.findField("b").rawptr();
    std::vector<std::string> visited;
    fields.iterate([&](const Quill::FieldID& identifier, const Quill::Field& field) {
        visited.push_back(identifier.name);
        for (int i = 0; i < 50; ++i)
            fields["new" + std::to_string(i)] = plainField();
        fields["b"] = plainField();
        EXPECT_EQ(identifier.name == "b", &field == before) << "the walk is over what was there at its start";
        return visited.size() < 2; // A false answer ends it.
    });
    EXPECT_EQ(visited, (std::vector<std::string>{"a", "b"}));
}

TEST(FragmentedGrid, RecordsTheFragmentsOnceAndShowsThemLater) {
    const CloudBuilder cloud({2, 1, 3}), other({5, 5, 5});
    const auto view = FragmentedGrid::create(cloud.grid(), cloud.positions());
    EXPECT_EQ((*view.FragmentArray)[Index(1, 0, 2)], cloud.positions()->getFragmentID({1, 0, 2}));
    EXPECT_EQ(view.FragmentSkeleton, cloud.grid().getSkeleton(SkeletonID(3, 2)));
    EXPECT_EQ(view.FragmentRepresentation, (*view.FragmentSkeleton)(*cloud.grid().findVertices(-1)));
    EXPECT_EQ(FragmentedGrid::create(cloud.grid(), other.positions()).FragmentArray, view.FragmentArray)
        << "the record that is there stays";
    EXPECT_EQ(FragmentedGrid(Quill::GridPtr(&cloud.grid())).FragmentArray, view.FragmentArray);

    const Larder::Ref<Quill::Grid> bare;
    EXPECT_FALSE(FragmentedGrid::create(*bare, cloud.positions()).theGrid) << "it has no vertices";
    (*bare)[SkeletonID(3, 2)];
    EXPECT_EQ(FragmentedGrid(bare).theGrid, bare);
    EXPECT_TRUE(FragmentedGrid(bare).FragmentSkeleton);
    EXPECT_FALSE(FragmentedGrid(bare).FragmentRepresentation);
    bare->makeCartesianRepresentation(3, "", 0);
    EXPECT_FALSE(FragmentedGrid(bare).FragmentRepresentation);
    EXPECT_FALSE(FragmentedGrid::create(other.grid(), {}).theGrid);
}

} // namespace
