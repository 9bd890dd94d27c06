/// PlanFile: the plan of a run as a file, so that it can be carried out later, elsewhere or in parts.
///
/// The file is a JSON document with the members of RunPlan under their own names, and two that identify it:
/// `"format": "tilewright plan"` and `"version": 1`. The version changes with whatever an older reader would
/// misunderstand; members that a reader does not know have no meaning for it.
///
/// - Numbers come back bit for bit. What JSON has no number for is one of the words "inf", "-inf", "nan" and
///   "-nan".
/// - Texts are UTF-8. One that is not, such as the name of a file, is an object whose member `"bytes"` has
/// two
///   hexadecimal digits per byte.
/// - Kinds are words: pixel types as GDAL calls them, and filters and directions as in requests.
/// - What a plan may lack is null.
/// - `job` is made of all blocks, and the descriptions of outputs have the geometry of the plan.
#pragma once

#include <filesystem>

#include <io/clouds/IndexFile.h>
#include <io/runs/RunPlan.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// Replaces an older file. Throws OutputError if that fails; then the older one stays.
TILEWRIGHT_API void writePlan(const std::filesystem::path& path, const RunPlan& plan);

/// Throws InputError for a file that is no plan, or one that contradicts itself.
TILEWRIGHT_API RunPlan readPlan(const std::filesystem::path& path);

/// Opens the cloud of a plan, with what is `wanted` of the index that was written of it, or all. Throws
/// InputError for files that cannot be read, that have changed since the plan was made, or that lack what the
/// plan needs of them, and for an index of other files.
TILEWRIGHT_API PlannedRun openPlan(RunPlan plan, const std::filesystem::path& index,
                                   const RunProgress& progress = {}, const StretchTest& wanted = {});

} // namespace Tilewright::Io
