#pragma once

#include <typeinfo>

#include <tilewright/export.h>

namespace Larder {

/// Reports reference pointers that are in disorder on the standard error stream. The pointers go on working
/// after a report, so nothing here throws or stops the program.
///
/// Thread safety: stateless; any thread may report at any time.
class TILEWRIGHT_API SpeakPtr {
public:
    /// The one reporter; never null.
    static SpeakPtr* theSpeaker();

    /// A typed word disagrees with a fresh cast of its object. `storedType` is the dynamic type of the object
    /// that the typed word points at, `wantedType` the pointer's class, `objectType` the dynamic type of
    /// `object`.
    void InconsistentDynPtr(const std::type_info& storedType, const std::type_info& wantedType,
                            const std::type_info& objectType, const void* fresh, const void* stored,
                            const void* object, const void* storedAgain) noexcept;

    /// A pointer of class `pointerType` at `pointer` is being built from itself; `record` is what it held.
    void SelfConstruction(const std::type_info& pointerType, const void* pointer,
                          const void* record) noexcept;

private:
    SpeakPtr() = default;
};

} // namespace Larder
