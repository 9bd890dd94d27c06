/// The selection of points by the values of a field: "0,2:3,5,6,7:12@Classification".
#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <tilewright/arrays/elements.h>
#include <tilewright/filters/CellLists.h>
#include <tilewright/model/RegularlyFragmentedField.h>
#include <tilewright/model/Representation.h>
#include <tilewright/values/MultiRange.h>
#include <tilewright/values/StringUtil.h>

namespace Tilewright {
namespace {

struct PointSelection {
    std::string Ranges;
    /// Null if all points are wanted.
    Quill::RegularFieldPtr Field;
};

/// Cuts `text` into ranges and field. Gives the empty text, or what is wrong.
inline std::string cutSelection(const std::string& text, std::vector<std::string>& parts) {
    splitAtAnyOf(text.data(), text.size(), parts, "@");
    if (parts.size() != 2)
        return "Selection string broken. Need something like: 0,2:3,5,6,7:12@Classification. Have: " + text;
    return {};
}

/// Reads `text` into `selection`. Gives the empty text, or what is wrong.
inline std::string analyseSelection(const std::string& text, const Quill::Representation& input,
                                    PointSelection& selection) {
    if (text.empty())
        return {};
    std::vector<std::string> parts;
    if (std::string failure = cutSelection(text, parts); !failure.empty())
        return failure;
    selection.Ranges = parts[0];
    selection.Field = input.findField(parts[1]);
    if (!selection.Field)
        return "Have no UserSelectionF: " + parts[1];
    return {};
}

/// Calls `scan(isSelected)` once and gives its result; `isSelected(ordinal)` says whether a point is wanted.
/// If the field has no such fragment all points are wanted; if its data are of a type that can't select,
/// none.
template <class Scan>
CellLists withSelection(const PointSelection& selection, const Quill::MultiIndex<3>& index,
                        const Scan& scan) {
    const Quill::CreatorPtr slot =
        selection.Field ? selection.Field->findCreator(index) : Quill::CreatorPtr();
    if (!slot)
        return scan([](std::uint32_t) { return true; });
    const Quill::ArrayPtr data = Quill::getData(slot);
    CellLists cells;
    const bool canSelect = Quill::probeTypes(Quill::PlainValueTypes(), [&]<class T>(std::type_identity<T>) {
        const Larder::StrongPtr<Quill::MemArray<1, T>, Larder::Cacheable> typed = data;
        if (!typed)
            return false;
        const Quill::MemArray<1, T>& values = *typed;
        const Larder::Ref<Orrery::MultiRange<T>> ranges(selection.Ranges);
        const Orrery::MultiRange<T>& wanted = *ranges;
        // A field is expected to have a value for each point; points beyond its end have none that could be
        // wanted.
        const unsigned long long count = Quill::isReadable(values) ? values.sizes[0] : 0;
        cells = scan(
            [&](std::uint32_t i) { return i < count && wanted.contains(values[Quill::MultiIndex<1>(i)]); });
        return true;
    });
    return canSelect ? std::move(cells) : scan([](std::uint32_t) { return false; });
}

} // namespace
} // namespace Tilewright
