#include <tilewright/substrate/Console.h>

#include <cstdio>
#include <exception>
#include <utility>

namespace Larder {

namespace {

thread_local ConsoleSink* currentSink = nullptr;

} // namespace

Console::~Console() {
    if (!currentSink) {
        std::fwrite(Text.data(), 1, Text.size(), stderr);
        return;
    }
    try {
        if (currentSink->TakeText)
            currentSink->TakeText(Text);
    } catch (const std::exception&) {
        // A warning is worth less than the work that it is about.
        return;
    }
}

Console& Console::operator<<(const char* text) {
    Text += text;
    return *this;
}

ConsoleSink::ConsoleSink(Take take) : TakeText(std::move(take)), Before(std::exchange(currentSink, this)) {}

ConsoleSink::~ConsoleSink() { currentSink = Before; }

} // namespace Larder
