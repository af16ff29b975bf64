// SPDX-License-Identifier: Apache-2.0
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

/// Whatever lies in the working folder or comes from the library: the program starts, goes on and ends.
class TestBadInput : public QObject {
    Q_OBJECT

private slots:
    void init() { recording::reset(4); }
    void settings_data();
    void settings();
    void calibrationFiles_data();
    void calibrationFiles();
    void libraryThatFailsEverywhere();
    void libraryWithAbsurdCounts_data();
    void libraryWithAbsurdCounts();
    void serialNumbersOfAnyBytes();
    void camerasOfDifferentSizes();
    void demoPicturesThatAreNone();
};

void TestBadInput::settings_data() {
    QTest::addColumn<QByteArray>("ini");
    QTest::addColumn<int>("tiles");
    QTest::addColumn<bool>("untouched");
    QTest::newRow("binary") << QByteArray("\x00\x01\x02[Camera]\xff\xfe", 13) << 4 << true;
    QTest::newRow("empty") << QByteArray("") << 4 << false;
    QTest::newRow("CamNum -1") << QByteArray("[Camera]\nCamNum=-1\n") << 0 << false;
    QTest::newRow("CamNum 99") << QByteArray("[Camera]\nCamNum=99\n") << 4 << false;
    QTest::newRow("CamNum text") << QByteArray("[Camera]\nCamNum=all\n") << 0 << false;
    QTest::newRow("Mode text") << QByteArray("[Camera]\nMode=row\n") << 4 << false;
    QTest::newRow("sizes") << QByteArray("[File]\nWidth=0\nHeight=-7\nTrans=1\n") << 4 << false;
    QTest::newRow("quality and type") << QByteArray("[File]\nQuality=-500\nType=99\nPath=\n") << 4 << false;
    QTest::newRow("numbers out of range")
        << QByteArray("[Camera]\nCamNum=99999999999999999999\n") << 0 << false;
    QTest::newRow("language") << QByteArray("[File]\nLang=-3\n") << 4 << false;
}

void TestBadInput::settings() {
    QFETCH(QByteArray, ini);
    QFETCH(int, tiles);
    QFETCH(bool, untouched);
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), ini));
    window.start();
    QTRY_VERIFY(window->isMaximized());
    QCOMPARE(window->findChildren<CaptureThread*>().size(), tiles);
    QVERIFY(window.waitForTiles(tiles));
    window->saveImage();
    window.action("actionFreeze")->trigger();
    window->switchlanguage();
    window.end();
    if (untouched)
        QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), ini);
}

void TestBadInput::calibrationFiles_data() {
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("torn") << QByteArray(
        "<?xml version=\"1.0\"?>\n<opencv_storage>\n<calibrate type_id=\"opencv-m");
    QTest::newRow("foreign") << QByteArray("<?xml version=\"1.0\"?><note>hi</note>");
    QTest::newRow("binary") << QByteArray(
        "\x7f"
        "ELF\x02\x01\x00\x00",
        8);
}

void TestBadInput::calibrationFiles() {
    QFETCH(QByteArray, content);
    recording::reset(1);
    WindowUnderTest window;
    WorkingFolder::setKey(QStringLiteral("File/Trans"), 1);
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal0.xml"), content));
    window.start();
    QVERIFY(!window.action("actionEnable")->isEnabled());
    QVERIFY(!window.action("actionEnable")->isChecked());
    QVERIFY(window.waitForTiles(1));
    QCOMPARE(window.tiles().first()->pixmap().size(), QSize(64, 48));
    QCOMPARE(WorkingFolder::read(QStringLiteral("Cal0.xml")), content);
}

void TestBadInput::libraryThatFailsEverywhere() {
    recording::Camera broken;
    broken.status = -1;
    broken.queryStatus = -1;
    recording::reset({broken, broken, broken, broken});
    WindowUnderTest window;
    window.start();
    QTRY_VERIFY(recording::callsOf(QStringLiteral("CameraGetImageSize")).size() > 20);
    QVERIFY(window.tiles().isEmpty());
    window->updateFps();
    QCOMPARE(window.rightText(), QStringLiteral("Camera fps: ( 0.00 0.00 0.00 0.00 )"));
    window.action("actionTrigger")->trigger();
    // The cameras come to life: so do the tiles.
    for (int i = 0; i < 4; ++i)
        recording::setCamera(i, recording::Camera());
    QVERIFY(window.waitForTiles(4));
}

void TestBadInput::libraryWithAbsurdCounts_data() {
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("tiles");
    QTest::newRow("negative") << -5 << 0 << 0;
    QTest::newRow("fails") << 4 << 9 << 0;
    QTest::newRow("huge") << 2000000000 << 0 << 4;
}

void TestBadInput::libraryWithAbsurdCounts() {
    QFETCH(int, count);
    QFETCH(int, status);
    QFETCH(int, tiles);
    recording::setReportedCount(count, status);
    WindowUnderTest window;
    window.start();
    QTRY_VERIFY(window->isMaximized());
    QCOMPARE(window->findChildren<CaptureThread*>().size(), tiles);
    QVERIFY(window.waitForTiles(tiles));
}

void TestBadInput::serialNumbersOfAnyBytes() {
    QVector<recording::Camera> cameras(3);
    cameras[0].serial = QByteArray("\xff\xfe\x80\x01\x7f\n\t=;[]", 11);
    cameras[1].serial = QByteArray("相机一");
    cameras[2].serial = QByteArray(" ,@\"%x41");
    recording::reset(cameras);
    const WorkingFolder folder;
    for (int run = 0; run < 2; ++run) {  // the first writes them, the second has to recognise them
        BoxAnswerer answerer;
        recording::forgetCalls();
        MainWindow window(nullptr);
        // Where no key can be registered there is that box; another one would end the process.
        for (const auto& box : qAsConst(answerer.boxes))
            QCOMPARE(box.text, QStringLiteral("Register hotkey save img failed"));
        QCOMPARE(window.findChildren<CaptureThread*>().size(), 3);
        for (auto* thread : window.findChildren<CaptureThread*>())
            QCOMPARE(thread->cameraIndex(), thread->tileIndex());
    }
}

void TestBadInput::camerasOfDifferentSizes() {
    QVector<recording::Camera> cameras(3);
    cameras[0].width = 64;
    cameras[1].width = 101;
    cameras[2].height = 7;
    for (int i = 0; i < 3; ++i)
        cameras[i].serial = QByteArray::number(i);
    recording::reset(cameras);
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[Pos]\nX0=0\nX1=64\nX2=165\n"));
    window.start();
    QVERIFY(window.waitForTiles(3));
    QCOMPARE(window.tiles()[1]->pixmap().width(), 101);
    QCOMPARE(window.tiles()[2]->pixmap().height(), 7);
}

/// Their tiles are there, without a picture, and get one as soon as there is one. The others have theirs.
void TestBadInput::demoPicturesThatAreNone() {
    recording::reset(0);
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[Camera]\nDemo=9\n[Pos]\nX0=0\nX1=100\nX2=200\nX3=300\n"));
    QVERIFY(WorkingFolder::write(QStringLiteral("0.jpg"), QByteArray("\xff\xd8\xff\xe0 no JPEG behind it")));
    QVERIFY(WorkingFolder::write(QStringLiteral("1.jpg"), QByteArray()));
    QVERIFY(QDir().mkdir(QStringLiteral("2.jpg")));
    QImage picture(40, 30, QImage::Format_RGB32);
    picture.fill(Qt::white);
    QVERIFY(picture.save(QStringLiteral("3.jpg")));
    window.start();
    QVERIFY(window.waitForTiles(4));
    const auto tiles = window.tiles();
    QTRY_COMPARE_WITH_TIMEOUT(tiles[3]->pixmap().size(), QSize(40, 30), kWait);
    for (int i = 0; i < 3; ++i)
        QVERIFY(tiles[i]->pixmap().isNull());
    QVERIFY(picture.save(QStringLiteral("0.jpg")));
    QTRY_COMPARE_WITH_TIMEOUT(tiles[0]->pixmap().size(), QSize(40, 30), kWait);
    QVERIFY(tiles[1]->pixmap().isNull());
}

QTEST_MAIN(TestBadInput)
#include "tst_badinput.moc"
