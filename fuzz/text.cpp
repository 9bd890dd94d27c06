#include <fuzz/FileInput.h>
#include <io/formats/TextReader.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Tilewright;
    return Fuzz::tryReader(data, size, [](const auto& path) {
        return Io::readText(path, {std::make_shared<Io::ScratchSpace>(".")});
    });
}
