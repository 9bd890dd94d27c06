#include <io/preview/PictureFile.h>

#include <stdexcept>
#include <string>

#include <cpl_string.h>

#include <io/gdal/Gdal.h>
#include <io/rasters/RasterCheck.h>
#include <io/system/Errors.h>

namespace Tilewright::Io {

namespace {

bool isJpeg(const std::filesystem::path& picture) {
    const std::string extension = picture.extension().string();
    return EQUAL(extension.c_str(), ".jpg") || EQUAL(extension.c_str(), ".jpeg");
}

/// A canvas is opaque everywhere, and a JPEG has no alpha.
GDALDatasetUniquePtr pictureOf(const Canvas& canvas, int bands) {
    GDALDatasetUniquePtr picture(
        driverFor("MEM").Create("", canvas.width(), canvas.height(), bands, GDT_Byte, nullptr));
    // GDAL takes a pointer to non-const but does not write to it.
    auto* pixels = const_cast<unsigned char*>(canvas.bytes().data());
    if (!picture || picture->RasterIO(GF_Write, 0, 0, canvas.width(), canvas.height(), pixels, canvas.width(),
                                      canvas.height(), GDT_Byte, bands, nullptr, 4,
                                      GSpacing(4) * canvas.width(), 1, nullptr) != CE_None)
        return nullptr;
    for (int band = 1; band <= bands; ++band)
        picture->GetRasterBand(band)->SetColorInterpretation(
            static_cast<GDALColorInterp>(GCI_RedBand + band - 1));
    return picture;
}

} // namespace

bool isPictureName(const std::filesystem::path& picture) {
    return isJpeg(picture) || EQUAL(picture.extension().c_str(), ".png");
}

void savePicture(const Canvas& canvas, const std::filesystem::path& path,
                 const std::filesystem::path& place) {
    const GdalMessages messages;
    const ThreadOption noSideFiles("GDAL_PAM_ENABLED", "NO");
    const bool jpeg = isJpeg(place);
    const GDALDatasetUniquePtr picture = pictureOf(canvas, jpeg ? 3 : 4);
    bool done = picture != nullptr;
    if (done) {
        CPLStringList options;
        if (jpeg)
            options.SetNameValue("QUALITY", "90");
        else
            options.SetNameValue("ZLEVEL", "4"); // twice as fast as the usual 6, for a tenth more bytes
        const GDALDatasetUniquePtr copy(
            driverFor(jpeg ? "JPEG" : "PNG")
                .CreateCopy(path.c_str(), picture.get(), true, options.List(), nullptr, nullptr));
        done = copy != nullptr;
    }
    if (!done || messages.failed())
        throw OutputError(place.string() + ": cannot be written (" + messages.text() + ")");
    try {
        Fidelity expected;
        expected.canBeRead = true;
        expected.exactPixels = !jpeg;
        checkCopy(*picture, path, expected);
    } catch (const std::runtime_error& error) {
        throw OutputError(place.string() + ": cannot be written (" + error.what() + ")");
    }
}

} // namespace Tilewright::Io
