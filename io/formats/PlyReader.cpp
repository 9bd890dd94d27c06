#include <io/formats/PlyReader.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>

#include <io/formats/LineSplitter.h>
#include <io/records/FieldNames.h>
#include <io/records/RecordStore.h>
#include <io/system/FileReader.h>
#include <io/system/Numbers.h>
#include <io/system/Text.h>

namespace Tilewright::Io {

namespace {

enum class Type { Int8, UInt8, Int16, UInt16, Int32, UInt32, Float, Double };

/// Calls `visitor.template operator()<Stored, Out>()` with the type in the file and the one of the attribute.
template <class Visitor> decltype(auto) visitType(Type type, Visitor&& visitor) {
    switch (type) {
    case Type::Int8:
        return visitor.template operator()<std::int8_t, int>();
    case Type::UInt8:
        return visitor.template operator()<std::uint8_t, unsigned char>();
    case Type::Int16:
        return visitor.template operator()<std::int16_t, int>();
    case Type::UInt16:
        return visitor.template operator()<std::uint16_t, unsigned short>();
    case Type::Int32:
        return visitor.template operator()<std::int32_t, int>();
    case Type::UInt32:
        return visitor.template operator()<std::uint32_t, unsigned int>();
    case Type::Float:
        return visitor.template operator()<float, float>();
    case Type::Double:
        break;
    }
    return visitor.template operator()<double, double>();
}

std::optional<Type> typeOf(std::string_view name) {
    constexpr std::array<std::pair<std::string_view, Type>, 16> types = {{{"char", Type::Int8},
                                                                          {"int8", Type::Int8},
                                                                          {"uchar", Type::UInt8},
                                                                          {"uint8", Type::UInt8},
                                                                          {"short", Type::Int16},
                                                                          {"int16", Type::Int16},
                                                                          {"ushort", Type::UInt16},
                                                                          {"uint16", Type::UInt16},
                                                                          {"int", Type::Int32},
                                                                          {"int32", Type::Int32},
                                                                          {"uint", Type::UInt32},
                                                                          {"uint32", Type::UInt32},
                                                                          {"float", Type::Float},
                                                                          {"float32", Type::Float},
                                                                          {"double", Type::Double},
                                                                          {"float64", Type::Double}}};
    const auto* const found = std::ranges::find(types, name, &std::pair<std::string_view, Type>::first);
    return found != types.end() ? std::optional(found->second) : std::nullopt;
}

FieldType fieldTypeOf(Type type) {
    for (const FieldType candidate : {FieldType::UnsignedChar, FieldType::UnsignedShort, FieldType::Int,
                                      FieldType::UnsignedInt, FieldType::Float, FieldType::Double})
        if (visitType(type, [=]<class Stored, class Out>() { return isFieldType<Out>(candidate); }))
            return candidate;
    return FieldType::Double;
}

std::size_t sizeOf(Type type) {
    return visitType(type, []<class Stored, class Out>() { return sizeof(Stored); });
}

struct Property {
    std::string name;
    Type type;
    std::optional<Type> countType; ///< of a list
};

struct Element {
    std::string name;
    std::uint64_t count;
    std::vector<Property> properties;

    bool hasLists() const {
        return std::ranges::any_of(properties, [](const Property& p) { return p.countType.has_value(); });
    }
    /// Bytes of an element without its lists.
    std::size_t size() const {
        std::size_t bytes = 0;
        for (const Property& property : properties)
            bytes += property.countType ? 0 : sizeOf(property.type);
        return bytes;
    }
};

enum class Encoding { Ascii, LittleEndian, BigEndian };

struct Header {
    Encoding encoding = Encoding::Ascii;
    std::vector<Element> elements;
};

class HeaderReader {
public:
    explicit HeaderReader(FileReader& file) : file(file) {}

    Header read() {
        std::string_view line;
        for (bool isOpen = true; isOpen;) {
            if (!file.readLine(line))
                file.fail("is cut off inside its header; copy or export it again");
            LineSplitter(LineSplitter::blanks).split(line, words);
            isOpen = takeLine(words.empty() ? "" : words.front());
        }
        if (!hasFormat)
            file.fail("does not say its format in its header");
        return std::move(header);
    }

private:
    /// False at the end of the header.
    bool takeLine(std::string_view word) {
        if (word == "end_header")
            return false;
        if (word == "format")
            takeFormat();
        else if (word == "element")
            takeElement();
        else if (word == "property")
            takeProperty();
        else if (file.lineNumber() > 1 && !word.empty() && word != "comment" && word != "obj_info")
            file.failInLine("has no place in a header: " + shown(word));
        return true;
    }

    void takeFormat() {
        constexpr std::array<std::string_view, 3> names = {"ascii", "binary_little_endian",
                                                           "binary_big_endian"};
        const auto* const found = std::ranges::find(names, words.size() > 1 ? words[1] : "");
        if (found == names.end())
            file.failInLine("names no format that can be read");
        header.encoding = static_cast<Encoding>(found - names.begin());
        hasFormat = true;
    }

    void takeElement() {
        const auto count = words.size() == 3 ? parse<std::uint64_t>(words[2]) : std::nullopt;
        if (!count)
            file.failInLine("gives no element and its count");
        countPart();
        header.elements.push_back({std::string(words[1]), *count, {}});
    }

    void takeProperty() {
        const bool isList = words.size() == 5 && words[1] == "list";
        if ((words.size() != 3 && !isList) || header.elements.empty())
            file.failInLine("gives no property of an element");
        const auto type = typeOf(words[words.size() - 2]);
        const auto countType = isList ? typeOf(words[2]) : std::nullopt;
        if (!type || (isList && !countType))
            file.failInLine("gives a property of no known type");
        if (countType && (*countType == Type::Float || *countType == Type::Double))
            file.failInLine("counts the values of a list in no whole numbers");
        countPart();
        header.elements.back().properties.push_back({std::string(words.back()), *type, countType});
    }

    /// Keeps the header small, and an element within the buffer of the file.
    void countPart() {
        constexpr std::size_t most = 4096;
        if (++parts > most)
            file.failInLine("is the header's element or property number " + std::to_string(parts) + "; " +
                            std::to_string(most) + " can be read");
    }

    FileReader& file;
    Header header;
    bool hasFormat = false;
    std::size_t parts = 0;
    std::vector<std::string_view> words;
};

/// Takes elements of a file one by one. What `next` gives are the values of the properties that are no lists,
/// in their order; they are valid until it is called again.
class AsciiBody {
public:
    explicit AsciiBody(FileReader& file) : file(file) {}

    void next(const Element& element, std::uint64_t ordinal) {
        readValues(element, ordinal);
        std::size_t scalars = 0, taken = 0;
        for (const Property& property : element.properties) {
            const std::uint64_t length = property.countType ? take<std::uint64_t>(taken) : 0;
            if (length > values.size() - taken)
                failCount();
            taken += static_cast<std::size_t>(length);
            if (!property.countType) {
                if (taken == values.size())
                    failCount();
                values[scalars++] = values[taken++];
            }
        }
        if (taken != values.size())
            failCount();
    }

    void skip(const Element& element) {
        for (std::uint64_t i = 0; i < element.count && !element.properties.empty(); ++i)
            readValues(element, i);
    }

    double coordinate(const Property&, std::size_t scalar, std::size_t) const {
        return convertTo<double>(values[scalar]);
    }

    template <class Stored> Stored value(std::size_t scalar, std::size_t) const {
        return convertTo<Stored>(values[scalar]);
    }

private:
    void readValues(const Element& element, std::uint64_t ordinal) {
        std::string_view line;
        do
            if (!file.readLine(line))
                file.fail("promises " + std::to_string(element.count) + " of " + shown(element.name) +
                          ", but only " + std::to_string(ordinal) + " are there; copy or export it again");
        while (trimBlanks(line).empty());
        LineSplitter(LineSplitter::blanks).split(line, values);
    }

    template <class T> T take(std::size_t& taken) const {
        if (taken == values.size())
            failCount();
        return convertTo<T>(values[taken++]);
    }

    template <class T> T convertTo(std::string_view text) const {
        std::optional<T> value;
        if constexpr (std::is_floating_point_v<T>)
            value = parse<T>(text);
        else if (const auto number = parseNumber(text))
            value = convert<T>(*number);
        if (!value)
            file.failInLine("holds " + shown(text) + ", which is no number of the type in the header");
        return *value;
    }

    [[noreturn]] void failCount() const { file.failInLine("has more or fewer values than the header says"); }

    FileReader& file;
    std::vector<std::string_view> values;
};

class BinaryBody {
public:
    BinaryBody(FileReader& file, bool isBigEndian) : file(file), isBigEndian(isBigEndian) {}

    void next(const Element& element, std::uint64_t ordinal) {
        if (ordinal == 0)
            checkRoom(element);
        if (!element.hasLists()) {
            bytes = file.readBytes(element.size());
            return;
        }
        scalars.clear();
        for (const Property& property : element.properties)
            if (property.countType) {
                skipList(property);
            } else {
                const std::byte* const from = file.readBytes(sizeOf(property.type));
                scalars.insert(scalars.end(), from, from + sizeOf(property.type));
            }
        bytes = scalars.data();
    }

    void skip(const Element& element) {
        checkRoom(element);
        if (!element.hasLists())
            return file.skipBytes(element.count * element.size());
        for (std::uint64_t i = 0; i < element.count; ++i)
            next(element, i);
    }

    double coordinate(const Property& property, std::size_t scalar, std::size_t offset) const {
        return visitType(property.type, [&]<class Stored, class Out>() {
            return static_cast<double>(value<Stored>(scalar, offset));
        });
    }

    template <class Stored> Stored value(std::size_t, std::size_t offset) const {
        return load<Stored>(bytes + offset);
    }

private:
    /// Lets no count that lies make anybody wait for it.
    void checkRoom(const Element& element) const {
        const std::size_t size = element.size();
        if (size != 0 && element.count > file.remaining() / size)
            file.fail("promises " + std::to_string(element.count) + " of " + shown(element.name) +
                      ", but only " + std::to_string(file.remaining() / size) +
                      " are there; copy or export it again");
    }

    void skipList(const Property& list) {
        const std::byte* const from = file.readBytes(sizeOf(*list.countType));
        const Number count = visitType(*list.countType, [&]<class Stored, class Out>() {
            return Number(static_cast<long long>(load<Stored>(from)));
        });
        const auto length = convert<std::uint64_t>(count);
        if (!length)
            file.fail("is damaged: a list has a length below zero");
        file.skipBytes(*length * sizeOf(list.type));
    }

    template <class Stored> Stored load(const std::byte* from) const {
        std::array<std::byte, sizeof(Stored)> own;
        std::copy_n(from, own.size(), own.begin());
        if (isBigEndian != (std::endian::native == std::endian::big))
            std::ranges::reverse(own);
        Stored value;
        std::memcpy(&value, own.data(), own.size());
        return value;
    }

    FileReader& file;
    bool isBigEndian;
    const std::byte* bytes = nullptr;
    std::vector<std::byte> scalars;
};

/// A scalar property of the vertices: its place among their values, and among their bytes.
struct Scalar {
    Property property;
    std::size_t ordinal;
    std::size_t offset;
};

class VertexReader {
public:
    VertexReader(FileReader& file, const Element& vertex, const ReadOptions& options)
        : file(file), vertex(vertex) {
        choose();
        RecordFormat format;
        for (const Scalar& scalar : attributes)
            format.fields.push_back(
                storedField(fieldName(scalar.property.name), fieldTypeOf(scalar.property.type)));
        makeNamesUnique(format.fields);
        store = std::make_unique<RecordStore>(file.name(), std::move(format), "", options.scratch);
    }

    template <class Body> std::unique_ptr<PointSource> read(Body& body) {
        for (std::uint64_t i = 0; i < vertex.count; ++i) {
            body.next(vertex, i);
            std::array<double, 3> position;
            for (std::size_t axis = 0; axis < 3; ++axis)
                position[axis] = body.coordinate(axes[axis].property, axes[axis].ordinal, axes[axis].offset);
            std::byte* const record = store->append(position);
            for (std::size_t k = 0; k < attributes.size(); ++k) {
                const PointField& field = store->format().fields[k];
                visitType(attributes[k].property.type, [&]<class Stored, class Out>() {
                    const auto value =
                        body.template value<Stored>(attributes[k].ordinal, attributes[k].offset);
                    RecordStore::put(record, field, static_cast<Out>(value));
                });
            }
        }
        store->finish();
        return std::move(store);
    }

private:
    /// Tells the coordinates from the attributes.
    void choose() {
        std::size_t offset = 0;
        std::vector<std::string> names;
        for (const Property& property : vertex.properties)
            if (!property.countType) {
                attributes.push_back({property, attributes.size(), offset});
                names.push_back(property.name);
                offset += sizeOf(property.type);
            }
        const auto found = findAxes(names);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if (!found[axis])
                file.fail("has vertices without " + std::string(1, "xyz"[axis]));
            axes.push_back(attributes[*found[axis]]);
        }
        std::erase_if(attributes, [this](const Scalar& scalar) {
            return std::ranges::find(axes, scalar.ordinal, &Scalar::ordinal) != axes.end();
        });
    }

    FileReader& file;
    const Element& vertex;
    std::vector<Scalar> axes;
    std::vector<Scalar> attributes;
    std::unique_ptr<RecordStore> store;
};

} // namespace

std::unique_ptr<PointSource> readPly(const std::filesystem::path& path, const ReadOptions& options) {
    FileReader file(path, options.report);
    const Header header = HeaderReader(file).read();
    const auto vertex = std::ranges::find(header.elements, "vertex", &Element::name);
    if (vertex == header.elements.end())
        file.fail("has no vertices in it");
    VertexReader reader(file, *vertex, options);
    const auto readBody = [&](auto body) {
        std::for_each(header.elements.begin(), vertex, [&](const Element& before) { body.skip(before); });
        return reader.read(body);
    };
    return header.encoding == Encoding::Ascii
               ? readBody(AsciiBody(file))
               : readBody(BinaryBody(file, header.encoding == Encoding::BigEndian));
}

} // namespace Tilewright::Io
