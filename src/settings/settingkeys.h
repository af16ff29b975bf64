// SPDX-License-Identifier: Apache-2.0
/// Every key of `setting.ini`: its name, type and default, written down here and nowhere else.
#pragma once

#include <QString>
#include <QVariant>
#include <QVector>

/// How a value stands in the file.
enum class Written {
    AsItIs,     ///< numbers as numbers, a bool as true or false
    AsInteger,  ///< a bool as 1 or 0
};

/// A key of type `T` and the value that stands for it while the file does not have it.
template <typename T>
struct SettingKey {
    QString name;
    T fallback;
    Written written = Written::AsItIs;
};

namespace keys {

// Cameras and their places.
inline const SettingKey<int> kCamNum{QStringLiteral("Camera/CamNum"), 4};  ///< upper bound on cameras used
/// Not 0: demo mode (pictures from files); also the number of tiles when no camera is attached.
inline const SettingKey<int> kDemo{QStringLiteral("Camera/Demo"), 0};
inline const SettingKey<int> kMode{QStringLiteral("Camera/Mode"), 1};      ///< 0 = 2 x 2 grid, else one row
inline const SettingKey<int> kColumn{QStringLiteral("Camera/Column"), 2};  ///< tiles per row when rearranged
/// Serial number of the camera shown in a tile, 0 ... 3.
SettingKey<QString> cameraSerial(int tile);

// Passed to the cameras.
inline const SettingKey<int> kTimeout{QStringLiteral("Control/Timeout"), 1500};  ///< library units
/// Exposure value / exposure slider. Selecting another camera reads the same key with the default 1.0; both
/// defaults are deliberate.
inline const SettingKey<double> kExposureScale{QStringLiteral("Control/ExposureScale"), 2.0};
inline const SettingKey<double> kExposureScaleOfSelection{QStringLiteral("Control/ExposureScale"), 1.0};

// The window, its files and its line to the machine controller.
inline const SettingKey<QString> kPort{QStringLiteral("File/Port"), QString()};  ///< empty = no serial line
inline const SettingKey<int> kPortRetry{QStringLiteral("File/PortRetry"),
                                        0};  ///< not 0: missing port tried again
/// Correction on.
inline const SettingKey<bool> kTrans{QStringLiteral("File/Trans"), false, Written::AsInteger};
inline const SettingKey<int> kSmooth{QStringLiteral("File/Smooth"), 0};     ///< not 0: bilinear correction
inline const SettingKey<int> kWidth{QStringLiteral("File/Width"), 2560};    ///< px, without camera 0
inline const SettingKey<int> kHeight{QStringLiteral("File/Height"), 1440};  ///< px, without camera 0
inline const SettingKey<QString> kTitle{QStringLiteral("File/Title"), QStringLiteral("Bivista")};
inline const SettingKey<int> kLang{QStringLiteral("File/Lang"), 2};  ///< 1 English, 2 Chinese
inline const SettingKey<QString> kBarcodeMark{QStringLiteral("File/BarcodeMark"), QString()};
inline const SettingKey<QString> kDateTimeMark{QStringLiteral("File/DTMark"), QString()};
inline const SettingKey<QString> kDateTimeFormat{QStringLiteral("File/DTFormat"),
                                                 QStringLiteral("yyyy-MM-dd HH:mm:ss")};
inline const SettingKey<int> kDelay{QStringLiteral("File/Delay"), 0};  ///< ms from serial trigger to picture
inline const SettingKey<double> kZoom{QStringLiteral("File/Zoom"), 1.0};  ///< written only, never read
inline const SettingKey<QString> kPath{QStringLiteral("File/Path"), QStringLiteral(".")};
inline const SettingKey<int> kType{QStringLiteral("File/Type"), 1};         ///< 0 BMP, 1 JPEG, 2 PNG
inline const SettingKey<int> kQuality{QStringLiteral("File/Quality"), 75};  ///< 0 ... 100
/// Not 0: pictures are taken at once and written in the background.
inline const SettingKey<int> kBackground{QStringLiteral("File/Background"), 0};
inline const SettingKey<QString> kXCount{QStringLiteral("File/XCount"), QStringLiteral("5,3,5")};
inline const SettingKey<QString> kYCount{QStringLiteral("File/YCount"), QStringLiteral("2,2,2")};
/// Not 0: a table of the measures lies beside each picture of the whole view.
inline const SettingKey<int> kMeasures{QStringLiteral("File/Measures"), 0};
inline const SettingKey<bool> kSaveCaptured{QStringLiteral("File/SaveCaptured"), true};
inline const SettingKey<bool> kFreezeImage{QStringLiteral("File/FreezeImage"), false};
inline const SettingKey<int> kColor{QStringLiteral("File/Color"), 0};  ///< 0 = monochrome capture

// Measuring. The size of a grid cell, 0 = not known: then measures are px.
inline const SettingKey<double> kCellWidth{QStringLiteral("File/CellWidth"), 0.0};    ///< mm
inline const SettingKey<double> kCellHeight{QStringLiteral("File/CellHeight"), 0.0};  ///< mm
/// The same cell in the corrected pictures of the last calibration, px.
inline const SettingKey<double> kCellWidthPx{QStringLiteral("File/CellWidthPx"), 0.0};
inline const SettingKey<double> kCellHeightPx{QStringLiteral("File/CellHeightPx"), 0.0};
inline const SettingKey<int> kUnit{QStringLiteral("File/Unit"), 1};        ///< 0 pix, 1 mm, 2 um
inline const SettingKey<int> kMeasure{QStringLiteral("View/Measure"), 0};  ///< not 0: its tool bar is shown

/// The key of the whole desktop that saves a picture, as platform::readHotkey takes it; empty: none. Read
/// once, before the file is opened for the run.
inline const SettingKey<QString> kHotkey{QStringLiteral("Platform/Hotkey"), QStringLiteral("Ctrl+W")};

/// Scene position (px) of a tile's picture; the tile index is its own default, so that new tiles do not hide
/// each other. Written as a double, used as an integer.
SettingKey<double> tileX(int tile);
SettingKey<double> tileY(int tile);

/// Name and default (with its type) of every key; the tile keys once for each tile.
struct Description {
    QString name;
    QVariant fallback;
    /// SettingValue::oddity of a text of this key.
    QString (*oddity)(const QString& text);
};
QVector<Description> all();

}  // namespace keys
