#include "support/mainwindowtest.h"

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

private:
    static QImage pictureOf(const QGraphicsPixmapItem* tile) { return tile->pixmap().toImage(); }
    static QGraphicsPixmapItem* tileAt(const WindowUnderTest& window, int x);

    QTemporaryDir configuration;
};

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

QTEST_MAIN(TestLive)
#include "tst_live.moc"
