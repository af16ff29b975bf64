// SPDX-License-Identifier: Apache-2.0
// The whole main window, in demo mode or without any camera: setting.ini, then the calibration files of its
// tiles (the last one stands for those that are missing); pictures on all tiles, and what an operator does
// first.
#include <QAction>
#include <QDateTime>
#include <memory>

#include "app/mainwindow.h"
#include "fuzz/fuzzgui.h"
#include "platform/desktop.h"
#include "settings/settingsfile.h"
#include "support/recordingcamera.h"

// The desktop of this target: it has a hot key for everybody, so that no box asks.
QString platform::registerSaveHotkey(WId, const Hotkey&) {
    return {};
}
void platform::unregisterSaveHotkey(WId) {}
platform::NativeMessage platform::classify(const QByteArray&, const void*) {
    return NativeMessage::None;
}

namespace {

constexpr qint64 kMostPixels = 1 << 20;

/// What no run of many inputs should do: open the ports of this machine, or fill its memory with maps.
bool isHarmless() {
    const SettingsFile settings(QStringLiteral("./setting.ini"));
    return settings.read(keys::kPort).trimmed().isEmpty() &&
           qint64{settings.read(keys::kWidth)} * settings.read(keys::kHeight) < kMostPixels;
}

void sendFrame(MainWindow& window, int tile) {
    constexpr int kWidth = 64;  // px
    constexpr int kHeight = 48;
    auto* block = new unsigned char[kWidth * kHeight];
    std::fill_n(block, kWidth * kHeight, static_cast<unsigned char>(40 * tile));
    const QImage image(block, kWidth, kHeight, kWidth, QImage::Format_Grayscale8);
    window.process(tile, image, block, static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
}

void operate(MainWindow& window) {
    for (const char* name : {"actionEnable", "actionRearrange", "actionZoom_Fit", "actionFreeze",
                             "actionTilt", "actionBarcode", "actionDate_Time"}) {
        auto* action = window.findChild<QAction*>(QLatin1String(name));
        must(action != nullptr, "the action is there");
        action->trigger();
        for (int tile = 0; tile < 4; ++tile)
            sendFrame(window, tile);
    }
    window.openSetting();
    window.switchlanguage();
    window.updateFps();
    QCoreApplication::sendPostedEvents();
    window.grab();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    startApplication();
    recording::reset(0);
    const auto parts = partsOf(bytesOf(data, size));
    const InputFolder folder;
    writeFile(QStringLiteral("setting.ini"), parts[0]);
    for (int tile = 0; tile < 4 && parts.size() > 1; ++tile)
        writeFile(QStringLiteral("Cal%1.xml").arg(tile), parts.value(tile + 1, parts.last()));
    if (!isHarmless())
        return 0;
    MainWindow window(nullptr);
    operate(window);
    return 0;
}
