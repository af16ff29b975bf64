// SPDX-License-Identifier: Apache-2.0
// setting.ini: every key read, what the start makes of the values (cameras, tiles, their places, file names,
// grid counts), and the file written and read again. The first byte is the number of attached cameras.
#include <cmath>

#include "app/station.h"
#include "calibration/calibratedialog.h"
#include "calibration/calibrationrun.h"
#include "control/snapshotname.h"
#include "fuzz/fuzzgui.h"
#include "live/tilelayout.h"
#include "settings/settingsfile.h"
#include "support/recordingcamera.h"

namespace {

constexpr double kFarthest = 1e7;  // scene px
const QString kName = QStringLiteral("setting.ini");

/// Without byte order marks: behind a character that it escapes, QSettings takes one for the beginning of a
/// file.
QString textOf(QString value) {
    return value.remove(QChar(QChar::ByteOrderMark));
}
/// False for one with half a character, which an escape can make and no file can hold.
bool isText(const QString& value) {
    return QString::fromUtf8(value.toUtf8()) == value;
}

QString textOf(double value) {
    return QString::number(value, 'g', 17);
}
QString textOf(bool value) {
    return QString::number(int(value));
}
QString textOf(int value) {
    return QString::number(value);
}

template <typename... Types>
QStringList valuesOf(const SettingsFile& file, const SettingKey<Types>&... key) {
    return {textOf(file.read(key))...};
}

/// All values but the one that this target writes.
QStringList valuesOf(const SettingsFile& file) {
    using namespace keys;
    QStringList values =
        valuesOf(file, kCamNum, kDemo, kMode, kColumn, kTimeout, kExposureScale, kExposureScaleOfSelection,
                 kPort, kTrans, kWidth, kHeight, kTitle, kLang, kBarcodeMark, kDateTimeMark, kDateTimeFormat,
                 kDelay, kPath, kType, kQuality, kXCount, kYCount, kSaveCaptured, kFreezeImage, kColor);
    for (int tile = 0; tile < 4; ++tile)
        values += valuesOf(file, cameraSerial(tile), tileX(tile), tileY(tile));
    return values;
}

/// A section line without an end. QSettings takes it for a section all the same, and what stands in a whole
/// one of that name may come up only with the first write.
bool hasTornSection(QByteArray content) {
    const auto lines = content.replace('\r', '\n').split('\n');
    return std::any_of(lines.begin(), lines.end(), [](const QByteArray& line) {
        return line.trimmed().startsWith('[') && !line.contains(']');
    });
}

bool isPlace(QPointF place) {
    return std::abs(place.x()) <= kFarthest && std::abs(place.y()) <= kFarthest;
}

/// Tiles as the window takes them from the settings.
void placeTiles(Station& station, const SettingsFile& settings) {
    must(station.tileCount() >= 0 && station.tileCount() <= 4, "there are up to four tiles");
    const QSize frame = station.frameSize();
    QList<ImagePos> tiles;
    QVector<QPointF> positions;
    for (int tile = 0; tile < station.tileCount(); ++tile) {
        const QPointF place = station.placeOf(tile);
        must(isPlace(place), "a tile lies where a scene can place it");
        tiles.append({place.x(), place.y(), tile});
        positions.append(place);
    }
    const int columns =
        arrangedColumns(settings.read(keys::kColumn), station.layoutMode(), station.tileCount());
    must(columns >= 1, "there is a column");
    const auto arranged = rearranged(tiles, frame, columns, station.layoutMode());
    must(arranged.size() == tiles.size(), "no tile gets lost");
    if (const auto fit = zoomFit(positions, QSize(64, 48), QSize(800, 600)))
        must(std::isfinite(fit->scale) && fit->scale > 0, "a scale is one");
}

/// Cameras as the window takes them from the settings, and as they are after the tiles have been put the
/// other way round; both write the file.
void assignCameras(SettingsFile& settings, bool isEmpty) {
    Station station(&settings);
    if (!station.assignCameras())
        return;
    must(station.cameraOfTile().size() == station.tileCount(), "each tile has a camera");
    QList<ImagePos> turned;
    for (int tile = 0; tile < station.tileCount(); ++tile)
        turned.prepend({double(tile), 0.0, tile});
    const bool needsRestart = station.bindCameras(turned);
    must(!needsRestart || !station.isDemo(), "demo mode binds nothing");
    if (!isEmpty)
        return;
    for (int tile = 0; tile < station.tileCount(); ++tile)
        must(!settings.read(keys::cameraSerial(tile)).isEmpty() || station.isDemo(),
             "the first start binds all");
}

/// The counts as the calibration asks for them, and a calibration with them.
void calibrate(const SettingsFile& settings, int tiles) {
    static CalibrateDialog dialog;
    dialog.xCounts = {};
    dialog.yCounts = {};
    dialog.setCounts(settings.read(keys::kXCount), settings.read(keys::kYCount), tiles);
    const auto xCounts = dialog.xCounts;
    const auto yCounts = dialog.yCounts;
    dialog.setCounts(CalibrateDialog::countText(xCounts, tiles), CalibrateDialog::countText(yCounts, tiles),
                     tiles);
    must(dialog.xCounts == xCounts && dialog.yCounts == yCounts, "counts read as they are written");
    must(QMetaObject::invokeMethod(&dialog, "on_btnOK_clicked"), "the dialog has an OK");
    for (int i = 0; i < tiles; ++i)
        must(dialog.xCounts[i] == xCounts[i] && dialog.yCounts[i] == yCounts[i], "counts are taken as shown");

    CornerMarking::Refreshed marked;
    for (auto& corners : marked.corners)
        corners = {{10, 8, nullptr}, {54, 9, nullptr}, {9, 40, nullptr}, {55, 41, nullptr}};
    const auto run = runCalibration(marked, xCounts, yCounts, tiles, QSize(64, 48));
    must(run.problem.isEmpty() == (int(run.calibrations.size()) == tiles && tiles > 0),
         "all calibrations, or a reason");
}

void names(const SettingsFile& settings) {
    const QString folder = settings.read(keys::kPath);
    const QString name =
        snapshotFileName(folder, QLatin1Char('/'), QStringLiteral("x"), settings.read(keys::kType));
    must(name.isEmpty() == folder.isEmpty(), "no name without a folder");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    startApplication();
    if (size == 0)
        return 0;
    recording::reset(data[0] % 5);
    const QByteArray content = bytesOf(data + 1, size - 1);
    const InputFolder folder;
    writeFile(kName, content);

    QStringList values;
    bool isIntact = false;
    const bool isTorn = hasTornSection(content);
    {
        SettingsFile settings(kName);
        isIntact = settings.isIntact();
        must(isIntact == settings.problem().isEmpty(), "a file that is not kept is a problem");
        values = valuesOf(settings);
        const auto all = keys::all();
        for (const auto& key : all)
            must(!key.name.isEmpty() && key.oddity(values.last()).size() < 200, "an oddity is a short text");
        names(settings);
        Station station(&settings);
        placeTiles(station, settings);
        calibrate(settings, std::max(1, station.tileCount()));
        settings.write(keys::kZoom, 0.5);
        must(settings.problem().isEmpty() == isIntact, "what can be understood can be written");
        must(isTorn || valuesOf(settings) == values, "writing one key changes no other");
        must(!isTorn || !isIntact || contentOfFile(kName + QStringLiteral(".bak")) == content,
             "what cannot be kept in the file is kept in a copy");
    }
    if (!isIntact) {
        must(contentOfFile(kName) == content, "what cannot be understood is never written");
        return 0;
    }
    // Under another name, or QSettings would remember it.
    const QString copy = QStringLiteral("copy.ini");
    must(QFile::copy(kName, copy), "the file is there");
    SettingsFile again(copy);
    must(again.isIntact(), "what was written can be understood");
    must(again.read(keys::kZoom) == 0.5, "what was written is there");
    const QStringList written = valuesOf(again);
    for (int i = 0; i < values.size(); ++i)
        must(isTorn || !isText(values[i]) || written[i] == values[i],
             "what was not written is there as it was");
    assignCameras(again, content.isEmpty());
    return 0;
}
