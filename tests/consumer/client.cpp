// A client of the built library. Most of it is about casts: an object may be made on one side of the
// library's border and asked for its type on the other, where a second copy of the run-time type information
// would show.
#include <tilewright/tilewright.h>

#include <cstdio>
#include <string>
#include <typeinfo>
#include <vector>

namespace {

template <int N, class T> using TypedPtr = Larder::StrongPtr<Quill::MemArray<N, T>, Larder::Cacheable>;

int failures = 0;

void check(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "failed: %s\n", what);
        ++failures;
    }
}

void arraysOfTheClient() {
    const Larder::Ref<Quill::MemArray<3, float>> array(Quill::MultiIndex<3>(4, 3, 2));
    const Quill::ArrayPtr made = array;
    check(!!TypedPtr<3, float>(made), "an array made here is what it was made as");
    check(!TypedPtr<2, float>(made) && !TypedPtr<3, double>(made), "and nothing else");
    check(made->nElements() == 24, "the library counts its elements");
    // The slice is made inside the library where the template is instantiated there.
    check(!!TypedPtr<2, float>(array->getSlice(1, {})), "a slice of it has one rank less");
}

void arraysOfTheLibrary() {
    const auto allocator = Quill::MemBase::findAllocator(typeid(float));
    check(!!allocator, "the library has an allocator for float");
    check(!Quill::MemBase::findAllocator(typeid(std::string)), "and none for a type nobody registered");
    if (!allocator)
        return;
    const Quill::ArrayPtr made = allocator->create(Quill::DynamicSize(2, new unsigned long long[2]{5, 4}));
    const TypedPtr<2, float> typed(made);
    check(typed && typed->Size() == Quill::MultiIndex<2>(5, 4),
          "an array made in the library can be cast here");
    check(!TypedPtr<3, float>(made) && !TypedPtr<2, int>(made), "but not to another rank or type");
    check(dynamic_cast<Quill::TypedArray<float>*>(made.rawptr()), "its type-known face shows too");
    // Casts also compare names, and so would succeed here and there with two copies; addresses tell.
    const Quill::MemBase* const object = made.rawptr();
    check(object && &typeid(*object) == &typeid(Quill::MemArray<2, float>),
          "there is one description of its class");
    // The class of this chunk is declared in one header and described in another.
    const Larder::Ref<Quill::FragmentIDCollection::Identifiers> identifiers(3, false);
    check(identifiers->elements() == 3, "a chunk of the library can be made here");
}

// The pointers are templates in headers, so that a client can open a reference domain of its own.
struct Own : Larder::ReferenceBase<Own> {
    using reference_domain_t = Own;
    explicit Own(int& gone) : ReferenceBase<Own>(this), Gone(gone) {}
    ~Own() override { ++Gone; }
    int& Gone;
};

void domainOfTheClient() {
    int gone = 0;
    {
        const Larder::StrongPtr<Own, Own> object = Larder::Ref<Own>(gone);
        check(!!object && gone == 0, "a held object lives");
    }
    check(gone == 1, "the last pointer takes it along, once");
}

void namesAndEntryPoint() {
    check(Tilewright::FilterTypeName[4] == std::string("Maximum Occurrence"), "filters have names");
    check(Tilewright::DirectionName[3] == std::string("All-Dr"), "directions have names");
    const Larder::Ref<Quill::Grid> in, out;
    check(Tilewright::raster(*in, *out, {}, {1, 1, 0}, {}, {}, false, false, "", 0u, {}) ==
              "Have no parse string",
          "the entry point refuses a call without requests");
}

} // namespace

int main() {
    arraysOfTheClient();
    arraysOfTheLibrary();
    domainOfTheClient();
    namesAndEntryPoint();
    return failures == 0 ? 0 : 1;
}
