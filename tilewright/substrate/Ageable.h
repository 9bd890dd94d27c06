#pragma once

#include <tilewright/export.h>

namespace Larder {

/// Something with an age: the reading of a global clock at its birth. Nothing here advances the clock; it
/// belongs to whoever embeds the library.
class TILEWRIGHT_API Ageable {
public:
    static unsigned long long GlobalTime;

    Ageable() : Age(GlobalTime) {}

    unsigned long long age() const { return Age; }
    void setAge(const Ageable& other) { Age = other.Age; }

private:
    unsigned long long Age;
};

} // namespace Larder
