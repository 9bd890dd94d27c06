#include <tilewright/substrate/Console.h>

#include <cstdio>

namespace Larder {

Console::~Console() { std::fwrite(Text.data(), 1, Text.size(), stderr); }

Console& Console::operator<<(const char* text) {
    Text += text;
    return *this;
}

} // namespace Larder
