#include <tilewright/substrate/SpeakPtr.h>

#include <cstdio>
#include <exception>

#include <tilewright/substrate/Typename.h>

namespace Larder {

namespace {

/// A report is worth less than the program: if there is no memory for the names it is dropped.
template <class Report> void withoutThrowing(const Report& report) noexcept {
    try {
        report();
    } catch (const std::exception&) {
        std::fputs("tilewright: a reference pointer is in disorder\n", stderr);
    }
}

} // namespace

SpeakPtr* SpeakPtr::theSpeaker() {
    static SpeakPtr speaker;
    return &speaker;
}

void SpeakPtr::InconsistentDynPtr(const std::type_info& storedType, const std::type_info& wantedType,
                                  const std::type_info& objectType, const void* fresh, const void* stored,
                                  const void* object, const void*) noexcept {
    withoutThrowing([&] {
        std::fprintf(
            stderr, "tilewright: inconsistent pointer to %s: holds %p (%s), its object %p (%s) casts to %p\n",
            Typename(wantedType).c_str(), stored, Typename(storedType).c_str(), object,
            Typename(objectType).c_str(), fresh);
    });
}

void SpeakPtr::SelfConstruction(const std::type_info& pointerType, const void* pointer,
                                const void* record) noexcept {
    withoutThrowing([&] {
        std::fprintf(stderr, "tilewright: %s at %p is built from itself, record %p\n",
                     Typename(pointerType).c_str(), pointer, record);
    });
}

} // namespace Larder
