#include <array>
#include <numeric>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tilewright/arrays/MultiArray.h>

namespace Quill {
namespace {

std::vector<float> numbers(std::size_t count) {
    std::vector<float> result(count);
    std::iota(result.begin(), result.end(), 0.f);
    return result;
}

CreativeIterator<float> runOf(float* data, unsigned long long count, unsigned long long stride = 1,
                              unsigned long long firstSkip = 0, unsigned long long lastSkip = 0) {
    CreativeIterator<float> run;
    run.data = data;
    run.count = count;
    run.stride = stride;
    run.componentStride = stride == 1 ? count : 1;
    run.firstSkip = firstSkip;
    run.lastSkip = lastSkip;
    return run;
}

TEST(ElementAccess, SkipsAndStridesInElementsOfTheView) {
    std::vector<float> storage = numbers(200);
    const CreativeIterator<float> run = runOf(storage.data(), 200, 3, 2);
    const MultiArray<1, float> constant(run, 5, nullptr);
    constant[0] = -1;
    EXPECT_EQ(storage[6], -1) << "constness is that of the view";
    EXPECT_EQ((MultiArray<4, float>(run, {2, 3, 2, 4}, nullptr)[{1, 2, 1, 3}]),
              (((2 * 3 + 1) * 3 + 2) * 2 + 1 + 2) * 3);
}

TEST(LastSkip, LeavesOutWhatTheShapeDoesNotNeedAndNeverWidensARun) {
    using Case = std::array<unsigned long long, 5>;
    for (const auto& [storage, firstSkip, lastSkip, needed, fitted] :
         {Case{10, 2, 0, 6, 2}, Case{10, 2, 2, 6, 2}, Case{10, 0, 7, 6, 7}, Case{10, 0, 1, 0, 10},
          Case{4, 0, 5, 6, 0}})
        for (const unsigned long long stride : {1u, 3u}) {
            const auto run = runOf(nullptr, storage * stride, stride, firstSkip, lastSkip);
            EXPECT_EQ((MultiArray<1, float>(run, needed, nullptr).lastSkip), fitted);
        }
}

TEST(Triples, LieInPlanesOrSideBySide) {
    using Orrery::FixedArray;
    std::vector<FixedArray<double, 3>> storage{{0, 1, 2}, {3, 4, 5}, {6, 7, 8}, {9, 10, 11}};
    Iterator<FixedArray<double, 3>> planes;
    planes.data = storage.data();
    planes.count = 12;
    planes.componentStride = 4;
    planes.firstSkip = planes.lastSkip = 1;
    Iterator<FixedArray<double, 3>> sideBySide = planes;
    sideBySide.stride = 3;
    sideBySide.componentStride = 1;
    using Proxy = ElementProxy<Iterator<FixedArray<double, 3>>>;
    EXPECT_EQ((FixedArray<double, 3>(Proxy{&planes, 2})), (FixedArray<double, 3>{3, 7, 11}));
    EXPECT_EQ((FixedArray<double, 3>(Proxy{&sideBySide, 2})), (FixedArray<double, 3>{9, 10, 11}));

    double* const scalars = storage.front().data();
    const auto shapeOf = [](const Iterator<double>& run) {
        return std::array{run.count, run.stride, run.componentStride, run.firstSkip, run.lastSkip};
    };
    for (const int component : {0, 1, 2}) {
        const Iterator<double> plane(planes, component), column(sideBySide, component);
        EXPECT_EQ(plane.data, scalars + 4) << "always the plane after the first one";
        EXPECT_THAT(shapeOf(plane), testing::ElementsAre(4, 1, 4, 1, 1));
        EXPECT_EQ(column.data, scalars + component);
        EXPECT_THAT(shapeOf(column), testing::ElementsAre(12, 3, 0, 1, 1));
    }
    planes.data = sideBySide.data = nullptr;
    EXPECT_EQ(Iterator<double>(planes, 1).data, nullptr);
    EXPECT_EQ(Iterator<double>(sideBySide, 1).data, nullptr);
}

struct Source : DataCreator<float> {
    MOCK_METHOD(CreativeIterator<float>, slice, (unsigned dimension, unsigned long long index), (override));
    MOCK_METHOD(float&, element, (unsigned long long index), (override));
};

TEST(OutOfMemoryArray, AsksItsOwnSourceFromTheOutermostDimensionInwards) {
    const testing::InSequence inOrder;
    testing::StrictMock<Source> source, other;
    std::vector<float> slab = numbers(60);
    // The creator in an answer is not the one to ask.
    CreativeIterator<float> nowhere = runOf(nullptr, 0);
    nowhere.creator = &other;
    const MultiArray<3, float> cube(nowhere, {4, 3, 2}, &source);
    EXPECT_CALL(source, slice(2, 1)).WillOnce(testing::Return(runOf(slab.data(), 60, 2, 5)));
    EXPECT_EQ(&(cube[{3, 2, 1}]), &slab[(4 * 2 + (3 + 5)) * 2]);

    EXPECT_CALL(source, slice(2, 1)).WillOnce(testing::Return(nowhere));
    EXPECT_CALL(source, slice(1, 2)).WillOnce(testing::Return(runOf(slab.data(), 60)));
    EXPECT_CALL(source, element(3)).WillOnce(testing::ReturnRef(slab[7]));
    EXPECT_EQ(&(cube[{3, 2, 1}]), &slab[7]) << "the answer for the row is not used";

    EXPECT_CALL(source, element(4)).WillOnce(testing::ReturnRef(slab[9]));
    EXPECT_EQ(&(MultiArray<1, float>(nowhere, 5, &source)[4]), &slab[9]);

    EXPECT_CALL(source, slice(3, 2)).WillOnce(testing::Return(nowhere));
    EXPECT_CALL(source, slice(2, 1)).WillOnce(testing::Return(runOf(slab.data(), 60)));
    EXPECT_EQ(&(MultiArray<4, float>(nowhere, {4, 3, 2, 5}, &source)[{3, 2, 1, 2}]), &slab[4 * 2 + 3]);
}

} // namespace
} // namespace Quill
