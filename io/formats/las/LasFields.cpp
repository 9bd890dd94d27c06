#include <io/formats/las/LasFields.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include <io/formats/las/LasHeader.h>
#include <io/records/FieldNames.h>
#include <io/system/Bytes.h>

namespace Tilewright::Io {

namespace {

using Storage = PointField::Storage;

/// Collects the fields of a record from its front to its back.
class RecordLayout {
public:
    void skip(std::size_t bytes) { position += bytes; }

    PointField& add(PointField field) {
        field.position = position;
        position += field.size;
        return fields.emplace_back(std::move(field));
    }

    void add(std::string name, Storage storage) { add(plainField(std::move(name), storage)); }

    /// Takes the bits of one byte apart, lowest first.
    void addBits(std::initializer_list<std::pair<const char*, unsigned>> parts) {
        unsigned firstBit = 0;
        for (const auto& [name, bitCount] : parts) {
            PointField& field = add(plainField(name, Storage::Bits));
            field.firstBit = firstBit;
            field.bitCount = bitCount;
            --position;
            firstBit += bitCount;
        }
        ++position;
    }

    std::size_t end() const { return position; }
    std::vector<PointField> take() { return std::move(fields); }

private:
    std::vector<PointField> fields;
    std::size_t position = 0;
};

void addLegacyCore(RecordLayout& layout) {
    layout.add("Intensity", Storage::UInt16);
    layout.addBits(
        {{"ReturnNumber", 3}, {"NumberOfReturns", 3}, {"ScanDirectionFlag", 1}, {"EdgeOfFlightLine", 1}});
    layout.addBits({{"Classification", 5}, {"Synthetic", 1}, {"KeyPoint", 1}, {"Withheld", 1}});
    layout.add("ScanAngleRank", Storage::Int8);
    layout.add("UserData", Storage::Bits);
    layout.add("PointSourceId", Storage::UInt16);
}

void addCore(RecordLayout& layout) {
    layout.add("Intensity", Storage::UInt16);
    layout.addBits({{"ReturnNumber", 4}, {"NumberOfReturns", 4}});
    layout.addBits({{"Synthetic", 1},
                    {"KeyPoint", 1},
                    {"Withheld", 1},
                    {"Overlap", 1},
                    {"ScannerChannel", 2},
                    {"ScanDirectionFlag", 1},
                    {"EdgeOfFlightLine", 1}});
    layout.add("Classification", Storage::Bits);
    layout.add("UserData", Storage::Bits);
    layout.add("ScanAngle", Storage::Int16);
    layout.add("PointSourceId", Storage::UInt16);
}

void addColours(RecordLayout& layout) {
    for (const char* name : {"Red", "Green", "Blue"}) {
        layout.add(name, Storage::UInt16);
    }
}

void addWavePacket(RecordLayout& layout) {
    layout.add("WavePacketDescriptorIndex", Storage::Bits);
    layout.add("WaveformDataOffset", Storage::UInt64);
    layout.add("WaveformPacketSize", Storage::UInt32);
    for (const char* name : {"ReturnPointWaveformLocation", "XT", "YT", "ZT"}) {
        layout.add(name, Storage::Float);
    }
}

/// The name in a description: without the blanks that some writers fill it up with, and without bytes that
/// would break a line of output.
std::string extraName(std::span<const std::byte> bytes, std::uint64_t ordinal) {
    std::string name = loadText(bytes);
    name.erase(name.find_last_not_of(' ') + 1);
    for (char& c : name) {
        c = static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '_' : c;
    }
    return name.empty() ? "ExtraBytes" + std::to_string(ordinal) : name;
}

void addExtraBytes(RecordLayout& layout, std::size_t recordLength, std::span<const std::byte> descriptions) {
    constexpr std::size_t descriptionSize = 192;
    constexpr std::array types = {Storage::Bits,   Storage::Int8,  Storage::UInt16, Storage::Int16,
                                  Storage::UInt32, Storage::Int32, Storage::UInt64, Storage::Int64,
                                  Storage::Float,  Storage::Double};
    for (std::uint64_t ordinal = 1; descriptions.size() >= descriptionSize; ++ordinal) {
        const std::byte* description = descriptions.data();
        const auto type = std::to_integer<std::size_t>(description[2]);
        const auto options = std::to_integer<unsigned>(description[3]);
        const std::string name = extraName(descriptions.subspan(4, 32), ordinal);
        descriptions = descriptions.subspan(descriptionSize);

        const std::size_t room = recordLength - std::min(recordLength, layout.end());
        if (type == 0) { // bytes of no type, as many as the options say
            layout.skip(options);
            continue;
        }
        const std::size_t components = (type - 1) / types.size() + 1;
        const Storage storage = types[(type - 1) % types.size()];
        // A type of the future has no length that could be skipped, so nothing after it can be placed
        // either.
        if (components > 3 || components * plainField(name, storage).size > room) {
            return;
        }
        for (std::size_t component = 0; component < components; ++component) {
            const std::string fullName = components == 1 ? name : name + "XYZ"[component];
            const double scale = loadLittleEndian<double>(description + 112 + 8 * component);
            const double offset = loadLittleEndian<double>(description + 136 + 8 * component);
            const bool hasScale = (options & 0x08U) != 0 && std::isfinite(scale) && scale != 0;
            const bool hasOffset = (options & 0x10U) != 0 && std::isfinite(offset);
            if (hasScale || hasOffset) {
                layout.add(scaledField(fullName, storage, hasScale ? scale : 1, hasOffset ? offset : 0));
            } else {
                layout.add(fullName, storage);
            }
        }
    }
}

} // namespace

std::vector<PointField> lasFields(unsigned format, std::size_t recordLength,
                                  std::span<const std::byte> extraBytes) {
    const auto isOneOf = [format](std::initializer_list<unsigned> formats) {
        return std::find(formats.begin(), formats.end(), format) != formats.end();
    };
    RecordLayout layout;
    layout.skip(3 * sizeof(std::int32_t)); // the position
    if (format <= 5) {
        addLegacyCore(layout);
    } else {
        addCore(layout);
    }
    if (!isOneOf({0, 2})) {
        layout.add("GpsTime", Storage::Double);
    }
    if (isOneOf({2, 3, 5, 7, 8, 10})) {
        addColours(layout);
    }
    if (isOneOf({8, 10})) {
        layout.add("Nir", Storage::UInt16);
    }
    if (isOneOf({4, 5, 9, 10})) {
        addWavePacket(layout);
    }
    addExtraBytes(layout, recordLength, extraBytes);
    std::vector<PointField> fields = layout.take();
    makeNamesUnique(fields);
    return fields;
}

} // namespace Tilewright::Io
