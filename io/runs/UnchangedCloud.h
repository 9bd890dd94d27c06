/// UnchangedCloud: work on files that somebody might write to meanwhile.
#pragma once

#include <io/clouds/PointCloud.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

/// Does the work and gives its result. A file that changes meanwhile may make anything fail, so that is said
/// first: throws InputError if one did, whatever came of the work, unless the user interrupted it.
template <class Work> auto whileUnchanged(const PointCloud& cloud, const Work& work) {
    try {
        auto result = work();
        cloud.checkUnchanged();
        return result;
    } catch (const Interruption&) {
        throw;
    } catch (const Error&) {
        cloud.checkUnchanged();
        throw;
    }
}

} // namespace Tilewright::Io
