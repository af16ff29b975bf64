// SPDX-License-Identifier: Apache-2.0
#include <QtGlobal>

#ifdef Q_OS_WIN
// The second needs the first.
#include <qt_windows.h>

#include <psapi.h>
#endif

#include "camera/capturethread.h"
#include "live/tile.h"
#include "support/mainwindowtest.h"

namespace {

// The thread sanitizer's account of memory that was given back stays.
#ifdef __SANITIZE_THREAD__
constexpr bool kHasShadowMemory = true;
#else
constexpr bool kHasShadowMemory = false;
#endif

}  // namespace

/// The window on the simulated cameras, well and ill. The library reads its configuration once per process,
/// so all cameras of this file come from one: 0 is well, 1 loses its cable for a while, 2 changes its frame
/// size, 3 never opens.
class TestLive : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void wellAndIllCamerasSideBySide();
    void pausedPictureStands();
    void colourPictures();
    void currentAfterALongSave();

private:
    static QImage pictureOf(const QGraphicsPixmapItem* tile) { return tile->pixmap().toImage(); }
    static qint64 megabytes(const QByteArray& what);
    static QGraphicsPixmapItem* tileAt(const WindowUnderTest& window, int x);

    QTemporaryDir configuration;
};

/// A line of this process's memory account: "VmRSS:", what it has now, or "VmHWM:", the most it ever had.
qint64 TestLive::megabytes(const QByteArray& what) {
#ifdef Q_OS_WIN
    PROCESS_MEMORY_COUNTERS counters{};
    if (GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) == FALSE)
        return -1;
    return static_cast<qint64>((what == "VmHWM:" ? counters.PeakWorkingSetSize : counters.WorkingSetSize) >>
                               20);
#else
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    const auto lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith(what))
            return line.mid(what.size()).trimmed().split(' ').first().toLongLong() / 1024;
    }
    return -1;
#endif
}

void TestLive::initTestCase() {
    QFile file(configuration.filePath(QStringLiteral("kvcap2.ini")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(
        "[Library]\nCount=4\n[Camera]\nModes=320x240,161x121\nRate=40\n"
        "[Camera1]\nCableOutAtFrame=30\nCableOutFor=1500\n"
        "[Camera2]\nSizeChangeAfter=20\nSizeChangeMode=1\n"
        "[Camera3]\nInitFails=true\n");
    file.close();
    qputenv("KVCAP2_CONFIG", QFile::encodeName(file.fileName()));
}

QGraphicsPixmapItem* TestLive::tileAt(const WindowUnderTest& window, int x) {
    for (auto* tile : window.tiles()) {
        if (tile->x() == x)
            return tile;
    }
    return nullptr;
}

void TestLive::wellAndIllCamerasSideBySide() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[Pos]\nX0=0\nX1=400\nX2=800\nX3=1200\n"
                                 "[Control]\nTimeout=500\n"));
    window.start();
    QVERIFY(window.waitForTiles(3));
    QVERIFY(!tileAt(window, 1200));

    // Live: the picture of the well one changes by itself, in size and place it stays.
    const QImage first = pictureOf(tileAt(window, 0));
    QCOMPARE(first.size(), QSize(320, 240));
    QTRY_VERIFY_WITH_TIMEOUT(pictureOf(tileAt(window, 0)) != first, kWait);

    // The changed size arrives in its tile.
    QTRY_COMPARE_WITH_TIMEOUT(tileAt(window, 800)->pixmap().size(), QSize(161, 121), kWait);

    // The pulled cable: the picture stands, the others go on; it comes back by itself.
    const auto rateOf = [&](int tile) {
        return window.rightText().section(QLatin1Char(' '), 3 + tile, 3 + tile).toDouble();
    };
    QTRY_VERIFY_WITH_TIMEOUT(rateOf(0) > 0 && rateOf(1) < rateOf(0) * 0.8, kWait);
    const double low = rateOf(1);
    QTRY_VERIFY_WITH_TIMEOUT(rateOf(1) > low + 1, kWait);
    QCOMPARE(rateOf(3), 0.0);
}

void TestLive::pausedPictureStands() {
    WindowUnderTest window;
    window.start();
    QVERIFY(window.waitForTiles(3));
    window.action("action_Stop")->trigger();
    // A frame or two may be under way; then nothing moves any more.
    QImage last;
    const auto stands = [&] {
        const QImage before = pictureOf(window.tiles().first());
        QTest::qWait(150);  // six frame periods: absence of a frame has no signal to wait for
        last = pictureOf(window.tiles().first());
        return before == last;
    };
    QVERIFY(QTest::qWaitFor(stands, kWait));
    window.action("action_Play")->trigger();
    QTRY_VERIFY_WITH_TIMEOUT(pictureOf(window.tiles().first()) != last, kWait);
}

void TestLive::colourPictures() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nColor=1\n"));
    window.start();
    QVERIFY(window.waitForTiles(3));
    QVERIFY(!pictureOf(window.tiles().first()).allGray());
}

/// A save keeps the window from looking at frames. Afterwards it shows none of those that came meanwhile and
/// are old by now, and their memory is given back.
void TestLive::currentAfterALongSave() {
    WindowUnderTest window;
    // Far apart: a large picture takes long.
    QVERIFY(
        WorkingFolder::write(QStringLiteral("setting.ini"),
                             "[File]\nType=0\n[Pos]\nX0=0\nX1=3000\nX2=6000\nX3=400\nY1=2000\nY2=5000\n"));
    window.start();
    QVERIFY(window.waitForTiles(3));

    auto* tile = tileAt(window, 0);
    CaptureThread* thread = nullptr;
    const auto threads = window.get()->findChildren<CaptureThread*>();
    for (CaptureThread* candidate : threads) {
        if (candidate->tileIndex() == 0)
            thread = candidate;
    }
    QVERIFY(thread);
    QVector<qint64> delivered;  // time stamps, ms since the epoch
    const QObject context;
    connect(thread, &CaptureThread::captured, &context,
            [&](int, const QImage&, const unsigned char*, quint64 timestamp) {
                delivered.append(qint64(timestamp));
            });
    QTRY_VERIFY_WITH_TIMEOUT(delivered.size() > 5, kWait);

    const qint64 memoryBefore = megabytes("VmRSS:");
    QElapsedTimer blocked;
    blocked.start();
    while (blocked.elapsed() < 1500)
        window->saveImageByName(QStringLiteral("large"));
    const qint64 saved = QDateTime::currentMSecsSinceEpoch();
    delivered.clear();
    const auto shown = [&] { return tile->data(kTimestampOfTile).toLongLong(); };
    const qint64 shownBefore = shown();
    QVERIFY(shownBefore < saved - 1000);
    QTRY_VERIFY_WITH_TIMEOUT(shown() != shownBefore, kWait);

    // All that came meanwhile has been looked at, and of it at most the last was shown.
    int waiting = 0;
    qint64 newest = 0;
    for (const qint64 timestamp : qAsConst(delivered)) {
        waiting += timestamp < saved ? 1 : 0;
        newest = std::max(newest, timestamp < saved ? timestamp : 0);
    }
    QVERIFY2(waiting > 20, qPrintable(QString::number(waiting)));
    QVERIFY2(shown() >= newest, qPrintable(QString::number(newest - shown())));
    QVERIFY(shown() >= saved - 300);
    QVERIFY(QFile::exists(QStringLiteral("large.bmp")));

    // The encoder alone took more than 100 MB.
    QVERIFY2(megabytes("VmHWM:") > memoryBefore + 100, qPrintable(QString::number(megabytes("VmHWM:"))));
    if (!kHasShadowMemory)
        QVERIFY2(megabytes("VmRSS:") < memoryBefore + 60, qPrintable(QString::number(megabytes("VmRSS:"))));
}

QTEST_MAIN(TestLive)
#include "tst_live.moc"
