// A client of the built library. Most of it is about casts: an object may be made on one side of the
// library's border and asked for its type on the other, where a second copy of the run-time type information
// would show.
#include <tilewright/tilewright.h>

#include <cstddef>
#include <cstdio>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

using Array = Larder::StrongPtr<Quill::MemBase, Larder::Cacheable>;
template <int N, class T> using TypedPtr = Larder::StrongPtr<Quill::MemArray<N, T>, Larder::Cacheable>;

int failures = 0;

void check(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "failed: %s\n", what);
        ++failures;
    }
}

template <int N> Quill::MultiIndex<N> extents(const unsigned long long (&values)[N]) {
    Quill::MultiIndex<N> result{};
    for (std::size_t d = 0; d < N; ++d)
        result[d] = values[d];
    return result;
}

void arraysOfTheClient() {
    Larder::Ref<Quill::MemArray<3, float>> made(extents<3>({4, 3, 2}));
    const Array erased = made;
    check(!!TypedPtr<3, float>(erased), "an array made here is what it was made as");
    check(!TypedPtr<2, float>(erased) && !TypedPtr<3, double>(erased), "and nothing else");
    check(erased.rawptr()->nElements() == 24, "the library counts its elements");

    // The slice is made inside the library where the template is instantiated there.
    const Array slice = made.rawptr()->getSlice(1, {});
    check(!!TypedPtr<2, float>(slice), "a slice of it has one rank less");
}

void arraysOfTheLibrary() {
    const auto allocator = Quill::MemBase::findAllocator(typeid(float));
    check(!!allocator, "the library has an allocator for float");
    if (!allocator)
        return;
    const Quill::DynamicSize size(2, new unsigned long long[2]{5, 4});
    const Array made = allocator.rawptr()->create(size);
    const TypedPtr<2, float> typed(made);
    check(!!typed, "an array made in the library can be cast here");
    check(!TypedPtr<3, float>(made) && !TypedPtr<2, int>(made), "but not to another rank or type");
    check(typed && typed.rawptr()->Size()[0] == 5 && typed.rawptr()->Size()[1] == 4,
          "it has the wanted extents");
    check(typed && dynamic_cast<Quill::TypedArray<float>*>(made.rawptr()), "its type-known face shows too");
    // Casts also compare names, and so would succeed here and there with two copies; addresses tell.
    const Quill::MemBase* const object = made.rawptr();
    check(object && &typeid(*object) == &typeid(Quill::MemArray<2, float>),
          "there is one description of its class");
    check(!Quill::MemBase::findAllocator(typeid(std::string)),
          "there is no allocator for a type nobody registered");
}

// The pointers are templates in headers, so that a client can open a reference domain of its own.
struct Own : Larder::ReferenceBase<Own> {
    using reference_domain_t = Own;
    explicit Own(int& gone) : ReferenceBase<Own>(this), Gone(gone) {}
    ~Own() override { ++Gone; }
    int& Gone;
};

// A chunk of reference pointers, whose class is declared in one header and told in another.
void chunkOfIdentifiers() {
    const Larder::Ref<Quill::FragmentIDCollection::Identifiers> identifiers(3, false);
    const Larder::StrongPtr<Larder::ChunkBase, Larder::ChunkBase> erased = identifiers;
    check(erased && erased->elements() == 3, "a chunk of the library can be made here");
}

void domainOfTheClient() {
    int gone = 0;
    {
        Larder::Ref<Own> object(gone);
        const Larder::StrongPtr<Own, Own> other = object;
        check(!!other && gone == 0, "a held object lives");
    }
    check(gone == 1, "the last pointer takes it along, once");
}

void names() {
    const char* const filters[] = {"Mean", "Min", "Max", "Median", "Maximum Occurrence", "Skip"};
    for (std::size_t row = 0; row < 6; ++row)
        check(Tilewright::FilterTypeName[row] == std::string(filters[row]), filters[row]);
    const char* const directions[] = {"X-Dir", "Y-Dir", "Z-Dir", "All-Dr"};
    for (std::size_t row = 0; row < 4; ++row)
        check(Tilewright::DirectionName[row] == std::string(directions[row]), directions[row]);
}

void entryPoint() {
    Larder::Ref<Quill::Grid> in, out;
    const std::string answer = Tilewright::raster(*in, *out, std::vector<std::string>{}, {1, 1, 0}, {}, {},
                                                  false, false, "", 0u, {});
    check(answer == "Have no parse string", "the entry point refuses a call without requests");
}

} // namespace

int main() {
    arraysOfTheClient();
    arraysOfTheLibrary();
    chunkOfIdentifiers();
    domainOfTheClient();
    names();
    entryPoint();
    return failures == 0 ? 0 : 1;
}
