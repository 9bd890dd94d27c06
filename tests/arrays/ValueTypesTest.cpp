#include <map>
#include <typeindex>

#include <gtest/gtest.h>

#include <tilewright/arrays/MemArray.h>

namespace Quill {
namespace {

using namespace Orrery;

struct Facts {
    int tensorRank, scheme;
    const std::type_info &scalar, &chart;
    std::string letters;
};

/// What other modules know about the records, whatever the library works out.
const std::map<std::type_index, Facts> records = {
    {typeid(PhysicalSpace::point), {0, 0, typeid(double), typeid(Cartesian3D), "xyz"}},
    {typeid(PhysicalSpace::vector), {1, 1, typeid(double), typeid(Cartesian3D), "xyz"}},
    {typeid(Color8), {1, 0, typeid(unsigned char), typeid(RGB), "rgb"}},
    {typeid(Color16), {1, 0, typeid(unsigned short), typeid(RGB), "rgb"}},
    {typeid(Triple), {0, 0, typeid(double), typeid(void), ""}},
};

TEST(EachValueType, IsDescribedAsOthersKnowItAndMadeByItsAllocatorInEveryRank) {
    probeTypes(ValueTypes(), []<class T>(std::type_identity<T>) {
        SCOPED_TRACE(Larder::Typename(typeid(T)));
        const auto record = records.find(typeid(T));
        const bool isRecord = record != records.end();
        const Facts facts = isRecord ? record->second : Facts{0, 0, typeid(T), typeid(void), ""};
        const auto type = QuillType<T>::getQuillType();
        const QuillTypeIndex& index = type->index();
        EXPECT_EQ(index.scalarCount, isRecord ? 3 : 1);
        EXPECT_EQ(index.byteSize, sizeof(T));
        EXPECT_EQ(index.chartDimension, facts.letters.size());
        EXPECT_EQ(index.tensorRank, facts.tensorRank);
        EXPECT_EQ(type->indexing_scheme(7), facts.scheme);
        EXPECT_EQ(QuillTypeBase::find(typeid(T)), type);
        EXPECT_EQ(type->element_type()->getType(), facts.scalar);
        EXPECT_EQ(type->chart_type(), facts.chart);
        for (std::size_t c = 0; c < facts.letters.size(); ++c)
            EXPECT_EQ(type->coordinate_component_name(static_cast<int>(c)), facts.letters.substr(c, 1));
        if (facts.letters.empty())
            EXPECT_EQ(type->coordinate_component_name(0), "");
        else
            EXPECT_THROW(type->coordinate_component_name(3), std::logic_error);
        const auto allocator = MemBase::findAllocator(typeid(T));
        EXPECT_TRUE(allocator);
        for (const int rank : {-1, 0, 1, 2, 3, 4, 5}) {
            const ArrayPtr array =
                allocator->create(DynamicSize(rank, new unsigned long long[5]{2, 3, 4, 1, 1}));
            const Larder::StrongPtr<TypedArray<T>, Larder::Cacheable> typed = array;
            EXPECT_EQ(!!typed, rank >= 1 && rank <= 4);
            if (typed) {
                EXPECT_EQ(array->rank(), rank);
                EXPECT_EQ(typed->last(), T());
            }
        }
        return false;
    });
    EXPECT_FALSE(MemBase::findAllocator(typeid(bool)));
}

} // namespace
} // namespace Quill
