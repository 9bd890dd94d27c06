/// PlanFile: the plan of a run as a file, so that it can be carried out later, elsewhere or in parts.
///
/// The file is a JSON document with the members of RunPlan under their own names, and two that identify it:
/// `"format": "tilewright plan"` and `"version": 3`. The version changes with whatever an older reader would
/// misunderstand; members that a reader does not know have no meaning for it.
///
/// - Numbers come back bit for bit. What JSON has no number for is one of the words "inf", "-inf", "nan" and
///   "-nan".
/// - Texts are UTF-8. One that is not, such as the name of a file, is an object whose member `"bytes"` has
/// two
///   hexadecimal digits per byte.
/// - Kinds are words: pixel types as GDAL calls them, and filters and directions as in requests.
/// - What a plan may lack is null.
/// - `parts` are rectangles of blocks, 256 x 256 cells each, counted from the north-western one: `west` and
///   `north` are the first, and `east` and `south` one after the last. Their order is that of their numbers.
/// - `job` is made of all blocks, and the descriptions of outputs have the geometry of the plan.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include <io/clouds/IndexFolder.h>
#include <io/runs/RunPlan.h>
#include <tilewright/export.h>

namespace Tilewright::Io {

/// Replaces an older file. Throws OutputError if that fails; then the older one stays.
TILEWRIGHT_API void writePlan(const std::filesystem::path& path, const RunPlan& plan);

/// What the file has.
std::string textOfPlan(const RunPlan& plan);

/// Throws InputError for a file that is no plan, or one that contradicts itself.
TILEWRIGHT_API RunPlan readPlan(const std::filesystem::path& path);

/// The plan of such a text. Throws as readPlan() does, with `name` as what is wrong.
RunPlan planOfText(std::string_view text, const std::string& name);

/// Opens the cloud of a plan. Throws InputError for files that cannot be read, that have changed since the
/// plan was made, or that lack what the plan needs of them, and where the index of one is missing or of
/// another file.
///
/// With `wanted` only the stretches that pass it, and the files that do with all of their points: others are
/// not looked at, and not among the inputs of the plan that comes back.
TILEWRIGHT_API PlannedRun openPlan(RunPlan plan, const IndexFolder& indices, const RunProgress& progress = {},
                                   const StretchTest& wanted = {});

/// The same without an index, and with a cloud that is open already unless it is null.
PlannedRun openPlan(RunPlan plan, const std::shared_ptr<const PointCloud>& cloud,
                    const RunProgress& progress = {});

/// Throws InputError if a file of the plan has changed since it was made, as far as its size and time show.
TILEWRIGHT_API void expectUnchanged(const RunPlan& plan);

} // namespace Tilewright::Io
