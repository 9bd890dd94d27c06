/// SelectionText: reads which points users want.
///
/// A condition is RANGES@FIELD, or some of the words first, last, only and intermediate with commas between
/// them; with ! in front it is turned round. RANGES are values and low:high with commas between them, and
/// either end may be left out. The library's own language for this, with which its calls select points, is
/// poorer, and reads what it can't understand as 0.
#pragma once

#include <string>

#include <io/clouds/CloudSelection.h>
#include <io/runs/RasterRequest.h>

namespace Tilewright::Io {

/// Reads one or more conditions with & between them. Throws UsageError, which begins with `place`, for a text
/// that makes no sense, and for heights above the ground where there is none; and InputError for an attribute
/// that the cloud doesn't have.
PointConditions readConditions(const std::string& place, const std::string& text, const PointCloud& cloud,
                               bool hasGround);

/// All that a request selects by; empty for all points. Throws as readConditions() does.
PointConditions readSelection(const RasterRequest& request, const PointCloud& cloud);

/// What points of the ground have to meet, as RasterRequest::groundClasses has it; empty for none.
PointConditions readGroundClasses(const RasterRequest& request, const PointCloud& cloud);

/// Whether a request gives heights above the ground.
bool hasGround(const RasterRequest& request);

/// What they are called. A cloud may have an attribute of that name, which counts where there is no ground.
inline constexpr const char* heightAboveGround = "HeightAboveGround";

} // namespace Tilewright::Io
