#include <tilewright/values/FixedArray.h>

namespace std {

string to_string(const Orrery::FixedArray<double, 3>& triple, const char* begin, const char* end,
                 const char* separator) {
    return begin + to_string(triple[0]) + separator + to_string(triple[1]) + separator +
           to_string(triple[2]) + end;
}

} // namespace std
