/// QuillType: the run-time description of a value type, for code that does not know element types when it is
/// compiled.
///
/// There is one description object for each type, made on first use and destroyed when the process ends.
/// Thread safety: first use is guarded; after that descriptions are only read.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include <tilewright/substrate/Chunk.h>
#include <tilewright/substrate/Typename.h>
#include <tilewright/values/PhysicalSpace.h>

namespace Quill {

/// What identifies and describes a value type.
struct TILEWRIGHT_API QuillTypeIndex {
    std::uint32_t scalarCount;
    std::uint32_t byteSize;
    /// 1 for a vector-like type, else 0.
    std::int32_t tensorRank;
    /// What QuillType::indexing_scheme answers.
    std::int32_t schemeIndex;
    std::uint32_t scalarBytes;
    std::string typeName;
    std::string elementName;
    std::string chartName;
    /// 0 for a type without a chart.
    std::uint32_t chartDimension;
};

/// The facts that a description is made from. A type that is not a record is one scalar without a chart.
template <class T> struct ValueTypeTraits {
    using Scalar = T;
    using Chart = void;
    static constexpr int scalarCount = 1;
    static constexpr int tensorRank = 0;
    static constexpr int schemeIndex = 0;
};

/// The base classes of a record say what it is.
template <Orrery::Record T> struct ValueTypeTraits<T> {
    using Scalar = typename T::element_type;
    using Chart =
        std::conditional_t<std::is_base_of_v<Orrery::Cartesian3D, T>, Orrery::Cartesian3D,
                           std::conditional_t<std::is_base_of_v<Orrery::RGB, T>, Orrery::RGB, void>>;
    static constexpr int scalarCount = T::element_count;
    static constexpr int tensorRank = std::is_base_of_v<Orrery::Vector<Scalar, T::element_count>, T> ? 1 : 0;
    static constexpr int schemeIndex = std::is_base_of_v<Orrery::Column<T::element_count, Scalar>, T> ? 1 : 0;
};

/// The letters of a chart's coordinates, closed by a null.
template <class Chart> inline constexpr const char* coordinate_name[1] = {nullptr};
template <> inline constexpr const char* coordinate_name<Orrery::Cartesian3D>[4] = {"x", "y", "z", nullptr};
template <> inline constexpr const char* coordinate_name<Orrery::RGB>[4] = {"r", "g", "b", nullptr};

template <class Chart> inline constexpr std::uint32_t chartDimension = 3;
template <> inline constexpr std::uint32_t chartDimension<void> = 0;

/// The description of T, worked out anew.
template <class T> QuillTypeIndex describeValueType() {
    using Traits = ValueTypeTraits<T>;
    using Scalar = typename Traits::Scalar;
    using Chart = typename Traits::Chart;
    return {Traits::scalarCount,
            sizeof(T),
            Traits::tensorRank,
            Traits::schemeIndex,
            sizeof(Scalar),
            Larder::Typename(typeid(T)),
            Larder::Typename(typeid(Scalar)),
            Larder::Typename(typeid(Chart)),
            chartDimension<Chart>};
}

class TILEWRIGHT_API QuillTypeBase : public Larder::ReferenceBase<QuillTypeBase>, QuillTypeIndex {
public:
    using Pointer = Larder::WeakPtrImpl<QuillTypeBase, QuillTypeBase>;

    ~QuillTypeBase() override;

    virtual const std::type_info& getType() const = 0;
    virtual bool isType(const std::type_info& type) const = 0;
    /// A chunk of `n` value-initialised elements.
    virtual Larder::StrongPtr<Larder::ChunkBase, Larder::ChunkBase> newChunk(unsigned long long n) const = 0;
    virtual int element_index(const int* index) const = 0;
    /// The description of the scalar type.
    virtual Pointer element_type() const = 0;
    /// The letter of a coordinate, empty for a type without a chart. Throws std::logic_error for the
    /// component after the last one; beyond that the component is not checked.
    virtual std::string coordinate_component_name(int component) const = 0;
    /// The chart's type, that of void for none.
    virtual const std::type_info& chart_type() const = 0;
    virtual int indexing_scheme(int component) const = 0;
    virtual int nontensor() const = 0;

    const QuillTypeIndex& index() const { return *this; }

    /// The description of `type` among those that were asked for so far, null if it is not.
    static Pointer find(const std::type_info& type);

protected:
    explicit QuillTypeBase(const QuillTypeIndex& index);

    /// Enters the type in the list that find searches. For the constructor of the class that answers getType.
    void remember();
};

template <class T> class TILEWRIGHT_API QuillType : public QuillTypeBase {
    using Traits = ValueTypeTraits<T>;
    using Chart = typename Traits::Chart;

public:
    /// The one description of T. It takes only a weak count; the object holds itself until the process ends.
    static Pointer getQuillType();

    const std::type_info& getType() const override { return typeid(T); }
    bool isType(const std::type_info& type) const override { return type == typeid(T); }
    Larder::StrongPtr<Larder::ChunkBase, Larder::ChunkBase> newChunk(unsigned long long n) const override {
        return new Larder::Chunk<T>(n, false);
    }
    int element_index(const int* index) const override { return index[0]; }
    Pointer element_type() const override { return QuillType<typename Traits::Scalar>::getQuillType(); }
    std::string coordinate_component_name(int component) const override {
        if (std::is_void_v<Chart>)
            return {};
        const char* const name = coordinate_name<Chart>[component];
        if (!name)
            throw std::logic_error("basic_string::_M_construct null not valid");
        return name;
    }
    const std::type_info& chart_type() const override { return typeid(Chart); }
    int indexing_scheme(int) const override { return Traits::schemeIndex; }
    int nontensor() const override { return 0; }

protected:
    QuillType() : QuillTypeBase(describeValueType<T>()) { remember(); }
};

template <class T> QuillTypeBase::Pointer QuillType<T>::getQuillType() {
    static Larder::Auto<QuillType<T>> myType;
    return &myType;
}

} // namespace Quill
