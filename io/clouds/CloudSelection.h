/// CloudSelection: what is read of the points of a cloud, and which of them count.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <io/clouds/PointCloud.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// Which points count: those whose value of `field` lies in `ranges`, in the terms of Orrery::MultiRange.
struct CloudSelection {
    CloudField field = {};
    std::string ranges = {};
    /// Take this coordinate of the points, 0 to 2, in the place of the field.
    std::optional<std::size_t> axis = {};

    bool operator==(const CloudSelection&) const = default;
};

/// What is read of a point, and which points are.
struct PointNeeds {
    /// Attributes to read, without duplicates; the one of the selection need not be among them.
    std::vector<CloudField> fields;
    std::optional<CloudSelection> selection;

    bool operator==(const PointNeeds&) const = default;
};

/// A test of records by a selection; every record passes where there is none. For one thread.
class TILEWRIGHT_API SelectionTest {
public:
    explicit SelectionTest(const std::optional<CloudSelection>& selection);
    ~SelectionTest();

    bool isNeeded() const { return test != nullptr; }
    /// For each of `count` records whether it passes; valid until the next call.
    const unsigned char* operator()(const RecordFormat& format, const std::byte* records, std::size_t count);

    class Test {
    public:
        virtual ~Test() = default;
        virtual const unsigned char* pass(const RecordFormat& format, const std::byte* records,
                                          std::size_t count) = 0;
    };

private:
    std::unique_ptr<Test> test;
};

} // namespace Tilewright::Io
