/// SymbolModelTable: symbol models by number, each created when it is first used.
#pragma once

#include <array>
#include <bitset>

#include <io/formats/las/SymbolModel.h>

namespace Tilewright::Io {

/// `count` models of `symbols` symbols.
template <unsigned symbols, unsigned count> class SymbolModelTable {
public:
    void create() noexcept { created.reset(); }

    [[gnu::always_inline]] SymbolModel<symbols>& operator[](unsigned i) noexcept {
        if (!created[i]) [[unlikely]]
            createModel(i);
        return models[i];
    }

private:
    [[gnu::noinline]] void createModel(unsigned i) noexcept {
        created.set(i);
        models[i].create(symbols);
    }

    std::bitset<count> created;
    std::array<SymbolModel<symbols>, count> models;
};

} // namespace Tilewright::Io
