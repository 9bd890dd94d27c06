/// CloudBuilder: small point clouds for tests, calls that rasterise them, and what tests read of the result.
#pragma once

#include <algorithm>
#include <bit>
#include <functional>
#include <optional>
#include <string>
#include <typeindex>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tilewright/tilewright.h>

namespace TestSupport {

using Orrery::PhysicalSpace::point;
using Orrery::PhysicalSpace::vector;
using Index = Quill::MultiIndex<3>;
using RegularField = Quill::RegularlyFragmentedField<3>;

template <class T> Quill::ArrayPtr arrayOf(const std::vector<T>& values) {
    const Larder::Ref<Quill::MemArray<1, T>> array(Quill::MultiIndex<1>(values.size()));
    std::copy(values.begin(), values.end(), array->data);
    return array;
}

/// All elements of a MemArray<N,T>, component 0 fastest; nothing for any other array or none.
template <class T, int N> std::optional<std::vector<T>> elementsOf(const Quill::ArrayPtr& array) {
    const Larder::StrongPtr<Quill::MemArray<N, T>, Larder::Cacheable> typed = array;
    if (!typed)
        return {};
    return std::vector<T>(typed->data, typed->data + typed->nElements());
}

/// A creator that makes its array when it is asked for, and counts.
struct OnDemand : Quill::CreativeArrayBase {
    explicit OnDemand(std::function<Quill::ArrayPtr()> make) : Make(std::move(make)) {}

    Quill::ArrayPtr create() override {
        ++made;
        return Make();
    }

    std::function<Quill::ArrayPtr()> Make;
    int made = 0;
};

/// Such a creator for an array of these values.
template <class T> Larder::Ref<OnDemand> onDemand(std::vector<T> values) {
    return Larder::Ref<OnDemand>([values = std::move(values)] { return arrayOf(values); });
}

/// Values that an array has made one at a time.
template <class T> struct Maker : Quill::DataCreator<T> {
    explicit Maker(std::vector<T> values) : Values(std::move(values)) {}
    Quill::CreativeIterator<T> slice(unsigned, unsigned long long) override { return {}; }
    T& element(unsigned long long index) override { return Values.at(index); }

    Quill::ArrayPtr array() {
        Quill::CreativeIterator<T> made;
        made.creator = this;
        return Larder::Ref<Quill::MemArray<1, T>>(made, Quill::MultiIndex<1>(Values.size()),
                                                  Quill::ChunkPtr());
    }

    std::vector<T> Values;
};

/// A field that is not regularly fragmented.
inline Quill::FieldPtr plainField() { return Larder::Ref<Quill::Field>(Quill::FragmentIDCollectionPtr()); }

/// Sets the budget of the shared cache for the life of the guard.
struct CacheBudget {
    explicit CacheBudget(unsigned long long bytes) { Larder::Cache::MemCache()->setBudget(bytes); }
    ~CacheBudget() { Larder::Cache::MemCache()->setBudget(Larder::Cache::noLimit); }
};

/// Something of that age.
inline Larder::Ageable aged(unsigned long long age) {
    const unsigned long long now = std::exchange(Larder::Ageable::GlobalTime, age);
    const Larder::Ageable result;
    Larder::Ageable::GlobalTime = now;
    return result;
}

/// Writes down what it is told, and answers false at the call of that number.
struct ProgressLog : Larder::LoaderProgress {
    explicit ProgressLog(std::size_t refuseAt = ~std::size_t{0}) : RefuseAt(refuseAt) {}

    bool reportProgress(const std::string& what, unsigned done, unsigned total) override {
        calls.push_back(what + std::to_string(done) + "/" + std::to_string(total));
        return calls.size() - 1 != RefuseAt;
    }

    std::vector<std::string> calls;
    std::size_t RefuseAt;
};

/// A grid with a cloud in it. Fields are in the order in which they are first named, after the positions.
class CloudBuilder {
public:
    explicit CloudBuilder(const Index& fragmentCount = {1, 1, 1}) : FragmentCount(fragmentCount) {
        regularField("Positions");
    }

    Quill::Grid& grid() const { return *Grid; }
    Quill::Representation& representation() const { return Grid->makeCartesianRepresentation(3, "", 0); }
    Quill::RegularFieldPtr positions() const { return representation().Positions(); }

    /// The regularly fragmented field of that name, made on the lattice of the cloud if it is missing.
    Quill::RegularFieldPtr regularField(const std::string& name) {
        Quill::RegularFieldPtr found = representation().findField(name);
        if (!found) {
            found = Larder::Ref<RegularField>(FragmentCount, "RegularFragment");
            representation()[name] = found;
        }
        return found;
    }

    CloudBuilder& points(const std::vector<point>& places, const Index& fragment = {}) {
        return array("Positions", arrayOf(places), fragment);
    }
    template <class T>
    CloudBuilder& values(const std::string& name, const std::vector<T>& values, const Index& fragment = {}) {
        return array(name, arrayOf(values), fragment);
    }
    CloudBuilder& array(const std::string& name, const Quill::ArrayPtr& data, const Index& fragment = {}) {
        const Quill::RegularFieldPtr target = regularField(name);
        target->setPersistentData(data, target->getFragmentID(fragment), Larder::Cache::MemCache(), "");
        return *this;
    }
    CloudBuilder& creator(const std::string& name, const Quill::CreatorPtr& creator,
                          const Index& fragment = {}) {
        (*regularField(name))[fragment] = creator;
        return *this;
    }
    /// Any field, a regularly fragmented one or not.
    CloudBuilder& field(const std::string& name, const Quill::FieldPtr& field) {
        representation()[name] = field;
        return *this;
    }
    /// Has the positions carry this box, so that the lattice doesn't depend on the points.
    CloudBuilder& box(const point& low, const point& high) {
        regularField("Positions")->addInterface(Larder::Ref<Orrery::BoundingBox>(low, high));
        return *this;
    }

private:
    Larder::Ref<Quill::Grid> Grid;
    Index FragmentCount;
};

/// A call of raster with everything at rest that a test doesn't speak of, and with what it prints kept away
/// from the test's output.
struct RasterCall {
    std::vector<std::string> requests{"Positions:Mean:Zdir"};
    vector cellSize{1, 1, 0};
    Index overlap{};
    vector shift{};
    bool withAlpha = false;
    bool heightOnly = false;
    std::string selection{};
    unsigned sparseLimit = 0;
    Larder::StrongPtr<Larder::LoaderProgress, Larder::InterfaceBase> progress{};

    struct Outcome {
        std::string result{}, printed{}, warned{};
    };

    std::string direct(const Quill::Grid& in, Quill::Grid& out) const {
        return Tilewright::raster(in, out, requests, cellSize, overlap, shift, withAlpha, heightOnly,
                                  selection, sparseLimit, progress);
    }
    /// What is thrown becomes the result.
    Outcome observed(const Quill::Grid& in, Quill::Grid& out) const {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        std::string result;
        try {
            result = direct(in, out);
        } catch (const std::exception& failure) {
            result = std::string("threw ") + failure.what();
        }
        return {result, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
    }
    std::string operator()(const Quill::Grid& in, Quill::Grid& out) const { return observed(in, out).result; }
};

/// Two fragments of two cells each along x, with nodes at 0 and 1, and at 2 and 3.
struct TwoFragments : testing::Test {
    CloudBuilder in{{2, 1, 1}};
    Larder::Ref<Quill::Grid> out;
    RasterCall call;

    TwoFragments() {
        in.box({0, 0, 0}, {4, 1, 9});
        in.points({{0, 0, 5}, {1, 0, 1}, {0.25, 0, 8}}).points({{3, 0, 2}}, {1, 0, 0});
    }
    std::string run() { return call(in.grid(), *out); }
};

/// The field of that name in the Cartesian representation, null if it is missing or not regularly fragmented.
inline Quill::RegularFieldPtr fieldOf(const Quill::Grid& grid, const std::string& name) {
    const Quill::RepresentationPtr representation = grid.getCartesianRepresentation("");
    return representation ? representation->findField(name) : Quill::Field::NullPtrField();
}

inline Quill::ArrayPtr dataOf(const Quill::Grid& grid, const std::string& name, const Index& fragment = {}) {
    const Quill::RegularFieldPtr field = fieldOf(grid, name);
    return field ? field->getData(field->getFragmentID(fragment)) : Quill::ArrayPtr();
}

/// One fragment of a rastered field; nothing without data or if they are no MemArray<3,T>.
template <class T>
std::optional<std::vector<T>> cellsOf(const Quill::Grid& grid, const std::string& name,
                                      const Index& fragment = {}) {
    return elementsOf<T, 3>(dataOf(grid, name, fragment));
}

/// The values of a fragment's cells, or the components of these values, bit by bit. All not-a-numbers count
/// as the same.
struct CellBits {
    std::type_index type;
    std::vector<std::uint64_t> bits{};

    bool operator==(const CellBits&) const = default;
};

template <class E> std::uint64_t bitsOf(E v) {
    if constexpr (std::is_floating_point_v<E>)
        return v == v ? std::bit_cast<std::uint64_t>(static_cast<double>(v)) : ~0ULL;
    else
        return static_cast<std::uint64_t>(v);
}

/// The cells of a fragment as they are in the output; the nodes of its positions.
inline std::optional<CellBits> readCells(Quill::ArrayPtr array) {
    if (const Larder::StrongPtr<Quill::UniformCartesianArray, Larder::Cacheable> nodes = array)
        array = nodes->makeMemArray({});
    std::optional<CellBits> cells;
    Quill::probeTypes(Quill::ValueTypes(), [&]<class T>(std::type_identity<T>) {
        const auto values = elementsOf<T, 3>(array);
        if (!values)
            return false;
        cells = CellBits{typeid(T)};
        for (const T& v : *values)
            if constexpr (std::is_arithmetic_v<T>)
                cells->bits.push_back(bitsOf(v));
            else
                cells->bits.insert(cells->bits.end(), {bitsOf(v[0]), bitsOf(v[1]), bitsOf(v[2])});
        return true;
    });
    return cells;
}

/// The names of all fields of the Cartesian representation, in their order.
inline std::vector<std::string> fieldNames(const Quill::Grid& grid) {
    std::vector<std::string> names;
    if (const Quill::RepresentationPtr representation = grid.getCartesianRepresentation(""))
        representation->iterate([&](const Quill::FieldID& identifier, const Quill::Field&) {
            names.push_back(identifier.name);
            return true;
        });
    return names;
}

} // namespace TestSupport
