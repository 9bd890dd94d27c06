#pragma once

#include <functional>
#include <string>

#include <tilewright/export.h>

namespace Larder {

/// A warning to the user: gathers a text and delivers it when it is destroyed, to the standard error stream
/// or to the thread's ConsoleSink.
///
/// Used as a temporary: Console() << "have no point cloud positions". Texts carry no line end of their own.
/// Each text arrives whole, whatever other threads write.
class TILEWRIGHT_API Console {
public:
    Console() = default;
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;
    ~Console();

    Console& operator<<(const char* text);

private:
    std::string Text;
};

/// Takes the warnings of its thread for as long as it lives, in place of the standard error stream and of
/// sinks made before. An empty function drops them. What the function throws is dropped too.
class TILEWRIGHT_API ConsoleSink {
public:
    using Take = std::function<void(const std::string&)>;

    explicit ConsoleSink(Take take);
    ConsoleSink(const ConsoleSink&) = delete;
    ConsoleSink& operator=(const ConsoleSink&) = delete;
    ~ConsoleSink();

private:
    friend class Console;

    Take TakeText;
    ConsoleSink* Before;
};

} // namespace Larder
