#include <tilewright/filters/vocabulary.h>

namespace Tilewright {

const char* const FilterTypeName[6] = {"Mean", "Min", "Max", "Median", "Maximum Occurrence", "Skip"};

const char* const DirectionName[4] = {"X-Dir", "Y-Dir", "Z-Dir", "All-Dr"};

} // namespace Tilewright
