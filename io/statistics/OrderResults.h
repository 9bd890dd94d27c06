/// OrderResults: what statistics that go by order come to, an array of cells for each.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include <io/statistics/Ranks.h>
#include <io/statistics/Statistic.h>
#include <tilewright/arrays/MemArray.h>

namespace Tilewright::Io {

/// Values of the cells' points are of type T; so are medians that are one of them, and the mode. Other
/// results are doubles, and numbers of values unsigned.
template <class T> class OrderResults {
public:
    OrderResults(const Quill::MultiIndex<3>& sizes, std::span<const Statistic> wanted) {
        for (const Statistic& statistic : wanted)
            Items.push_back(makeItem(sizes, statistic));
    }

    std::size_t size() const { return Items.size(); }
    const Statistic& wanted(std::size_t i) const { return Items[i].wanted; }
    Quill::ArrayPtr array(std::size_t i) const { return Items[i].array; }

    /// Whether it is a double, and not one of the values or a number of them.
    bool isNumber(std::size_t i) const { return Items[i].numbers != nullptr; }

    void setValue(std::size_t i, std::size_t cell, T value) const { Items[i].values[cell] = value; }
    void setNumber(std::size_t i, std::size_t cell, double number) const { Items[i].numbers[cell] = number; }
    void setCount(std::size_t i, std::size_t cell, std::uint32_t count) const {
        Items[i].counts[cell] = count;
    }

    /// At a place between two of the values.
    void setBetween(std::size_t i, std::size_t cell, T low, T high, double share) const {
        if (Items[i].values)
            setValue(i, cell, low);
        else
            setNumber(i, cell, between(static_cast<double>(low), static_cast<double>(high), share));
    }

    /// Of a cell that has no numbers.
    void setNone(std::size_t cell) const {
        for (const Item& item : Items)
            if (item.counts)
                item.counts[cell] = 0;
            else if (item.numbers)
                item.numbers[cell] = std::numeric_limits<double>::quiet_NaN();
            else if constexpr (std::numeric_limits<T>::has_quiet_NaN)
                item.values[cell] = std::numeric_limits<T>::quiet_NaN();
    }

private:
    struct Item {
        Statistic wanted;
        Larder::StrongPtr<Quill::MemBase, Larder::Cacheable> array = {};
        /// One of the three.
        T* values = nullptr;
        double* numbers = nullptr;
        unsigned int* counts = nullptr;
    };

    template <class R> static R* allot(Item& item, const Quill::MultiIndex<3>& sizes) {
        const Larder::Ref<Quill::MemArray<3, R>> array(sizes);
        item.array = array;
        return array->data;
    }

    static Item makeItem(const Quill::MultiIndex<3>& sizes, const Statistic& statistic) {
        using Kind = Statistic::Kind;
        Item item{statistic};
        switch (statistic.kind) {
        case Kind::MedianHigh:
        case Kind::MedianLow:
        case Kind::Mode:
            item.values = allot<T>(item, sizes);
            break;
        case Kind::Distinct:
            item.counts = allot<unsigned int>(item, sizes);
            break;
        default:
            item.numbers = allot<double>(item, sizes);
        }
        return item;
    }

    std::vector<Item> Items;
};

} // namespace Tilewright::Io
