#include <io/blocks/DenseCell.h>

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <functional>
#include <limits>
#include <span>
#include <utility>

#include <tilewright/arrays/MemArray.h>
#include <tilewright/filters/ExtremumOperators.h>
#include <tilewright/filters/MaxOccurrenceOperator.h>
#include <tilewright/filters/MeanOperator.h>
#include <tilewright/model/Grid.h>
#include <tilewright/raster/requests.h>

namespace Tilewright::Io {

namespace {

/// The cell amid its rim.
const Quill::MultiIndex<3> theCell(WindowLayout::rim, WindowLayout::rim, 0);

template <class O> Quill::ArrayPtr arrayOf(const Quill::MultiIndex<3>& size, const O& value) {
    const Larder::Ref<Quill::MemArray<3, O>> array(size);
    (*array)[theCell] = value;
    return array;
}

} // namespace

class DenseCell::Reduction {
public:
    virtual ~Reduction() = default;

    virtual void take(const Quill::ArrayPtr& values) = 0;
    /// Whether there has to be another pass.
    virtual bool endPass(unsigned count) = 0;
    virtual Quill::ArrayPtr result(const Quill::MultiIndex<3>& size) const = 0;
};

namespace {

using Reduction = DenseCell::Reduction;

template <class FilterT> class TypedReduction : public Reduction {
public:
    void take(const Quill::ArrayPtr& values) final {
        const Larder::StrongPtr<Quill::MemArray<1, typename FilterT::value_type>, Larder::Cacheable> typed =
            values;
        for (const auto& value : std::span(typed->data, typed->nElements()))
            takeOne(FilterT::readValue(value));
    }

    Quill::ArrayPtr result(const Quill::MultiIndex<3>& size) const final { return arrayOf(size, Result); }

protected:
    using Value = typename FilterT::output_type;

    virtual void takeOne(const Value& value) = 0;

    Value Result = {};
};

template <class FilterT, class Steps> class StreamingReduction final : public TypedReduction<FilterT> {
    using typename TypedReduction<FilterT>::Value;

public:
    StreamingReduction() { this->Result = Steps::start(); }

    bool endPass(unsigned count) override {
        Steps::finish(this->Result, count);
        return false;
    }

private:
    void takeOne(const Value& value) override { Steps::take(this->Result, value); }
};

template <class FilterT> class MaxOccurrenceReduction final : public TypedReduction<FilterT> {
    using typename TypedReduction<FilterT>::Value;

public:
    bool endPass(unsigned) override { return false; }

private:
    void takeOne(const Value& value) override {
        if (IsFirst)
            this->Result = value;
        IsFirst = false;
        MaxOccurrenceSteps<Value>::take(this->Result, value);
    }

    bool IsFirst = true;
};

/// Of plain numbers: there is no plane, and the result stays zero.
template <class FilterT> class NoReduction final : public TypedReduction<FilterT> {
public:
    bool endPass(unsigned) override { return false; }

private:
    void takeOne(const typename TypedReduction<FilterT>::Value&) override {}
};

/// Numbers as keys: unsigned, and in the same order. What is not a number has the last key of all.
template <class E> struct OrderedKey {
    using Key = std::make_unsigned_t<E>;
    static constexpr Key signs =
        std::is_signed_v<E> ? Key(Key(1) << (std::numeric_limits<Key>::digits - 1)) : 0;

    static Key of(E value) { return static_cast<Key>(value) ^ signs; }
    static E value(Key key) { return static_cast<E>(key ^ signs); }
};

template <std::floating_point E> struct OrderedKey<E> {
    using Key = std::conditional_t<sizeof(E) == 4, std::uint32_t, std::uint64_t>;
    static constexpr Key sign = Key(1) << (std::numeric_limits<Key>::digits - 1);

    static Key of(E value) {
        if (value != value)
            return std::numeric_limits<Key>::max();
        const auto bits = std::bit_cast<Key>(value);
        return (bits & sign) != 0 ? ~bits : bits | sign;
    }
    static E value(Key key) {
        return key == std::numeric_limits<Key>::max()
                   ? std::numeric_limits<E>::quiet_NaN()
                   : std::bit_cast<E>((key & sign) != 0 ? key ^ sign : ~key);
    }
};

/// Finds the median of any number of values, which are passed by several times. The first pass finds the
/// range of the keys. Each further one counts how many values lie in the equal parts of the range, and takes
/// that with the median for the next range, until it has one key.
template <class E> class MedianSearch {
public:
    void take(E value) {
        const auto key = Ordered::of(value);
        if (IsFound)
            return;
        if (Parts.empty()) {
            Low = std::min(Low, key);
            High = std::max(High, key);
        } else if (key >= Low && key <= High) {
            ++Parts[static_cast<std::size_t>((key - Low) >> Shift)];
        }
    }

    /// Whether there has to be another pass.
    bool endPass(unsigned count) {
        if (IsFound)
            return false;
        if (Parts.empty())
            Rank = count / 2;
        else
            narrow();
        IsFound = Low == High;
        const auto digits = static_cast<unsigned>(std::bit_width(static_cast<std::uint64_t>(High - Low)));
        Shift = digits > partDigits ? digits - partDigits : 0;
        Parts.assign(static_cast<std::size_t>((High - Low) >> Shift) + 1, 0);
        return !IsFound;
    }

    E result() const { return Ordered::value(Low); }

private:
    using Ordered = OrderedKey<E>;
    using Key = typename Ordered::Key;

    static constexpr unsigned partDigits = 18;

    void narrow() {
        std::size_t part = 0;
        for (; Rank >= Parts[part]; ++part)
            Rank -= Parts[part];
        Low = static_cast<Key>(Low + (static_cast<Key>(part) << Shift));
        const auto rest = static_cast<Key>((Key(1) << Shift) - 1);
        High = High - Low > rest ? static_cast<Key>(Low + rest) : High;
    }

    Key Low = std::numeric_limits<Key>::max();
    Key High = 0;
    bool IsFound = false;
    /// Of the median among the values from Low on.
    std::uint32_t Rank = 0;
    unsigned Shift = 0;
    std::vector<std::uint32_t> Parts;
};

template <class FilterT> class MedianReduction final : public TypedReduction<FilterT> {
    using typename TypedReduction<FilterT>::Value;

public:
    bool endPass(unsigned count) override {
        const bool goesOn = Search.endPass(count);
        this->Result = Search.result();
        return goesOn;
    }

private:
    void takeOne(const Value& value) override { Search.take(value); }

    MedianSearch<Value> Search;
};

/// Of records that of each component by itself.
template <class FilterT>
requires Orrery::Record<typename FilterT::output_type>
class MedianReduction<FilterT> final : public TypedReduction<FilterT> {
    using typename TypedReduction<FilterT>::Value;

public:
    bool endPass(unsigned count) override {
        bool goesOn = false;
        for (std::size_t c = 0; c < Searches.size(); ++c) {
            goesOn |= Searches[c].endPass(count);
            this->Result[c] = Searches[c].result();
        }
        return goesOn;
    }

private:
    void takeOne(const Value& value) override {
        for (std::size_t c = 0; c < Searches.size(); ++c)
            Searches[c].take(value[c]);
    }

    std::array<MedianSearch<typename Value::element_type>, 3> Searches;
};

template <class FilterT> std::unique_ptr<Reduction> makeReduction(unsigned filter) {
    using O = typename FilterT::output_type;
    switch (filter) {
    case filterMean:
        return std::make_unique<StreamingReduction<FilterT, MeanSteps<O>>>();
    case filterMin:
        return std::make_unique<StreamingReduction<FilterT, ExtremumSteps<O, std::less<>>>>();
    case filterMax:
        return std::make_unique<StreamingReduction<FilterT, ExtremumSteps<O, std::greater<>>>>();
    case filterMedian:
        return std::make_unique<MedianReduction<FilterT>>();
    case filterMaxOccurrence:
        return std::make_unique<MaxOccurrenceReduction<FilterT>>();
    default:
        return std::make_unique<NoReduction<FilterT>>();
    }
}

template <class T> std::unique_ptr<Reduction> makeReductionOf(const DirectionAndFilter& wanted) {
    switch (wanted.direction) {
    case directionX:
        return makeReduction<Filter1DOf<T, 0>>(wanted.filter);
    case directionY:
        return makeReduction<Filter1DOf<T, 1>>(wanted.filter);
    case directionZ:
        return makeReduction<Filter1DOf<T, 2>>(wanted.filter);
    case directionAll:
        return makeReduction<Filter3D<T>>(wanted.filter);
    default:
        return std::make_unique<NoReduction<FilterRegressionOf<T>>>();
    }
}

bool hasPoints(const GridColumn& column) {
    return column.kind == GridColumn::Kind::Positions || column.kind == GridColumn::Kind::TruePositions;
}

void storeField(Quill::Grid& output, const std::string& name, const Quill::ArrayPtr& array) {
    const Quill::MultiIndex<3> onlyFragment;
    const Larder::Ref<Quill::RegularlyFragmentedField<3>> field(Quill::MultiIndex<3>(1, 1, 1),
                                                                "RegularFragment");
    field->setPersistentData(array, field->getFragmentID(onlyFragment), Larder::Cache::MemCache(), "");
    output.makeCartesianRepresentation(3, "", 0)[name] = field;
}

} // namespace

DenseCell::DenseCell(const GridPlan& plan, const std::vector<std::string>& requests) {
    Modus modus;
    parseRequests(requests, modus);
    for (const auto& [name, index] : plan.fields) {
        const auto found = modus.find(name);
        const DirectionAndFilter wanted =
            found == modus.end() ? DirectionAndFilter{directionAll, filterMean} : found->second;
        if (wanted.filter == filterSkip)
            continue;
        const GridColumn& column = plan.columns[index];
        NeedsAllPoints |= wanted.filter == filterRegression && hasPoints(column);
        auto reduction =
            hasPoints(column)
                ? makeReductionOf<point>(wanted)
                : visitFieldType(column.type, [&wanted]<class T>() { return makeReductionOf<T>(wanted); });
        Fields.push_back({name == "Positions" ? "Height" : name, index, std::move(reduction), false});
    }
}

DenseCell::~DenseCell() = default;

void DenseCell::take(const std::vector<Quill::ArrayPtr>& columns) {
    for (const Field& field : Fields)
        if (!field.isDone)
            field.reduction->take(columns[field.column]);
}

bool DenseCell::endPass(std::uint64_t count) {
    bool goesOn = false;
    for (Field& field : Fields) {
        if (!field.isDone)
            field.isDone = !field.reduction->endPass(static_cast<unsigned>(count));
        goesOn |= !field.isDone;
    }
    return goesOn;
}

void DenseCell::store(Quill::Grid& output, const Quill::MultiIndex<3>& size, std::uint64_t count,
                      unsigned sparseLimit) const {
    for (const Field& field : Fields)
        storeField(output, field.name, field.reduction->result(size));
    const bool isDense = count > sparseLimit;
    storeField(output, "CellType", arrayOf<unsigned char>(size, isDense ? 0 : 1));
    storeField(output, "Density", arrayOf(size, static_cast<unsigned short>(isDense ? count : 0)));
}

} // namespace Tilewright::Io
