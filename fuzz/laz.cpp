#include <cstring>

#include <fuzz/FileInput.h>
#include <io/formats/las/LazFile.h>
#include <io/records/RecordFormat.h>
#include <io/system/InputFile.h>

namespace {

using namespace Tilewright;

/// A few bytes may stand for any number of points.
constexpr std::uint64_t mostPoints = 1500;

void checkPieces(const Io::LazFile& file) {
    std::uint64_t points = 0;
    for (const Io::SourcePiece& piece : file.pieces()) {
        Fuzz::require(piece.first == points && piece.count != 0, "pieces follow each other");
        points += piece.count;
    }
    Fuzz::require(points == file.pointCount(), "pieces cover all points");
}

/// Decodes an attribute alone, and all records, which have to have the same.
void checkField(const Io::LazFile& file, const Io::PointField& field) {
    const std::uint64_t count = std::min(file.pointCount(), mostPoints);
    std::vector<std::byte> records;
    file.visit(0, count, [&](const std::byte* from, std::size_t n) {
        records.insert(records.end(), from, from + n * file.format().recordLength);
    });
    std::vector<double> expected(count), values(count);
    Io::decodeField(file.format(), field, records.data(), std::span(expected));
    const Io::FieldColumn column{&field, std::span(values)};
    file.read(0, count, nullptr, {&column, 1});
    Fuzz::require(count == 0 || std::memcmp(values.data(), expected.data(), count * sizeof(double)) == 0,
                  "an attribute is the same alone");
    file.bounds(count / 2, count - count / 2);
}

void check(const Io::LazFile& file, std::size_t choice) {
    checkPieces(file);
    const auto& fields = file.format().fields;
    checkField(file, fields[choice % fields.size()]);
    Fuzz::require(file.coordinateSystem().find('\n') == std::string::npos, "a coordinate system is one line");
    for (const std::string& note : file.notes())
        Fuzz::require(note.find('\n') == std::string::npos, "notes are one line");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Fuzz::FileInput input({data, size});
    try {
        check(Io::LazFile(std::make_unique<Io::InputFile>(input.path())), size);
    } catch (const Io::Error& error) {
        Fuzz::checkMessage(error);
    }
    return 0;
}
