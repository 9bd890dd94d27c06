/// CloudSelection: what is read of the points of a cloud, and which of them count.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <io/clouds/PointCloud.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// A condition that a point may meet.
struct PointCondition {
    enum class Quantity {
        /// A value of `field` in the ranges.
        Attribute,
        /// A coordinate in the ranges.
        X,
        Y,
        Z,
        HeightAboveGround,
        /// A point of one of the `returns`.
        Returns
    };
    /// Groups of the returns of a pulse, a bit each. The only return is the first and the last, too.
    enum Return : unsigned { First = 1, Last = 2, Only = 4, Intermediate = 8 };

    Quantity quantity = Quantity::Attribute;
    CloudField field = {};
    /// Least and greatest value, both of them included; infinite where a range is open. Of real numbers those
    /// within 1e-9 count too.
    std::vector<std::array<double, 2>> ranges = {};
    unsigned returns = 0;
    /// Turns the condition round: all other points meet it.
    bool excludes = false;

    bool operator==(const PointCondition&) const = default;
};

/// All of them have to hold.
using PointConditions = std::vector<PointCondition>;

/// The attributes that identify the return of a point.
inline constexpr std::array<const char*, 2> returnFields = {"ReturnNumber", "NumberOfReturns"};

class GroundSurface;
class PolygonArea;

/// What is read of a point, and which points are.
struct PointNeeds {
    /// Attributes to read, without duplicates; those of the conditions need not be among them.
    std::vector<CloudField> fields;
    PointConditions selection;
    /// Where points have to lie; null for anywhere.
    std::shared_ptr<const PolygonArea> clip = {};
    /// The ground that heights are measured from; points without ground below them are left out. Null if no
    /// heights above the ground are wanted.
    std::shared_ptr<const GroundSurface> ground = {};

    /// Whether some points may not count.
    bool areSelective() const { return !selection.empty() || clip || ground; }

    bool operator==(const PointNeeds&) const = default;
};

/// Whether a condition is one of attributes, so that it needs no coordinates.
bool isOfAttributes(const PointCondition& condition);

/// The names of the attributes that conditions look at.
std::vector<std::string> attributesOf(const PointConditions& conditions);

/// Some of the records of a source.
struct PointBatch {
    const RecordFormat& format;
    const std::byte* records;
    /// Which of them, ascending.
    std::span<const std::uint32_t> ordinals;
    /// Of each its x, y, z and the height above the ground; null for conditions of attributes alone, the last
    /// one also without a ground.
    std::array<const double*, 4> coordinates = {};
};

/// Tests points by conditions. For one thread.
class TILEWRIGHT_API ConditionTest {
public:
    explicit ConditionTest(const PointConditions& conditions);
    ~ConditionTest();
    ConditionTest(ConditionTest&&) noexcept;
    ConditionTest& operator=(ConditionTest&&) noexcept;

    bool isNeeded() const { return !Tests.empty(); }
    /// For each point of the batch 1 if all conditions hold of it, else 0; valid until the next call.
    const unsigned char* operator()(const PointBatch& batch);

    class Test {
    public:
        virtual ~Test() = default;
        /// Sets to 0 what fails.
        virtual void drop(const PointBatch& batch, unsigned char* passes) = 0;
    };

private:
    std::vector<std::unique_ptr<Test>> Tests;
    std::vector<unsigned char> Passes;
};

/// Counts the points that count by themselves, wherever the raster lies: there is no ground. For one thread.
class TILEWRIGHT_API SelectionCounter {
public:
    explicit SelectionCounter(const PointNeeds& needs) : Selected(needs.selection), Clip(needs.clip) {}

    /// Of records that lie one after the other.
    std::uint64_t count(const RecordFormat& format, const std::byte* records, std::size_t count);

private:
    ConditionTest Selected;
    std::shared_ptr<const PolygonArea> Clip;
    std::vector<std::uint32_t> Ordinals;
    std::array<std::vector<double>, 3> Coordinates;
    std::vector<unsigned char> Passes;
};

} // namespace Tilewright::Io
