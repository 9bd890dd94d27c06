// From run-time types to reductions: finds the value type of an array, and picks view and operator by the
// numbers of the request.
#include <tilewright/filters/reduceCells.h>

#include <tilewright/arrays/elements.h>
#include <tilewright/filters/ExtremumOperators.h>
#include <tilewright/filters/MaxOccurrenceOperator.h>
#include <tilewright/filters/MeanOperator.h>
#include <tilewright/filters/MedianOperator.h>
#include <tilewright/filters/RegressionOperator.h>
#include <tilewright/substrate/Console.h>

namespace Tilewright {

namespace {

/// The values that ordinals index: those of the array's chunk, which is held meanwhile. An array whose
/// elements lie in a chunk of another type, or come from a creator, has none; its elements are gathered.
template <class T> class PointValues {
public:
    explicit PointValues(const Quill::MemArray<1, T>& input) {
        const bool isMade = !input.data && input.creator;
        if (!isMade)
            Chunk = input.getChunk();
        if (Chunk)
            Values = Chunk->base_vector();
        else if (Quill::isReadable(input))
            gather(input);
    }

    const T* data() const { return Values.data(); }
    std::size_t size() const { return Values.size(); }

private:
    void gather(const Quill::MemArray<1, T>& input) {
        Gathered.resize(input.sizes[0]);
        for (std::size_t e = 0; e < Gathered.size(); ++e)
            Gathered[e] = input[Quill::MultiIndex<1>(e)];
        Values = Gathered;
    }

    Larder::StrongPtr<Larder::Chunk<T>, Larder::ChunkBase> Chunk;
    std::vector<T> Gathered;
    std::span<const T> Values;
};

/// The operation of a filter, null for one that leaves fields without data.
template <class FilterT> CellReduction<FilterT> reductionOf(unsigned filter) {
    switch (filter) {
    case filterMean:
        return MeanOperator<FilterT>::reduceCells;
    case filterMin:
        return MinOperator<FilterT>::reduceCells;
    case filterMax:
        return MaxOperator<FilterT>::reduceCells;
    case filterMedian:
        return MedianOperator<FilterT>::reduceCells;
    case filterMaxOccurrence:
        return MaxOccurrenceOperator<FilterT>::reduceCells;
    case filterRegression:
        return RegressionOperator<FilterT>::reduceCells;
    default:
        return nullptr;
    }
}

/// What all types of values have in common.
struct Reduction {
    const CellLists& Cells;
    const DirectionAndFilter& Wanted;
    const Quill::UniformCartesianArray* Nodes;
    const std::string& Name;

    template <class FilterT>
    Quill::ArrayPtr through(const Quill::MemArray<1, typename FilterT::value_type>& input) const {
        const CellReduction<FilterT> reduce = reductionOf<FilterT>(Wanted.filter);
        if (!reduce)
            return {};
        const PointValues<typename FilterT::value_type> values(input);
        if (values.size() < Cells.pointCount()) {
            const std::string warning = "raster: " + Name + " has fewer values than points";
            Larder::Console() << warning.c_str();
            return {};
        }
        const Larder::Ref<Quill::MemArray<3, typename FilterT::output_type>> output(Cells.sizes);
        reduce(Cells, values.data(), Nodes, output->data);
        return output;
    }

    template <class T> Quill::ArrayPtr of(const Quill::MemArray<1, T>& input) const {
        switch (Wanted.direction) {
        case directionX:
            return through<Filter1DOf<T, 0>>(input);
        case directionY:
            return through<Filter1DOf<T, 1>>(input);
        case directionZ:
            return through<Filter1DOf<T, 2>>(input);
        case directionAll:
            return through<Filter3D<T>>(input);
        case directionFit:
            return through<FilterRegressionOf<T>>(input);
        default:
            // No request forms such a direction: the caller is broken and not the data.
            Larder::Console() << "Filter type not supported";
            return {};
        }
    }
};

} // namespace

Quill::ArrayPtr reduceCells(const CellLists& cells, const Quill::ArrayPtr& values,
                            const DirectionAndFilter& wanted, const Quill::UniformCartesianArray* nodes,
                            const std::string& name) {
    if (!cells.haveStorage()) {
        Larder::breakpoint();
        return {};
    }
    Quill::ArrayPtr result;
    Quill::visitArray<1>(Quill::FieldValueTypes(), values, [&]<class T>(const Quill::MemArray<1, T>& input) {
        result = Reduction{cells, wanted, nodes, name}.of(input);
    });
    return result;
}

} // namespace Tilewright
