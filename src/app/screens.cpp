// SPDX-License-Identifier: Apache-2.0
#include "app/screens.h"

#include <QApplication>
#include <QScreen>
#include <QWidget>

#include "platform/chosenscale.h"
#include "platform/fonts.h"

void prepareScreens() {
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    // Qt's own is to round: a screen of 150 % would get a window of 200 %. That is right where nobody chose a
    // scale: with 100 dpi instead of 96, by a screen's millimetres, no line would be whole pixels wide.
    const bool isChosen = platform::hasChosenScale() || qEnvironmentVariableIntValue("QT_FONT_DPI") > 0;
    if (isChosen && !qEnvironmentVariableIsSet("QT_SCALE_FACTOR_ROUNDING_POLICY"))
        QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
            Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
}

void useSystemFont() {
    // Of the widgets, not of the application: that would be the default of a QFont, too.
    if (const auto font = platform::messageFont())
        QApplication::setFont(*font, "QWidget");
}

void fitToScreen(QWidget* window) {
    constexpr double kPart = 0.9;  // of a screen; the rest is for the frame
    const QSize room = QGuiApplication::primaryScreen()->availableSize();
    if (window->width() > room.width() || window->height() > room.height())
        window->resize(window->size().boundedTo(room * kPart));
}
