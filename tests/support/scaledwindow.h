// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QPushButton>

#include "calibration/calibrationfile.h"
#include "marks/figuremark.h"
#include "marks/interactivescene.h"
#include "measure/scaledialog.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"
#include "support/somecorrections.h"

inline const QSize kFrame(320, 240);

// The rectangles of the two tiles, 13 x 9 and 12 x 9 cells of 20 px. They meet between pixels: tile 0 is cut
// at x = 300, tile 1 begins at its column 20, so that the seam is 0.3 px too wide.
inline const QVector<QPointF> kLeft = rectangle(40.4, 30.0, 300.4, 210.0);
inline const QVector<QPointF> kRight = rectangle(20.7, 30.0, 260.7, 210.0);
constexpr double kStep = 0.3;      // px
constexpr double kPerPixel = 0.5;  // mm
inline const QByteArray kScale = "CellWidth=10\nCellHeight=10\nCellWidthPx=20\nCellHeightPx=20\n";
inline const QByteArray kJoined = "X0=0\nY0=0\nX1=300\nY1=0\n";

/// A key of the file as it is on disk.
inline QString key(const char* name) {
    return WorkingFolder::keyOnDisk(QStringLiteral("File/") + QLatin1String(name));
}

/// A main window with two corrected tiles and a scale, and its Scale dialog.
class ScaledWindow {
protected:
    void setUp();

    static void start(WindowUnderTest& window, const QByteArray& file = kScale,
                      const QByteArray& pos = kJoined, bool isCalibrated = true, int language = 1);
    static void show(const WindowUnderTest& window);
    static void load(const WindowUnderTest& window, const QByteArray& lines);
    static Measure measure(const WindowUnderTest& window, int mark = 0);
    /// Marks the corners of both tiles and executes, for each of the counts of cells in x.
    static void execute(const WindowUnderTest& window, const QVector<QByteArray>& xCounts);
    /// Enters the size of a cell, mm, into the dialog.
    void enterCell(const WindowUnderTest& window, double x, double y);
    /// Opens the dialog by its button; `answer` is called once while it is up.
    void ask(const WindowUnderTest& window, const std::function<void(ScaleDialog&)>& answer);

    int dialogs = 0;
};

inline void ScaledWindow::setUp() {
    QVector<recording::Camera> cameras(2);
    for (auto& camera : cameras) {
        camera.width = kFrame.width();
        camera.height = kFrame.height();
        camera.queryStatus = 5;  // the frames of the test are the only ones
    }
    recording::reset(cameras);
    dialogs = 0;
}

inline void ScaledWindow::start(WindowUnderTest& window, const QByteArray& file, const QByteArray& pos,
                                bool isCalibrated, int language) {
    QVERIFY(
        WorkingFolder::write(QStringLiteral("setting.ini"),
                             "[View]\nMeasure=1\n[File]\nTrans=1\nXCount=\"13,12\"\nYCount=\"9,9\"\nLang=" +
                                 QByteArray::number(language) + "\n" + file + "[Pos]\n" + pos));
    QVERIFY(WorkingFolder::installTranslation());
    if (isCalibrated)
        QCOMPARE(writeCalibrations({calibrationOf(kLeft, kLeft), calibrationOf(kRight, kRight)}), QString());
    window.start();
    QTRY_VERIFY(window->isMaximized());
    show(window);
    window.answerer.boxes.clear();  // the hot key's: there is none on this platform
}

inline void ScaledWindow::show(const WindowUnderTest& window) {
    window.sendFrame(0, 50, 0, kFrame);
    window.sendFrame(1, 150, 0, kFrame);
}

inline void ScaledWindow::load(const WindowUnderTest& window, const QByteArray& lines) {
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), lines));
    window.action("actionLoad_Corner")->trigger();
}

inline Measure ScaledWindow::measure(const WindowUnderTest& window, int mark) {
    const auto* scene = qobject_cast<InteractiveScene*>(window.view()->scene());
    const auto* figure = dynamic_cast<FigureMark*>(scene->markList().value(mark));
    return figure ? figure->measures().value(0) : Measure();
}

inline void ScaledWindow::ask(const WindowUnderTest& window,
                              const std::function<void(ScaleDialog&)>& answer) {
    QTimer timer;
    timer.callOnTimeout([&] {
        auto* dialog = qobject_cast<ScaleDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible())
            return;
        timer.stop();
        ++dialogs;
        answer(*dialog);
        if (dialog->isVisible())
            dialog->reject();
    });
    timer.start(10);
    window.action("measureScale")->trigger();
}

inline void ScaledWindow::enterCell(const WindowUnderTest& window, double x, double y) {
    ask(window, [=](ScaleDialog& dialog) {
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellX"))->setValue(x);
        dialog.findChild<QDoubleSpinBox*>(QStringLiteral("sbCellY"))->setValue(y);
        dialog.findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
}

inline void ScaledWindow::execute(const WindowUnderTest& window, const QVector<QByteArray>& xCounts) {
    QByteArray marks;
    const auto add = [&](const QVector<QPointF>& corners, double dx) {
        for (const QPointF corner : corners)
            marks += QStringLiteral("Coordinates #0000ff 1 1 | %1 %2\r\n")
                         .arg(corner.x() + dx)
                         .arg(corner.y())
                         .toLatin1();
    };
    add(kLeft, 0);
    add(kRight, kFrame.width());
    load(window, marks);
    for (const QByteArray& counts : xCounts) {
        QTimer answer;
        answer.callOnTimeout([&] {
            auto* dialog = QApplication::activeModalWidget();
            if (!dialog || dialog->objectName() != QLatin1String("CalibrateDialog"))
                return;
            dialog->findChild<QLineEdit*>(QStringLiteral("leXCount"))->setText(QString::fromLatin1(counts));
            dialog->findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
        });
        answer.start(10);
        window.action("actionExecute")->trigger();
    }
}
