#include <features.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <apps/tilewright/Program.h>

namespace {

/// Every window of a raster is worked on in buffers of some megabytes. To give them back to the system and to
/// get them again for the next window takes as long as the work itself.
void keepFreedMemory() {
#ifdef __GLIBC__
    constexpr int largestKept = 16 << 20;
    ::mallopt(M_MMAP_THRESHOLD, largestKept);
    ::mallopt(M_TRIM_THRESHOLD, 2 * largestKept);
#endif
}

} // namespace

int main(int argc, char** argv) {
    keepFreedMemory();
    return Tilewright::App::runProgram(argc, argv);
}
