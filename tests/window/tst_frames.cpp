// SPDX-License-Identifier: Apache-2.0
#include "calibration/correction.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

/// Frames into tiles, rates into the status bar, play, pause, freeze and trigger. The streams are paused so
/// that the frames of the tests are the only ones.
class TestFrames : public QObject {
    Q_OBJECT

private slots:
    void init() { recording::reset(2); }
    void ageLimit_data();
    void ageLimit();
    void firstFrameMakesTheTile();
    void tilesWithoutPositionsDoNotHideEachOther();
    void storedPositionIsUsed_data();
    void storedPositionIsUsed();
    void viewIsFittedWhenTheLastTileAppears();
    void laterFrameReplacesThePicture();
    void freezeKeepsThePicture();
    void heldFrameIsPushedBySaving();
    void unfrozenFrameVoidsTheHeldOne();
    void firstFrameIsShownEvenWhenFrozen();
    void emptyAndOddFrames();
    void colourFrame();
    void pixelsAreShared_data();
    void pixelsAreShared();
    void oddFormats_data();
    void oddFormats();
    void frameOfNoTile();
    void rates();
    void staleFramesDoNotCount();
    void messageLivesForAMinute();
    void triggerReachesEveryCamera();
    void pauseAndPlay();
    void saveWithoutCapturing();
    void settingDialogOpens();
    void namesFromOutsideAreShownAsTheyAre();

private:
    /// A window whose threads are started and paused.
    static void startQuiet(WindowUnderTest& window);
};

void TestFrames::startQuiet(WindowUnderTest& window) {
    for (int i = 0; i < 2; ++i) {
        recording::Camera camera;
        camera.serial = "SN" + QByteArray::number(i);
        camera.queryStatus = 5;  // no frame of their own
        recording::setCamera(i, camera);
    }
    window.start();
    QTRY_VERIFY(window->isMaximized());
}

void TestFrames::ageLimit_data() {
    QTest::addColumn<qint64>("age");
    QTest::addColumn<bool>("shown");
    QTest::newRow("fresh") << qint64(0) << true;
    QTest::newRow("within the limit") << qint64(250) << true;
    QTest::newRow("over the limit") << qint64(301) << false;
    QTest::newRow("very old") << qint64(1000000000000) << false;
    QTest::newRow("from the future") << qint64(-5000) << false;
}

void TestFrames::ageLimit() {
    QFETCH(qint64, age);
    QFETCH(bool, shown);
    WindowUnderTest window;
    startQuiet(window);
    window.sendFrame(0, 100, age);
    QCOMPARE(window.tiles().size(), shown ? 1 : 0);
}

void TestFrames::firstFrameMakesTheTile() {
    WindowUnderTest window;
    startQuiet(window);
    QVERIFY(window.tiles().isEmpty());
    window.sendFrame(0, 100);
    QCOMPARE(window.tiles().size(), 1);
    QCOMPARE(window.tiles().first()->flags(), QGraphicsItem::ItemIsMovable);
    QCOMPARE(window.tiles().first()->pixmap().size(), QSize(64, 48));
    QCOMPARE(WindowUnderTest::greyOf(window.tiles().first()), 100);
}

void TestFrames::tilesWithoutPositionsDoNotHideEachOther() {
    WindowUnderTest window;
    startQuiet(window);
    window.sendFrame(0, 1);
    window.sendFrame(1, 2);
    QCOMPARE(window.tiles()[0]->pos(), QPointF(0, 0));
    QCOMPARE(window.tiles()[1]->pos(), QPointF(1, 1));
}

void TestFrames::storedPositionIsUsed_data() {
    QTest::addColumn<QByteArray>("x");
    QTest::addColumn<qreal>("expected");
    QTest::newRow("whole") << QByteArray("640") << 640.0;
    QTest::newRow("as a double") << QByteArray("640.75") << 640.0;
    QTest::newRow("negative") << QByteArray("-12") << -12.0;
    QTest::newRow("text") << QByteArray("left") << 0.0;
    QTest::newRow("far out") << QByteArray("1e300") << 1e7;
}

void TestFrames::storedPositionIsUsed() {
    QFETCH(QByteArray, x);
    QFETCH(qreal, expected);
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[Pos]\nX0=" + x + "\nY0=7\n"));
    startQuiet(window);
    window.sendFrame(0, 1);
    QCOMPARE(window.tiles().first()->pos(), QPointF(expected, 7));
}

void TestFrames::viewIsFittedWhenTheLastTileAppears() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[Pos]\nX0=0\nY0=0\nX1=64\nY1=0\n"));
    startQuiet(window);
    window.sendFrame(0, 1);
    QCOMPARE(window.view()->transform(), QTransform());
    window.sendFrame(1, 1);
    QCOMPARE(window.view()->scene()->sceneRect(), QRectF(0, 0, 128, 48));
    const double scale = std::min((window.view()->width() - 2) / 128.0, (window.view()->height() - 2) / 48.0);
    QCOMPARE(window.view()->transform(), QTransform::fromScale(scale, scale));
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/Zoom")).toDouble(), scale);
}

void TestFrames::laterFrameReplacesThePicture() {
    WindowUnderTest window;
    startQuiet(window);
    window.sendFrame(0, 1);
    window.sendFrame(0, 222);
    QCOMPARE(window.tiles().size(), 1);
    QCOMPARE(WindowUnderTest::greyOf(window.tiles().first()), 222);
}

void TestFrames::freezeKeepsThePicture() {
    WindowUnderTest window;
    startQuiet(window);
    window.sendFrame(0, 10);
    QTest::ignoreMessage(QtDebugMsg, "MainWindow::on_actionFreeze_triggered true");
    window.action("actionFreeze")->trigger();
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/FreezeImage")), QStringLiteral("true"));
    window->updateFps();
    for (int i = 0; i < 5; ++i)
        window.sendFrame(0, 100 + i);
    QCOMPARE(WindowUnderTest::greyOf(window.tiles().first()), 10);
    window->updateFps();
    // 1 frame, then 5: 5 x 0.4 + 1 x 0.6
    QVERIFY2(window.rightText().contains(QLatin1String("2.60")), qPrintable(window.rightText()));
    QTest::ignoreMessage(QtDebugMsg, "MainWindow::on_actionFreeze_triggered false");
    window.action("actionFreeze")->trigger();
    QCOMPARE(WorkingFolder::keyOnDisk(QStringLiteral("File/FreezeImage")), QStringLiteral("false"));
    window.sendFrame(0, 50);
    QCOMPARE(WindowUnderTest::greyOf(window.tiles().first()), 50);
}

void TestFrames::heldFrameIsPushedBySaving() {
    WindowUnderTest window;
    startQuiet(window);
    window.sendFrame(0, 10);
    window.action("actionFreeze")->trigger();
    window.sendFrame(0, 99);
    window.action("action_Save")->trigger();
    QCOMPARE(WindowUnderTest::greyOf(window.tiles().first()), 99);
}

void TestFrames::unfrozenFrameVoidsTheHeldOne() {
    WindowUnderTest window;
    startQuiet(window);
    window.sendFrame(0, 10);
    window.action("actionFreeze")->trigger();
    window.sendFrame(0, 99);
    window.action("actionFreeze")->trigger();
    window.sendFrame(0, 150);
    window.action("action_Save")->trigger();
    QCOMPARE(WindowUnderTest::greyOf(window.tiles().first()), 150);
}

void TestFrames::firstFrameIsShownEvenWhenFrozen() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/FreezeImage"), true);
    startQuiet(window);
    window.sendFrame(0, 10);
    window.sendFrame(0, 20);
    QCOMPARE(WindowUnderTest::greyOf(window.tiles().first()), 10);
}

void TestFrames::emptyAndOddFrames() {
    WindowUnderTest window;
    startQuiet(window);
    const auto now = [] { return static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()); };
    window->process(0, QImage(), new unsigned char[1], now());
    QCOMPARE(window.tiles().size(), 1);
    window->process(1, QImage(), nullptr, now());
    window.sendFrame(0, 33, 0, {61, 3});
    QCOMPARE(window.tiles()[0]->pixmap().size(), QSize(61, 3));
    window.sendFrame(0, 33, 0, {1, 1});
    window.sendFrame(0, 33, 0, {1, 999});
    window.action("actionZoom_Fit")->trigger();
    window->process(0, QImage(), new unsigned char[1], now());
    QVERIFY(window.tiles()[0]->pixmap().isNull());
    window.sendFrame(0, 44);
    QCOMPARE(WindowUnderTest::greyOf(window.tiles()[0]), 44);
}

void TestFrames::colourFrame() {
    WindowUnderTest window;
    startQuiet(window);
    auto* buffer = new unsigned char[6]{10, 20, 30, 40, 50, 60};
    window->process(0, QImage(buffer, 2, 1, 6, QImage::Format_RGB888), buffer,
                    static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
    const QImage shown = window.tiles().first()->pixmap().toImage();
    QCOMPARE(shown.pixel(0, 0), qRgb(10, 20, 30));
    QCOMPARE(shown.pixel(1, 0), qRgb(40, 50, 60));
}

void TestFrames::pixelsAreShared_data() {
    QTest::addColumn<QImage::Format>("format");
    QTest::addColumn<bool>("isFrozen");
    for (const bool isFrozen : {false, true}) {
        const char* when = isFrozen ? "held" : "live";
        QTest::addRow("grey, %s", when) << QImage::Format_Grayscale8 << isFrozen;
        QTest::addRow("colour, %s", when) << QImage::Format_RGB888 << isFrozen;
    }
}

/// What a tile shows is as large as the frame was, and is not converted on its way: after the first frames
/// the tile goes from one of two pictures to the other.
void TestFrames::pixelsAreShared() {
    QFETCH(QImage::Format, format);
    QFETCH(bool, isFrozen);
    WindowUnderTest window;
    if (isFrozen)
        WorkingFolder::setKey(QStringLiteral("File/FreezeImage"), true);
    startQuiet(window);
    const int bytesPerLine = format == QImage::Format_RGB888 ? 192 : 64;
    QSet<const uchar*> places;
    for (int i = 0; i < 20; ++i) {
        const auto size = size_t(bytesPerLine) * 48;
        auto* buffer = new unsigned char[size];
        std::fill_n(buffer, size, static_cast<unsigned char>(i));
        window->process(0, QImage(buffer, 64, 48, bytesPerLine, format), buffer,
                        static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
        if (isFrozen)
            window.action("action_Save")->trigger();
        const QImage shown = window.tiles().first()->pixmap().toImage();
        QCOMPARE(shown.format(), format);
        QCOMPARE(shown.pixel(63, 47), qRgb(i, i, i));
        places.insert(shown.constBits());
    }
    QVERIFY2(places.size() <= 2, qPrintable(QString::number(places.size())));
}

void TestFrames::oddFormats_data() {
    QTest::addColumn<QImage::Format>("format");
    QTest::newRow("RGB32") << QImage::Format_RGB32;
    QTest::newRow("translucent") << QImage::Format_ARGB32;
    QTest::newRow("16 bit") << QImage::Format_RGB16;
    QTest::newRow("indexed") << QImage::Format_Indexed8;
}

/// No camera sends them; they are shown as any pixmap shows them.
void TestFrames::oddFormats() {
    QFETCH(QImage::Format, format);
    WindowUnderTest window;
    startQuiet(window);
    for (const QColor& colour : {QColor(255, 0, 0), QColor(0, 255, 0, 100)}) {
        QImage wanted(40, 30, QImage::Format_ARGB32);
        wanted.fill(colour);
        wanted = wanted.convertToFormat(format);
        auto* buffer = new unsigned char[size_t(wanted.sizeInBytes())];
        std::copy_n(wanted.constBits(), wanted.sizeInBytes(), buffer);
        QImage frame(buffer, 40, 30, wanted.bytesPerLine(), format);
        frame.setColorTable(wanted.colorTable());
        window->process(0, frame, buffer, static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
        QCOMPARE(window.tiles().first()->pixmap().toImage(), QPixmap::fromImage(wanted).toImage());
    }
}

void TestFrames::frameOfNoTile() {
    WindowUnderTest window;
    startQuiet(window);
    for (const int id : {-1, 2, 4, 99999})
        window.sendFrame(id, 1);
    QVERIFY(window.tiles().isEmpty());
}

void TestFrames::rates() {
    WindowUnderTest window;
    startQuiet(window);
    window->updateFps();
    for (int i = 0; i < 7; ++i)
        window.sendFrame(1, 1);
    window->updateFps();
    QCOMPARE(window.rightText(), QStringLiteral("Camera fps: ( 0.00 7.00 )"));
    window->updateFps();
    QCOMPARE(window.rightText(), QStringLiteral("Camera fps: ( 0.00 4.20 )"));
}

void TestFrames::staleFramesDoNotCount() {
    WindowUnderTest window;
    startQuiet(window);
    window.sendFrame(0, 1);
    window.sendFrame(0, 1, 301);
    window->updateFps();
    QVERIFY(window.rightText().startsWith(QLatin1String("Camera fps: ( 1.00 ")));
}

void TestFrames::messageLivesForAMinute() {
    WindowUnderTest window;
    startQuiet(window);
    // The tick counter is the process's: up to 60 ticks clear the label, another 59 never do.
    window->saveImage();
    QCOMPARE(window.leftText(), QStringLiteral("No image"));
    int ticks = 0;
    while (!window.leftText().isEmpty() && ticks < 100) {
        window->updateFps();
        ++ticks;
    }
    QVERIFY(ticks <= 60);
    window->saveImage();
    for (int tick = 0; tick < 59; ++tick)
        window->updateFps();
    QCOMPARE(window.leftText(), QStringLiteral("No image"));
    window->updateFps();
    QCOMPARE(window.leftText(), QString());
}

void TestFrames::triggerReachesEveryCamera() {
    WindowUnderTest window;
    startQuiet(window);
    window.action("actionTrigger")->trigger();
    const auto calls = recording::callsOf(QStringLiteral("CameraTriggerShot"));
    QCOMPARE(calls.size(), 2);
    QCOMPARE(calls[0].index, 0);
    QCOMPARE(calls[1].index, 1);
}

void TestFrames::pauseAndPlay() {
    WindowUnderTest window;
    startQuiet(window);
    auto* thread = window->findChild<CaptureThread*>();
    window.action("action_Stop")->trigger();
    QTRY_COMPARE(recording::queriesUnderWay(), 0);
    for (int i = 0; i < 5; ++i)
        window.sendFrame(0, 1);
    window.action("action_Play")->trigger();
    QVERIFY(thread->isRunning());
    window->updateFps();
    QCOMPARE(window.rightText(), QStringLiteral("Camera fps: ( 0.00 0.00 )"));  // counting began anew
    recording::forgetCalls();
    QTRY_VERIFY(recording::callsOf(QStringLiteral("CameraQueryImage")).size() > 2);
}

void TestFrames::saveWithoutCapturing() {
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/SaveCaptured"), false);
    startQuiet(window);
    window.sendFrame(0, 1);
    window->saveImage();
    window->saveScanned(QStringLiteral("X"));
    QVERIFY(QDir().entryList({QStringLiteral("*.jpg")}).isEmpty());
}

void TestFrames::settingDialogOpens() {
    WindowUnderTest window;
    startQuiet(window);
    window.action("action_Setting")->trigger();
    auto* dialog = window->findChild<QDialog*>(QStringLiteral("SettingDialog"));
    QVERIFY(dialog && dialog->isVisible() && !dialog->isModal());
    QCOMPARE(dialog->windowTitle(), QStringLiteral("Setting"));
}

void TestFrames::namesFromOutsideAreShownAsTheyAre() {
    WindowUnderTest window;
    startQuiet(window);
    QCOMPARE(window.label(0)->textFormat(), Qt::PlainText);
    QVERIFY(QMetaObject::invokeMethod(window.get(), "CheckCom"));  // harmless without a port
    QVERIFY(QMetaObject::invokeMethod(window.get(), "setMark", Q_ARG(double, 1), Q_ARG(double, 1),
                                      Q_ARG(int, 11), Q_ARG(Mark*, nullptr)));
}

QTEST_MAIN(TestFrames)
#include "tst_frames.moc"
