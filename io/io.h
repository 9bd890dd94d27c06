/// Everything public of tilewright::io, which reads clouds from files and writes rasters to files.
///
/// Most clients want io/runs/RasterRun.h: a request goes in, files and a report come out.
#pragma once

#include <io/blocks/BlockLattice.h>
#include <io/blocks/BlockSink.h>
#include <io/blocks/JobBand.h>
#include <io/blocks/PointColumns.h>
#include <io/blocks/RasterJob.h>
#include <io/blocks/SquareReader.h>
#include <io/clouds/CloudIndex.h>
#include <io/clouds/CloudSelection.h>
#include <io/clouds/CloudSummary.h>
#include <io/clouds/FileSearch.h>
#include <io/clouds/PointCloud.h>
#include <io/clouds/PointMeasures.h>
#include <io/formats/PointFile.h>
#include <io/formats/las/LasFields.h>
#include <io/formats/las/LasFile.h>
#include <io/formats/las/LasHeader.h>
#include <io/gdal/CoordinateSystem.h>
#include <io/outputs/OutputGuard.h>
#include <io/preview/Preview.h>
#include <io/rasters/ExistingRaster.h>
#include <io/rasters/RasterDescription.h>
#include <io/rasters/RasterFormat.h>
#include <io/rasters/RasterWriter.h>
#include <io/records/ByteSelection.h>
#include <io/records/OrderKeys.h>
#include <io/records/PointField.h>
#include <io/records/PointSource.h>
#include <io/records/RecordFormat.h>
#include <io/records/RecordStore.h>
#include <io/runs/BandWords.h>
#include <io/runs/RasterRequest.h>
#include <io/runs/RasterRun.h>
#include <io/runs/RunPlan.h>
#include <io/system/ByteSource.h>
#include <io/system/Bytes.h>
#include <io/system/Errors.h>
#include <io/system/FileState.h>
#include <io/system/MappedFile.h>
#include <io/system/NumberText.h>
#include <io/system/ScratchFile.h>
#include <io/system/ScratchSpace.h>
#include <io/system/StepReport.h>
#include <io/system/Suggestion.h>
