#include <io/records/RecordStore.h>

#include <gtest/gtest.h>

#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

class RecordStoreTest : public FolderTest {};

// More than stays in memory, with the blocks of the two stores in turns.
TEST_F(RecordStoreTest, StoresThatShareRoomKeepTheirRecordsApart) {
    constexpr std::uint64_t count = 400000;
    const auto scratch = std::make_shared<ScratchSpace>(Top);
    RecordFormat format;
    format.fields = {storedField("number", FieldType::UnsignedInt),
                     storedField("part", FieldType::UnsignedChar)};
    std::array stores = {std::make_unique<RecordStore>("a", format, "", scratch),
                         std::make_unique<RecordStore>("b", format, "", scratch)};
    for (std::uint64_t i = 0; i < count; ++i)
        for (std::size_t k = 0; k < 2; ++k) {
            const auto number = static_cast<double>(i);
            std::byte* const record = stores[k]->append({number, -number, static_cast<double>(k)});
            const std::vector<PointField>& fields = stores[k]->format().fields;
            RecordStore::put(record, fields[0], static_cast<unsigned int>(i));
            RecordStore::put(record, fields[1], static_cast<unsigned char>(k));
        }
    for (const auto& store : stores)
        store->finish();
    EXPECT_EQ(namesIn(Top), Names{});
    for (std::size_t k = 0; k < 2; ++k) {
        const PointSource& source = *stores[k];
        ASSERT_EQ(source.pointCount(), count);
        for (const auto& [first, n] :
             {std::pair<std::uint64_t, std::size_t>{0, count}, {count - 1, 1}, {123456, 99999}}) {
            std::vector<double> xyz(3 * n);
            std::vector<unsigned int> numbers(n);
            std::vector<unsigned char> parts(n);
            source.read(first, n, xyz.data(),
                        std::array{FieldColumn{source.format().findField("number"), std::span(numbers)},
                                   FieldColumn{source.format().findField("part"), std::span(parts)}});
            ASSERT_EQ(std::vector<unsigned char>(n, static_cast<unsigned char>(k)), parts);
            for (std::size_t i = 0; i < n; ++i) {
                ASSERT_EQ(numbers[i], first + i);
                ASSERT_EQ(xyz[3 * i], static_cast<double>(first + i));
                ASSERT_EQ(xyz[3 * i + 2], static_cast<double>(k));
            }
        }
        EXPECT_EQ(source.bounds(count - 5, 5).low[0], static_cast<double>(count - 5));
    }
}

} // namespace
} // namespace Tilewright::Io::Test
