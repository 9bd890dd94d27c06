/// From run-time types to reductions: finds the value type of a field's fragment, picks view and operator
/// from the numbers of the request, and rasterises.
#pragma once

#include <tilewright/filters/ExtremumOperators.h>
#include <tilewright/filters/FieldRasteriser.h>
#include <tilewright/filters/MaxOccurrenceOperator.h>
#include <tilewright/filters/MeanOperator.h>
#include <tilewright/filters/MedianOperator.h>
#include <tilewright/filters/RegressionOperator.h>
#include <tilewright/filters/vocabulary.h>
#include <tilewright/substrate/Console.h>

namespace Tilewright {
namespace {

template <class FilterT>
void reduceWithFilter(unsigned filter, const Quill::MemArray<1, typename FilterT::value_type>& input,
                      const RasterFieldJob& job) {
    switch (filter) {
    case filterMean:
        return rasterFieldFragment<FilterT>(MeanOperator<FilterT>::reduceCells, input, job);
    case filterMin:
        return rasterFieldFragment<FilterT>(MinOperator<FilterT>::reduceCells, input, job);
    case filterMax:
        return rasterFieldFragment<FilterT>(MaxOperator<FilterT>::reduceCells, input, job);
    case filterMedian:
        return rasterFieldFragment<FilterT>(MedianOperator<FilterT>::reduceCells, input, job);
    case filterMaxOccurrence:
        return rasterFieldFragment<FilterT>(MaxOccurrenceOperator<FilterT>::reduceCells, input, job);
    case filterRegression:
        return rasterFieldFragment<FilterT>(RegressionOperator<FilterT>::reduceCells, input, job);
    default:
        // Skipped: the field exists in the output and gets no data.
        return;
    }
}

/// Takes the job if its data are a MemArray<1,T>; false lets the next type try. `held` keeps the array
/// through all probes, so that one that no cache keeps isn't made for each.
template <class T> bool dispatchValueType(const RasterFieldJob& job, Quill::ArrayPtr& held) {
    if (!held)
        held = Quill::getData(job.Input);
    const Larder::StrongPtr<Quill::MemArray<1, T>, Larder::Cacheable> array = held;
    if (!array)
        return false;
    const Quill::MemArray<1, T>& input = *array;
    switch (*job.Direction) {
    case directionX:
        reduceWithFilter<Filter1DOf<T, 0>>(*job.Filter, input, job);
        return true;
    case directionY:
        reduceWithFilter<Filter1DOf<T, 1>>(*job.Filter, input, job);
        return true;
    case directionZ:
        reduceWithFilter<Filter1DOf<T, 2>>(*job.Filter, input, job);
        return true;
    case directionAll:
        reduceWithFilter<Filter3D<T>>(*job.Filter, input, job);
        return true;
    case directionFit:
        reduceWithFilter<FilterRegressionOf<T>>(*job.Filter, input, job);
        return true;
    default:
        // No request forms such a direction: the caller is broken and not the data.
        Larder::Console() << "Filter type not supported";
        return false;
    }
}

/// A field of any other type, or of another rank, stays without data and without a word.
inline void rasterField(const RasterFieldJob& job) {
    Quill::ArrayPtr held;
    Quill::probeTypes(Quill::FieldValueTypes(),
                      [&]<class T>(std::type_identity<T>) { return dispatchValueType<T>(job, held); });
}

} // namespace
} // namespace Tilewright
