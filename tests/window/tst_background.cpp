// SPDX-License-Identifier: Apache-2.0
#include "app/orderlyend.h"
#include "platform/files.h"
#include "support/diskcalls.h"
#include "support/fulldisk.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"
#include "support/shortmemory.h"
#include "support/slowdisk.h"

namespace {

constexpr int kAtATime = 5;                  // one written, four waiting
constexpr size_t kComposite = 128 * 48 * 4;  // bytes
const auto kKey = QStringLiteral("File/Background");

}  // namespace

/// Pictures saved from the window and written beside it, on a disk that takes its time.
class TestBackground : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void savesReturnAtOnce();
    void nextOneWaitsForRoom();
    void memoryIsBounded();
    void sameBytes_data();
    void sameBytes();
    void pictureIsOfTheMoment();
    void singleTileIsOfTheMoment();
    void emptyTileFailsAsEver();
    void failureIsSaidWhenItHappens();
    void fullDiskInBetween();
    void notesComeInOrder();
    void switchedOffWhileSomeWait();
    void laterOfOneNameWins();
    void quickSavesHaveNamesOfTheirOwn_data();
    void quickSavesHaveNamesOfTheirOwn();
    void closingWaits();
    void windowThatIsNotClosedWaits();
    void savesAfterClosing();
    void suddenEndWaits();
    void suddenEndFreesTheCamerasFirst();
    void noMemoryWhileOthersWait();
    void sceneTooLarge();

private:
    static void start(WindowUnderTest& window, const QByteArray& ini = "Background=1\n");
    static QString note(const WindowUnderTest& window) {
        const auto* label = window->findChild<QLabel*>(QStringLiteral("statusNote"));
        return label->isHidden() ? QString() : label->text();
    }
    static void select(const WindowUnderTest& window, int tile) {
        window.tiles()[tile]->setFlag(QGraphicsItem::ItemIsSelectable);
        window.tiles()[tile]->setSelected(true);
    }
    static void save(const WindowUnderTest& window, int number, int grey) {
        window.sendFrame(0, grey);
        window->saveScanned(QString::number(number));
    }
    static QStringList files() {
        return QDir().entryList({QStringLiteral("*.bmp"), QStringLiteral("*.png")}, QDir::Files, QDir::Name);
    }
    static int greyOf(const QString& fileName) {
        const QImage image(fileName);
        return image.isNull() ? -1 : qGray(image.pixel(1, 1));
    }
    static bool isHeld() {
        return QTest::qWaitFor([] { return diskcalls::HeldNames::waiting() == 1; }, kWait);
    }
};

void TestBackground::init() {
    QVector<recording::Camera> cameras(2);
    for (auto& camera : cameras)
        camera.queryStatus = 5;  // the frames of the test are the only ones
    recording::reset(cameras);
    shortmemory::allow(size_t(1) << 40);
    shortmemory::takeMost();
}

void TestBackground::cleanup() {
    QCOMPARE(shortmemory::given(), size_t(0));
    QVERIFY(QTest::qWaitFor([] { return platform::syncsUnderWay() == 0; }, kWait));
}

/// Two tiles of 64 x 48 px, grey 50 and 150.
void TestBackground::start(WindowUnderTest& window, const QByteArray& ini) {
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[File]\nLang=1\nType=0\n" + ini + "[Pos]\nX0=0\nY0=0\nX1=64\nY1=0\n"));
    window.start();
    QTRY_VERIFY(window->isMaximized());
    window.sendFrame(0, 50);
    window.sendFrame(1, 150);
    window.answerer.boxes.clear();
}

void TestBackground::savesReturnAtOnce() {
    WindowUnderTest window;
    start(window);
    {
        const diskcalls::HeldNames held;
        for (int i = 0; i < kAtATime; ++i) {
            save(window, i, 60 + i);
            QCOMPARE(window.leftText(), QStringLiteral("Saved image ./%1.bmp").arg(i));
        }
        QVERIFY(isHeld());
        QCOMPARE(files(), QStringList());
        diskcalls::HeldNames::letThrough(2);
        QTRY_COMPARE_WITH_TIMEOUT(files(), (QStringList{QStringLiteral("0.bmp"), QStringLiteral("1.bmp")}),
                                  kWait);
    }
    QTRY_COMPARE_WITH_TIMEOUT(files().size(), kAtATime, kWait);
    for (int i = 0; i < kAtATime; ++i)
        QCOMPARE(greyOf(QStringLiteral("%1.bmp").arg(i)), 60 + i);
    QCOMPARE(note(window), QString());
}

void TestBackground::nextOneWaitsForRoom() {
    WindowUnderTest window;
    start(window);
    const diskcalls::HeldNames held;
    for (int i = 0; i < kAtATime; ++i)
        save(window, i, 60 + i);
    const SlowDisk slow(1);
    save(window, kAtATime, 60 + kAtATime);
    QVERIFY(slow.isOver);
    QVERIFY(isHeld());
    QCOMPARE(files(), QStringList{QStringLiteral("0.bmp")});
    diskcalls::HeldNames::letThrough(kAtATime);
    QTRY_COMPARE_WITH_TIMEOUT(files().size(), kAtATime + 1, kWait);
    QCOMPARE(greyOf(QStringLiteral("5.bmp")), 65);
}

/// Also while a save waits for room.
void TestBackground::memoryIsBounded() {
    WindowUnderTest window;
    start(window);
    const diskcalls::HeldNames held;
    const SlowDisk slow(3);
    for (int i = 0; i < kAtATime + 3; ++i)
        save(window, i, 60 + i);
    QVERIFY(slow.isOver);
    QCOMPARE(shortmemory::takeMost(), kAtATime * kComposite);
    diskcalls::HeldNames::letThrough(kAtATime);
    QTRY_COMPARE_WITH_TIMEOUT(files().size(), kAtATime + 3, kWait);
}

void TestBackground::sameBytes_data() {
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("suffix");
    QTest::newRow("BMP") << 0 << QStringLiteral(".bmp");
    QTest::newRow("JPEG") << 1 << QStringLiteral(".jpg");
    QTest::newRow("PNG") << 2 << QStringLiteral(".png");
}

void TestBackground::sameBytes() {
    QFETCH(int, type);
    QFETCH(QString, suffix);
    WindowUnderTest window;
    start(window, "Quality=40\n");
    WorkingFolder::setKey(QStringLiteral("File/Type"), type);
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), "Line #ff0000 1 0 | 10 20 100 20\r\n"));
    window.action("actionLoad_Corner")->trigger();
    window->saveImageByName(QStringLiteral("now"));
    WorkingFolder::setKey(kKey, 1);
    window->saveImageByName(QStringLiteral("later"));
    QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(QStringLiteral("later") + suffix), kWait);
    const QByteArray now = WorkingFolder::read(QStringLiteral("now") + suffix);
    QVERIFY(!now.isEmpty());
    QCOMPARE(WorkingFolder::read(QStringLiteral("later") + suffix), now);
}

/// What comes while a picture waits is not in it.
void TestBackground::pictureIsOfTheMoment() {
    WindowUnderTest window;
    start(window);
    {
        const diskcalls::HeldNames held;
        save(window, 0, 60);
        QVERIFY(isHeld());
        save(window, 1, 61);
        for (int grey = 200; grey < 210; ++grey)
            window.sendFrame(0, grey);
    }
    QTRY_COMPARE_WITH_TIMEOUT(files().size(), 2, kWait);
    QCOMPARE(greyOf(QStringLiteral("1.bmp")), 61);
}

void TestBackground::singleTileIsOfTheMoment() {
    WindowUnderTest window;
    start(window);
    select(window, 0);
    {
        const diskcalls::HeldNames held;
        save(window, 0, 60);
        QVERIFY(isHeld());
        window.sendFrame(0, 61);
        const QString before = window.leftText();
        window.action("actionSave_Single")->trigger();
        QCOMPARE(window.leftText(), before);
        // The tile's own memory is written again and again.
        for (int grey = 200; grey < 210; ++grey)
            window.sendFrame(0, grey);
    }
    QTRY_COMPARE_WITH_TIMEOUT(files().size(), 2, kWait);
    const QString single = files().filter(QStringLiteral("snapshot-")).value(0);
    QCOMPARE(QImage(single).size(), QSize(64, 48));
    QCOMPARE(greyOf(single), 61);
}

void TestBackground::emptyTileFailsAsEver() {
    WindowUnderTest window;
    start(window);
    window.tiles()[0]->setPixmap({});
    select(window, 0);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written: .+")));
    window.action("actionSave_Single")->trigger();
    QVERIFY2(note(window).startsWith(QStringLiteral("Picture not written: ")), qPrintable(note(window)));
    QCOMPARE(files(), QStringList());
}

void TestBackground::failureIsSaidWhenItHappens() {
    WindowUnderTest window;
    start(window, "Background=1\nPath=./later\n");
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written: .+")));
    window->saveScanned(QStringLiteral("a"));
    QCOMPARE(window.leftText(), QStringLiteral("Saved image ./later/a.bmp"));
    QTRY_VERIFY_WITH_TIMEOUT(!note(window).isEmpty(), kWait);
    QVERIFY2(note(window).startsWith(QStringLiteral("Picture not written: ")), qPrintable(note(window)));
    QVERIFY2(note(window).endsWith(QStringLiteral("(./later/a.bmp)")), qPrintable(note(window)));
    QVERIFY(QDir().mkdir(QStringLiteral("later")));
    window->saveScanned(QStringLiteral("b"));
    QTRY_COMPARE_WITH_TIMEOUT(note(window), QString(), kWait);
    QVERIFY(QFile::exists(QStringLiteral("later/b.bmp")));
}

void TestBackground::fullDiskInBetween() {
    WindowUnderTest window;
    start(window);
    const diskcalls::HeldNames held;
    save(window, 0, 60);
    QVERIFY(isHeld());
    {
        const FullDisk full(1000);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written: .+")));
        save(window, 1, 61);
        diskcalls::HeldNames::letThrough(1);
        QTRY_VERIFY2_WITH_TIMEOUT(note(window).endsWith(QStringLiteral("File too large (./1.bmp)")),
                                  qPrintable(note(window)), kWait);
    }
    save(window, 2, 62);
    diskcalls::HeldNames::letThrough(1);
    QTRY_COMPARE_WITH_TIMEOUT(note(window), QString(), kWait);
    QCOMPARE(files(), (QStringList{QStringLiteral("0.bmp"), QStringLiteral("2.bmp")}));
}

/// Of pictures in the background and at once, the last one says whether all is well.
void TestBackground::notesComeInOrder() {
    WindowUnderTest window;
    start(window, "Background=1\nPath=./gone\n");
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written: .+")));
    window->saveScanned(QStringLiteral("a"));
    WorkingFolder::setKey(kKey, 0);
    WorkingFolder::setKey(QStringLiteral("File/Path"), QStringLiteral("."));
    window->saveScanned(QStringLiteral("b"));
    QCOMPARE(note(window), QString());
    QCoreApplication::processEvents();
    QCOMPARE(note(window), QString());

    WorkingFolder::setKey(kKey, 1);
    window->saveScanned(QStringLiteral("c"));
    WorkingFolder::setKey(kKey, 0);
    WorkingFolder::setKey(QStringLiteral("File/Path"), QStringLiteral("./gone"));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written: .+")));
    window->saveScanned(QStringLiteral("d"));
    QVERIFY2(note(window).endsWith(QStringLiteral("(./gone/d.bmp)")), qPrintable(note(window)));
    QCoreApplication::processEvents();
    QVERIFY2(note(window).endsWith(QStringLiteral("(./gone/d.bmp)")), qPrintable(note(window)));
    QCOMPARE(files(), (QStringList{QStringLiteral("b.bmp"), QStringLiteral("c.bmp")}));
}

void TestBackground::switchedOffWhileSomeWait() {
    WindowUnderTest window;
    start(window);
    const diskcalls::HeldNames held;
    save(window, 0, 60);
    save(window, 1, 61);
    WorkingFolder::setKey(kKey, 0);
    const SlowDisk slow(2);
    save(window, 2, 62);
    QVERIFY(slow.isOver);
    QCOMPARE(files().size(), 3);
    QCOMPARE(greyOf(QStringLiteral("2.bmp")), 62);
}

void TestBackground::laterOfOneNameWins() {
    WindowUnderTest window;
    start(window);
    const diskcalls::HeldNames held;
    save(window, 0, 60);
    save(window, 0, 61);
    diskcalls::HeldNames::letThrough(2);
    QTRY_COMPARE_WITH_TIMEOUT(greyOf(QStringLiteral("0.bmp")), 61, kWait);
    save(window, 0, 62);
    WorkingFolder::setKey(kKey, 0);
    const SlowDisk slow(1);
    save(window, 0, 63);  // at once, and after the one that waits
    QCOMPARE(greyOf(QStringLiteral("0.bmp")), 63);
    QCOMPARE(files().size(), 1);
}

void TestBackground::quickSavesHaveNamesOfTheirOwn_data() {
    QTest::addColumn<QByteArray>("ini");
    QTest::addColumn<bool>("isTile");
    QTest::newRow("whole view, at once") << QByteArray() << false;
    QTest::newRow("whole view, in the background") << QByteArray("Background=1\n") << false;
    QTest::newRow("tile, at once") << QByteArray() << true;
    QTest::newRow("tile, in the background") << QByteArray("Background=1\n") << true;
}

/// Triggers that waited are handled back to back, faster than the millisecond in a name goes on.
void TestBackground::quickSavesHaveNamesOfTheirOwn() {
    QFETCH(QByteArray, ini);
    QFETCH(bool, isTile);
    constexpr int kRounds = 10;
    WindowUnderTest window;
    start(window, ini);
    select(window, 0);
    for (int round = 1; round <= kRounds; ++round) {
        for (int i = 0; i < kAtATime; ++i) {
            if (isTile)
                window.action("actionSave_Single")->trigger();
            else
                window->saveImage();
        }
        QTRY_COMPARE_WITH_TIMEOUT(files().size(), round * kAtATime, kWait);
        QCOMPARE(note(window), QString());
    }
}

void TestBackground::closingWaits() {
    WindowUnderTest window;
    start(window);
    const diskcalls::HeldNames held;
    for (int i = 0; i < kAtATime; ++i)
        save(window, i, 60 + i);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written: .+")));
    diskcalls::HeldNames::letThrough(1);
    window->saveScanned(QStringLiteral("gone/a"));
    {
        // Later than the threads are given to end.
        const SlowDisk slow(kAtATime, std::chrono::milliseconds(1500));
        QVERIFY(window->close());
        QVERIFY(slow.isOver);
    }
    for (int i = 0; i < kAtATime; ++i)
        QCOMPARE(greyOf(QStringLiteral("%1.bmp").arg(i)), 60 + i);
    QVERIFY2(note(window).endsWith(QStringLiteral("(./gone/a.bmp)")), qPrintable(note(window)));
}

/// As when the program is told to quit.
void TestBackground::windowThatIsNotClosedWaits() {
    const WorkingFolder folder;
    BoxAnswerer answerer;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[File]\nLang=1\nType=0\nBackground=1\n"));
    auto window = std::make_unique<MainWindow>(nullptr);
    auto* buffer = new unsigned char[64 * 48];
    std::fill_n(buffer, 64 * 48, static_cast<unsigned char>(60));
    window->process(0, QImage(buffer, 64, 48, 64, QImage::Format_Grayscale8), buffer,
                    static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
    QTRY_VERIFY(window->isMaximized());
    const diskcalls::HeldNames held;
    for (int i = 0; i < kAtATime; ++i)
        window->saveScanned(QString::number(i));
    QVERIFY(isHeld());
    const SlowDisk slow(kAtATime);
    window.reset();
    QVERIFY(slow.isOver);
    QCOMPARE(files().size(), kAtATime);
    for (const QString& file : files())
        QCOMPARE(greyOf(file), 60);
}

/// By a trigger whose delay was not over.
void TestBackground::savesAfterClosing() {
    WindowUnderTest window;
    start(window);
    save(window, 0, 60);
    QVERIFY(window->close());
    QCOMPARE(files().size(), 1);
    const diskcalls::HeldNames held;
    window->saveScanned(QStringLiteral("1"));
    const SlowDisk slow(1);
    window.end();
    QVERIFY(slow.isOver);
    QCOMPARE(files().size(), 2);
}

/// The display is lost, or the session ends.
void TestBackground::suddenEndWaits() {
    WindowUnderTest window;
    OrderlyEnd end;
    start(window);
    const diskcalls::HeldNames held;
    for (int i = 0; i < kAtATime; ++i)
        save(window, i, 60 + i);
    const SlowDisk slow(kAtATime);
    QTimer::singleShot(0, window.get(), [&] {
        end.endNow();
        QApplication::exit(0);
    });
    end.run(window.get(), window->parts());
    QVERIFY(slow.isOver);
    QCOMPARE(files().size(), kAtATime);
}

/// A disk that never answers keeps no camera.
void TestBackground::suddenEndFreesTheCamerasFirst() {
    WindowUnderTest window;
    OrderlyEnd end;
    start(window);
    const diskcalls::HeldNames held;
    save(window, 0, 60);
    std::atomic<bool> areFreed{false};
    std::thread disk([&] {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (!areFreed && std::chrono::steady_clock::now() < limit) {
            areFreed = !recording::callsOf(QStringLiteral("CameraFree")).isEmpty();
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        diskcalls::HeldNames::letThrough(1);
    });
    QTimer::singleShot(0, window.get(), [&] {
        end.endNow();
        QApplication::exit(0);
    });
    end.run(window.get(), window->parts());
    disk.join();
    QVERIFY(areFreed);
    QCOMPARE(files().size(), 1);
}

void TestBackground::noMemoryWhileOthersWait() {
    WindowUnderTest window;
    start(window);
    shortmemory::allow(2 * kComposite + 100);
    const diskcalls::HeldNames held;
    save(window, 0, 60);
    save(window, 1, 61);
    {
        const SlowDisk slow(2);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("No memory for a picture")));
        save(window, 2, 62);
        QVERIFY(slow.isOver);
    }
    QCOMPARE(files().size(), 3);
    QCOMPARE(greyOf(QStringLiteral("2.bmp")), 62);
    QCOMPARE(note(window), QString());
    // What does not fit without the others either.
    shortmemory::allow(100);
    for (const char* line :
         {"No memory for a picture", "No memory for a picture", "was not written: No memory"})
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QString::fromLatin1(line)));
    save(window, 3, 63);
    QVERIFY2(note(window).endsWith(QStringLiteral("(./3.bmp)")), qPrintable(note(window)));
}

void TestBackground::sceneTooLarge() {
    WindowUnderTest window;
    start(window);
    window.view()->scene()->setSceneRect(0, 0, 900000, 900000);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("c\\.bmp was not written: .+")));
    window->saveScanned(QStringLiteral("c"));
    QCOMPARE(window.leftText(), QStringLiteral("Saved image ./c.bmp"));
    QVERIFY2(note(window).contains(QStringLiteral("too large to be saved")), qPrintable(note(window)));
}

QTEST_MAIN(TestBackground)
#include "tst_background.moc"
