// SPDX-License-Identifier: Apache-2.0
#include <QPushButton>

#include "calibration/calibratedialog.h"
#include "camera/kvcap2.h"
#include "live/tile.h"
#include "support/mainwindowtest.h"

namespace {

const QSize kFrame(320, 240);
const QSize kOtherFrame(161, 121);
constexpr int kAway = 1;               // the camera that loses its cable
constexpr int kChanged = 2;            // the camera that changes its size by itself
constexpr int kDisconnected = -7;      // what it says then
constexpr int kFaultWait = 4 * kWait;  // ms

}  // namespace

/// The window on four simulated cameras with the correction on, in a folder of a name that takes some
/// spelling. The cameras' faults begin anew with each start of the window; their pictures stand still, so
/// that those of before and after can be compared.
class TestSimulatedFaults : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void folderOfAnyName();
    void correctedCamerasFail();

private:
    static void start(WindowUnderTest& window);
    static void calibrate(const WindowUnderTest& window);
    static QVector<QImage> pictures(const WindowUnderTest& window);
    static bool goesOn(const WindowUnderTest& window, int tile);
    static QSize frameSize(int camera);
    static QString notes(const WindowUnderTest& window) {
        return window->findChild<QLabel*>(QStringLiteral("statusNote"))->toolTip();
    }

    QTemporaryDir configuration;
};

void TestSimulatedFaults::initTestCase() {
    QFile file(configuration.filePath(QStringLiteral("kvcap2.ini")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(
        "[Library]\nCount=4\n[Scene]\nMoving=0\nNoise=0\n[Camera]\nModes=320x240,161x121\nRate=20\n"
        "[Camera1]\nCableOutAtFrame=100\nCableOutFor=15000\n"
        "[Camera2]\nSizeChangeAfter=100\nSizeChangeMode=1\n");
    file.close();
    qputenv("KVCAP2_CONFIG", QFile::encodeName(file.fileName()));
}

/// Goes into the folder; the first time it is made.
void TestSimulatedFaults::start(WindowUnderTest& window) {
    const QString name = QString::fromUtf8("Prüf stand №1 相机");
    if (QDir::current().dirName() != name) {
        QVERIFY(QDir().mkdir(name) && QDir::setCurrent(name));
        QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                     "[File]\nLang=1\nXCount=10,10,10,10\nYCount=5,5,5,5\n"
                                     "[Pos]\nX0=0\nX1=320\nX2=640\nX3=960\nY0=0\nY1=0\nY2=0\nY3=0\n"));
    }
    window.start();
    QTRY_VERIFY(window->isMaximized());
    QVERIFY(window.waitForTiles(4));
    window.answerer.boxes.clear();
}

/// From marks in a file, saved and loaded once more.
void TestSimulatedFaults::calibrate(const WindowUnderTest& window) {
    const QString file = QStringLiteral("mark0.txt");
    QByteArray marks;
    for (int i = 0; i < 4; ++i) {
        const QPoint corners[] = {{40 + 3 * i, 30 + 2 * i}, {260 + i, 36}, {35, 200 - i}, {270, 205 + 2 * i}};
        for (const QPoint corner : corners)
            marks += QStringLiteral("Coordinates #0000ff 1 1 | %1 %2\r\n")
                         .arg(corner.x() + i * kFrame.width())
                         .arg(corner.y())
                         .toLatin1();
    }
    QVERIFY(WorkingFolder::write(file, marks));
    window.action("actionLoad_Corner")->trigger();
    QVERIFY(QFile::remove(file));
    window.action("actionSave_Corner")->trigger();
    QCOMPARE(WorkingFolder::read(file), marks);
    window.action("actionClear")->trigger();
    window.action("actionLoad_Corner")->trigger();
    QTimer answer;
    answer.callOnTimeout([] {
        auto* dialog = qobject_cast<CalibrateDialog*>(QApplication::activeModalWidget());
        if (dialog && dialog->isVisible())
            dialog->findChild<QPushButton*>(QStringLiteral("btnOK"))->click();
    });
    answer.start(10);
    window.action("actionExecute")->trigger();
    QVERIFY(window.action("actionEnable")->isChecked());
    QVERIFY(window.answerer.boxes.isEmpty());
}

QVector<QImage> TestSimulatedFaults::pictures(const WindowUnderTest& window) {
    QVector<QImage> found;
    for (const auto* tile : window.tiles())
        found.append(tile->pixmap().toImage());
    return found;
}

/// Three pictures come, and there is something in them.
bool TestSimulatedFaults::goesOn(const WindowUnderTest& window, int tile) {
    for (int i = 0; i < 3; ++i) {
        const auto shown = [&] { return window.tiles()[tile]->data(kTimestampOfTile).toLongLong(); };
        const qint64 before = shown();
        if (!QTest::qWaitFor([&] { return shown() != before; }, kWait))
            return false;
    }
    return !window.tiles()[tile]->pixmap().isNull();
}

QSize TestSimulatedFaults::frameSize(int camera) {
    int32_t width = 0;
    int32_t height = 0;
    return CameraGetImageSize(camera, &width, &height) == 0 ? QSize(width, height) : QSize();
}

/// Marks, settings and calibration are found again.
void TestSimulatedFaults::folderOfAnyName() {
    WindowUnderTest window;
    start(window);
    calibrate(window);
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            const auto all = pictures(window);
            return std::all_of(all.begin(), all.end(),
                               [](const QImage& picture) { return picture.size() != kFrame; });
        }(),
        kWait);
    const QVector<QImage> before = pictures(window);
    window.end();
    QCOMPARE(QDir().entryList({QStringLiteral("Cal?.xml")}).size(), 4);
    start(window);
    QVERIFY(window.action("actionEnable")->isChecked());
    QTRY_COMPARE_WITH_TIMEOUT(pictures(window), before, kWait);
}

/// One camera is away for a while, one has another size until somebody sets it back: the tiles of the others
/// go on, and in the end the pictures are those of before.
void TestSimulatedFaults::correctedCamerasFail() {
    WindowUnderTest window;
    start(window);
    calibrate(window);
    window.end();
    start(window);
    QVERIFY(window.action("actionEnable")->isChecked());
    const QVector<QImage> before = pictures(window);
    QCOMPARE(frameSize(kChanged), kFrame);
    int32_t gain = 0;
    QCOMPARE(CameraGetGain(kAway, &gain), 0);

    QTRY_COMPARE_WITH_TIMEOUT(frameSize(kChanged), kOtherFrame, kFaultWait);
    QTRY_COMPARE_WITH_TIMEOUT(CameraGetGain(kAway, &gain), kDisconnected, kFaultWait);
    QTRY_VERIFY_WITH_TIMEOUT(notes(window).contains(QStringLiteral("Camera 1: no picture")), kFaultWait);
    for (const int tile : {0, kChanged, 3})
        QVERIFY(goesOn(window, tile));
    QVERIFY(pictures(window)[kChanged] != before[kChanged]);
    QCOMPARE(pictures(window)[kAway], before[kAway]);  // the last one stands

    QTRY_COMPARE_WITH_TIMEOUT(CameraGetGain(kAway, &gain), 0, kFaultWait);
    QVERIFY(goesOn(window, kAway));
    QTRY_VERIFY_WITH_TIMEOUT(!notes(window).contains(QStringLiteral("no picture")), kWait);
    QCOMPARE(CameraSetResolution(kChanged, 0, kFrame.width(), kFrame.height()), 0);
    QTRY_COMPARE_WITH_TIMEOUT(pictures(window), before, kWait);
    for (int tile = 0; tile < 4; ++tile)
        QVERIFY(goesOn(window, tile));
}

QTEST_MAIN(TestSimulatedFaults)
#include "tst_simulatedfaults.moc"
