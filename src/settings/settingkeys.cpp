// SPDX-License-Identifier: Apache-2.0
#include "settings/settingkeys.h"

#include "settings/settingvalue.h"

namespace keys {

SettingKey<QString> cameraSerial(int tile) {
    return {QStringLiteral("Camera/Cam%1").arg(tile), QString()};
}

SettingKey<double> tileX(int tile) {
    return {QStringLiteral("Pos/X%1").arg(tile), double(tile)};
}

SettingKey<double> tileY(int tile) {
    return {QStringLiteral("Pos/Y%1").arg(tile), double(tile)};
}

namespace {

template <typename T>
QString oddityOf(const QString& text) {
    return settingValue<T>(text).oddity;
}

template <typename... Types>
QVector<Description> describe(const SettingKey<Types>&... key) {
    return {Description{key.name, QVariant(key.fallback), &oddityOf<Types>}...};
}

}  // namespace

QVector<Description> all() {
    auto list = describe(kCamNum, kDemo, kMode, kColumn, kTimeout, kExposureScale, kPort, kPortRetry, kTrans,
                         kSmooth, kWidth, kHeight, kTitle, kLang, kBarcodeMark, kDateTimeMark,
                         kDateTimeFormat, kDelay, kZoom, kPath, kType, kQuality, kBackground, kXCount,
                         kYCount, kMeasures, kSaveCaptured, kFreezeImage, kColor, kCellWidth, kCellHeight,
                         kCellWidthPx, kCellHeightPx, kUnit, kMeasure, kHotkey);
    for (int tile = 0; tile < 4; ++tile)
        list += describe(cameraSerial(tile), tileX(tile), tileY(tile));
    return list;
}

}  // namespace keys
