/// GdalSilence: keeps what GDAL complains about off the user's screen while it lives. The last complaint can
/// still be asked for.
#pragma once

#include <cpl_error.h>

namespace Tilewright::Io {

class GdalSilence {
public:
    GdalSilence() {
        CPLPushErrorHandler(CPLQuietErrorHandler);
        CPLErrorReset();
    }
    ~GdalSilence() {
        CPLPopErrorHandler();
        CPLErrorReset();
    }
    GdalSilence(const GdalSilence&) = delete;
    GdalSilence& operator=(const GdalSilence&) = delete;
};

} // namespace Tilewright::Io
