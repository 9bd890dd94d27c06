#include <io/formats/TextReader.h>

#include <algorithm>
#include <array>
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

using Values = std::vector<std::string_view>;

/// How the lines of a text are made up.
struct Layout {
    char separator = LineSplitter::blanks;
    std::size_t columns = 0;
    std::vector<std::string> names;              ///< none if the text has no names
    std::array<std::size_t, 3> axes = {0, 1, 2}; ///< columns of x, y and z
    std::uint64_t lastHeadLine = 0;              ///< points come after it
    std::optional<std::uint64_t> promised;       ///< points, if the text says how many
};

/// Characters of a bad value that are kept for the message.
constexpr std::size_t longestShown = 100;

/// A column that becomes an attribute.
struct Column {
    std::size_t number;
    std::string name;
    ValueRange range;
    bool hasNumbers = false;
    std::uint64_t badLine = 0; ///< the first whose value is no number
    std::string badValue;
};

/// The line without a comment mark; nothing if it is no comment.
std::optional<std::string_view> commentOf(std::string_view line) {
    const std::string_view text = trimBlanks(line);
    for (const std::string_view mark : {"#", "//"})
        if (text.starts_with(mark))
            return trimBlanks(text.substr(mark.size()));
    return std::nullopt;
}

char separatorOf(std::string_view line, bool isHeader) {
    for (const char separator : {';', ','})
        if (line.find(separator) != std::string_view::npos)
            return separator;
    // Names may hold blanks, numbers don't.
    return isHeader && line.find('\t') != std::string_view::npos ? '\t' : LineSplitter::blanks;
}

bool beginsLikeNumber(std::string_view value) {
    return !value.empty() && std::string_view("+-.0123456789").find(value.front()) != std::string_view::npos;
}

class TextReader {
public:
    TextReader(const std::filesystem::path& path, const ReadOptions& options)
        : options(options), file(path, options.report) {}

    std::unique_ptr<PointSource> read() {
        readLayout();
        chooseColumns();
        const bool hasAttributes = !columns.empty();
        if (hasAttributes)
            findTypes();
        file.rewind(hasAttributes ? 1 : 0, hasAttributes ? 2 : 1);
        return readPoints();
    }

private:
    /// The next line that is neither empty nor a comment. `comment` is the last one before it.
    bool nextLine(std::string_view& line, std::string* comment = nullptr) {
        while (file.readLine(line)) {
            if (file.lineNumber() == 1)
                checkEncoding(line);
            const auto text = commentOf(line);
            if (text && comment)
                *comment = *text;
            if (!text && !trimBlanks(line).empty())
                return true;
        }
        return false;
    }

    /// Takes the mark of UTF-8 away, which some programs put in front.
    void checkEncoding(std::string_view& line) const {
        if (line.starts_with("\xEF\xBB\xBF"))
            line.remove_prefix(3);
        else if (line.starts_with("\xFF\xFE") || line.starts_with("\xFE\xFF"))
            file.fail("is a text in UTF-16; save it as UTF-8");
    }

    void readLayout() {
        std::string_view line;
        std::string comment;
        while (nextLine(line, &comment)) {
            const auto count = parse<std::uint64_t>(trimBlanks(line));
            if (!count || layout.promised)
                return learn(line, comment);
            layout.promised = count;
            layout.lastHeadLine = file.lineNumber();
        }
        file.fail("has no points in it");
    }

    /// Learns from the first line with more than a count, which has names or the first point.
    void learn(std::string_view line, const std::string& comment) {
        layout.separator = separatorOf(line, true);
        split(line);
        const bool hasNames = takeNames();
        if (hasNames) {
            layout.lastHeadLine = file.lineNumber();
        } else {
            if (std::ranges::none_of(values, beginsLikeNumber))
                file.failInLine("names no columns x, y and z, but is " + shown(line));
            layout.separator = separatorOf(line, false);
            split(line);
        }
        layout.columns = values.size();
        if (layout.columns < 3)
            file.failInLine("has no x, y and z, but is " + shown(line));
        if (!hasNames && LineSplitter(separatorOf(comment, true)).split(comment, values) &&
            values.size() == layout.columns)
            takeNames();
    }

    /// Takes `values` as names if the axes are among them.
    bool takeNames() {
        std::vector<std::string> names(values.begin(), values.end());
        const auto axes = findAxes(names);
        if (!std::ranges::all_of(axes, [](const auto& axis) { return axis.has_value(); }))
            return false;
        layout.names = std::move(names);
        std::ranges::transform(axes, layout.axes.begin(), [](const auto& axis) { return *axis; });
        return true;
    }

    void chooseColumns() {
        for (std::size_t i = 0; i < layout.columns; ++i) {
            if (std::ranges::find(layout.axes, i) != layout.axes.end())
                continue;
            std::string name = !layout.names.empty() ? fieldName(layout.names[i])
                               : layout.columns == 4 ? "Intensity"
                                                     : std::string();
            if (name.empty())
                name = "Column" + std::to_string(i + 1);
            columns.push_back({i, std::move(name), {}, {}, {}, {}});
        }
    }

    void split(std::string_view line) {
        if (!LineSplitter(layout.separator).split(line, values))
            file.failInLine("has a quote that is not closed, or not at the end of a value");
    }

    /// Splits each line with a point into `values`.
    template <class Visitor> void forEachPoint(Visitor&& visit) {
        std::string_view line;
        while (nextLine(line)) {
            if (file.lineNumber() <= layout.lastHeadLine)
                continue;
            split(line);
            if (values.size() != layout.columns)
                file.failInLine("has " + std::to_string(values.size()) + " values, but there are " +
                                std::to_string(layout.columns) + " columns");
            visit();
        }
    }

    /// Looks at all values of the attributes, and drops those that are no numbers.
    void findTypes() {
        file.rewind(0, 2);
        forEachPoint([this] {
            for (Column& column : columns) {
                const std::string_view value = values[column.number];
                if (const auto number = parseNumber(value)) {
                    column.hasNumbers = true;
                    column.range.add(*number);
                } else if (column.badLine == 0) {
                    column.badLine = file.lineNumber();
                    column.badValue = value.substr(0, longestShown);
                }
                if (column.hasNumbers && column.badLine != 0)
                    failValue(column.badLine, column.name, column.badValue);
            }
        });
        std::erase_if(columns, [](const Column& column) { return column.badLine != 0; });
    }

    [[noreturn]] void failValue(std::uint64_t line, const std::string& name, std::string_view value) const {
        const bool isEmpty = value.empty();
        const bool hasComma = value.find(',') != std::string_view::npos;
        file.fail("line " + std::to_string(line) + ": " + name + " " +
                  (isEmpty ? "has no value" : "is " + shown(value) + ", which is not a number") +
                  (hasComma ? "; the decimal separator must be a point" : ""));
    }

    double coordinate(std::size_t axis) const {
        const std::string_view value = values[layout.axes[axis]];
        const std::optional<double> parsed = parse<double>(value);
        if (!parsed)
            failValue(file.lineNumber(), std::string(1, "xyz"[axis]), value);
        if (!std::isfinite(*parsed))
            file.failInLine(std::string(1, "xyz"[axis]) + " is " + shown(value) + ", which is not finite");
        return *parsed;
    }

    std::unique_ptr<PointSource> readPoints() {
        RecordFormat format;
        for (const Column& column : columns)
            format.fields.push_back(storedField(column.name, column.range.typeFor(column.name)));
        makeNamesUnique(format.fields);
        auto store = std::make_unique<RecordStore>(file.name(), std::move(format), "", options.scratch);
        forEachPoint([&] {
            std::byte* const record = store->append({coordinate(0), coordinate(1), coordinate(2)});
            for (std::size_t i = 0; i < columns.size(); ++i) {
                const auto number = parseNumber(values[columns[i].number]);
                if (!number || !putNumber(record, store->format().fields[i], *number))
                    file.fail("was changed while it was read");
            }
        });
        if (layout.promised && *layout.promised != store->pointCount())
            file.fail("promises " + std::to_string(*layout.promised) + " points, but " +
                      std::to_string(store->pointCount()) + " are there; copy or export it again");
        store->finish();
        return store;
    }

    const ReadOptions& options;
    FileReader file;
    Layout layout;
    std::vector<Column> columns;
    Values values;
};

} // namespace

std::unique_ptr<PointSource> readText(const std::filesystem::path& path, const ReadOptions& options) {
    return TextReader(path, options).read();
}

} // namespace Tilewright::Io
