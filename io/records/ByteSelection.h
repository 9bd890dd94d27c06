/// ByteSelection: which bytes of a record somebody wants.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include <io/records/RecordFormat.h>

namespace Tilewright::Io {

class ByteSelection {
public:
    /// Nothing of records of `recordLength` bytes.
    explicit ByteSelection(std::size_t recordLength) : wanted(recordLength, false) {}

    static ByteSelection all(std::size_t recordLength) {
        ByteSelection selection(recordLength);
        selection.add(0, recordLength);
        return selection;
    }

    static ByteSelection positions(const RecordFormat& format) {
        ByteSelection selection(format.recordLength);
        for (const PointField& coordinate : format.coordinates)
            selection.add(coordinate);
        return selection;
    }

    /// Those of the bytes from `first` on that a record has.
    void add(std::size_t first, std::size_t count) {
        first = std::min(first, wanted.size());
        count = std::min(count, wanted.size() - first);
        std::fill_n(wanted.begin() + static_cast<std::ptrdiff_t>(first), count, true);
    }

    void add(const PointField& field) { add(field.position, field.size); }

    /// Whether any of the bytes is wanted.
    bool has(std::size_t first, std::size_t count) const {
        for (std::size_t i = first; i < first + count && i < wanted.size(); ++i) {
            if (wanted[i])
                return true;
        }
        return false;
    }

    bool operator==(const ByteSelection&) const = default;

private:
    std::vector<bool> wanted;
};

} // namespace Tilewright::Io
