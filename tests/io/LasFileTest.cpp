#include <io/formats/las/LasFile.h>

#include <functional>
#include <limits>
#include <thread>

#include <stdio.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <gmock/gmock.h>

#include <io/formats/las/LasFields.h>
#include <io/gdal/CoordinateSystem.h>
#include <io/system/Errors.h>
#include <tests/io/FolderTest.h>

namespace Tilewright::Io::Test {
namespace {

class LasFileTest : public FolderTest {
protected:
    LasFile open(const Bytes& bytes) const {
        saveAs(Top / "cloud.las", bytes);
        return LasFile(Top / "cloud.las");
    }
};

using testing::AllOf, testing::HasSubstr, testing::Not, testing::StartsWith;

// Points

class LasFormatTest : public LasFileTest, public testing::WithParamInterface<unsigned> {};

struct BitField {
    const char* name;
    unsigned LasPoint::*bits;
    /// In the formats up to 5, and in those from 6 on.
    std::array<unsigned, 2> width, value;
};

const std::vector<BitField> bitFields = {
    {"ReturnNumber", &LasPoint::returnNumber, {3, 4}, {5, 10}},
    {"NumberOfReturns", &LasPoint::numberOfReturns, {3, 4}, {2, 5}},
    {"ScanDirectionFlag", &LasPoint::scanDirection, {1, 1}, {1, 1}},
    {"EdgeOfFlightLine", &LasPoint::edge, {1, 1}, {0, 0}},
    {"Classification", &LasPoint::classification, {5, 8}, {21, 0xB5}},
    {"Synthetic", &LasPoint::synthetic, {1, 1}, {0, 0}},
    {"KeyPoint", &LasPoint::keyPoint, {1, 1}, {1, 1}},
    {"Withheld", &LasPoint::withheld, {1, 1}, {0, 0}},
    {"Overlap", &LasPoint::overlap, {0, 1}, {0, 1}},
    {"ScannerChannel", &LasPoint::channel, {0, 2}, {0, 2}},
};

TEST_P(LasFormatTest, DecodesEveryAttributeToItsOwnBits) {
    const unsigned format = GetParam();
    const bool legacy = format <= 5;
    LasPoint a;
    a.xyz = {-2147483647 - 1, 1234567, -3};
    a.intensity = 0xA5C3;
    a.scanAngle = legacy ? -90 : -15000;
    a.userData = 0xC7;
    a.source = 0xBEEF;
    a.gpsTime = 1.5e8 + 0.125;
    a.colours = {0xF00D, 0x8001, 0x0102, 0xFFFE};
    a.waveIndex = 0xEE;
    a.waveOffset = 0x0012345678ABCDEF;
    a.waveSize = 0x89ABCDEF;
    a.wave = {1.5F, -2.25F, 3.125F, -4.0625F};
    LasPoint b = a;
    b.scanAngle = legacy ? 127 : 15000;
    std::map<std::string, Values> expected;
    const auto expect = [&](const char* name, FieldType type, auto first, auto second) {
        expected[name] = {type, {static_cast<double>(first), static_cast<double>(second)}};
    };
    // The second point has every bit field inverted, so that a neighbour's bit shows in one of the two.
    for (const auto& [name, bits, widths, values] : bitFields) {
        const unsigned width = widths[legacy ? 0 : 1], value = values[legacy ? 0 : 1];
        if (width == 0)
            continue;
        a.*bits = value;
        b.*bits = value ^ ((1U << width) - 1);
        expect(name, FieldType::UnsignedChar, a.*bits, b.*bits);
    }
    const auto expectBoth = [&](const char* name, FieldType type, auto value) {
        expect(name, type, value, value);
    };
    expectBoth("Intensity", FieldType::UnsignedShort, a.intensity);
    expect(legacy ? "ScanAngleRank" : "ScanAngle", FieldType::Int, a.scanAngle, b.scanAngle);
    expectBoth("UserData", FieldType::UnsignedChar, a.userData);
    expectBoth("PointSourceId", FieldType::UnsignedShort, a.source);
    if (format != 0 && format != 2)
        expectBoth("GpsTime", FieldType::Double, a.gpsTime);
    const std::size_t colours = std::array{0U, 0U, 3U, 3U, 0U, 3U, 0U, 3U, 4U, 0U, 4U}.at(format);
    for (std::size_t i = 0; i < colours; ++i)
        expectBoth(std::array{"Red", "Green", "Blue", "Nir"}.at(i), FieldType::UnsignedShort,
                   a.colours.at(i));
    if (format == 4 || format == 5 || format >= 9) {
        expectBoth("WavePacketDescriptorIndex", FieldType::UnsignedChar, a.waveIndex);
        expectBoth("WaveformDataOffset", FieldType::UnsignedLongLong, a.waveOffset);
        expectBoth("WaveformPacketSize", FieldType::UnsignedInt, a.waveSize);
        for (std::size_t i = 0; i < 4; ++i)
            expectBoth(std::array{"ReturnPointWaveformLocation", "XT", "YT", "ZT"}.at(i), FieldType::Float,
                       a.wave.at(i));
    }

    LasBuilder builder;
    builder.format = static_cast<std::uint8_t>(format);
    builder.versionMinor = legacy ? (format >= 4 ? 3 : 2) : 4;
    builder.scale = {0.01, 0.001, -0.5};
    builder.offset = {500000.1, -0.3, 7};
    builder.points = {a, b};
    const LasFile file = open(builder.build());
    EXPECT_EQ(valuesOf(file), expected);
    std::array<double, 3> position;
    file.read(0, 1, position.data(), {});
    EXPECT_EQ(position, (std::array{-2147483648.0 * 0.01 + 500000.1, 1234567 * 0.001 - 0.3, 8.5}));
}

INSTANTIATE_TEST_SUITE_P(AllFormats, LasFormatTest, testing::Range(0U, 11U));

/// Points in number and size enough for a read to cross from block to block and to give pages back.
LasBuilder largeCloud() {
    LasBuilder builder;
    builder.scale = {0.25, 0.25, -0.25};
    builder.points.assign(6000, {});
    for (std::int32_t i = 0; i < 6000; ++i) {
        LasPoint& point = builder.points[static_cast<std::size_t>(i)];
        point.xyz = {i, (i * 7919) % 6000, -i};
        point.intensity = static_cast<std::uint16_t>(i);
        point.userData = static_cast<std::uint8_t>(i % 251);
        point.extra.resize(980);
    }
    return builder;
}

TEST_F(LasFileTest, StatesTheBoxOfItsHeaderWhereItMakesSense) {
    LasBuilder builder;
    builder.scale = {0.01, 0.001, -0.5};
    builder.offset = {500000.1, -0.3, 7};
    Bytes bytes = builder.build();
    const auto state = [&bytes](std::size_t axis, double low, double high) {
        poke(bytes, 179 + 16 * axis, high);
        poke(bytes, 187 + 16 * axis, low);
    };
    EXPECT_FALSE(open(bytes).statedBounds());

    // Rounded as by a program that knows nothing of the offset.
    state(0, 500001.0, 500002.126);
    state(1, -0.3, 2.5);
    state(2, 7.1, 8.6);
    const auto box = open(bytes).statedBounds();
    ASSERT_TRUE(box);
    EXPECT_EQ(box->low, (std::array{90 * 0.01 + 500000.1, -0.3, 7.0}));
    EXPECT_EQ(box->high, (std::array{203 * 0.01 + 500000.1, 2800 * 0.001 - 0.3, 8.5}));

    state(2, 8.6, 7.1);
    EXPECT_FALSE(open(bytes).statedBounds()) << "upside down";
    state(2, 7.0, std::numeric_limits<double>::quiet_NaN());
    EXPECT_FALSE(open(bytes).statedBounds()) << "no number";
    state(2, 7.0, 7.0 + 0.5 * 0x1p31 + 1.0);
    EXPECT_FALSE(open(bytes).statedBounds()) << "out of reach of the integers";
}

TEST_F(LasFileTest, ReadsAnyStretchOnSeveralThreads) {
    const LasFile file = open(largeCloud().build());
    const auto check = [&file](std::size_t first, std::size_t count) {
        std::vector<double> xyz(3 * count);
        std::vector<unsigned short> intensity(count);
        std::vector<unsigned char> userData(count);
        const std::array columns = {FieldColumn{file.format().findField("Intensity"), std::span(intensity)},
                                    FieldColumn{file.format().findField("UserData"), std::span(userData)}};
        file.read(first, count, count == 0 ? nullptr : xyz.data(), columns);
        for (std::size_t i = 0; i < count; ++i) {
            const auto number = static_cast<double>(first + i);
            ASSERT_EQ(xyz[3 * i], number * 0.25);
            ASSERT_EQ(xyz[3 * i + 2], number * 0.25);
            ASSERT_EQ(intensity[i], first + i);
            ASSERT_EQ(userData[i], (first + i) % 251);
        }
    };
    {
        std::vector<std::jthread> threads;
        for (const auto& [first, count] : {std::pair{0, 6000}, {17, 5000}, {5999, 1}, {6000, 0}})
            threads.emplace_back(check, first, count);
    }
    EXPECT_THROW(check(5999, 2), std::out_of_range);
    const PointBounds some = file.bounds(10, 2);
    EXPECT_EQ((std::pair{some.low[2], some.high[2]}), (std::pair{2.5, 2.75}));
    EXPECT_GT(file.bounds(10, 0).low[0], file.bounds(10, 0).high[0]);
    EXPECT_THROW(file.bounds(1, std::numeric_limits<std::uint64_t>::max()), std::out_of_range);
}

TEST(RecordFormatTest, BoxHasItsPointsWhereTheDigitsOfCoordinatesRunOut) {
    constexpr std::size_t count = 999;
    for (const double scale : {1e-9, -1e-9, 1e-3, 0x1p-1074})
        for (const double offset : {0.0, 1e15, -4e6}) {
            const RecordFormat format{12, scaledCoordinates({scale, scale, 1}, {offset, offset, 0}), {}};
            Bytes records;
            for (std::size_t i = 0; i < count; ++i) {
                const auto raw =
                    static_cast<std::int32_t>(-0x80000000LL + 0x7FFFFFFFLL / 499 * std::int64_t(i));
                put(records, raw, raw, std::int32_t{0});
            }
            std::vector<double> xyz(3 * count);
            decodePositions(format, records.data(), count, xyz.data());
            for (std::size_t i = 0; i < count; i += 25) {
                const double at = xyz[3 * i];
                std::vector<std::uint32_t> found(count), expected;
                found.resize(findInBox(format, records.data(), count, {{at, at}, {at, at}}, found.data()));
                std::erase_if(found, [&](std::uint32_t k) { return xyz[3 * std::size_t(k)] != at; });
                for (std::uint32_t k = 0; k < count; ++k)
                    if (xyz[3 * std::size_t(k)] == at)
                        expected.push_back(k);
                ASSERT_EQ(found, expected) << scale << " " << offset << " " << at;
            }
        }
}

TEST_F(LasFileTest, CountOfPointsIsTheOneThatHolds) {
    LasBuilder builder;
    builder.versionMinor = 4;
    Bytes bytes = builder.build();
    poke<std::uint32_t>(bytes, 107, 1); // stale
    EXPECT_EQ(open(bytes).pointCount(), 3U);
    poke<std::uint32_t>(bytes, 107, 2);
    poke<std::uint64_t>(bytes, 247, 0); // a writer that knows no other count
    EXPECT_EQ(open(bytes).pointCount(), 2U);
}

// Extra bytes

Bytes description(const std::string& name, std::uint8_t type, std::uint8_t options = 0,
                  std::array<double, 3> scale = {}, std::array<double, 3> offset = {}) {
    Bytes bytes(2);
    put(bytes, type, options, textBytes(name, 32), Bytes(76), scale, offset, Bytes(32));
    return bytes;
}

TEST_F(LasFileTest, ExtraBytesComeUnderTheirNamesInFittingTypes) {
    LasPoint point;
    Bytes descriptions;
    std::map<std::string, Values> expected;
    const auto add = [&](const char* name, std::uint8_t code, FieldType type, auto value) {
        put(descriptions, description(name, code));
        put(point.extra, value);
        expected[name] = {type, {static_cast<double>(value)}};
    };
    add("u8", 1, FieldType::UnsignedChar, std::uint8_t{200});
    add("i8", 2, FieldType::Int, std::int8_t{-100});
    add("u16", 3, FieldType::UnsignedShort, std::uint16_t{60000});
    add("i16", 4, FieldType::Int, std::int16_t{-30000});
    put(descriptions, description("untyped", 0, 3));
    put(point.extra, textBytes("abc"));
    add("u32", 5, FieldType::UnsignedInt, std::uint32_t{4000000000});
    add("i32", 6, FieldType::Int, std::int32_t{-2000000000});
    add("u64", 7, FieldType::UnsignedLongLong, std::uint64_t{1} << 63);
    add("i64", 8, FieldType::Double, std::int64_t{-5000000000});
    add("float", 9, FieldType::Float, 1.5F);
    add("double", 10, FieldType::Double, 2.5);
    put(descriptions, description("scaled", 3, 0x18, {0.5}, {100}));
    expected["scaled"] = {FieldType::Double, {104.5}};
    put(descriptions, description("shifted byte", 1, 0x10, {0.5}, {-1000}));
    expected["shifted byte"] = {FieldType::Double, {-745}};
    put(descriptions, description("normal", 24, 0x08, {1, 2, 4}));
    put(point.extra, std::uint16_t{9}, std::uint8_t{255}, std::array<std::int16_t, 3>{-1, -2, -3});
    expected["normalX"] = {FieldType::Double, {-1}};
    expected["normalY"] = {FieldType::Double, {-4}};
    expected["normalZ"] = {FieldType::Double, {-12}};
    put(descriptions, description("Intensity", 1)); // taken by the format's own
    expected["Intensity_2"] = {FieldType::UnsignedChar, {42}};
    put(descriptions, description("Height", 1)); // those of the position
    expected["Height_3"] = {FieldType::UnsignedChar, {43}};
    put(descriptions, description("too long", 10));
    put(point.extra, std::uint8_t{42}, std::uint8_t{43}, std::uint32_t{0});

    LasBuilder builder;
    builder.points = {{}};
    expected.merge(valuesOf(open(builder.build())));
    builder.points = {point};
    builder.records = {{"LASF_Spec", 4, descriptions}};
    EXPECT_EQ(valuesOf(open(builder.build())), expected);
    builder.versionMinor = 4;
    std::swap(builder.records, builder.extendedRecords);
    EXPECT_EQ(valuesOf(open(builder.build())), expected);
}

// Coordinate system

LasRecord wktRecord(const std::string& text) { return {"LASF_Projection", 2112, textBytes(text)}; }

using GeoKeys = std::vector<std::array<std::uint16_t, 4>>;
LasRecord keyRecord(const GeoKeys& keys) {
    Bytes bytes;
    put(bytes, std::array<std::uint16_t, 4>{1, 1, 0, static_cast<std::uint16_t>(keys.size())});
    for (const auto& key : keys)
        put(bytes, key);
    return {"LASF_Projection", 34735, bytes};
}

const LasRecord utmWithHeights =
    keyRecord({{1024, 0, 1, 1}, {3072, 0, 1, 25832}, {4096, 0, 1, 5783}, {4099, 0, 1, 9001}});

TEST_F(LasFileTest, CoordinateSystemHasItsVerticalPart) {
    LasBuilder builder;
    builder.versionMinor = 4;
    EXPECT_EQ(open(builder.build()).coordinateSystem(), "");

    builder.records = {utmWithHeights};
    const std::string fromKeys = open(builder.build()).coordinateSystem();
    EXPECT_THAT(fromKeys,
                AllOf(StartsWith("COMPOUNDCRS["), HasSubstr("zone 32N"), HasSubstr("DHHN92 height")));

    builder.records = {};
    builder.extendedRecords = {wktRecord(compoundWkt)};
    const std::string fromWkt = open(builder.build()).coordinateSystem();
    EXPECT_THAT(fromWkt, AllOf(StartsWith("COMPOUNDCRS["), HasSubstr("VERTCRS[\"EGM96 height\"")));

    // With both records the header's bit decides, unless what it asks for makes no sense.
    builder.records = {utmWithHeights};
    EXPECT_EQ(open(builder.build()).coordinateSystem(), fromKeys);
    builder.globalEncoding = 0x10;
    EXPECT_EQ(open(builder.build()).coordinateSystem(), fromWkt);
    builder.extendedRecords = {wktRecord("PROJCS[nonsense")};
    EXPECT_EQ(open(builder.build()).coordinateSystem(), fromKeys);
}

TEST_F(LasFileTest, GeoKeysTakeNumbersAndTextsFromTheirRecords) {
    LasBuilder builder;
    Bytes numbers;
    put(numbers, std::array{43.0, 45.5, 41.75, -120.5, 1312335.958, 0.0});
    GeoKeys keys = {{1024, 0, 1, 1}, {2048, 0, 1, 4152}, {3072, 0, 1, 32767}, {3073, 34737, 12, 4}};
    keys.insert(keys.end(), {{3074, 0, 1, 32767}, {3075, 0, 1, 8}, {3076, 0, 1, 9002}});
    for (const unsigned key : {3078U, 3079U, 3085U, 3084U, 3086U, 3087U})
        keys.push_back(
            {static_cast<std::uint16_t>(key), 34736, 1, static_cast<std::uint16_t>(keys.size() - 7)});
    builder.records = {keyRecord(keys),
                       {"LASF_Projection", 34736, numbers},
                       {"LASF_Projection", 34737, textBytes("GCS|Own Lambert|")}};
    const std::string wkt = open(builder.build()).coordinateSystem();
    for (const char* part : {"Own Lambert", "Lambert Conic Conformal (2SP)", "-120.5", "45.5", "foot"})
        EXPECT_THAT(wkt, HasSubstr(part));
}

TEST_F(LasFileTest, CoordinateSystemsThatLieAreSurvived) {
    LasBuilder builder;
    LasRecord keys =
        keyRecord({{1024, 0, 1, 1}, {3072, 0, 1, 25832}, {2057, 34736, 500, 65535}, {3073, 34737, 99, 9}});
    poke<std::uint16_t>(keys.contents, 6, 60000);
    builder.records = {keys};
    EXPECT_THAT(open(builder.build()).coordinateSystem(), HasSubstr("UTM zone 32N"));
    for (const LasRecord& record :
         {wktRecord(""), wktRecord("no WKT"), keyRecord({}), keyRecord({{3072, 0, 1, 9}}),
          keyRecord({{1024, 0, 1, 77}}), LasRecord{"LASF_Projection", 34735, Bytes(5)}}) {
        builder.records = {record};
        EXPECT_EQ(open(builder.build()).coordinateSystem(), "");
    }
}

// Broken files

TEST_F(LasFileTest, FileThatIsCutShortWhileItIsReadEndsTheReadAndNotTheProcess) {
    const Bytes bytes = largeCloud().build(); // some 6 MB
    for (const std::size_t length : {bytes.size() - 5, bytes.size() / 2, std::size_t{1}}) {
        LasFile file = open(bytes);
        std::vector<unsigned short> intensity(6000);
        const std::array columns = {FieldColumn{file.format().findField("Intensity"), std::span(intensity)}};
        file.read(0, 6000, nullptr, columns);
        fs::resize_file(Top / "cloud.las", length);
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i)
            threads.emplace_back([&] {
                EXPECT_THAT(messageOf([&] { file.bounds(0, 6000); }),
                            HasSubstr("cloud.las: was cut short while it was read"));
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_THROW(file.read(5999, 1, nullptr, {}), InputError);
    }
    // What took the place of a file is another one.
    const LasFile file = open(bytes);
    fs::rename(Top / "cloud.las", Top / "old.las");
    saveAs(Top / "cloud.las", Bytes(1));
    EXPECT_EQ(file.bounds(0, 6000).high[0], 1499.75);
}

// Only maps are guarded.
TEST_F(LasFileTest, OtherBusErrorsAreLeftToOthers) {
    const LasFile file = open(LasBuilder().build());
    const auto readLostPage = [] {
        std::FILE* const empty = std::tmpfile();
        const auto* page = static_cast<const volatile char*>(
            ::mmap(nullptr, 4096, PROT_READ, MAP_SHARED, ::fileno(empty), 0));
        return page[0];
    };
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(readLostPage(), "");
}

TEST_F(LasFileTest, PipeIsRefusedInsteadOfWaitedFor) {
    ASSERT_EQ(::mkfifo((Top / "pipe").c_str(), 0600), 0);
    EXPECT_THAT(messageOf([&] { LasFile file(Top / "pipe"); }), HasSubstr("pipe: is not a regular file"));
}

TEST_F(LasFileTest, EachFaultOfAFileGetsItsOwnLine) {
    LasBuilder builder;
    builder.versionMinor = 4;
    builder.format = 6;
    builder.records = {{"other", 1, Bytes(10)}, wktRecord(compoundWkt)};
    builder.extendedRecords = {{"other", 2, Bytes(10)}};
    const Bytes sound = builder.build();
    const std::size_t firstRecord = 375;
    const std::size_t extendedRecord = sound.size() - 70;
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();

    const auto with = [](std::size_t offset, auto value) {
        return [offset, value](Bytes& bytes) { poke(bytes, offset, value); };
    };
    const std::vector<std::pair<const char*, std::function<void(Bytes&)>>> cases = {
        {"is empty", [](Bytes& bytes) { bytes.clear(); }},
        {"is not a LAS file", [](Bytes& bytes) { bytes.resize(3); }},
        {"100 of at least 227 bytes", [](Bytes& bytes) { bytes.resize(100); }},
        {"300 of 375 bytes", [](Bytes& bytes) { bytes.resize(300); }},
        {"is LAS 1.5", with(25, std::uint8_t{5})},
        {"LAS 1.4 takes 375", with(94, std::uint16_t{227})},
        {"inside its header", with(96, std::uint32_t{374})},
        {"points of format 11", with(104, std::uint8_t{11})},
        {"but no record says how", with(104, std::uint8_t{0x80 | 6})},
        {"given up long ago", with(104, std::uint8_t{0x40 | 6})},
        {"but its point format says that it is not",
         [=](Bytes& bytes) {
             std::memcpy(bytes.data() + firstRecord + 2, "laszip encoded", 14);
             poke(bytes, firstRecord + 18, std::uint16_t{22204});
             poke(bytes, firstRecord + 54, std::uint16_t{2});
         }},
        {"takes at least 30", with(105, std::uint16_t{0})},
        {"promises 4 points, but only 3", with(247, std::uint64_t{4})},
        // times 30 bytes this is 14 modulo 2^64, and would seem to fit
        {"promises 614891469123651721 points", with(247, std::uint64_t{614891469123651721})},
        {"x scale is zero or not finite", with(131, 0.0)},
        {"z offset is not finite", with(171, nan)},
        {"overflow", with(131, 1e300)},
        {"variable length record 1 of 2", with(firstRecord + 20, std::uint16_t{65535})},
        {"variable length record 3 of 4294967295", with(100, std::uint32_t{0xFFFFFFFF})},
        {"extended record 1 of 1", with(extendedRecord + 20, most)},
        {"extended record 1 of 1", with(235, most - 10)},
    };
    EXPECT_EQ(messageOf([&] { open(sound); }), noFailure);
    for (const auto& [part, damage] : cases) {
        Bytes bytes = sound;
        damage(bytes);
        const std::string message = messageOf([&] { open(bytes); });
        EXPECT_THAT(message, AllOf(HasSubstr(part), HasSubstr("cloud.las: "), Not(HasSubstr("\n"))));
    }
}

} // namespace
} // namespace Tilewright::Io::Test
