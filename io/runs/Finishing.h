/// Finishing: lets the files of a run appear, all together or none.
#pragma once

#include <io/runs/Rastering.h>

namespace Tilewright::Io {

/// Throws OutputError if pixels of a closed file need more bits than a creation option leaves them.
void checkBits(const RasterDescription& file, const RasterWriter& writer);

/// Closes the files, paints the picture, and gives all of them their names. Throws OutputError if that fails,
/// or if pixels need more bits than a creation option leaves them.
void finishFiles(const RunPlan& plan, RasteredFiles& files, const OutputGuard& guard,
                 const RunProgress& progress);

} // namespace Tilewright::Io
