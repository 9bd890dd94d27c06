#include <tilewright/substrate/Typename.h>

#include <cstdlib>
#include <cxxabi.h>
#include <memory>

std::string Larder::Typename(const std::type_info& type) {
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> readable(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    return readable ? readable.get() : type.name();
}
