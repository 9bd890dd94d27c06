/// PointContext: what the XY layer of a chunk says about a point, and the other layers depend on.
#pragma once

namespace Tilewright::Io {

struct PointContext {
    unsigned channel; ///< of the scanner, 0 to 3
    bool channelChanged, sourceChanged, timeChanged, angleChanged;
    unsigned extremes; ///< 1 for the last return of a pulse, plus 2 for the first
    unsigned level;    ///< other returns between the point and the last one, 0 to 7
    unsigned height;   ///< context for Z
};

} // namespace Tilewright::Io
