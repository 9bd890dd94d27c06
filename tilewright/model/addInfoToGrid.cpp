#include <tilewright/model/addInfoToGrid.h>

void Retort::Commonplace::addInfoToGrid(const std::string& Text, Quill::Grid& grid, const std::string& Source,
                                        const Quill::GridPtr&, const int&, const int&) {
    grid.setAttribute(Source, Text);
}
